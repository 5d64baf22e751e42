"""A registration by Tamsel to which something happens, and what must hold whatever happens."""

from harness.machine import BUILD, MEMORY
from harness.registration import INDESIGN, TABLES, RegistrationTest, registered, rows_of
from harness.shell import Shell

NUMBER = "190"


class FaultTest(RegistrationTest):
    """In each of these runs one thing goes wrong. Whatever it is, the database stays sound and what
    the run says is true, and the next run completes the registration."""

    place = MEMORY
    journal = "delete"  # or "wal"
    repair = False  # whether the product is registered already, in another folder
    command, arguments = [BUILD / "Tamsel"], ["-r", INDESIGN]

    def setUp(self):
        super().setUp()
        self.before = rows_of("Adobe InDesign 2020", "/Volumes/Elsewhere") if self.repair else [[], []]
        self.after = rows_of("Adobe InDesign 2020", "/Applications/Adobe InDesign 2020")
        for table, rows in zip(TABLES, self.before):
            for row in rows:
                self.rows(f"INSERT INTO {table} VALUES ({', '.join('?' * len(row))})", *row)
        self.rows(f"PRAGMA journal_mode = {self.journal}")
        self.others = self.other_rows(NUMBER)
        self.content = self.database.read_bytes()
        self.judged = set()
        self.shell = Shell(self, [])

    def reset(self):
        """Makes the database and its folder what they were."""
        for file in self.database.parent.iterdir():
            file.unlink()
        self.database.write_bytes(self.content)
        (self.configuration / "XManConfigV2.xml").unlink(missing_ok=True)

    def judge(self, result, name):
        """What a run has left must be sound and agree with what it said, and the next run must complete
        the registration. Equal results and files are judged once."""
        files = tuple(sorted((file.name, file.read_bytes()) for file in self.database.parent.iterdir()))
        if (result, files, name) not in self.judged:
            self.judged.add((result, files, name))
            self.assert_sound(self.said(result, name))
            self.assert_whole(self.shell.run(*self.command, *self.arguments))

    def assert_sound(self, said):
        """Compares the database with what the run claims to have written, if it lived to claim anything."""
        self.assertEqual(self.rows("PRAGMA integrity_check"), [("ok",)])
        self.assertEqual(self.other_rows(NUMBER), self.others)
        for table, before, after, claimed in zip(TABLES, self.before, self.after, said):
            rows = self.rows(f"SELECT * FROM {table} WHERE ProdID = {NUMBER}")
            self.assertIn(sorted(tuple(map(str, row)) for row in rows),
                          [sorted(after)] if claimed else [sorted(before), sorted(after)])

    def assert_whole(self, result):
        """Compares a run and what it leaves with a registration without any fault."""
        self.assert_result(result, registered())
        self.assert_sound([True, True])
        self.assert_copied()
        self.assert_nothing_left_open()
