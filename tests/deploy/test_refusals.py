"""What stops a run before it changes anything, and says so to a dry run, too."""

import os
import shutil

from harness.deploy import (ALL_DONE, BACKUPS, DAMAGED, FAILED, INCOMPLETE, INDESIGN, NOT_REGISTERED,
                            NOT_ROOT, NO_APPLICATION, NO_BACKUP, NO_DATABASE, NO_FILE, OWN,
                            REGISTERED, RUNNING, USAGE, DeployTest)
from harness.machine import CONFIGURATION, DATABASE

MENDING = "bring back a backup with --restore\n"


class RefusalTest(DeployTest):
    present = (INDESIGN,)

    def assert_all_refuse(self, commands, status, *log, **how):
        for arguments in commands:
            with self.subTest(arguments):
                self.assert_unchanged([*arguments, "--wait", "0"], status, *log, **how)


class First(RefusalTest):
    def test_what_is_looked_at_first_gives_the_status(self):
        """One thing after another goes wrong, each looked at before the ones that were wrong already."""
        options, arguments = [], ["--wait", "0", INDESIGN]
        for status, spoil in (
                (NO_FILE, self.copied.mkdir), (NO_APPLICATION, lambda: arguments.append("/missing.app")),
                (NO_DATABASE, self.database.unlink),
                (RUNNING, lambda: options.extend(self.stand_in("exit 0", "pgrep"))),
                (INCOMPLETE, (self.package / "Tamsel").unlink),
                (NOT_ROOT, lambda: options.extend(["--user", "501"])),
                (USAGE, lambda: arguments.append("--no"))):
            spoil()
            for command in ([], ["--dry-run"]):
                self.assertEqual(self.deploy(*command, *arguments, options=options).status, status)


class BeforeTheApplications(RefusalTest):
    """There are no lines, and no trace at all."""

    def assert_without_trace(self, commands, status, *log, **how):
        before = self.state()
        self.assert_all_refuse(commands, status, *log, **how)
        self.assertEqual(self.state(), before)

    def test_another_user_than_root(self):
        self.assert_without_trace([[], ["--dry-run"], ["--restore"], ["--list"]], NOT_ROOT,
                                  "this needs root; start it with sudo\n", options=["--user", "501"])

    def test_the_extension_manager_is_running(self):
        running = self.stand_in("exit 0", "pgrep")
        self.assert_without_trace([[], ["--dry-run"], ["--restore"]], RUNNING,
                                  "the Extension Manager is running; quit it and try again", options=running)
        self.assertEqual(self.deploy("--verify", options=running).status, NOT_REGISTERED)
        self.assert_unchanged(["--list"], ALL_DONE, options=running)

    def test_it_cannot_be_told_whether_it_is_running(self):
        for script in ("exit 3", "kill -9 $$"):
            self.assert_without_trace([[], ["--dry-run"], ["--restore"]], RUNNING,
                                      "it cannot be told whether the Extension Manager is running\n",
                                      options=self.stand_in(script, "pgrep"))
        self.assert_without_trace([[]], RUNNING, "it cannot be told",
                                  options=["--bind", "/dev/null", os.path.realpath("/usr/bin/pgrep")])

    def test_no_database(self):
        for remove in (self.database.unlink, self.database.parent.rmdir,
                       lambda: (self.configuration.rmdir(), self.configuration.write_text("no folder")),
                       lambda: shutil.rmtree(self.private_library / "Application Support")):
            remove()
            self.assert_without_trace([[], ["--dry-run"], ["--verify"]], NO_DATABASE, f"there is no database"
                                      f" {DATABASE}; is the Extension Manager installed?\n")

    def test_a_database_that_is_no_plain_file(self):
        self.database.rename(self.folder / "theirs")
        for make in (lambda: self.database.symlink_to(self.folder / "theirs"), self.database.mkdir):
            self.database.unlink(missing_ok=True)
            make()
            self.assert_without_trace([[], ["--dry-run"], ["--verify"]], DAMAGED,
                                      f"{DATABASE} is not a plain file\n")

    def test_no_application(self):
        shutil.rmtree(self.applications / "Adobe InDesign 2020")
        self.assert_without_trace([[], ["--dry-run"], ["--verify"]], NO_APPLICATION,
                                  "no supported application is in /Applications\n")

    def test_an_incomplete_installation(self):
        for name in ("Resources/XManConfigV2.xml", "Tamsel"):
            (self.package / name).rename(self.folder / "away")
            self.assert_without_trace([[], ["--dry-run"], ["--verify"]], INCOMPLETE, "the installation is"
                                      f" incomplete, please repeat it: there is no {self.package / name}\n")
            (self.package / name).symlink_to("/etc/passwd")
            self.assert_without_trace([[]], INCOMPLETE)
            (self.package / name).unlink()
            (self.folder / "away").rename(self.package / name)


