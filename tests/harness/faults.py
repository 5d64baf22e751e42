"""A registration to which something happens, and what must hold whatever happens."""

import re

from harness.machine import BUILD, MEMORY, expected
from harness.registration import INDESIGN, RegistrationTest
from harness.report import Claims, claims
from harness.shell import Shell

NUMBER = "190"
WHOLE = expected("adobe-indesign-2020.out")
ROWS = [line.decode().split("|") for line in expected("adobe-indesign-2020.rows").splitlines()]
ELSEWHERE = "/Volumes/Elsewhere"

CALL = re.compile(r"^(\w+)\((.*)$", re.MULTILINE)
INJECTED = re.compile(r"\(INJECTED\)|^\+\+\+ killed by", re.MULTILINE)


class FaultTest(RegistrationTest):
    """In each of these runs one thing goes wrong. Whatever it is, the database stays sound and what
    the run says is true, and the next run completes the registration."""

    place = MEMORY
    journal = "delete"  # or "wal"
    repair = False  # whether the product is registered already, in another folder

    def setUp(self):
        super().setUp()
        self.before = self.rows_in(ELSEWHERE) if self.repair else [[], []]
        self.after = self.rows_in("/Applications/Adobe InDesign 2020")
        for table, rows in zip(("Tb_ProductInfoV2", "Tb_XManConfig"), self.before):
            for row in rows:
                values = ", ".join(f"'{value}'" for value in row)
                self.change(f"INSERT INTO {table} VALUES ({values})")
        self.rows(f"PRAGMA journal_mode = {self.journal}")
        self.others = self.other_rows(NUMBER)
        self.content = self.database.read_bytes()
        self.points = 0
        self.shell = Shell(self, [])

    def run_inside(self, *command, path=None):
        """Runs a command in the sandbox that is already open."""
        return self.shell.run(*(["env", f"PATH={path}"] if path else []), *command)

    @staticmethod
    def rows_in(folder):
        """The product's rows in both tables if the application is in this folder."""
        rows = [[value.replace("/Applications/Adobe InDesign 2020", folder) for value in row]
                for row in ROWS]
        return [rows[:1], rows[1:]]

    def restore(self):
        """Makes the database and its folder what they were."""
        for file in self.database.parent.iterdir():
            file.unlink()
        self.database.write_bytes(self.content)
        (self.configuration / "XManConfigV2.xml").unlink(missing_ok=True)

    def assert_sound(self, said):
        """Compares the database with what the run claims to have written, if it lived to claim anything."""
        self.assertEqual(self.rows("PRAGMA integrity_check"), [("ok",)])
        self.assertEqual(self.other_rows(NUMBER), self.others)
        lines = [line.split("|") for line in self.product_rows(NUMBER).decode().splitlines()]
        tables = [[row for row in lines if len(row) == width] for width in (9, 3)]
        self.assertEqual(sum(map(len, tables)), len(lines))
        for rows, before, after, claimed in zip(tables, self.before, self.after, said):
            self.assertIn(sorted(rows), (sorted(before), sorted(after)))
            if claimed:
                self.assertEqual(sorted(rows), sorted(after))

    def assert_completed(self):
        """Runs the program undisturbed."""
        self.assert_whole(self.run_tamsel("-r", INDESIGN))

    def assert_whole(self, result):
        """Compares a run and what it leaves with a registration without any fault."""
        self.assert_result(result, WHOLE)
        self.assert_sound(Claims(True, True))
        self.assert_copied()
        self.assert_nothing_left_open()

    def claims(self, result):
        """What a run that finished claims."""
        found = claims(result.out, "Adobe InDesign 2020")
        self.assertIsNotNone(found, result.out.decode())
        return found

    def trace(self, *options):
        """Runs a registration, the program under strace, and returns its Result and the trace."""
        log = self.folder / "trace"
        result = self.run_inside("strace", "-qq", "-s", "4096", "-o", log, *options,
                                 BUILD / "Tamsel", "-r", INDESIGN)
        return result, log.read_text(errors="replace")

    def calls(self, kinds="all"):
        """The system calls of an undisturbed registration, as pairs of name and arguments."""
        self.need("strace")
        self.restore()
        result, trace = self.trace("-e", f"trace={kinds}")
        self.assert_whole(result)
        return CALL.findall(trace)

    def inject(self, name, number, fault):
        """A registration to whose call of this name and number something happens. The result is
        None if there is no such call."""
        self.restore()
        result, trace = self.trace("-e", f"trace={name}", "-e", f"inject={name}:{fault}:when={number}")
        if INJECTED.search(trace):
            return result
        self.assert_whole(result)
        return None

    def inject_everywhere(self, kinds, fault, check, skipped=()):
        """Lets the fault happen to one call of these kinds after another, beginning after the
        skipped ones, until a run meets none. Each other run is handed to check with the call's name
        and number; then the database must take a registration without any fault."""
        for name in sorted({name for name, _ in self.calls(kinds)}):
            number = skipped.count(name) + 1
            while (result := self.inject(name, number, fault)) is not None:
                with self.subTest(call=name, number=number, fault=fault):
                    check(name, number, result)
                    self.assert_completed()
                self.points += 1
                number += 1
        self.assertGreater(self.points, 0)
        self.print_figure(f"{self.points} points tried: {fault} at {kinds}")
