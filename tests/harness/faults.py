"""A registration to which something happens, and what must hold whatever happens."""

import re
from collections import Counter

from harness.machine import BUILD, DATABASE, MEMORY, expected
from harness.registration import INDESIGN, Claims, RegistrationTest, registered
from harness.shell import Shell

NUMBER = "190"
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
        self.judged = set()
        self.shell = Shell(self, [])

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

    def judge(self, result, said):
        """What a run has left must be sound and agree with what it said, and the next run must complete
        the registration. Equal results and files are judged once."""
        files = tuple(sorted((file.name, file.read_bytes()) for file in self.database.parent.iterdir()))
        if (result, files) not in self.judged:
            self.judged.add((result, files))
            self.assert_sound(said)
            self.assert_whole(self.shell.run(BUILD / "Tamsel", "-r", INDESIGN))

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

    def assert_whole(self, result):
        """Compares a run and what it leaves with a registration without any fault."""
        self.assert_result(result, registered())
        self.assert_sound(Claims(True, True))
        self.assert_copied()
        self.assert_nothing_left_open()

    def trace(self, *options):
        """Runs a registration, the program under strace, and returns its Result and the trace."""
        self.need("strace")
        self.restore()
        log = self.folder / "trace"
        result = self.shell.run("strace", "-qq", "-s", "4096", "-o", log, *options,
                                BUILD / "Tamsel", "-r", INDESIGN)
        return result, log.read_text(errors="replace")

    def calls(self, kinds):
        """The system calls of these kinds in an undisturbed registration, as pairs of name and number,
        from the presence test on: what the loader and the runtime library do before that is not the
        program's doing."""
        names = {name for name, _ in CALL.findall(self.trace("-e", f"trace={kinds}")[1])}
        result, trace = self.trace()
        self.assert_whole(result)
        numbers, found, started = Counter(), [], False
        for name, arguments in CALL.findall(trace):
            numbers[name] += 1
            started = started or DATABASE in arguments
            if started and name in names:
                found.append((name, numbers[name]))
        return found

    def inject_everywhere(self, kinds, fault, check):
        """Lets the fault happen to one call of these kinds after another. To check go the call's name and
        number and the result of each run; it gives back what the run claims."""
        calls = self.calls(kinds)
        self.assertGreater(len(calls), 0)
        for name, number in calls:
            with self.subTest(call=name, number=number, fault=fault):
                result, trace = self.trace("-e", f"trace={name}",
                                           "-e", f"inject={name}:{fault}:when={number}")
                self.assertRegex(trace, INJECTED)
                self.judge(result, check(name, number, result))