class AfterTheApplications(RefusalTest):
    """Every application gets its line, and a run and a dry run agree."""

    def assert_both_refuse(self, status, *log, **how):
        self.assert_all_refuse([[], ["--dry-run"]], status, *log, out=FAILED, **how)

    def test_folders_that_somebody_else_could_have_written(self):
        for folder in (OWN, BACKUPS):
            path, theirs = self.inside(folder), self.folder / "theirs"
            theirs.mkdir(parents=True, exist_ok=True)
            path.parent.mkdir(parents=True, exist_ok=True)
            sentence = f"{folder} must be a folder of root's that nobody else can write, and no link"
            for mode in ("file", "link", 0o777, 0o770, 0o702, 0o1777):
                with self.subTest(folder, mode=mode):
                    if mode == "file":
                        path.write_text("in the way")
                    elif mode == "link":
                        path.symlink_to(theirs)
                    else:
                        path.mkdir(exist_ok=True)
                        path.chmod(mode)
                    self.assert_both_refuse(NO_BACKUP, sentence)
                    self.assert_all_refuse([["--restore"], ["--list"]], NO_BACKUP, sentence)
                    if mode in ("file", "link"):
                        path.unlink()
            path.chmod(0o755)
        self.assertEqual(list(theirs.iterdir()), [])
        # One that others may only read is closed to them.
        self.deploy_once()
        self.assertEqual([path.stat().st_mode & 0o7777 for path in (self.own, self.backups)], [0o755, 0o700])

    def test_folders_of_somebody_else(self):
        self.backups.mkdir(parents=True)
        for folder in (BACKUPS, OWN):
            options = ["--bind", "/usr", folder]
            if os.getuid() == 0:
                options = []
                os.chown(self.inside(folder), 1, 1)
            self.assert_both_refuse(NO_BACKUP, f"{folder} must be a folder of root's", options=options)
            if os.getuid() == 0:
                os.chown(self.inside(folder), 0, 0)

    def test_a_folder_of_backups_that_cannot_be_written(self):
        self.backups.mkdir(parents=True)
        self.assert_both_refuse(NO_BACKUP, "no backup could be made: ", options=["--read-only", BACKUPS])
        shutil.rmtree(self.own)
        self.own.mkdir()
        self.assert_both_refuse(NO_BACKUP, "no backup could be made: ", options=["--read-only", OWN])

    def test_a_missing_table_or_column(self):
        for sql, table in (("DROP TABLE Tb_XManConfig", "Tb_XManConfig"),
                           ("DROP TABLE Tb_ProductInfoV2", "Tb_ProductInfoV2"),
                           ("ALTER TABLE Tb_ProductInfoV2 RENAME COLUMN SuiteID TO X", "Tb_ProductInfoV2"),
                           ("ALTER TABLE Tb_XManConfig RENAME COLUMN KeyValue TO Other", "Tb_XManConfig")):
            with self.subTest(sql):
                self.create_database(self.schema)
                self.change(sql)
                self.assert_all_refuse([[], ["--dry-run"], ["--verify"]], DAMAGED,
                                       f"the database has no table {table} (",
                                       "; start the Extension Manager once, or " + MENDING, out=FAILED)

    def test_a_database_of_another_kind(self):
        for content in (b"x" * 4096, b"<xml/>\n", b"SQLite format 3\0" + b"\xff" * 4096):
            with self.subTest(content[:9]):
                self.database.write_bytes(content)
                self.assert_all_refuse([[], ["--dry-run"], ["--verify"]], DAMAGED, "; " + MENDING, out=FAILED)

    def test_a_damaged_database(self):
        """Only one who looks at all of it can know."""
        self.change("CREATE INDEX Ix_Name ON Tb_XManConfig (KeyName, KeyValue)")
        self.database.write_bytes(self.database.read_bytes()[:-4096] + bytes(4096))
        self.assert_both_refuse(DAMAGED, "the database is damaged; " + MENDING)

    def test_a_database_that_cannot_be_written(self):
        for path in (DATABASE, CONFIGURATION):
            self.assert_both_refuse(NOT_REGISTERED, "the database cannot be written: ",
                                    options=["--read-only", path])
        # No journal could be made beside it.
        self.database.parent.chmod(0o555)
        self.addCleanup(self.database.parent.chmod, 0o755)
        self.assert_both_refuse(NOT_REGISTERED, f"the database cannot be written: {DATABASE[:-9]}: ")

    def test_wrong_paths_count_before_rows_and_database(self):
        arguments = ["--wait", "0", INDESIGN, "/missing.app"]
        out = FAILED + "not found: /missing.app\n"
        self.assert_unchanged(arguments, NO_APPLICATION, out=out, options=["--read-only", DATABASE])
        self.hold("BEGIN EXCLUSIVE")
        self.assert_unchanged(arguments, NO_APPLICATION, out=out)


class RealProcesses(RefusalTest):
    own_processes = True

    def test_the_extension_manager_is_found_by_its_path(self):
        manager = self.folder / "Adobe Extension Manager CC.app/Contents/MacOS/Adobe Extension Manager CC"
        manager.parent.mkdir(parents=True)
        shutil.copy("/bin/cat", manager)
        # The manager, here a program that waits for input, has started once it answers.
        running = ["/bin/bash", "-c",
                   'coproc "$0"; echo >&"${COPROC[1]}"; read -ru "${COPROC[0]}"; "$@"', manager]
        for arguments in ([], ["--dry-run"], ["--restore"]):
            self.assert_unchanged([*arguments, "--wait", "0"], RUNNING, before=running)
        self.assert_deploys([], ALL_DONE, REGISTERED)
