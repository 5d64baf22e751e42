"""What tamsel-deploy promises whatever happens to it, seen from outside."""

import os
import re
import sqlite3

from harness import snapshot
from harness.deploy import ALL_DONE, INCOPY, NOT_RESTORED, NOT_WRITTEN, OLD_FILE, DeployTest
from harness.machine import MEMORY
from harness.registration import INDESIGN, PRODUCTS, TABLES, rows_of
from harness.shell import Shell

NUMBERS = {name: number for number, name in PRODUCTS.items()}
SIDES = ("-journal", "-wal", "-shm")
BACK = "to bring back the state before: "
KILLED, ABORTED, TERMINATED = 128 + 9, 128 + 6, 128 + 15
STATUSES = (*range(NOT_WRITTEN + 1), KILLED, ABORTED, TERMINATED)


def product(path):
    """The number of the product whose application is at a path."""
    return NUMBERS[os.path.basename(path)[:-len(".app")]]


def product_rows(path):
    """What a registration of that application leaves in both tables."""
    return [sorted(rows) for rows in rows_of(os.path.basename(path)[:-len(".app")], os.path.dirname(path))]


def split(content, numbers):
    """What belongs to these products in a database's content, each table's rows in order, and all
    the rest with its row numbers."""
    schema, tables = content
    own = [sorted(tuple(map(str, row[1:])) for row in tables[table] if str(row[1]) in numbers)
           for table in TABLES]
    rest = {table: [row for row in rows if table not in TABLES or str(row[1]) not in numbers]
            for table, rows in tables.items()}
    return own, (schema, rest)


