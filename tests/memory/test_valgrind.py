from harness.machine import BUILD, MachineTest
from harness.registration import INDESIGN

FORMS = ([], ["-h"], ["-r"], ["-x", INDESIGN], ["-r", INDESIGN, "x"], ["-r", "Adobe InDesign 2020.app"],
         ["-r", INDESIGN])


class Valgrind(MachineTest):
    """No ordinary run reads or frees what it must not, or leaves anything behind."""

    def assert_clean(self, *arguments):
        self.need("valgrind")
        log = self.folder / "valgrind"
        # Pipes for a debugger would have the same names in two sandboxes at once.
        result = self.run_inside("valgrind", "--quiet", "--vgdb=no", f"--log-file={log}", "--leak-check=full",
                                 "--error-exitcode=99", BUILD / "Tamsel", *arguments)
        self.assertEqual(log.read_text(), "")
        self.assertIn(result.status, (0, 1))

    def test_every_form(self):
        for arguments in FORMS:
            with self.subTest(arguments):
                self.assert_clean(*arguments)

    def test_a_database_that_is_none(self):
        self.database.write_bytes(b"")
        self.assert_clean("-r", INDESIGN)
        self.database.unlink()
        self.assert_clean("-r", INDESIGN)
