"""What a restore promises whatever happens to it, seen from outside."""

from harness import snapshot
from harness.deploy import ALL_DONE, CLOSED, NOT_WRITTEN, OLD_FILE, RESTORING
from harness.promises import ABORTED, KILLED, STATUSES, PromiseTest

SIDES = ("-journal", "-wal")


class RestoreTest(PromiseTest):
    """INDESIGN is registered, a program has written something since, and somebody restores."""

    damage = None  # or "damaged", "torn" or "missing"

    def setUp(self):
        super().setUp()
        self.assert_registers()
        self.target = self.before
        self.saved, = self.backups_of(CLOSED)
        self.change("INSERT INTO Tb_XManConfig VALUES (12, 'late', 'row')")
        if self.damage == "damaged":
            self.database.write_bytes(b"no database " * 1000)
            for side in SIDES:
                (self.database.parent / ("ExMan.db" + side)).write_bytes(b"of another time")
        elif self.damage == "torn":
            self.break_down()
        elif self.damage == "missing":
            self.leave_a_log()
        self.copied.write_bytes(OLD_FILE + b"<!-- changed -->\n")
        self.lost, self.lost_sides = self.present(), self.sides(self.database.parent)
        self.begin = snapshot.take(self.private_library)

    def leave_a_log(self):
        """Removes the database, but not what a program has written into its write-ahead log since."""
        log = self.database.parent / "ExMan.db-wal"
        connection = self.connect()
        connection.execute("PRAGMA wal_autocheckpoint = 0")
        connection.execute("UPDATE Tb_XManConfig SET KeyValue = 'of another time'")
        left = log.read_bytes() if log.exists() else None
        connection.close()
        self.database.unlink()
        if left is not None:
            log.write_bytes(left)

    def sides(self, folder):
        """The files beside a damaged database."""
        files = [folder / ("ExMan.db" + side) for side in SIDES] if self.damage == "damaged" else []
        return [file.read_bytes() if file.exists() else None for file in files]

    def assert_half_way(self):
        """Database and file are each what they were or what they are to be."""
        for now, lost, target in zip(self.present(), self.lost, self.target):
            self.assertIn(now, (lost, target))

    def assert_restored_or_not(self, result):
        """What a restore says is true, and it has done all or nothing."""
        self.assertIn(result.status, STATUSES, result.err.decode())
        self.assert_half_way()
        if result.status == ALL_DONE or result.out:
            self.assertEqual(result.out.decode(), f"restored: {self.saved.name}\n")
            self.assertEqual(self.present(), self.target)
        elif result.status == NOT_WRITTEN:
            self.assertIn(self.present(), (self.lost, self.target))
        elif result.status not in (KILLED, ABORTED):
            self.assertEqual(self.present(), self.lost, result.err.decode())
            self.assertEqual(self.sides(self.database.parent), self.lost_sides, result.err.decode())

    def assert_way_on(self, moment):
        """From such a moment the next restore leads to the state before, and what the first one
        replaced can be brought back."""
        state = snapshot.key(moment)
        if state in self.judged:
            return
        self.judged.add(state)
        self.assertEqual(self.present(self.saved), self.target)
        self.assertEqual(self.assert_restores(self.target), self.saved.name)
        backup = next((backup for backup in self.backups_of(RESTORING)
                       if self.present(backup) == self.lost and self.sides(backup) == self.lost_sides), None)
        self.assertIsNotNone(backup, "what was there cannot be had back")
        if self.damage != "missing":
            result = self.run_again("--restore", backup.name)
            self.assertEqual(result.out.decode(), f"restored: {backup.name}\n", result.err.decode())
            self.assertEqual(self.present(), self.lost)
            self.assertEqual(self.sides(self.database.parent), self.lost_sides)