class PromiseTest(DeployTest):
    """A registration in one of the possible worlds."""

    place = MEMORY
    present = (INDESIGN, INCOPY)
    paths = (INDESIGN,)
    journal = "delete"  # or "wal"
    repair = False  # INDESIGN is registered in another folder
    options = ()  # of each registration
    arguments = None  # of the run that is tried; by default, it registers
    is_log_whole = True

    def setUp(self):
        super().setUp()
        if self.repair:
            for table, rows in zip(TABLES, product_rows("/Volumes/Elsewhere/Adobe InDesign 2020.app")):
                for row in rows:
                    self.rows(f"INSERT INTO {table} VALUES ({', '.join('?' * len(row))})", *row)
        if self.file is not None:
            self.copied.chmod(0o640)
        self.rows(f"PRAGMA journal_mode = {self.journal}")
        self.database.chmod(0o666)
        # With the same random numbers in every run, equal moments have equal files.
        numbers = self.folder / "numbers"
        numbers.write_bytes(bytes(range(256)))
        self.bound = self.inside_options(["--bind", numbers, "/dev/urandom"])
        self.shell = Shell(self, self.bound)
        self.command = [self.package / "tamsel-deploy", "--wait", "0"]
        self.arguments = self.arguments or [*self.options, *self.paths]
        self.known, self.judged = {}, set()
        self.before = self.condition()
        self.begin = snapshot.take(self.private_library)

    def run_again(self, *arguments):
        """A run to which nothing happens."""
        return self.shell.run(*self.command, *arguments)

    def put(self, moment):
        snapshot.put(self.private_library, moment)

    def reset(self):
        self.put(self.begin)

    # What is there

    def condition(self, folder=None):
        """Content and mode of the database and the file, here or in a backup. What is no database
        is given by its bytes, a missing one as None."""
        database, file = self.database, self.copied
        if folder is not None:
            database, file = folder / "ExMan.db", folder / "XManConfigV2.xml"
        files = [file.read_bytes() if file.is_file() else None
                 for file in (database, *(database.with_name(database.name + side) for side in SIDES[:2]))]
        content = None
        if files[0] is not None:
            if tuple(files) not in self.known:
                try:
                    self.known[tuple(files)] = self.dump(database)
                except sqlite3.DatabaseError:
                    self.known[tuple(files)] = files[0]
            content = self.known[tuple(files)], database.stat().st_mode
        return content, (file.read_bytes(), file.stat().st_mode) if file.is_file() else None

    def file_after(self):
        """The file that a registration leaves."""
        if self.file is not None and "--replace-file" not in self.options:
            return self.before[1]
        return self.shipped.read_bytes(), self.before[1][1] if self.before[1] else 0o100644

    def registered(self):
        """Those of the applications that are registered. All other rows are as before."""
        (content, mode), (before, mode_before) = self.condition()[0], self.before[0]
        numbers = set(map(product, self.paths))
        self.assertEqual(split(content, numbers)[1], split(before, numbers)[1])
        self.assertEqual(mode, mode_before)
        found = []
        for path in self.paths:
            own, own_before = (split(each, {product(path)})[0] for each in (content, before))
            self.assertIn(own, (own_before, product_rows(path)))
            found += [path] if own == product_rows(path) else []
        return found

    # What must be true

    def check(self, result):
        """What a registration says is true: of each application, and with its status. It is whole,
        with its file and one backup; or nothing has changed."""
        self.assertIn(result.status, STATUSES, result)
        lines, done, file = result.out.decode().splitlines(), self.registered(), self.condition()[1]
        said = [path for path in self.paths if f"registered: {path}" in lines]
        if result.status in (KILLED, ABORTED):
            # It may have been about to commit, or to say so.
            self.assertIn(done, ([], list(self.paths)))
            self.assertIn(file, [self.file_after(), self.before[1]][:1 if done else 2], result)
            self.assertLessEqual(set(said), set(done))
            return
        self.assertEqual(file, self.file_after() if done else self.before[1], result)
        self.assertEqual(len(self.all_backups()), bool(done), result)
        if result.status != NOT_WRITTEN:
            self.assertEqual(said, done, result)
            self.assertIn(len(lines), (0, len(self.paths)))
            self.assertEqual(result.status == ALL_DONE,
                             done == list(self.paths) and result.status != TERMINATED, result)
        if self.is_log_whole:
            log = result.err.decode()
            self.assertEqual([path for path in self.paths if f": registered: {path}\n" in log], done, log)
            self.assertEqual(BACK in log, bool(done), log)

    def assert_nothing_left(self):
        """There is nothing beside the backups, the database and the file."""
        left = {path.name for folder in (self.own, self.backups, self.configuration, self.database.parent)
                for path in folder.iterdir()} - {backup.name for backup in self.all_backups()}
        self.assertLessEqual(left, {"Backups", "lock", "DB", "XManConfigV2.xml", "ExMan.db"})

    def assert_registers(self):
        result = self.run_again(*self.options, *self.paths)
        self.assertEqual((result.out.decode(), result.status),
                         ("".join(f"registered: {path}\n" for path in self.paths), ALL_DONE), result.err)
        self.assertEqual((self.registered(), self.condition()[1]), (list(self.paths), self.file_after()))

    def assert_restores(self, state, *name):
        """A restore that brings back a state; returns the name of the backup."""
        result = self.run_again("--restore", *name)
        self.assertEqual(result.status, ALL_DONE, result.err)
        self.assertEqual(self.condition(), state)
        self.assert_nothing_left()
        return re.fullmatch(rb"restored: (\S+)\n", result.out)[1].decode()

    def assert_recoverable(self, moment):
        """From such a moment, the next run registers everything, and from there a restore leads to
        the state before the first; so does a restore at once."""
        state = snapshot.key(moment)
        if state in self.judged:
            return
        self.judged.add(state)
        was_done, first = self.registered(), self.before
        if was_done and was_done != list(self.paths):
            first = self.condition()  # an attempt of its own
        result = self.run_again("--list")
        self.assertEqual((result.status, result.err), (ALL_DONE, b""))
        self.assertEqual([line.split()[0].decode() for line in result.out.splitlines()],
                         [backup.name for backup in self.all_backups()])
        for backup in self.all_backups():
            self.assertEqual(self.condition(backup), self.before)
        self.assert_registers()
        if was_done != list(self.paths):
            self.assert_nothing_left()
        self.assert_restores(first)

        self.put(moment)
        if self.all_backups():
            self.assert_restores(self.before)
        else:
            self.assertEqual(self.run_again("--restore").status, NOT_RESTORED)
            self.assertEqual(self.condition(), self.before)


# The worlds in which a registration is attacked.
WORLDS = {
    "New": {},
    "TwoReplacingTheFile": {"paths": (INDESIGN, INCOPY), "repair": True, "file": OLD_FILE,
                            "options": ("--replace-file",)},
    "TwoWithAWriteAheadLog": {"paths": (INDESIGN, INCOPY), "journal": "wal"},
    "RepairKeepingTheFile": {"repair": True, "file": OLD_FILE},
    "RepairReplacingTheFileWithAWriteAheadLog": {"repair": True, "file": OLD_FILE, "journal": "wal",
                                                 "options": ("--replace-file",)},
}
