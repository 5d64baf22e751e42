from harness.faults import WHOLE, FaultTest
from harness.machine import DATABASE, expected, slow
from harness.report import Claims

NOTHING = Claims(False, False)
KILLED = 128 + 9


@slow
class Crash(FaultTest):
    """The program is killed before each of its system calls."""

    def test_at_every_system_call(self):
        self.inject_everywhere("all", "signal=KILL", self.check)

    def check(self, name, number, result):
        self.assertEqual(result.status, KILLED)
        # Nothing is flushed before the program ends, and then everything at once.
        self.assertIn(result.out, (b"", WHOLE))
        self.assertEqual(result.err, b"")
        self.assert_sound(NOTHING)


class CrashOfARepair(Crash):
    repair = True


class CrashWithAWriteAheadLog(Crash):
    journal = "wal"


class CrashOfARepairWithAWriteAheadLog(Crash):
    journal = "wal"
    repair = True


class Failure(FaultTest):
    """Each system call fails, from the presence test on: what the loader and the runtime library do
    before that is not the program's doing."""

    repair = True

    def fail(self, error, kinds):
        names, arguments = zip(*self.calls())
        before = names[:next(i for i, text in enumerate(arguments) if DATABASE in text)]
        self.probe = ("openat", before.count("openat") + 1)
        self.inject_everywhere(kinds, f"error={error}", self.check, before)

    def check(self, name, number, result):
        said = NOTHING
        if (name, number) == self.probe:
            self.assert_result(result, expected("database-not-found.out"), status=1)
        elif name == "write":
            # What the program says is lost, and nobody learns of it.
            self.assert_result(result, b"")
        else:
            said = self.claims(result)
            self.assert_result(result, result.out)
        self.assert_sound(said)

    def test_input_and_output_error_at_every_call_with_files(self):
        self.fail("EIO", "%file,%desc")

    def test_no_space_at_every_call_that_may_need_some(self):
        self.fail("ENOSPC", "openat,pwrite64,write,ftruncate,fdatasync,mmap")

    def test_no_permission_at_every_call_that_may_need_it(self):
        self.fail("EACCES", "%file,fcntl")

    def test_interruption_of_every_call_that_may_wait(self):
        self.fail("EINTR", "openat,read,pread64,pwrite64,write,fcntl,fdatasync,ftruncate,close,wait4")

    def test_no_process_for_the_copy(self):
        self.fail("EAGAIN", "?clone,?clone3,?vfork")


@slow
class FailureWithAWriteAheadLog(Failure):
    journal = "wal"
