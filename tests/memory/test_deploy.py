"""tamsel-deploy when an allocation fails, and what valgrind says of it."""

from harness import snapshot
from harness.deploy import ALL_DONE, INCOPY, NOT_REGISTERED, OLD_FILE
from harness.machine import BUILD, slow
from harness.promises import ABORTED, REGISTERED, STATUSES, HalfWritten, PromiseTest
from harness.registration import INDESIGN
from harness.restores import RestoreTest
from harness.valgrind import watched

FAILED = b"allocation failed\n"


class Allocations:
    """Each allocation of a run fails once, or every tenth if the run is much like another one."""

    stride = 1

    def run_without(self, number, *arguments):
        """A run whose allocation of this number fails, and whether there was one."""
        self.put(self.begin)
        result = self.shell.run(
            "env", f"LD_PRELOAD={BUILD / 'tests' / 'libfail_allocation.so'}",
            f"FAIL_ALLOCATION={number}", *self.command, *arguments)
        self.settle()
        return result, FAILED in result.err

    def fail_everywhere(self, *arguments):
        statuses, number = [], 1
        result, failed = self.run_without(number, *arguments)
        while failed:
            with self.subTest(number=number):
                self.check(result)
                self.assert_way_on(snapshot.take(self.private_library))
            statuses.append(result.status)
            number += self.stride
            result, failed = self.run_without(number, *arguments)
        self.assertEqual(result.status, ALL_DONE)
        self.assertGreater(len(statuses), 100)
        self.print_figure(f"{len(statuses)} allocations failed; {statuses.count(ABORTED)} ended the program,"
                          f" {statuses.count(ALL_DONE)} did no harm")


@slow
class Registration(Allocations, PromiseTest):
    def check(self, result):
        self.assert_said(result)

    def test_every_allocation(self):
        self.fail_everywhere(*self.options, *self.paths)


@slow
class RepairWithAWriteAheadLog(Registration):
    stride = 10
    journal = "wal"
    repair = True
    file = OLD_FILE
    options = ("--replace-file",)


@slow
class Restore(Allocations, RestoreTest):
    def check(self, result):
        self.assert_restored_or_not(result)

    def test_every_allocation(self):
        self.fail_everywhere("--restore")


@slow
class RestoreOverADamagedDatabase(Restore):
    stride = 10
    damage = "damaged"


@slow
class Verification(Allocations, PromiseTest):
    def setUp(self):
        super().setUp()
        self.assert_registers()
        self.begin = snapshot.take(self.private_library)

    def check(self, result):
        self.assertIn(result.status, STATUSES)
        self.assertEqual(result.status == ALL_DONE, result.out == REGISTERED)

    def assert_way_on(self, moment):
        self.assertEqual(moment, self.begin)

    def test_every_allocation(self):
        self.fail_everywhere("--verify", INDESIGN)


@slow
class VerificationOfAHalfWrittenDatabase(HalfWritten, Verification):
    pass


class Valgrind(RestoreTest):
    """No ordinary run reads or frees what it must not, or leaves anything behind."""

    def assert_clean(self, arguments, out, status=ALL_DONE):
        self.need("valgrind")
        log = self.folder / "valgrind"
        result = self.shell.run(*watched(log, *self.command, *arguments))
        self.assertEqual(log.read_text(), "")
        self.assertEqual((result.out.decode(), result.status), (out, status), result.err.decode())

    def test_ordinary_runs(self):
        name = self.saved.name
        both = f"{INDESIGN}\nregistered: {INCOPY}\n"
        self.assert_clean(["--verify", INDESIGN, INCOPY],
                          f"registered: {INDESIGN}\nnot registered: {INCOPY}\n", NOT_REGISTERED)
        self.assert_clean(["--dry-run", INDESIGN, INCOPY],
                          f"registered: {INDESIGN}\nwould register: {INCOPY}\n")
        self.assert_clean(["--list"], f"{name} before registering {INDESIGN}\n")
        self.assert_clean([INDESIGN, INCOPY], "registered: " + both)
        self.assert_clean(["--restore", name], f"restored: {name}\n")

    def test_what_a_crash_left(self):
        self.break_down()
        self.assert_clean(["--dry-run", INDESIGN, INCOPY],
                          f"registered: {INDESIGN}\nwould register: {INCOPY}\n")


class ValgrindOverADamagedDatabase(RestoreTest):
    damage = "damaged"
    assert_clean = Valgrind.assert_clean

    def test_a_restore(self):
        self.assert_clean(["--restore"], f"restored: {self.saved.name}\n")
