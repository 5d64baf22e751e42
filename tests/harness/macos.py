"""A Mac, played inside the sandbox of Linux: its /Library is a folder of the test, and stand-ins
take the place of its tools."""

import subprocess
import sys

from harness.machine import SANDBOX, MachineTest, Result

MANAGER = "Adobe/Extension Manager CC"


class MacTest(MachineTest):
    def setUp(self):
        if sys.platform != "linux":
            self.cannot_run("needs the sandbox of Linux", on_every_mac=True)
        super().setUp()
        self.machine = self.folder / "machine"
        self.support = self.machine / "Library" / "Application Support"
        self.support.mkdir(parents=True)
        self.make_tool("uname", "echo Darwin")
        self.make_tool("sudo", 'exec "$@"')

    def run_on_the_mac(self, *command, variables=("TAMSEL_THROW_AWAY_MACHINE=yes",), binds=(),
                       stdin=subprocess.DEVNULL, cwd=None):
        """Runs a command there and returns its Result. By default it is told that the machine will
        be thrown away."""
        finished = subprocess.run(
            [SANDBOX, *binds, self.machine / "Library", "env", "-u", "TAMSEL_THROW_AWAY_MACHINE",
             f"PATH={self.tools}:/usr/bin:/bin", *variables, *command],
            stdin=stdin, capture_output=True, cwd=cwd or self.folder, check=False)
        return Result(finished.stdout, finished.stderr, finished.returncode)
