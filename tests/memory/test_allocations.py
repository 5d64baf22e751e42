from harness.faults import FaultTest
from harness.machine import BUILD, expected, slow
from harness.registration import INDESIGN
from harness.report import Claims

ABORTED = 128 + 6
SAID = b"allocation failed\n"
UNCAUGHT = (b"terminate called after throwing an instance of 'std::bad_alloc'\n"
            b"  what():  std::bad_alloc\n")


@slow
class FailedAllocation(FaultTest):
    """Each allocation of a registration fails once, those of the tables at start-up included."""

    def register(self, number):
        """A registration whose allocation of this number fails, and whether there was one."""
        self.restore()
        result = self.run_inside(
            "env", f"LD_PRELOAD={BUILD / 'tests' / 'libfail_allocation.so'}",
            f"FAIL_ALLOCATION={number}", BUILD / "Tamsel", "-r", INDESIGN)
        return result, result.err.startswith(SAID)

    def check(self, result):
        said = Claims(False, False)
        if result.status == ABORTED:
            self.assert_result(result, b"", SAID + UNCAUGHT, ABORTED)
        elif result.status == 1:
            # The presence test could not open the database.
            self.assert_result(result, expected("database-not-found.out"), SAID, status=1)
        else:
            said = self.claims(result)
            self.assert_result(result, result.out, SAID)
        self.assert_sound(said)

    def test_every_allocation(self):
        statuses = []
        result, failed = self.register(1)
        while failed:
            with self.subTest(number=len(statuses) + 1):
                self.check(result)
            statuses.append(result.status)
            result, failed = self.register(len(statuses) + 1)
        self.assert_whole(result)
        self.assertEqual(statuses.count(1), 1)
        uncaught = statuses.count(ABORTED)
        self.assertGreater(uncaught, 0)
        self.assertGreater(len(statuses), uncaught)
        self.print_figure(f"{len(statuses)} allocations failed; {uncaught} ended the program")


@slow
class FailedAllocationWithAWriteAheadLog(FailedAllocation):
    journal = "wal"
    repair = True
