"""What tamsel-deploy promises whatever happens to it, seen from outside."""

import fcntl
import os
import re
import shlex
import shutil
import sqlite3

from harness import snapshot
from harness.deploy import (ALL_DONE, INCOPY, NAME, NOT_RESTORED, NOT_WRITTEN, OPEN, CopyTest, DeployTest)
from harness.faults import ELSEWHERE
from harness.machine import MEMORY, expected
from harness.registration import INDESIGN, PRODUCTS, file_name
from harness.shell import Shell

TABLES = ("Tb_ProductInfoV2", "Tb_XManConfig")
NUMBERS = {name: number for number, name in PRODUCTS.items()}
REGISTERED = f"registered: {INDESIGN}\n".encode()
RESTORED = re.compile(rb"restored: (\S+)\n")
OTHER = "/Applications/Adobe InDesign CC 2019.app"
KILLED = 128 + 9
ABORTED = 128 + 6
TERMINATED = 128 + 15
STATUSES = (*range(NOT_WRITTEN + 1), KILLED, ABORTED, TERMINATED)


def product(path):
    """The number of the product whose application is at a path."""
    return NUMBERS[os.path.basename(path)[:-len(".app")]]


def product_rows(path):
    """What a registration of that application leaves in both tables."""
    name, folder = os.path.basename(path)[:-len(".app")], os.path.dirname(path)
    text = expected(file_name(name) + ".rows").decode().replace("/Applications/" + name, folder)
    rows = sorted(tuple(line.split("|")) for line in text.splitlines())
    return [[row for row in rows if len(row) == width] for width in (9, 3)]


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
    """Applications to be registered, in one of the possible worlds: the database with a rollback
    journal or a write-ahead log, the product new or registered in another folder, with a
    configuration file or without."""

    place = MEMORY
    paths = (INDESIGN,)
    journal = "delete"  # or "wal"
    repair = False
    file = None  # what is there
    options = ()  # of each registration

    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN, INCOPY, OTHER)
        if self.repair:
            for table, rows in zip(TABLES, product_rows(f"{ELSEWHERE}/Adobe InDesign 2020.app")):
                for row in rows:
                    self.rows(f"INSERT INTO {table} VALUES ({', '.join('?' * len(row))})", *row)
        if self.file is not None:
            self.copied.write_bytes(self.file)
            self.copied.chmod(0o640)
        self.rows(f"PRAGMA journal_mode = {self.journal}")
        self.database.chmod(0o666)
        self.shell = self.open_shell()
        self.command = [self.package / "tamsel-deploy", "--wait", "0"]
        self.patient = [self.package / "tamsel-deploy", "--wait", "600"]
        self.before = self.present()
        self.begin = snapshot.take(self.private_library)
        self.judged = set()

    def open_shell(self):
        """A sandbox in which every run has the same random numbers, so that equal moments of two
        runs have equal files."""
        numbers = self.folder / "numbers"
        numbers.write_bytes(bytes(range(256)))
        return Shell(self, self.inside_options(["--bind", numbers, "/dev/urandom"]))

    def run_again(self, *arguments):
        """A run to which nothing happens."""
        return self.shell.run(*self.command, *arguments)

    def together(self, *runs):
        """Starts patient runs with these arguments all at once. Returns what each said, and its status."""
        line = "".join(f"{shlex.join(map(str, [*self.patient, *run]))} >{number}.out 2>{number}.err & "
                       f"run{number}=$!; " for number, run in enumerate(runs))
        line += "".join(f"wait $run{number}; echo $? >{number}.status; " for number in range(len(runs)))
        self.shell.run_line(f"{line} true >out 2>err")
        return [((self.folder / f"{number}.out").read_bytes(),
                 int((self.folder / f"{number}.status").read_text())) for number in range(len(runs))]

    def settle(self):
        """Waits until a Tamsel that has outlived its run has ended."""
        lock = self.own / "lock"
        if lock.is_file():
            with open(lock, "ab") as file:
                fcntl.flock(file, fcntl.LOCK_EX)

    # What is there

    def present(self, folder=None):
        """Content and mode of the database and the file, here or in a backup. What is no database
        is given by its bytes, a missing one as None."""
        database, file = self.database, self.copied
        if folder is not None:
            database, file = folder / "ExMan.db", folder / "XManConfigV2.xml"
        try:
            content = self.dump(database) if database.is_file() else None
        except sqlite3.DatabaseError:
            content = database.read_bytes()
        return [(content, database.stat().st_mode if content is not None else None),
                (file.read_bytes(), file.stat().st_mode) if file.is_file() else None]

    def file_after(self):
        """The file that a registration leaves."""
        if self.file is not None and "--replace-file" not in self.options:
            return self.before[1]
        return self.shipped.read_bytes(), self.before[1][1] if self.before[1] else 0o100644

    def holds(self, registered):
        """Whether these of the applications are registered, and everything else is as before."""
        (content, mode), file = self.present()
        (content_before, mode_before), file_before = self.before
        own = [split(content, {product(path)})[0] == (
            product_rows(path) if path in registered else split(content_before, {product(path)})[0])
            for path in self.paths]
        numbers = set(map(product, self.paths))
        return (all(own) and split(content, numbers)[1] == split(content_before, numbers)[1]
                and mode == mode_before and file == (self.file_after() if registered else file_before))

    def backups_of(self, note):
        return [backup for backup in self.all_backups() if self.notes(backup)[0] == note]

    # What must be true

    def assert_nothing_left(self):
        """A run that finished has cleared away everything but its backups."""
        self.assertLessEqual({path.name for path in self.own.iterdir()}, {"Backups", "lock"})
        self.assertEqual(sorted(self.backups.iterdir()), sorted(self.all_backups()))
        self.assertLessEqual({path.name for path in self.configuration.iterdir()},
                             {"DB", "XManConfigV2.xml"})
        self.assertLessEqual({path.name for path in self.database.parent.iterdir()}, {"ExMan.db"})

    def assert_never_lost(self):
        """At every moment the database is sound, with the rows of others, and the file is whole."""
        (content, mode), file = self.present()
        (content_before, mode_before), file_before = self.before
        numbers = set(map(product, self.paths))
        self.assertEqual(split(content, numbers)[1], split(content_before, numbers)[1])
        self.assertEqual(mode, mode_before)
        self.assertIn(file, (file_before, self.file_after()))

    def assert_backups(self):
        """Every listed backup exists, is whole, and holds the state before."""
        result = self.run_again("--list")
        self.assertEqual((result.status, result.err), (ALL_DONE, b""))
        names = [line.split()[0].decode() for line in result.out.splitlines()]
        self.assertEqual(names, [backup.name for backup in self.all_backups()])
        for backup in self.all_backups():
            self.assertRegex(backup.name, NAME)
            self.assertEqual(self.present(backup), self.before)

    def assert_registers(self, *paths):
        """A run that registers these applications, or else all those to be registered."""
        paths = paths or self.paths
        result = self.run_again(*self.options, *paths)
        self.assertEqual((result.out.decode(), result.status),
                         ("".join(f"registered: {path}\n" for path in paths), ALL_DONE),
                         result.err.decode())
        self.assert_nothing_left()

    def assert_restores(self, state, *arguments):
        """A restore that brings back a state; returns the name of the backup."""
        result = self.run_again("--restore", *arguments)
        self.assertEqual(result.status, ALL_DONE, result.err.decode())
        self.assertRegex(result.out, RESTORED)
        self.assertEqual(self.present(), state)
        self.assert_nothing_left()
        return RESTORED.fullmatch(result.out)[1].decode()

    def assert_said(self, result):
        """What a registration says is true, and it has registered an application or done nothing."""
        self.assertIn(result.status, STATUSES, result.err.decode())
        self.assert_never_lost()
        lines = result.out.decode().splitlines()
        said = [path for path in self.paths if f"registered: {path}" in lines]
        if result.status == ALL_DONE:
            self.assertEqual((len(lines), said), (len(self.paths), list(self.paths)))
        elif len(said) == len(self.paths):
            # Nothing that came after that can make it untrue.
            self.assertIn(result.status, (NOT_WRITTEN, KILLED, ABORTED, TERMINATED), result.err.decode())
        if result.status == NOT_WRITTEN:
            self.assertTrue(any(self.holds(self.paths[:count]) for count in range(len(self.paths) + 1)))
        elif result.status == NOT_RESTORED:
            self.assertEqual(len(self.backups_of(OPEN)), 1)
        elif result.status not in (KILLED, ABORTED) or said:
            self.assertTrue(self.holds(said), f"{result.status} {result.out} {result.err}")

    def assert_way_on(self, moment):
        """From such a moment the next run completes the registration, and from there a restore
        leads to the state before; so does a restore at once, and a run for another application."""
        state = snapshot.key(moment)
        if state in self.judged:
            return
        self.judged.add(state)
        self.assert_backups()
        # A run that has ended with one of them registered was an attempt of its own.
        ended = not self.backups_of(OPEN) and not self.holds(self.paths)
        first = self.present() if ended else self.before

        self.put(moment)
        self.assert_registers()
        self.assertTrue(self.holds(self.paths))
        self.assert_restores(first)

        self.put(moment)
        if self.all_backups():
            self.assert_restores(self.before)
        else:
            self.assertEqual(self.present(), self.before)
            self.assertEqual(self.run_again("--restore").status, NOT_RESTORED)
            self.assertEqual(self.present(), self.before)

        self.put(moment)
        self.assert_leads_back_first()

    def assert_leads_back_first(self):
        """A run for another application leaves each of these as it was, or whole."""
        whole = [split(self.dump(), {product(path)})[0] == product_rows(path) for path in self.paths]
        self.assert_registers(OTHER)
        content = self.dump()
        self.assertEqual(split(content, {product(OTHER)})[0], product_rows(OTHER))
        numbers = set(map(product, (OTHER, *self.paths)))
        self.assertEqual(split(content, numbers)[1], split(self.before[0][0], numbers)[1])
        for path, was_whole in zip(self.paths, whole):
            own, before = (split(each, {product(path)})[0] for each in (content, self.before[0][0]))
            self.assertIn(own, [before] + [product_rows(path)] * was_whole)
        self.assertEqual(self.present()[1], self.file_after())

    def put(self, moment):
        snapshot.put(self.private_library, moment)


class HalfWritten(CopyTest):
    """Before a PromiseTest: its database is half written, so that it is recovered in a copy."""

    def setUp(self):
        super().setUp()
        self.break_down()
        self.begin = snapshot.take(self.private_library)

    def check(self, result):
        """Only a run that is killed, or says so, leaves a copy behind."""
        super().check(result)
        left = self.copies()
        for copy in left:
            shutil.rmtree(copy)
        self.assertTrue(not left or result.status > 128 or b"left behind: " in result.err, result)
