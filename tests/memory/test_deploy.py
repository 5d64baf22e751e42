"""Allocations of tamsel-deploy fail, one in each run."""

from harness import snapshot
from harness.deploy import ALL_DONE, OLD_FILE
from harness.machine import BUILD, slow
from harness.promises import WORLDS, PromiseTest
from harness.restores import RestoreTest

FAILED = b"allocation failed\n"


class Allocations:
    """Every so many of a run's allocations fails once: those in between lead to the same states."""

    stride = 5

    def check(self, result):
        # A line that could not be made is missing in the log.
        self.is_log_whole = FAILED not in result.err
        super().check(result)

    def test_failing_allocations(self):
        statuses, number, result = [], 1, None
        while result is None or FAILED in result.err:
            self.put(self.begin)
            result = self.shell.run(
                "env", f"LD_PRELOAD={BUILD / 'tests' / 'libfail_allocation.so'}",
                f"FAIL_ALLOCATION={number}", *self.command, *self.arguments)
            with self.subTest(number=number):
                self.check(result)
                self.assert_recoverable(snapshot.take(self.private_library))
            statuses.append(result.status)
            number += self.stride
        self.assertEqual(result.status, ALL_DONE)
        self.assertGreater(len(statuses), 100)


@slow
class Registration(Allocations, PromiseTest):
    locals().update(WORLDS["TwoReplacingTheFile"])


@slow
class RegistrationWithAWriteAheadLog(Allocations, PromiseTest):
    journal = "wal"


@slow
class Restore(Allocations, RestoreTest):
    stride = 1  # once, each of them
    journal = "wal"
    file = OLD_FILE


@slow
class RestoreOverADamagedDatabase(Allocations, RestoreTest):
    damage = "damaged"
