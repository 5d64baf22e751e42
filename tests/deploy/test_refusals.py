import shutil

from harness.deploy import (ALL_DONE, ANOTHER_RUN, BACKUPS, DAMAGED, INCOMPLETE, IN_USE, INCOPY, INDESIGN,
                            NO_APPLICATION, NO_BACKUP, NO_DATABASE, NO_FILE, NOT_REGISTERED, NOT_RESTORED,
                            NOT_ROOT, OWN, RUNNING, DeployTest)
from harness.machine import CONFIGURATION, DATABASE

MANAGER = "Adobe Extension Manager CC.app/Contents/MacOS/Adobe Extension Manager CC"
FAILED = f"failed: {INDESIGN}\n"


class RefusalTest(DeployTest):
    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)

    def assert_all_refuse(self, commands, status, *log, **how):
        for arguments in commands:
            with self.subTest(arguments):
                self.assert_refuses([*arguments, "--wait", "0"], status, *log, **how)


class BeforeAnythingIsTouched(RefusalTest):
    """What stops a run before it looks at the applications leaves no trace at all."""

    def assert_without_trace(self, commands, status, *log, **how):
        before = self.state()
        self.assert_all_refuse(commands, status, *log, **how)
        self.assertEqual(self.state(), before)

    def test_another_user_than_root(self):
        commands = [[], ["--dry-run"], ["--restore"], ["--restore", "0001-2026-01-01T000000Z"], ["--list"]]
        self.assert_without_trace(commands, NOT_ROOT, "root", options=["--user", "501"])

    def test_the_extension_manager_is_running(self):
        manager = self.folder / MANAGER
        manager.parent.mkdir(parents=True)
        shutil.copy("/bin/cat", manager)
        # The manager, here a program that waits for input, has started once it answers.
        running = ["/bin/bash", "-c", 'coproc "$0"; echo >&"${COPROC[1]}"; read -ru "${COPROC[0]}"; "$@"',
                   manager]
        self.assert_without_trace([[], ["--dry-run"], ["--restore"]], RUNNING,
                                  "the Extension Manager is running", before=running)
        for arguments in (["--verify"], ["--list"]):
            self.assertNotEqual(self.deploy(*arguments, before=running).status, RUNNING)

    def test_it_cannot_be_told_whether_the_extension_manager_is_running(self):
        for script in ("exit 3", "exit 2", "kill -9 $$"):
            self.assert_without_trace([[], ["--dry-run"], ["--restore"]], RUNNING, "cannot be told",
                                      options=self.stand_in(script, "pgrep"))

    def test_no_database(self):
        self.database.unlink()
        commands = [], ["--dry-run"], ["--verify"]
        self.assert_without_trace(commands, NO_DATABASE, DATABASE)
        self.database.parent.rmdir()
        self.assert_without_trace(commands, NO_DATABASE, DATABASE)
        shutil.rmtree(self.private_library / "Application Support")
        self.assert_without_trace(commands, NO_DATABASE, DATABASE)

    def test_no_regular_file_is_no_database(self):
        self.database.unlink()
        self.database.mkdir()
        self.assert_without_trace([[], ["--dry-run"], ["--verify"]], DAMAGED, DATABASE)

    def test_no_application(self):
        shutil.rmtree(self.applications / "Adobe InDesign 2020")
        self.assert_without_trace([[], ["--dry-run"], ["--verify"]], NO_APPLICATION, "/Applications")

    def test_an_incomplete_program(self):
        for name in ("Resources/XManConfigV2.xml", "Tamsel"):
            (self.package / name).unlink()
            self.assert_without_trace([[], ["--dry-run"], ["--verify"]], INCOMPLETE, str(self.package / name))

    def test_a_program_that_cannot_be_started(self):
        (self.package / "Tamsel").chmod(0o644)
        self.assert_without_trace([[], ["--dry-run"], ["--verify"]], INCOMPLETE, str(self.package / "Tamsel"))

    def test_a_backup_needs_no_program_to_be_restored(self):
        backup = self.deploy_once()
        (self.package / "Tamsel").unlink()
        shutil.rmtree(self.package / "Resources")
        self.assert_deploys(["--restore"], ALL_DONE, f"restored: {backup.name}\n")

    def test_a_wrong_application_alone(self):
        self.assert_without_trace([["/missing.app"], ["--dry-run", "/missing.app"]], NO_APPLICATION,
                                  out="not found: /missing.app\n")

    def test_the_earlier_reason_counts(self):
        as_user = ["--user", "501"]
        manager = self.stand_in("exit 0", "pgrep")
        (self.package / "Tamsel").unlink()
        self.assert_without_trace([[]], NOT_ROOT, options=[*as_user, *manager])
        self.assert_without_trace([[]], INCOMPLETE, options=manager)
        shutil.copy("/bin/true", self.package / "Tamsel")
        self.database.unlink()
        self.assert_without_trace([[]], RUNNING, options=manager)
        self.assert_without_trace([["/missing.app"]], NO_DATABASE)


