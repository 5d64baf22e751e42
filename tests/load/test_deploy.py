"""Several runs of tamsel-deploy at once, beside programs that use the database."""

import sqlite3
import threading

from harness.deploy import ALL_DONE, APPLICATIONS, NO_FILE, NOT_REGISTERED
from harness.promises import REGISTERED, PromiseTest, product, product_rows, split
from harness.registration import INDESIGN

SAID_REGISTERED = (REGISTERED, ALL_DONE)
SAID_NOT_REGISTERED = (f"not registered: {INDESIGN}\n".encode(), NOT_REGISTERED)
# Also true while a restore is under way, since it removes the file first.
SAID_WITHOUT_FILE = (f"without XManConfigV2.xml: {INDESIGN}\n".encode(), NO_FILE)
ALL = [f"/Applications/{name}.app" for name in APPLICATIONS]


class AtOnce(PromiseTest):
    """Whatever runs at once, it is as if the runs had come one after another."""

    def setUp(self):
        super().setUp()
        self.add_applications(*(path for path in ALL if not self.inside(path).exists()))
        self.command = self.patient

    def assert_one_backup_of_the_state_before(self):
        backups = self.all_backups()
        self.assertEqual([self.present(backup) == self.before for backup in backups],
                         [True] + [False] * (len(backups) - 1))
        self.assertEqual(self.assert_restores(self.before, backups[0].name), backups[0].name)

    def assert_all_register_one(self, count):
        self.put(self.begin)
        for result in self.together(*[[INDESIGN]] * count):
            self.assertEqual(result, SAID_REGISTERED)
        self.assertTrue(self.holds(self.paths))
        self.assertEqual(len(self.all_backups()), 1)
        self.assert_nothing_left()
        self.assert_one_backup_of_the_state_before()

    def test_two_registrations_of_one_application(self):
        for _ in range(20):
            self.assert_all_register_one(2)

    def test_eight_registrations_of_one_application(self):
        for _ in range(5):
            self.assert_all_register_one(8)

    def assert_each_registers_its_own(self, paths):
        self.put(self.begin)
        for path, result in zip(paths, self.together(*([path] for path in paths))):
            self.assertEqual(result, (f"registered: {path}\n".encode(), ALL_DONE))
        content = self.dump()
        for path in paths:
            self.assertEqual(split(content, {product(path)})[0], product_rows(path))
        numbers = {product(path) for path in paths}
        self.assertEqual(split(content, numbers)[1], split(self.before[0][0], numbers)[1])
        self.assert_nothing_left()
        self.assert_one_backup_of_the_state_before()

    def test_registrations_of_different_applications(self):
        for _ in range(10):
            self.assert_each_registers_its_own(ALL[2:4])
        for _ in range(3):
            self.assert_each_registers_its_own(ALL)

    def test_a_restore_beside_registrations(self):
        for count in (1, 3):
            for _ in range(8):
                self.put(self.begin)
                self.assert_registers()
                registered, (backup,) = self.present(), self.all_backups()
                results = self.together(*[[INDESIGN]] * count, ["--restore"], ["--verify", INDESIGN])
                self.assertEqual(results[:-2], [SAID_REGISTERED] * count)
                self.assertEqual(results[-2], (f"restored: {backup.name}\n".encode(), ALL_DONE))
                self.assertIn(results[-1], (SAID_REGISTERED, SAID_NOT_REGISTERED, SAID_WITHOUT_FILE))
                self.assertTrue(self.holds(self.paths) or self.present() == self.before)
                self.assertTrue(any(self.present(each)[0][0] == registered[0][0]
                                    for each in self.all_backups()))
                self.assert_restores(self.before, backup.name)

    def test_a_verification_again_and_again_beside_a_run(self):
        for _ in range(5):
            self.put(self.begin)
            *verified, registered = self.together(*[["--verify", INDESIGN]] * 12, [INDESIGN])
            self.assertEqual(registered, SAID_REGISTERED)
            for result in verified:
                self.assertIn(result, (SAID_REGISTERED, SAID_NOT_REGISTERED))
            self.assertTrue(self.holds(self.paths))
            self.assert_one_backup_of_the_state_before()


class AtOnceWithAWriteAheadLog(AtOnce):
    journal = "wal"


class Neighbours(PromiseTest):
    """Others use the database, each for a moment, again and again; runs wait for them."""

    turns = 60
    pause = 0.002  # seconds: Tamsel does not wait, and would have no chance if they never let go

    def setUp(self):
        super().setUp()
        self.command = self.patient
        self.written, self.over = 0, threading.Event()

    def read(self):
        connection = sqlite3.connect(self.database, timeout=600, isolation_level=None)
        while not self.over.is_set():
            connection.execute("BEGIN")
            connection.execute("SELECT COUNT(*) FROM Tb_XManConfig").fetchall()
            connection.execute("COMMIT")
            self.over.wait(self.pause)
        connection.close()

    def write(self):
        connection = sqlite3.connect(self.database, timeout=600, isolation_level=None)
        while not self.over.is_set():
            connection.execute("BEGIN IMMEDIATE")
            connection.execute("UPDATE Tb_ProductInfoV2 SET SuiteID = ? WHERE ProdID = 12", (self.written,))
            connection.execute("COMMIT")
            self.written += 1
            self.over.wait(self.pause)
        connection.close()

    def test_runs_beside_a_reader_and_a_writer(self):
        others = [threading.Thread(target=self.read), threading.Thread(target=self.write)]
        for other in others:
            other.start()
        try:
            results = [(self.run_again(INDESIGN), self.run_again("--verify", INDESIGN),
                        self.run_again("--restore")) for _ in range(self.turns)]
        finally:
            self.over.set()
            for other in others:
                other.join()
        for registered, verified, restored in results:
            self.assertEqual((registered.out, registered.status), (REGISTERED, ALL_DONE), registered.err)
            self.assertEqual((verified.out, verified.status), (REGISTERED, ALL_DONE), verified.err)
            self.assertEqual(restored.status, ALL_DONE, restored.err)
        self.assertEqual(self.rows("PRAGMA integrity_check"), [("ok",)])
        self.assertEqual(self.rows("SELECT COUNT(*) FROM Tb_XManConfig WHERE ProdID = 12"), [(3,)])
        self.assertGreater(self.written, self.turns)
        self.print_figure(f"{3 * self.turns} runs beside {self.written} transactions of a writer")


class NeighboursWithAWriteAheadLog(Neighbours):
    journal = "wal"
