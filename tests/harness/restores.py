"""What a restore promises whatever happens to it, seen from outside."""

from harness import snapshot
from harness.deploy import ALL_DONE, NOT_RESTORED, NOT_WRITTEN, OLD_FILE
from harness.promises import ABORTED, BACK, KILLED, SIDES, STATUSES, PromiseTest

SAVED = "what was there before is in "


class RestoreTest(PromiseTest):
    """INDESIGN is registered, a program has written something since, and somebody restores."""

    arguments = ("--restore",)
    earlier = ()  # what was registered before
    damage = None  # or "damaged", "hot journal" or "missing"

    def setUp(self):
        super().setUp()
        if self.earlier:
            self.run_again(*self.earlier)
            self.before = self.condition()
        result = self.run_again(*self.options, *self.paths)
        self.assertEqual((self.registered(), result.status), (list(self.paths), ALL_DONE), result)
        self.target, self.saved = self.before, self.all_backups()[-1]
        self.change("INSERT INTO Tb_XManConfig VALUES (12, 'late', 'row')")
        if self.damage == "damaged":
            self.database.write_bytes(b"no database " * 1000)
            for side in SIDES[:2]:
                self.database.with_name("ExMan.db" + side).write_bytes(b"of another time")
        elif self.damage == "hot journal":
            self.leave_hot_journal()
        elif self.damage == "missing":
            self.leave_a_log()
        self.copied.write_bytes(OLD_FILE + b"<!-- changed -->\n")
        self.lost, self.files = self.condition(), self.plain_files(self.database.parent)
        self.begin = snapshot.take(self.private_library)

    def leave_a_log(self):
        """Removes the database, but not what a program has written into its write-ahead log since."""
        log = self.database.with_name("ExMan.db-wal")
        connection = self.connect()
        connection.execute("PRAGMA wal_autocheckpoint = 0")
        connection.execute("UPDATE Tb_XManConfig SET KeyValue = 'of another time'")
        left = log.read_bytes()
        connection.close()
        self.database.unlink()
        log.write_bytes(left)

    @staticmethod
    def plain_files(folder):
        return {path.name: path.read_bytes() for path in folder.glob("ExMan.db*")}

    def check(self, result):
        """What a restore says is true. Database and file are each what they were or what they are
        to be; where it failed, the log says which."""
        self.assertIn(result.status, STATUSES, result)
        now, log = self.condition(), result.err.decode()
        for each in zip(now, self.lost, self.target):
            content, lost, target = each
            if content and lost and content != lost and isinstance(content[0], tuple):
                self.assertIn(content[0], (lost[0], target[0]))  # owner and mode follow
            else:
                self.assertIn(content, (lost, target))
        if result.status == ALL_DONE or result.out:
            self.assertEqual((result.out.decode(), now), (f"restored: {self.saved.name}\n", self.target))
        elif result.status not in (KILLED, ABORTED, NOT_RESTORED, NOT_WRITTEN):
            self.assertEqual(now, self.lost, result)
        if result.status in (KILLED, ABORTED) or not self.is_log_whole:
            return
        is_restored = f": restored: {self.saved.name}\n" in log
        may_be = is_restored or "the database was restored" in log or "may have been restored or not" in log
        if is_restored:
            self.assertEqual(now, self.target, log)
        elif "the database was restored" in log:
            self.assertEqual((now[0][0], result.status), (self.target[0][0], NOT_RESTORED), log)
        elif may_be:
            self.assertEqual((now[1], result.status), (self.lost[1], NOT_RESTORED), log)
        else:
            self.assertEqual(now, self.lost, log)
            # Whoever opens a database may recover it, but what is none stays as it is.
            if self.damage == "damaged":
                self.assertEqual(self.plain_files(self.database.parent), self.files)
        self.assertEqual(BACK in log or SAVED in log, may_be, log)

    def saves_what_was_lost(self, backup):
        if self.damage == "damaged":
            return (backup / "damaged").is_dir() and self.plain_files(backup / "damaged") == self.files
        # SQLite takes a journal that it cannot look at for none.
        return self.condition(backup) == self.lost or self.damage == "hot journal" and (
            self.condition(backup / "damaged")[0] == self.lost[0]
            or "half written" in str(self.condition(backup)))

    def assert_recoverable(self, moment):
        """From such a moment the next restore leads to the state before, and what the first one
        replaced can be brought back, unless it was no database."""
        state = snapshot.key(moment)
        if state in self.judged:
            return
        self.judged.add(state)
        self.assertEqual(self.condition(self.saved), self.target)
        self.assertEqual(self.assert_restores(self.target), self.saved.name)
        backup = next((backup for backup in self.all_backups() if self.saves_what_was_lost(backup)), None)
        self.assertIsNotNone(backup, "what was there is lost")
        if (backup / "ExMan.db").exists():
            self.assert_restores(self.condition(backup), backup.name)