class AfterTheApplications(RefusalTest):
    """From there on every application gets its line, whatever stops the run."""

    def assert_both_refuse(self, status, *log, **how):
        self.assert_all_refuse([[INDESIGN], ["--dry-run", INDESIGN], []], status, *log, out=FAILED, **how)

    def test_another_run(self):
        self.deploy_once()
        self.change("DELETE FROM Tb_XManConfig WHERE ProdID = 190")
        self.hold_run_lock()
        self.assert_all_refuse([[INDESIGN], []], ANOTHER_RUN, "another run", out=FAILED)
        self.assert_all_refuse([["--restore"]], ANOTHER_RUN, "another run")
        self.assert_refuses(["--dry-run"], ALL_DONE, out=f"would register: {INDESIGN}\n")
        self.assert_verified(f"not registered: {INDESIGN}\n", NOT_REGISTERED)
        self.assertEqual(self.deploy("--list").status, ALL_DONE)

    def test_a_folder_of_backups_that_is_none(self):
        self.own.mkdir(parents=True)
        self.backups.write_text("in the way")
        self.assert_both_refuse(NO_BACKUP, BACKUPS)

    def test_a_folder_of_our_own_that_is_none(self):
        self.own.write_text("in the way")
        self.assert_both_refuse(NO_BACKUP)

    def test_a_folder_of_backups_that_cannot_be_written(self):
        self.backups.mkdir(parents=True, mode=0o700)
        self.assert_both_refuse(NO_BACKUP, options=["--read-only", BACKUPS])

    def test_no_room_at_all(self):
        """Not even to read a write-ahead log."""
        fill = 'cp -a "$0/." /Library/; cat /dev/zero >/Library/filled 2>&-; exec "$@"'
        for journal in ("DELETE", "WAL"):
            self.rows(f"PRAGMA journal_mode = {journal}")
            self.assert_both_refuse(NO_BACKUP, "no backup could be made",
                                    options=["--tmpfs", "1000000", "/Library"],
                                    before=["sh", "-c", fill, self.private_library])

    def test_a_folder_of_backups_that_others_may_write(self):
        self.backups.mkdir(parents=True)
        for mode in (0o777, 0o770, 0o702, 0o1777):
            self.backups.chmod(mode)
            self.assert_both_refuse(NO_BACKUP, BACKUPS)

    def test_a_folder_of_backups_that_others_may_read_is_closed(self):
        self.backups.mkdir(parents=True)
        self.backups.chmod(0o755)
        self.assert_refuses(["--dry-run"], ALL_DONE, out=f"would register: {INDESIGN}\n")
        self.deploy_once()
        self.assertEqual(self.backups.stat().st_mode & 0o7777, 0o700)

    def test_a_missing_table(self):
        for table in ("Tb_XManConfig", "Tb_ProductInfoV2"):
            self.create_database(self.schema)
            self.change(f"DROP TABLE {table}")
            self.assert_both_refuse(DAMAGED, table)
            self.assert_all_refuse([["--verify"]], DAMAGED, table, out=f"failed: {INDESIGN}\n")

    def test_a_missing_column(self):
        for table, column in (("Tb_ProductInfoV2", "AppPath"), ("Tb_ProductInfoV2", "SuiteID"),
                              ("Tb_XManConfig", "KeyValue")):
            self.create_database(self.schema)
            self.change(f"ALTER TABLE {table} RENAME COLUMN {column} TO Other")
            self.assert_both_refuse(DAMAGED, column)

    def test_a_database_of_another_kind(self):
        for content in (b"x" * 4096, b"", b"SQLite format 3\0", b"<xml/>\n"):
            self.database.write_bytes(content)
            self.assert_both_refuse(DAMAGED)
            self.assert_all_refuse([["--verify"]], DAMAGED, out=FAILED)

    def test_a_view_in_the_place_of_a_table(self):
        self.change("ALTER TABLE Tb_XManConfig RENAME TO Other;"
                    "CREATE VIEW Tb_XManConfig AS SELECT * FROM Other")
        self.assert_both_refuse(DAMAGED)

    def test_a_damaged_database(self):
        page = 4096
        self.change("CREATE INDEX Ix_Name ON Tb_XManConfig (KeyName, KeyValue)")
        self.database.write_bytes(self.database.read_bytes()[:-page] + bytes(page))
        self.assert_all_refuse([[], ["--dry-run"]], DAMAGED, out=FAILED)

    def test_an_exclusive_lock(self):
        self.hold("BEGIN EXCLUSIVE")
        self.assert_both_refuse(IN_USE)
        self.assert_all_refuse([["--verify"]], IN_USE, out=FAILED)

    def test_a_database_that_may_not_be_read(self):
        self.database.chmod(0)
        result = self.deploy("--verify", options=["--user", "501"])
        self.database.chmod(0o600)
        self.assertEqual((result.out, result.status), (FAILED.encode(), NOT_ROOT))

    def test_a_database_that_may_not_be_written(self):
        self.assert_both_refuse(NOT_REGISTERED, options=["--read-only", DATABASE])

    def test_a_volume_that_may_not_be_written(self):
        self.assert_both_refuse(NOT_REGISTERED, options=["--read-only", CONFIGURATION])

    def test_a_folder_of_the_database_that_may_not_be_written(self):
        """A journal could not be made in it."""
        self.database.parent.chmod(0o555)
        self.addCleanup(self.database.parent.chmod, 0o755)
        self.assert_both_refuse(NOT_REGISTERED)

    def test_nothing_to_do_where_nothing_may_be_written(self):
        self.deploy_once()
        for path in (DATABASE, CONFIGURATION):
            for arguments in (["--dry-run"], []):
                self.assert_refuses(arguments, ALL_DONE, out=f"registered: {INDESIGN}\n",
                                    options=["--read-only", path])

    def test_nothing_to_do_and_no_place_for_a_backup(self):
        self.deploy_once()
        self.assert_both_refuse(NO_BACKUP, options=["--read-only", OWN])
        shutil.rmtree(self.backups)
        self.assert_both_refuse(NO_BACKUP, options=["--read-only", OWN])

    def test_a_folder_of_the_file_that_may_not_be_written(self):
        self.configuration.chmod(0o555)
        self.addCleanup(self.configuration.chmod, 0o755)
        for arguments in ([INDESIGN], ["--dry-run", INDESIGN]):
            before = self.installed()
            self.assert_deploys(arguments, NO_FILE, FAILED)
            self.assertEqual(self.installed(), before)

    def test_the_first_failure_gives_the_status(self):
        arguments = ["/missing.app", INDESIGN, "/Applications", INCOPY]
        self.add_applications(INCOPY)
        self.assert_refuses([*arguments, "--wait", "0"], NO_APPLICATION,
                            out=f"not found: /missing.app\nfailed: {INDESIGN}\n"
                            f"not an application bundle: /Applications\nfailed: {INCOPY}\n",
                            options=["--read-only", DATABASE])
        self.hold("BEGIN EXCLUSIVE")
        self.assert_refuses([INDESIGN, "/missing.app", "--wait", "0"], NO_APPLICATION,
                            out=f"failed: {INDESIGN}\nnot found: /missing.app\n")

    def test_a_dry_run_finds_what_a_run_would(self):
        """Together with the other tests here, each of which expects the same status of both."""
        self.copied.mkdir()
        self.assert_both_refuse(NO_FILE, CONFIGURATION + "/XManConfigV2.xml")

    def test_no_backup_to_restore(self):
        self.assert_refuses(["--restore"], NOT_RESTORED)
        self.assertFalse(self.copied.exists())
