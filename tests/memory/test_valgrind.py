from harness.machine import BUILD, DATABASE, expected
from harness.registration import INDESIGN, RegistrationTest
from harness.valgrind import watched


class Valgrind(RegistrationTest):
    """No ordinary run reads or frees what it must not, or leaves anything behind."""

    def setUp(self):
        super().setUp()
        self.need("valgrind")

    def assert_clean(self, arguments, name, status=0, options=()):
        log = self.folder / "valgrind"
        result = self.run_inside(*watched(log, BUILD / "Tamsel", *arguments), options=options)
        self.assertEqual(log.read_text(), "")
        self.assert_result(result, expected(name), status=status)

    def test_every_form_but_a_registration(self):
        for arguments, name in (([], "no-arguments"), (["-h"], "help"), (["-r"], "one-argument"),
                                (["-x", INDESIGN], "two-arguments"),
                                (["-r", INDESIGN, "x"], "unknown-command")):
            with self.subTest(name):
                self.assert_clean(arguments, name + ".out")

    def test_a_registration_and_its_repair(self):
        for _ in range(2):
            self.assert_clean(["-r", INDESIGN], "adobe-indesign-2020.out")

    def test_a_write_ahead_log(self):
        self.rows("PRAGMA journal_mode = wal")
        self.assert_clean(["-r", INDESIGN], "adobe-indesign-2020.out")

    def test_paths_without_a_supported_application(self):
        self.assert_clean(["-r", "/Applications/Adobe Photoshop 2020.app"], "unsupported.out")
        self.assert_clean(["-r", "Adobe InDesign 2020.app"], "file-not-found.out")

    def test_statements_that_fail(self):
        self.assert_clean(["-r", INDESIGN], "read-only.out", options=("--read-only", DATABASE))
        self.assert_clean(["-r", "/it's/Adobe InDesign 2020.app"], "quote-in-folder.out")
        writer = self.connect()
        writer.execute("BEGIN EXCLUSIVE")
        self.assert_clean(["-r", INDESIGN], "exclusively-locked.out")
        writer.execute("ROLLBACK")
        self.database.write_bytes(b"")
        self.assert_clean(["-r", INDESIGN], "database-empty.out")

    def test_a_missing_database(self):
        self.database.unlink()
        self.assert_clean(["-r", INDESIGN], "database-not-found.out", status=1)
