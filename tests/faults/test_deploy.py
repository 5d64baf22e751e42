"""Each system call of a registration by tamsel-deploy fails once, and it is killed at each."""

import re

from harness import snapshot
from harness.machine import slow
from harness.promises import WORLDS, PromiseTest
from harness.strace import Traced

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


class Points(Traced):
    """What a PromiseTest needs to try each point of the run with its arguments."""

    is_steady = False  # now and then a run reads or waits less often

    def judge(self, result, _name):
        self.check(result)
        self.assert_recoverable(snapshot.take(self.private_library))

    def test_a_signal_wherever_something_changes(self):
        calls = [call for call in self.calls() if changes(call[0], call[2])]
        for signal in ("KILL", "TERM"):
            self.inject(f"signal={signal}", calls)

    def test_each_call_fails(self):
        for error, kinds in ERRORS.items():
            # A call that fails here is not made, but every system closes a file even when it reports
            # an error. A line that the log lacks is missed by these tests alone.
            self.inject(f"error={error}", [call for call in self.calls(kinds)
                                           if call[0] != "close" and not call[2].startswith("2, ")])


for name, world in WORLDS.items():
    globals()[name] = slow(type(name, (Points, PromiseTest), world))
