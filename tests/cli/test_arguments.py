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
