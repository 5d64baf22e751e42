import shutil

from harness.deploy import (INCOMPLETE, INDESIGN, NO_APPLICATION, NO_DATABASE, NOT_ROOT, RUNNING, USAGE,
                            DeployTest)
from harness.machine import DATABASE

MANAGER = "Adobe Extension Manager CC.app/Contents/MacOS/Adobe Extension Manager CC"


class Refusals(DeployTest):
    """What stops a run before it changes anything, with a dry run as with a real one."""

    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)

    def assert_both_refuse(self, status, log, **how):
        for arguments in ([], ["--dry-run"]):
            self.assert_refuses(arguments, status, log, **how)

    def test_another_user_than_root(self):
        self.assert_both_refuse(NOT_ROOT, "please start this as root", options=["--user", "501"])
        self.assert_refuses(["--restore"], NOT_ROOT, "please start this as root", options=["--user", "501"])

    def test_the_extension_manager_is_running(self):
        manager = self.folder / MANAGER
        manager.parent.mkdir(parents=True)
        shutil.copy("/bin/cat", manager)
        for arguments in ([], ["--dry-run"], ["--restore"]):
            before = self.state()
            # The manager, here a program that waits for input, has started when it answers.
            result = self.run_inside(
                "/bin/bash", "-c", 'coproc "$0"; echo >&"${COPROC[1]}"; read -ru "${COPROC[0]}"; "$@"',
                manager, self.package / "tamsel-deploy", *arguments, options=[
                    "--own-processes", "--bind", self.applications, "/Applications"])
            self.assertEqual((result.out, result.status), (b"", RUNNING))
            self.assertIn(b"the Extension Manager is running; please quit it", result.err)
            self.assertEqual(self.state(), before)

    def test_it_cannot_be_told_whether_the_extension_manager_is_running(self):
        self.assert_both_refuse(RUNNING, "it cannot be told", options=self.stand_in("exit 3", "pgrep"))

    def test_no_database(self):
        self.database.unlink()
        for arguments in ([], ["--dry-run"], ["--verify"]):
            self.assert_refuses(arguments, NO_DATABASE, "there is no database " + DATABASE)

    def test_no_tables(self):
        self.change("DROP TABLE Tb_XManConfig")
        for arguments in ([], ["--dry-run"], ["--verify"]):
            self.assert_refuses(arguments, NO_DATABASE, "no such table: Tb_XManConfig")

    def test_a_database_of_another_kind(self):
        self.database.write_bytes(b"x" * 4096)
        self.assert_both_refuse(NO_DATABASE, "file is not a database")

    def test_an_exclusive_lock(self):
        self.hold("BEGIN EXCLUSIVE")
        self.assert_both_refuse(NO_DATABASE, "database is locked")

    def test_a_database_that_may_not_be_read(self):
        self.database.chmod(0)
        result = self.deploy("--verify")
        self.database.chmod(0o600)
        self.assertEqual((result.out, result.status), (b"", NO_DATABASE))
        self.assertIn(b"unable to open database file", result.err)

    def test_no_application(self):
        shutil.rmtree(self.applications / "Adobe InDesign 2020")
        for arguments in ([], ["--dry-run"], ["--verify"]):
            self.assert_refuses(arguments, NO_APPLICATION, "no supported application was found")

    def test_an_incomplete_program(self):
        for name in ("Resources/XManConfigV2.xml", "Tamsel"):
            (self.package / name).unlink()
            for arguments in ([], ["--dry-run"], ["--verify"]):
                self.assert_refuses(arguments, INCOMPLETE, f"{self.package / name} is missing")

    def test_wrong_usage(self):
        for arguments, log in ((["--no"], "option --no is unknown"), (["-x"], "option -x is unknown"),
                               (["--verify", "--dry-run"], "option --dry-run is unknown or not the first"),
                               (["--restore", "--verify"], "option --verify is unknown or not the first"),
                               ([INDESIGN, "--dry-run"], "option --dry-run is unknown or not the first"),
                               ([INDESIGN, "-h"], "option -h is unknown or not the first"),
                               (["--version", "--help"], "option --help is unknown or not the first"),
                               (["--help", "x"], "--help takes no argument"),
                               (["-h", "x"], "--help takes no argument"),
                               (["--version", ""], "--version takes no argument"),
                               (["--restore", "a", "b"], "only one backup")):
            self.assert_refuses(arguments, USAGE, log)
