from harness.faults import FaultTest
from harness.machine import expected, slow
from harness.registration import registered
from harness.strace import Traced

NOTHING = [False, False]
KILLED = 128 + 9


class Faults(Traced, FaultTest):
    """Something happens at each system call of a registration."""

    def said(self, result, name):
        """What a run claims to which it has happened at a call of this name."""
        if result.status == KILLED:
            # Nothing is flushed before the program ends, and then everything at once.
            self.assertIn(result, [(out, b"", KILLED) for out in (b"", registered())])
        elif name == "openat" and result.status == 1:
            self.assert_result(result, expected("database-not-found.out"), status=1)
        elif name == "write":
            # What the program says is lost, and nobody learns of it.
            self.assert_result(result, b"")
        else:
            self.assertEqual(result.err, b"")
            return self.claims(result)
        return NOTHING

    def test_killed_at_every_call(self):
        self.inject("signal=KILL", self.calls())

    def test_every_call_with_files_fails(self):
        self.inject("error=EIO", self.calls("%file,%desc"))

    def test_no_process_for_the_copy(self):
        self.inject("error=EAGAIN", self.calls("?clone,?clone3,?vfork"))

    def test_waiting_for_the_copy_is_interrupted(self):
        self.inject("error=EINTR", self.calls("wait4"))


@slow
class FaultsOfARepairWithAWriteAheadLog(Faults):
    journal = "wal"
    repair = True
