from harness.machine import MachineTest, expected
from harness.registration import INDESIGN


class Arguments(MachineTest):
    """Every form of the command line but a registration."""

    def assert_form(self, forms, name):
        before = self.database.read_bytes()
        for arguments in forms:
            with self.subTest(arguments[:4]):
                self.assert_result(self.run_tamsel(*arguments), expected(name))
                self.assertEqual(self.database.read_bytes(), before)
                self.assertEqual(list(self.configuration.iterdir()), [self.database.parent])

    def test_none(self):
        self.assert_form([[]], "no-arguments.out")

    def test_help(self):
        self.assert_form([["-h"]], "help.out")

    def test_any_other_single_argument_is_a_request_for_help_too(self):
        self.assert_form([[argument] for argument in (
            "-x", "-r", "-H", "-hh", "-h ", " -h", "--help", "h", "", "-v", "--version", "-?", "-", "--",
            INDESIGN)], "one-argument.out")

    def test_two_arguments_whose_first_is_not_the_command(self):
        self.assert_form([[option, INDESIGN] for option in (
            "-R", "--r", "-rx", "-r ", " -r", "r", "", "-h", "-x", "-", "--")], "two-arguments.out")
        self.assert_form([[INDESIGN, "-r"], ["-h", "-h"], ["-h", "-r"], ["-h", ""]], "two-arguments.out")

    def test_more_than_two_arguments(self):
        self.assert_form([["-r", INDESIGN, ""], ["-r", INDESIGN, INDESIGN], ["-h", "-h", "-h"], ["", "", ""],
                          ["-r", INDESIGN, "a", "b"], ["-r", "--", INDESIGN], ["--", "-r", INDESIGN],
                          ["-r"] * 1000], "unknown-command.out")


class WithoutDatabase(MachineTest):
    """The presence test comes before everything else."""

    def assert_not_found(self):
        for arguments in ([], ["-h"], ["-x"], ["-r"], ["-r", INDESIGN], ["-x", INDESIGN],
                          ["-r", INDESIGN, "x"]):
            with self.subTest(arguments):
                result = self.run_tamsel(*arguments)
                self.assert_result(result, expected("database-not-found.out"), status=1)
        self.assertFalse((self.configuration / "XManConfigV2.xml").exists())

    def test_missing_database(self):
        self.database.unlink()
        self.assert_not_found()
        self.assertEqual(list(self.database.parent.iterdir()), [])

    def test_missing_folder(self):
        self.database.unlink()
        self.database.parent.rmdir()
        self.assert_not_found()
        self.assertEqual(list(self.configuration.iterdir()), [])

    def test_unreadable_database(self):
        before = self.database.read_bytes()
        self.database.chmod(0)
        self.assert_not_found()
        self.database.chmod(0o600)
        self.assertEqual(self.database.read_bytes(), before)

    def test_unreadable_folder(self):
        self.database.parent.chmod(0)
        self.addCleanup(self.database.parent.chmod, 0o700)
        self.assert_not_found()
