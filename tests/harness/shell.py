"""A sandbox that stays open, so that many runs cost one start."""

import shlex
import subprocess

from harness.machine import SANDBOX, Result


class Shell:
    """Runs commands in one sandbox, one after another."""

    def __init__(self, test, options):
        self.out, self.err = test.folder / "out", test.folder / "err"
        self.process = subprocess.Popen(
            [SANDBOX, *options, test.private_library, "sh", "-c", "exec sh 2>/dev/null"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, cwd=test.folder)
        test.addCleanup(self.process.communicate)

    def run(self, *command):
        """Runs a command and returns its Result; a signal that ends it counts as sh counts it."""
        words = " ".join(shlex.quote(str(word)) for word in command)
        # In a process of its own, so that what sh says about a signal does not get into err.
        return self.run_line(f"(exec {words}) >{shlex.quote(str(self.out))} 2>{shlex.quote(str(self.err))}")

    def run_line(self, line):
        """The same with a line of sh, which writes the files out and err."""
        self.process.stdin.write(f"{line} </dev/null; echo $?\n".encode())
        self.process.stdin.flush()
        return self.result(int(self.process.stdout.readline()))

    def result(self, status):
        """What a run with this status has written into the files out and err."""
        return Result(self.out.read_bytes(), self.err.read_bytes(), status)
