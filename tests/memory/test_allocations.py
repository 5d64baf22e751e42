from harness.faults import FaultTest
from harness.machine import BUILD, expected

ABORTED = 128 + 6
SAID = b"allocation failed\n"
UNCAUGHT = (b"terminate called after throwing an instance of 'std::bad_alloc'\n"
            b"  what():  std::bad_alloc\n")


class FailedAllocation(FaultTest):
    """Every fifth allocation of a registration fails, those of the tables at start-up included."""

    def register(self, number):
        """A registration whose allocation of this number fails."""
        self.reset()
        return self.shell.run(
            "env", f"LD_PRELOAD={BUILD / 'tests' / 'libfail_allocation.so'}",
            f"FAIL_ALLOCATION={number}", *self.command, *self.arguments)

    def said(self, result, _name):
        """What the run claims."""
        if result.status == ABORTED:
            self.assert_result(result, b"", SAID + UNCAUGHT, ABORTED)
        elif result.status == 1:
            # The presence test could not open the database.
            self.assert_result(result, expected("database-not-found.out"), SAID, status=1)
        else:
            self.assertEqual(result.err, SAID)
            return self.claims(result)
        return [False, False]

    def test_every_fifth(self):
        number, statuses = 1, []
        while (result := self.register(number)).err:
            statuses.append(result.status)
            with self.subTest(number=number):
                self.judge(result, None)
            number += 5
        self.assert_whole(result)
        # Most end the program; SQLite's do not.
        self.assertGreater(statuses.count(ABORTED), 0)
        self.assertGreater(statuses.count(0), 0)
        self.assertLessEqual(statuses.count(1), 1)


class FailedAllocationOfARepairWithAWriteAheadLog(FailedAllocation):
    journal = "wal"
    repair = True
