"""Each system call of a registration by tamsel-deploy fails once, and it is killed before each."""

from harness.deploy import INCOPY, OLD_FILE
from harness.machine import slow
from harness.points import FailingCalls, Points
from harness.promises import PromiseTest
from harness.registration import INDESIGN


class Registration(Points, PromiseTest):
    def setUp(self):
        super().setUp()
        self.arguments = [*self.options, *self.paths]

    def check(self, result):
        self.assert_said(result)


class Two:
    """Two products, one of them new."""

    paths = (INDESIGN, INCOPY)
    repair = True


class New:
    """The product is new, and so is the file."""


class Repaired:
    """The product's rows are those of another folder, and the file is replaced."""

    repair = True
    file = OLD_FILE
    options = ("--replace-file",)


class Kept:
    """The product's rows are those of another folder, and the file is kept."""

    repair = True
    file = OLD_FILE


@slow
class Crash(Repaired, Registration):
    def test_before_every_system_call(self):
        self.kill_everywhere()


@slow
class CrashOfANewOne(New, Registration):
    def test_before_every_system_call_that_changes_something(self):
        self.send_where_something_changes("KILL")


@slow
class CrashOfTwo(Two, CrashOfANewOne):
    """The first application may be registered and the second one not."""


@slow
class CrashWithAWriteAheadLog(CrashOfANewOne):
    journal = "wal"


@slow
class CrashOfARepairWithAWriteAheadLog(Kept, Registration):
    journal = "wal"

    def test_before_every_system_call_that_changes_something(self):
        self.send_where_something_changes("KILL")


@slow
class Interruption(Repaired, Registration):
    """A signal that asks the run to end makes it put back what it did."""

    def test_at_every_system_call_that_changes_something(self):
        self.send_where_something_changes("TERM")


class Failure(FailingCalls, Repaired, Registration):
    @slow
    def test_no_process_and_no_memory(self):
        self.fail_calls("EAGAIN", "?clone,?clone3,?vfork,?pipe,?pipe2,?dup2,?mmap,?munmap,flock")


@slow
class FailureOfTwo(Two, Registration):
    def test_input_and_output_error_at_every_call_with_files(self):
        self.fail_calls("EIO", "%file,%desc")


@slow
class FailureOfANewOneWithAWriteAheadLog(New, Failure):
    journal = "wal"
    repair = False
    file = None
    options = ()
