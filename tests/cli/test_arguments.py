from harness.machine import BUILD, MachineTest, expected
from harness.registration import INDESIGN


class Arguments(MachineTest):
    """Every form of the command line but a registration."""

    def assert_form(self, arguments, name):
        before = self.database.read_bytes()
        self.assert_result(self.run_tamsel(*arguments), expected(name))
        self.assertEqual(self.database.read_bytes(), before)
        self.assertEqual(sorted(self.configuration.iterdir()), [self.database.parent])

    def test_none(self):
        self.assert_form([], "no-arguments.out")

    def test_an_argument_count_of_zero(self):
        result = self.run_inside(BUILD / "tests" / "call_main", "without-arguments")
        self.assert_result(result, expected("unknown-command.out"))

    def test_help(self):
        self.assert_form(["-h"], "help.out")

    def test_any_other_single_argument_is_a_request_for_help_too(self):
        for argument in ("-x", "-r", "-H", "-hh", "-h ", " -h", "--help", "h", "", "help", "-v", "-V",
                         "--version", "version", "-?", "-", "--", INDESIGN):
            with self.subTest(argument):
                self.assert_form([argument], "one-argument.out")

    def test_two_arguments_whose_first_is_not_the_command(self):
        for option in ("-R", "--r", "-rx", "-r ", " -r", "r", "", "-h", "-x", "-v", "--version", "-", "--",
                       INDESIGN):
            with self.subTest(option):
                self.assert_form([option, INDESIGN], "two-arguments.out")

    def test_the_command_behind_its_path(self):
        self.assert_form([INDESIGN, "-r"], "two-arguments.out")

    def test_help_with_a_second_argument(self):
        for argument in ("-h", "-r", "", "x"):
            with self.subTest(argument):
                self.assert_form(["-h", argument], "two-arguments.out")

    def test_more_than_two_arguments(self):
        for arguments in (["-r", INDESIGN, ""], ["-r", INDESIGN, INDESIGN], ["-h", "-h", "-h"],
                          ["", "", ""], ["-r", INDESIGN, "a", "b"], ["-r", "--", INDESIGN],
                          ["--", "-r", INDESIGN], ["-r"] * 1000):
            with self.subTest(arguments[:4]):
                self.assert_form(arguments, "unknown-command.out")


class WithoutDatabase(MachineTest):
    """The presence test comes before everything else."""

    FORMS = ([], ["-h"], ["-x"], ["-r"], ["-r", INDESIGN], ["-x", INDESIGN], ["-r", INDESIGN, "x"])

    def assert_not_found(self):
        for arguments in self.FORMS:
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

    def test_no_argument_count(self):
        self.database.unlink()
        result = self.run_inside(BUILD / "tests" / "call_main", "without-arguments")
        self.assert_result(result, expected("database-not-found.out"), status=1)
