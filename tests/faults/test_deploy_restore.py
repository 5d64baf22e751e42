"""Each system call of a restore and of --verify fails once, and they are killed before each."""

from harness import snapshot
from harness.deploy import ALL_DONE, NOT_REGISTERED
from harness.machine import slow
from harness.points import FailingCalls, Points
from harness.promises import REGISTERED, STATUSES, HalfWritten, PromiseTest
from harness.registration import INDESIGN
from harness.restores import RestoreTest


class Restore(Points, RestoreTest):
    arguments = ("--restore",)

    def check(self, result):
        self.assert_restored_or_not(result)


@slow
class Crash(Restore):
    def test_before_every_system_call(self):
        self.kill_everywhere()


@slow
class CrashWithAWriteAheadLog(Restore):
    journal = "wal"

    def test_before_every_system_call_that_changes_something(self):
        self.send_where_something_changes("KILL")


@slow
class CrashOverADamagedDatabase(CrashWithAWriteAheadLog):
    journal = "delete"
    damage = "damaged"


@slow
class CrashOverAHalfWrittenDatabase(CrashWithAWriteAheadLog):
    journal = "delete"
    damage = "torn"


@slow
class CrashWithoutADatabase(CrashWithAWriteAheadLog):
    damage = "missing"


@slow
class Interruption(Restore):
    def test_at_every_system_call_that_changes_something(self):
        self.send_where_something_changes("TERM")


class Failure(FailingCalls, Restore):
    """If a restore fails, what was there stays."""


@slow
class FailureOverADamagedDatabase(Failure):
    damage = "damaged"


class Verification(Points, PromiseTest):
    """--verify changes nothing and never finds what does not exist."""

    arguments = ("--verify", INDESIGN)
    registered = True

    def setUp(self):
        super().setUp()
        if self.registered:
            self.assert_registers()
        else:
            self.undisturbed = NOT_REGISTERED
        self.begin = snapshot.take(self.private_library)

    def check(self, result):
        self.assertIn(result.status, STATUSES, result.err.decode())
        if result.status == ALL_DONE or result.out == REGISTERED:
            self.assertTrue(self.registered)
            self.assertEqual(result.out, REGISTERED)

    def assert_way_on(self, moment):
        # Whoever may only read a write-ahead log cannot remove its files again.
        made = {name: moment.pop(name)[1] for name in list(moment) if name.endswith(("-shm", "-wal"))}
        self.assertTrue(not made or self.journal == "wal")
        self.assertIn([content for name, content in made.items() if name.endswith("-wal")], ([], [b""]))
        self.assertEqual(moment, self.begin)

    def test_at_every_system_call(self):
        self.kill_everywhere()
        self.fail_calls("EIO", "%file,%desc")

    @slow
    def test_other_errors_at_every_call_with_files(self):
        self.fail_calls("EACCES", "%file,fcntl")
        self.fail_calls("EINTR", "openat,read,pread64,write,fcntl,?wait4")


class VerificationWithAWriteAheadLog(Verification):
    journal = "wal"


class VerificationOfWhatIsNotRegistered(Verification):
    registered = False


class VerificationOfAHalfWrittenDatabase(HalfWritten, Verification):
    pass
