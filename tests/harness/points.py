"""System calls of tamsel-deploy, with something happening once at each."""

import re
from collections import Counter

from harness import snapshot
from harness.deploy import ALL_DONE
from harness.faults import CALL
from harness.machine import slow

# What changes something on the disk, or lets another program do so. Between two of them a kill finds
# what it finds at the second.
CHANGING = ("write", "pwrite64", "pwritev", "writev", "rename", "renameat", "renameat2", "unlink",
            "unlinkat", "rmdir", "mkdir", "mkdirat", "link", "linkat", "symlink", "symlinkat", "chmod",
            "fchmod", "fchmodat", "chown", "fchown", "fchownat", "lchown", "ftruncate", "fallocate",
            "utimensat", "sendfile", "copy_file_range", "clone", "clone3", "vfork", "fork", "wait4",
            "poll", "ppoll", "exit_group")
HAPPENED = re.compile(r"\(INJECTED\)|^\+\+\+ killed by|^--- SIGTERM", re.MULTILINE)


def changes(name, arguments):
    return name in CHANGING or (name.startswith("open") and "O_CREAT" in arguments)


class Points:
    """What a PromiseTest needs to try many points. A class that uses it says what the arguments of
    its run are, and in check and assert_way_on what must be true after each."""

    arguments = ()
    undisturbed = ALL_DONE  # the status of a run to which nothing happens

    def trace(self, *options):
        """A run from the beginning, under strace, which does not watch the programs that it starts;
        its Result and the trace."""
        self.put(self.begin)
        log = self.folder / "trace"
        result = self.shell.run("strace", "-qq", "-s", "4096", "-o", log, *options,
                                *self.command, *self.arguments)
        self.settle()
        return result, log.read_text(errors="replace")

    def calls(self, kinds="all"):
        """The system calls of an undisturbed run from main on, as name, number and arguments. What
        the loader and the runtime library do before that is not the program's doing."""
        self.need("strace")
        result, trace = self.trace()
        self.assertEqual(result.status, self.undisturbed, result.err.decode())
        self.check(result)
        _, some = self.trace("-e", f"trace={kinds}")
        names = {name for name, _ in CALL.findall(some)}
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
        for name, number, _ in points:
            result, trace = self.trace(
                "-e", f"trace={name}", "-e", f"inject={name}:{fault}:when={number}")
            if not HAPPENED.search(trace):
                continue
            hit += 1
            with self.subTest(call=name, number=number, fault=fault):
                self.check(result)
                self.assert_way_on(snapshot.take(self.private_library))
        # Now and then a run reads or waits less often.
        self.assertGreater(hit, len(points) * 0.9)
        self.print_figure(f"{hit} points tried, {len(self.judged)} different moments: {fault}")

    def kill_everywhere(self):
        self.happens("signal=KILL", self.calls())

    def send_where_something_changes(self, signal):
        self.happens("signal=" + signal, [call for call in self.calls() if changes(call[0], call[2])])

    def fail_calls(self, error, kinds):
        # A call that fails here is not made, but every system closes a file even when it reports an error.
        self.happens(f"error={error}", [call for call in self.calls(kinds) if call[0] != "close"])


class FailingCalls(Points):
    """Each call of a run fails once in each way that it can."""

    @slow
    def test_input_and_output_error_at_every_call_with_files(self):
        self.fail_calls("EIO", "%file,%desc")

    @slow
    def test_no_space_at_every_call_that_may_need_some(self):
        self.fail_calls("ENOSPC", "openat,pwrite64,write,ftruncate,fdatasync,fsync,mkdir,?mkdirat,rename,"
                                  "?renameat,symlink,?symlinkat,link,?linkat,?fallocate,mmap")

    @slow
    def test_no_permission_at_every_call_that_may_need_it(self):
        self.fail_calls("EACCES", "%file,fcntl,flock,?fchmod,?fchown")

    @slow
    def test_interruption_of_every_call_that_may_wait(self):
        self.fail_calls("EINTR", "openat,read,pread64,pwrite64,write,fcntl,flock,fdatasync,fsync,ftruncate,"
                                 "wait4,?poll,?nanosleep,?clock_nanosleep")
