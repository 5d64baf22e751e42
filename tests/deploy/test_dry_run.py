"""A dry run finds what would stop a run, and changes nothing."""

import shutil

from harness.deploy import (ALL_DONE, DAMAGED, IN_USE, INCOPY, INDESIGN, LOCK, NO_BACKUP, NO_FILE,
                            NOT_RESTORED, OLD_FILE, OPEN, DeployTest)
from harness.machine import CONFIGURATION, DATABASE

FOLDER = CONFIGURATION + "/DB"


class DryRunTest(DeployTest):
    def setUp(self):
        super().setUp()
        self.add_applications(INCOPY, INDESIGN)

    def assert_both_refuse(self, status, *log, paths=(INCOPY,), **how):
        out = "".join(f"failed: {path}\n" for path in paths)
        with self.subTest(paths):
            self.assert_refuses(["--dry-run", *paths, "--wait", "0"], status, *log, out=out, **how)
            self.assert_deploys([*paths, "--wait", "0"], status, out, *log, **how)

    def damage(self, database):
        """Damages an index, so that only a check finds it."""
        content = database.read_bytes()
        database.write_bytes(content[:-4096] + bytes(4096))


class DryRun(DryRunTest):
    def test_a_lock_file_that_is_none(self):
        self.deploy_once()
        (self.own / "lock").unlink()
        (self.own / "lock").mkdir()
        self.assert_both_refuse(NO_BACKUP, LOCK)

    def test_a_file_that_cannot_be_kept_at_hand(self):
        self.copied.write_bytes(OLD_FILE)
        self.assert_both_refuse(NO_FILE, options=["--read-only", CONFIGURATION + "/XManConfigV2.xml"])

    def test_too_little_room_beside_the_database(self):
        fill = f"cp -a \"$0/.\" '{FOLDER}' && exec \"$@\""
        self.assert_both_refuse(NO_BACKUP, options=["--tmpfs", "600000", FOLDER],
                                before=["sh", "-c", fill, self.database.parent])

    def test_the_earlier_reason_counts(self):
        self.copied.write_bytes(OLD_FILE)
        self.change("CREATE INDEX Ix_Name ON Tb_XManConfig (KeyName, KeyValue)")
        self.damage(self.database)
        self.assert_both_refuse(DAMAGED, options=["--read-only", CONFIGURATION + "/XManConfigV2.xml"])


class AfterAKill(DryRunTest):
    """The first of two applications has arrived, and a run would begin by putting back both."""

    def setUp(self):
        super().setUp()
        self.change("CREATE INDEX Ix_Name ON Tb_XManConfig (KeyName, KeyValue)")
        self.replace_tamsel(f'if [ "$2" = "{INCOPY}" ]; then tamsel "$@"; else kill -KILL $PPID; fi')
        self.deploy(INCOPY, INDESIGN)
        self.replace_tamsel('tamsel "$@"')
        self.backup, = self.all_backups()
        self.assertEqual(self.note(self.backup), (OPEN, [INCOPY, INDESIGN]))

    def assert_both_refuse(self, status, *log, **how):
        for paths in ([INCOPY], [INDESIGN], [INCOPY, INDESIGN]):
            super().assert_both_refuse(status, *log, paths=paths, **how)

    def test_a_database_that_may_not_be_written(self):
        self.assert_both_refuse(NOT_RESTORED, self.backup.name, options=["--read-only", DATABASE])

    def test_nothing_in_the_way(self):
        self.assert_refuses(["--dry-run"], ALL_DONE,
                            out=f"would register: {INCOPY}\nwould register: {INDESIGN}\n")
        self.assert_deploys([], ALL_DONE, f"registered: {INCOPY}\nregistered: {INDESIGN}\n")

    def test_a_lock(self):
        self.hold("BEGIN IMMEDIATE")
        self.assert_both_refuse(IN_USE)

    def test_a_damaged_backup(self):
        self.damage(self.backup / "ExMan.db")
        self.assert_both_refuse(NOT_RESTORED, f"{self.backup.name} is damaged")

    def test_a_backup_without_a_database(self):
        (self.backup / "ExMan.db").unlink()
        self.assert_both_refuse(NOT_RESTORED, self.backup.name)

    def test_no_place_for_a_backup(self):
        shutil.rmtree(self.backups)
        self.backups.write_text("in the way")
        self.assert_both_refuse(NO_BACKUP)
