from harness.faults import FaultTest
from harness.machine import expected, slow
from harness.registration import Claims, registered

NOTHING = Claims(False, False)
KILLED = 128 + 9


class Faults(FaultTest):
    """Something happens at each system call of a registration."""

    def test_killed_at_every_call(self):
        def check(_name, _number, result):
            # Nothing is flushed before the program ends, and then everything at once.
            self.assertIn(result.out, (b"", registered()))
            self.assert_result(result, result.out, status=KILLED)
            return NOTHING

        self.inject_everywhere("all", "signal=KILL", check)

    def fail(self, kinds, error):
        def check(name, number, result):
            if (name, number) == probe:
                self.assert_result(result, expected("database-not-found.out"), status=1)
            elif name == "write":
                # What the program says is lost, and nobody learns of it.
                self.assert_result(result, b"")
            else:
                self.assertEqual(result.err, b"")
                return self.claims(result)
            return NOTHING

        probe = self.calls("openat")[0]
        self.inject_everywhere(kinds, f"error={error}", check)

    def test_every_call_with_files_fails(self):
        self.fail("%file,%desc", "EIO")

    def test_no_process_for_the_copy(self):
        self.fail("?clone,?clone3,?vfork", "EAGAIN")

    def test_waiting_for_the_copy_is_interrupted(self):
        self.fail("wait4", "EINTR")


@slow
class FaultsOfARepairWithAWriteAheadLog(Faults):
    journal = "wal"
    repair = True
