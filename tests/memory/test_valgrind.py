from harness.machine import BUILD, MachineTest, expected
from harness.registration import INDESIGN
from harness.valgrind import watched


class Valgrind(MachineTest):
    """No ordinary run reads or frees what it must not, or leaves anything behind."""

    def assert_clean(self, arguments, name, status=0):
        self.need("valgrind")
        log = self.folder / "valgrind"
        result = self.run_inside(*watched(log, BUILD / "Tamsel", *arguments))
        self.assertEqual(log.read_text(), "")
        self.assert_result(result, expected(name), status=status)

    def test_every_form(self):
        for arguments, name in (([], "no-arguments.out"), (["-h"], "help.out"), (["-r"], "one-argument.out"),
                                (["-x", INDESIGN], "two-arguments.out"),
                                (["-r", INDESIGN, "x"], "unknown-command.out"),
                                (["-r", INDESIGN], "adobe-indesign-2020.out"),
                                (["-r", "Adobe InDesign 2020.app"], "file-not-found.out"),
                                (["-r", "/it's/Adobe InDesign 2020.app"], "quote-in-folder.out")):
            with self.subTest(name):
                self.assert_clean(arguments, name)

    def test_a_database_that_is_none(self):
        self.database.write_bytes(b"")
        self.assert_clean(["-r", INDESIGN], "database-empty.out")
        self.database.unlink()
        self.assert_clean(["-r", INDESIGN], "database-not-found.out", status=1)
