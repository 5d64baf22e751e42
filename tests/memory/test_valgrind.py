from harness.deploy import DeployTest
from harness.machine import BUILD
from harness.registration import INDESIGN

FORMS = ([], ["-h"], ["-r"], ["-x", INDESIGN], ["-r", INDESIGN, "x"], ["-r", "Adobe InDesign 2020.app"],
         ["-r", INDESIGN])
COMMANDS = (["--verify"], ["--dry-run"], [], ["--list"], ["--restore"], ["--help"], ["/no.app"], ["-x"])


class Valgrind(DeployTest):
    """No ordinary run reads or frees what it must not, or leaves anything behind."""

    present = (INDESIGN,)

    def assert_clean(self, program, *arguments):
        self.need("valgrind")
        log = self.folder / "valgrind"
        # Pipes for a debugger would have the same names in two sandboxes at once.
        result = self.run_inside("valgrind", "--quiet", "--vgdb=no", f"--log-file={log}", "--leak-check=full",
                                 "--error-exitcode=99", program, *arguments, options=self.inside_options())
        self.assertEqual(log.read_text(), "")
        self.assertNotEqual(result.status, 99)

    def test_every_form(self):
        for arguments in FORMS:
            with self.subTest(arguments):
                self.assert_clean(BUILD / "Tamsel", *arguments)
        self.unregister()
        for arguments in COMMANDS:
            with self.subTest(arguments):
                self.assert_clean(self.package / "tamsel-deploy", *arguments)

    def test_a_database_that_is_none(self):
        for make in (lambda: self.database.write_bytes(b""), self.database.unlink):
            make()
            self.assert_clean(BUILD / "Tamsel", "-r", INDESIGN)
            self.assert_clean(self.package / "tamsel-deploy")
