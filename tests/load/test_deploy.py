"""Several runs of tamsel-deploy at once, beside programs that use the database, and a large database."""

import shlex
import sqlite3
import threading

from harness.deploy import ALL_DONE, APPLICATIONS, NO_FILE, NOT_REGISTERED
from harness.machine import slow
from harness.promises import PromiseTest, product, product_rows, split
from harness.registration import INDESIGN

ALL = [f"/Applications/{name}.app" for name in APPLICATIONS]
REGISTERED = (f"registered: {INDESIGN}\n".encode(), ALL_DONE)
NOT_YET = (f"not registered: {INDESIGN}\n".encode(), NOT_REGISTERED)
# Also true while a restore is under way: the file goes last.
WITHOUT_FILE = (f"without XManConfigV2.xml: {INDESIGN}\n".encode(), NO_FILE)


class LoadTest(PromiseTest):
    def setUp(self):
        super().setUp()
        self.add_applications(*(path for path in ALL if not self.inside(path).exists()))
        self.command = [self.package / "tamsel-deploy", "--wait", "600"]

    def together(self, *runs):
        """Starts runs with these arguments all at once. Returns what each said, and its status."""
        line = "".join(f"{shlex.join(map(str, [*self.command, *run]))} >{number}.out 2>{number}.err & "
                       f"run{number}=$!; " for number, run in enumerate(runs))
        line += "".join(f"wait $run{number}; echo $? >{number}.status; " for number in range(len(runs)))
        self.shell.run_line(f"{line} true >out 2>err")
        return [((self.folder / f"{number}.out").read_bytes(),
                 int((self.folder / f"{number}.status").read_text())) for number in range(len(runs))]


class AtOnce(LoadTest):
    """Whatever runs at once, it is as if the runs had come one after another."""

    def test_registrations_of_different_applications(self):
        for paths in (ALL[2:4],) * 5 + (ALL,) * 2:
            self.put(self.begin)
            for path, result in zip(paths, self.together(*([path] for path in paths))):
                self.assertEqual(result, (f"registered: {path}\n".encode(), ALL_DONE))
            content = self.dump()
            for path in paths:
                self.assertEqual(split(content, {product(path)})[0], product_rows(path))
            numbers = {product(path) for path in paths}
            self.assertEqual(split(content, numbers)[1], split(self.before[0][0], numbers)[1])
            backups = self.all_backups()
            self.assertEqual([self.condition(backup) == self.before for backup in backups],
                             [True] + [False] * (len(backups) - 1))
            self.assert_restores(self.before, backups[0].name)

    def test_a_restore_beside_registrations(self):
        for count in (1, 3) * 3:
            self.put(self.begin)
            self.assert_registers()
            registered, (backup,) = self.condition(), self.all_backups()
            *runs, restored, verified = self.together(
                *[[INDESIGN]] * count, ["--restore"], ["--verify", INDESIGN])
            self.assertEqual(runs, [REGISTERED] * count)
            self.assertEqual(restored, (f"restored: {backup.name}\n".encode(), ALL_DONE))
            self.assertIn(verified, (REGISTERED, NOT_YET, WITHOUT_FILE))
            self.assertIn(self.condition(), (self.before, registered))
            self.assertIn(registered, [self.condition(each) for each in self.all_backups()])
            self.assert_restores(self.before, backup.name)


class AtOnceWithAWriteAheadLog(AtOnce):
    journal = "wal"


class Neighbours(LoadTest):
    """Others use the database, each for a moment, again and again; runs wait for them."""

    turns = 40
    pause = 0.002  # seconds: SQLite's locks are not fair, so nobody would get one otherwise
    statements = ("SELECT COUNT(*) FROM Tb_XManConfig",
                  "UPDATE Tb_ProductInfoV2 SET SuiteID = SuiteID + 1 WHERE ProdID = 12")

    def use(self, statement, over, times):
        connection = sqlite3.connect(self.database, timeout=600, isolation_level=None)
        while not over.wait(self.pause):
            connection.execute(statement).fetchall()
            times[statement] = times.get(statement, 0) + 1
        connection.close()

    def test_runs_beside_a_reader_and_a_writer(self):
        over, times = threading.Event(), {}
        others = [threading.Thread(target=self.use, args=(each, over, times)) for each in self.statements]
        for other in others:
            other.start()
        try:
            results = [self.run_again(*arguments) for _ in range(self.turns)
                       for arguments in ([INDESIGN], ["--verify", INDESIGN], ["--restore"])]
        finally:
            over.set()
            for other in others:
                other.join()
        for result in results:
            self.assertEqual(result.status, ALL_DONE, result)
        self.assertEqual(self.rows("PRAGMA integrity_check"), [("ok",)])
        self.assertGreater(min(times.values()), self.turns)


class NeighboursWithAWriteAheadLog(Neighbours):
    journal = "wal"


@slow
class Large(LoadTest):
    """A million rows of others, 74 MB."""

    def test_a_registration_and_a_restore_need_little_memory(self):
        self.change("INSERT INTO Tb_XManConfig WITH RECURSIVE n(i) AS"
                    " (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 1000000)"
                    " SELECT 12, 'key ' || i, 'the value of row number ' || i FROM n")
        self.assertGreater(self.database.stat().st_size, 70_000_000)
        for arguments in ([INDESIGN], ["--restore"]):
            # In KiB. The address space holds the program and its libraries, too.
            line = f"ulimit -v 30000; exec {shlex.join(map(str, [*self.command, *arguments]))}"
            result = self.shell.run("sh", "-c", line)
            self.assertEqual(result.status, ALL_DONE, result)
        self.assertEqual(self.rows("SELECT COUNT(*) FROM Tb_XManConfig WHERE ProdID = 12"), [(1000003,)])
