"""The order in which tamsel-deploy writes to disk: a power failure cannot be tried, but what it finds can."""

import re
import sqlite3
import subprocess

from harness.deploy import BACKUPS, OLD_FILE
from harness.machine import BUILD, CONFIGURATION, DATABASE, ROOT
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
        result = self.shell.run("strace", "-qq", "-y", "-s", "4096", "-o", log, *self.command, *self.arguments)
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
        """Where something gets this name; before that, it has been written and then synced."""
        position, = self.find(RENAME, path)
        return position

    def assert_synced(self, path, before):
        written = [i for i in self.find(WRITE, path) if i < before][-1]
        self.assert_order(written, self.synced(path, written), before)


class Registration(Order, PromiseTest):
    locals().update(WORLDS["TwoReplacingTheFile"])
    arguments = (*WORLDS["TwoReplacingTheFile"]["options"], *WORLDS["TwoReplacingTheFile"]["paths"])

    def test_backup_file_rows_and_note_come_one_after_another_each_on_disk(self):
        backup, file = self.named(BACKUPS + "/0001-[^/]*"), self.named(FILE)
        for name in ("ExMan.db", "XManConfigV2.xml", "unfinished"):
            self.assert_synced(f"{NEW_BACKUP}/{name}", backup)
        self.assert_synced(NEW_FILE, file)
        rows = self.find(WRITE, DATABASE)
        committed, = self.find(REMOVE, DATABASE + "-journal")
        self.assert_order(self.synced(NEW_BACKUP, -1), backup, self.synced(BACKUPS, backup), file,
                          self.synced(CONFIGURATION, file), rows[0], rows[-1], self.synced(DATABASE, rows[-1]),
                          committed, self.synced(FOLDER, committed), self.named(BACKUPS + "/0001-[^/]*/note"),
                          self.find(REMOVE, OLD)[0])

    def test_nothing_writes_the_file_itself(self):
        self.assertFalse([call for call in self.calls if call[0] in WRITE and f"<{FILE}>" in call[1]])

    def test_no_file_of_the_database_is_closed_while_it_is_locked(self):
        # That would drop the locks of the whole process.
        locked = next(i for i, (name, arguments) in enumerate(self.calls)
                      if name == "fcntl" and f"<{DATABASE}>" in arguments and "F_WRLCK" in arguments)
        committed, = self.find(REMOVE, DATABASE + "-journal")
        self.assertGreater(committed, locked)
        for name, arguments in self.calls[locked:committed]:
            self.assertFalse(name == "close" and arguments.endswith(f"<{DATABASE}>"))


class RegistrationWithAWriteAheadLog(Registration):
    locals().update(WORLDS["RepairReplacingTheFileWithAWriteAheadLog"])
    arguments = ("--replace-file", *PromiseTest.paths)
