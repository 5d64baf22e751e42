"""The order in which tamsel-deploy writes to disk: a power failure cannot be tried, but what it finds can."""

import re
import shutil

from harness.deploy import BACKUPS, OLD_FILE
from harness.machine import CONFIGURATION, DATABASE
from harness.promises import WORLDS, PromiseTest
from harness.restores import RestoreTest

LINE = re.compile(r"(\w+)\((.*)\) += [^-].*")
WRITE, SYNC = ("write", "pwrite64", "ftruncate"), ("fsync", "fdatasync")
RENAME, REMOVE = ("rename", "renameat", "renameat2"), ("unlink", "unlinkat")
NEW_BACKUP = BACKUPS + "/.incomplete"
FILE = CONFIGURATION + "/XManConfigV2.xml"
NEW_FILE, OLD = (f"{CONFIGURATION}/.XManConfigV2.xml.tamsel-{which}" for which in ("new", "old"))
FOLDER = DATABASE.rpartition("/")[0]


class Order:
    """What a run does to files, in order."""

    def setUp(self):
        super().setUp()
        self.need("strace")
        log = self.folder / "trace"
        result = self.shell.run("strace", "-qq", "-y", "-s", "4096", "-o", log,
                                *self.command, *self.arguments)
        self.assertEqual(result.status, 0, result.err)
        self.calls = [match.groups() for match in map(LINE.fullmatch, log.read_text().splitlines()) if match]

    def find(self, names, path, after=-1):
        """The positions of these calls of a path: its last component may be a pattern. Of a rename,
        the path is the new name."""
        text = re.compile(rf'["<]{path}[">](, \w+)?$' if names is RENAME else rf'["<]{path}[">]')
        found = [i for i, (name, arguments) in enumerate(self.calls)
                 if i > after and name in names and text.search(arguments)]
        self.assertTrue(found, f"no {names} of {path}")
        return found

    def assert_order(self, *steps):
        """These are positions, each after the one before."""
        self.assertEqual(list(steps), sorted(set(steps)))

    def synced(self, path, after):
        return self.find(SYNC, path, after)[0]

    def named(self, path):
        """Where something gets this name."""
        position, = self.find(RENAME, path)
        return position

    def assert_synced(self, path, before):
        """It was written, and then synced, before that position."""
        written = [i for i in self.find(WRITE, path) if i < before][-1]
        self.assert_order(written, self.synced(path, written), before)


class Registration(Order, PromiseTest):
    locals().update(WORLDS["TwoReplacingTheFile"])

    def commit(self):
        """Where they are written and committed, each step on disk before the next."""
        written = self.find(WRITE, DATABASE)
        committed, = self.find(REMOVE, DATABASE + "-journal")
        return written[0], self.synced(DATABASE, written[-1]), committed, self.synced(FOLDER, committed)

    def test_backup_file_rows_and_note_come_one_after_another_each_on_disk(self):
        backup, file = self.named(BACKUPS + "/0001-[^/]*"), self.named(FILE)
        for name in ("ExMan.db", "XManConfigV2.xml", "unfinished"):
            self.assert_synced(f"{NEW_BACKUP}/{name}", backup)
        self.assert_synced(NEW_FILE, file)
        self.assert_order(self.synced(NEW_BACKUP, -1), backup, self.synced(BACKUPS, backup), file,
                          self.synced(CONFIGURATION, file), *self.commit(),
                          self.named(BACKUPS + "/0001-[^/]*/note"), self.find(REMOVE, OLD)[0])

    def test_owners_are_kept(self):
        # In the sandbox, there is no other user.
        for path in (NEW_BACKUP + "/ExMan.db", NEW_BACKUP + "/XManConfigV2.xml", NEW_FILE):
            self.find(["fchown"], path)

    def test_nothing_writes_the_file_itself(self):
        self.assertFalse([call for call in self.calls if call[0] in WRITE and f"<{FILE}>" in call[1]])

    def test_no_file_of_the_database_is_closed_while_the_process_holds_its_locks(self):
        # That would drop them all. While the backup is made, the transaction has begun.
        for name, text in self.calls[self.find(["mkdir"], NEW_BACKUP)[0]:self.commit()[-1]]:
            self.assertFalse(name == "close" and re.search(f"<{DATABASE}(-shm)?>", text), text)


class RegistrationWithAWriteAheadLog(Registration):
    locals().update(WORLDS["RepairReplacingTheFileWithAWriteAheadLog"])

    def commit(self):
        written = self.find(WRITE, DATABASE + "-wal")
        return written[0], written[-1], self.synced(DATABASE + "-wal", written[-1])


class ManyBackups(PromiseTest):
    def setUp(self):
        super().setUp()
        self.assert_registers()
        for number in range(2, 10):
            shutil.copytree(self.all_backups()[0], self.backups / f"{number:04}-2026-01-31T235959Z")
        self.unregister()


class RemovalOfOldBackups(Order, ManyBackups):
    def test_each_loses_its_name_before_anything_in_it_goes(self):
        self.assertEqual([int(backup.name[:4]) for backup in self.all_backups()], [1, 5, 6, 7, 8, 9, 10])
        removed = self.find(REMOVE, NEW_BACKUP + "/ExMan.db")
        self.assert_order(self.find(RENAME, NEW_BACKUP)[0], removed[0])
        self.assertFalse([text for name, text in self.calls if name in REMOVE and BACKUPS + "/0002-" in text])


class RestoreOverADamagedDatabase(Order, RestoreTest):
    damage = "damaged"
    file = OLD_FILE
    options = ("--replace-file",)

    def test_what_was_there_is_on_disk_before_anything_changes_and_the_file_comes_last(self):
        backup, database, file = map(self.named, (BACKUPS + "/0002-[^/]*", DATABASE, FILE))
        for name in ("damaged/ExMan.db", "damaged/ExMan.db-journal", "damaged/ExMan.db-wal",
                     "XManConfigV2.xml", "note"):
            self.assert_synced(f"{NEW_BACKUP}/{name}", backup)
        self.assert_synced(FOLDER + "/.ExMan.db.tamsel-new", database)
        self.assert_synced(NEW_FILE, file)
        # A journal of another time must never meet the new database.
        removed = self.find(REMOVE, DATABASE + "-(journal|wal)")
        self.assertEqual(len(removed), 2)
        self.assert_order(self.synced(NEW_BACKUP + "/damaged", -1), self.synced(NEW_BACKUP, -1), backup,
                          self.synced(BACKUPS, backup), *removed, self.synced(FOLDER, removed[-1]), database,
                          self.synced(FOLDER, database), file, self.synced(CONFIGURATION, file))


class Restore(Order, RestoreTest):
    def test_the_database_is_written_in_place_under_a_journal_and_before_the_file_goes(self):
        backup = self.named(BACKUPS + "/0002-[^/]*")
        written = self.find(WRITE, DATABASE)
        committed = self.find(REMOVE, DATABASE + "-journal")[-1]
        file, = self.find(REMOVE, FILE)
        self.assert_order(backup, self.synced(BACKUPS, backup), self.find(WRITE, DATABASE + "-journal")[0],
                          self.synced(DATABASE + "-journal", backup), written[0],
                          self.synced(DATABASE, written[-1]), committed, self.synced(FOLDER, committed),
                          file, self.synced(CONFIGURATION, file))
