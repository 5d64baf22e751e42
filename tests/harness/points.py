"""System calls of tamsel-deploy, with something happening once at each."""

import re
from collections import Counter

from harness import snapshot
from harness.deploy import ALL_DONE

CALL = re.compile(r"^(\w+)\((.*)$", re.MULTILINE)
HAPPENED = re.compile(r"\(INJECTED\)|^\+\+\+ killed by|^--- SIGTERM", re.MULTILINE)
# What changes something on the disk, or lets another program do so. Between two of them a kill finds
# what it finds at the second.
CHANGING = re.compile(r"p?write|rename|unlink|rmdir|mkdir|link|f?chmod|f?chown|ftruncate|fallocate|fcntl|"
                      r"clone|vfork|wait4|exit_group|open(at)?$")
# The errors that lead to states of their own: EIO stands for EACCES where that may be, too.
ERRORS = {
    "EIO": "%file,%desc",
    "ENOSPC": "openat,pwrite64,write,ftruncate,fdatasync,fsync,mkdir,rename,?fallocate,mmap",
    "EINTR": "openat,read,pread64,pwrite64,write,fcntl,flock,fdatasync,fsync,ftruncate,wait4",
    "EAGAIN": "?clone,?clone3,?vfork,?mmap,flock",
}


def changes(name, text):
    return CHANGING.match(name) and (not name.startswith("open") or "O_CREAT" in text) and (
        name != "fcntl" or "F_SETLK" in text)


class Points:
    """What a PromiseTest needs to try each point of the run with its arguments."""

    def trace(self, *options):
        """A run from the beginning, under strace, which does not watch the programs that it starts;
        its Result and the trace."""
        self.put(self.begin)
        log = self.folder / "trace"
        result = self.shell.run("strace", "-qq", "-s", "4096", "-o", log, *options,
                                *self.command, *self.arguments)
        return result, log.read_text(errors="replace")

    def calls(self, kinds="all"):
        """The system calls of an undisturbed run from main on, as name, number and arguments. What
        the loader and the runtime library do before that is not the program's doing."""
        self.need("strace")
        result, trace = self.trace()
        self.check(result)
        self.assertEqual(result.status, ALL_DONE, result)
        names = {name for name, _ in CALL.findall(self.trace("-e", f"trace={kinds}")[1])}
        numbers, found, started = Counter(), [], False
        for name, text in CALL.findall(trace):
            numbers[name] += 1
            if started and name in names:
                found.append((name, numbers[name], text))
            # The loader unmaps its cache when it is done.
            started = started or name == "munmap"
        return found

    def happens(self, fault, points):
        """Lets the fault happen at each of these points of a run."""
        hit = 0
        for name, number, text in points:
            result, trace = self.trace("-e", f"trace={name}", "-e", f"inject={name}:{fault}:when={number}")
            if not HAPPENED.search(trace):
                continue
            hit += 1
            with self.subTest(call=name, number=number, text=text, fault=fault):
                self.check(result)
                self.assert_recoverable(snapshot.take(self.private_library))
        # Now and then a run reads or waits less often.
        self.assertGreaterEqual(hit, len(points) * 0.7 - 1)

    def test_a_signal_wherever_something_changes(self):
        for signal in ("KILL", "TERM"):
            self.happens(f"signal={signal}", [call for call in self.calls() if changes(call[0], call[2])])

    def test_each_call_fails(self):
        for error, kinds in ERRORS.items():
            # A call that fails here is not made, but every system closes a file even when it reports
            # an error. A line that the log lacks is missed by these tests alone.
            self.happens(f"error={error}", [(name, number, text) for name, number, text in self.calls(kinds)
                                            if name != "close" and not text.startswith("2, ")])
