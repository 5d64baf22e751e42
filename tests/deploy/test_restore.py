"""How a backup is brought back, whatever is in its place by then, and taken back again."""

import os
import shutil
import stat

from harness.deploy import (ALL_DONE, BACKUPS, CLOSED, INCOPY, INDESIGN, IN_USE, NOT_RESTORED, NO_BACKUP,
                            NO_FILE, OLD_FILE, OPEN, RESTORING, DeployTest)
from harness.machine import CONFIGURATION, DATABASE

PLAIN = "plain files"


class RestoreTest(DeployTest):
    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)
        self.copied.write_bytes(OLD_FILE)
        self.content = self.dump()

    def assert_restored(self, backup, *arguments, **how):
        self.assert_deploys(["--restore", *arguments], ALL_DONE, f"restored: {backup.name}\n", **how)
        self.assertEqual(self.dump(), self.content)
        self.assertEqual(self.copied.read_bytes(), OLD_FILE)
        self.assertEqual([path.name for path in self.database.parent.iterdir()], ["ExMan.db"])
        self.assertEqual(sorted(path.name for path in self.configuration.iterdir()),
                         ["DB", "XManConfigV2.xml"])


class Which(RestoreTest):
    """Without a name, the state before the last registration, however often it is said."""

    def test_the_state_before_the_last_registration(self):
        backup = self.deploy_once("--replace-file")
        self.assertNotEqual(self.dump(), self.content)
        for _ in range(3):
            self.assert_restored(backup)

    def test_what_a_restore_replaced_is_had_back_by_its_name(self):
        backup = self.deploy_once()
        registered = self.dump()
        self.assert_restored(backup)
        taken = self.all_backups()[-1]
        self.assertEqual(self.note(taken), (RESTORING, [backup.name]))
        self.assert_deploys(["--restore", taken.name], ALL_DONE, f"restored: {taken.name}\n")
        self.assertEqual(self.dump(), registered)
        self.assert_restored(backup)

    def test_a_named_one(self):
        self.content = self.dump()
        first = self.deploy_once()
        self.add_applications(INCOPY)
        self.assert_deploys([INCOPY], ALL_DONE, f"registered: {INCOPY}\n")
        self.assert_restored(first, first.name)

    def test_a_path_into_the_folder_of_the_backups(self):
        backup = self.deploy_once()
        for path in (f"{BACKUPS}/{backup.name}", f"{BACKUPS}/{backup.name}/", f"/{BACKUPS}//{backup.name}",
                     f"{BACKUPS}/./{backup.name}"):
            self.assert_restored(backup, path)
        self.assert_restored(backup, "./" + backup.name, before=["env", "-C", BACKUPS])
        self.assert_restored(backup, "Backups/" + backup.name, before=["env", "-C", os.path.dirname(BACKUPS)])

    def test_a_path_to_anywhere_else(self):
        backup = self.deploy_once()
        elsewhere = self.folder / backup.name
        shutil.copytree(backup, elsewhere)
        (self.backups / "sub").mkdir()
        shutil.copytree(backup, self.backups / "sub" / backup.name)
        (self.folder / "link").symlink_to(elsewhere)
        for path in (elsewhere, f"{BACKUPS}/sub/{backup.name}", f"sub/{backup.name}", f"../{backup.name}",
                     f"{BACKUPS}/../{backup.name}", self.folder / "link", BACKUPS, ".", "..", "", "/",
                     f"{backup.name}/ExMan.db"):
            with self.subTest(path):
                self.assert_refuses(["--restore", path], NOT_RESTORED)

    def test_names_that_are_none(self):
        backup = self.deploy_once()
        for name in ("0002" + backup.name[4:], backup.name + "x", backup.name[1:], "0" + backup.name,
                     "1" + backup.name[4:], "1", "0001", ".incomplete", "2026-01-01T000000Z",
                     "a\nb", backup.name + "\n"):
            self.assert_refuses(["--restore", name], NOT_RESTORED)

    def test_no_backup(self):
        self.assert_refuses(["--restore"], NOT_RESTORED)
        self.assert_refuses(["--restore", "0001-2026-01-01T000000Z"], NOT_RESTORED)

    def test_only_backups_of_a_restore(self):
        backup = self.deploy_once()
        (backup / CLOSED).rename(backup / RESTORING)
        self.assert_refuses(["--restore"], NOT_RESTORED)
        self.assert_restored(backup, backup.name)

    def test_an_unfinished_registration_comes_first(self):
        """Its backup is the state before the first attempt. Once restored, it counts as the last one."""
        first = self.deploy_once()
        (first / CLOSED).rename(first / OPEN)
        self.change("INSERT INTO Tb_XManConfig VALUES (12, 'later', '')")
        shutil.copytree(first, self.backups / "0002-2026-01-01T000000Z")
        (self.backups / "0002-2026-01-01T000000Z" / OPEN).rename(
            self.backups / "0002-2026-01-01T000000Z" / CLOSED)
        self.assert_restored(first)
        self.assertNotIn(OPEN, [self.note(backup)[0] for backup in self.all_backups()])

    def test_a_damaged_backup(self):
        backup = self.deploy_once()
        whole = (backup / "ExMan.db").read_bytes()
        for content in (b"x" * 4096, b"", whole[:4096], whole[:-4096] + bytes(4096)):
            (backup / "ExMan.db").write_bytes(content)
            for arguments in (["--restore"], ["--restore", backup.name]):
                self.assert_refuses(arguments, NOT_RESTORED)
        (backup / "ExMan.db").unlink()
        self.assert_refuses(["--restore"], NOT_RESTORED)

    def test_a_backup_that_is_a_link(self):
        backup = self.deploy_once()
        backup.rename(self.folder / "away")
        backup.symlink_to(self.folder / "away")
        self.assert_refuses(["--restore", backup.name], NOT_RESTORED)
        self.assertEqual(self.deploy("--list").out, b"")


class File(RestoreTest):
    def test_a_file_that_was_not_there_goes(self):
        self.copied.unlink()
        backup = self.deploy_once()
        self.assertTrue(self.copied.exists())
        self.assert_deploys(["--restore"], ALL_DONE, f"restored: {backup.name}\n")
        self.assertFalse(self.copied.exists())

    def test_a_file_that_has_gone_comes_back_with_its_mode(self):
        self.copied.chmod(0o604)
        backup = self.deploy_once()
        self.copied.unlink()
        self.assert_restored(backup)
        self.assertEqual(stat.S_IMODE(self.copied.stat().st_mode), 0o604)

    def test_a_mode_that_has_changed(self):
        backup = self.deploy_once()
        self.copied.chmod(0o604)
        self.assert_restored(backup)
        self.assertEqual(stat.S_IMODE(self.copied.stat().st_mode), 0o644)
        self.assert_deploys(["--restore", self.all_backups()[-1].name], ALL_DONE,
                            f"restored: {self.all_backups()[-1].name}\n")
        self.assertEqual(stat.S_IMODE(self.copied.stat().st_mode), 0o604)

    def test_a_folder_that_cannot_be_written(self):
        """A rename puts the file in place, which needs the folder. Nothing else has changed."""
        self.deploy_once("--replace-file")
        before = self.installed()
        self.assert_deploys(["--restore"], NOT_RESTORED, options=["--read-only", CONFIGURATION])
        self.assertEqual(self.installed(), before)

    def test_a_folder_in_its_place(self):
        backup = self.deploy_once()
        self.copied.unlink()
        self.copied.mkdir()
        before = self.installed()
        self.assertIn(self.deploy("--restore", backup.name).status, (NO_FILE, NOT_RESTORED))
        self.assertEqual(self.installed(), before)


class Database(RestoreTest):
    """Whatever is in the database's place is saved, and its backup's name brings it back, byte for byte."""

    def setUp(self):
        super().setUp()
        self.database.chmod(0o666)
        self.backup = self.deploy_once()

    def files(self):
        return {path.name: self.content_of(path) for path in self.database.parent.iterdir()}

    def assert_there_and_back(self, kind=PLAIN):
        """Restores the backup, then what it replaced."""
        before = self.files()
        self.assert_restored(self.backup)
        self.assertEqual(stat.S_IMODE(self.database.stat().st_mode), 0o666)
        taken = self.all_backups()[-1]
        self.assertEqual(self.note(taken), (RESTORING, [self.backup.name, *([kind] if kind else [])]))
        self.assert_deploys(["--restore", taken.name], ALL_DONE, f"restored: {taken.name}\n")
        if kind == PLAIN:
            self.assertEqual(self.files(), before)
        self.assert_restored(self.backup)

    def test_a_whole_one(self):
        registered = self.dump()
        self.assert_there_and_back(None)
        self.assert_deploys(["--restore", self.all_backups()[1].name], ALL_DONE,
                            f"restored: {self.all_backups()[1].name}\n")
        self.assertEqual(self.dump(), registered)

    def test_none(self):
        self.database.unlink()
        self.assert_there_and_back()

    def test_no_folder_for_it(self):
        self.database.unlink()
        self.database.parent.rmdir()
        result = self.deploy("--restore")
        self.assertIn(result.status, (ALL_DONE, NOT_RESTORED))
        self.assertEqual(self.database.exists(), result.status == ALL_DONE)

    def test_an_empty_one(self):
        self.database.write_bytes(b"")
        self.assert_there_and_back()

    def test_one_that_is_none(self):
        self.database.write_bytes(b"x" * 8192)
        self.assert_there_and_back()

    def test_a_damaged_one(self):
        self.change("CREATE INDEX Ix_Name ON Tb_XManConfig (KeyName, KeyValue)")
        self.database.write_bytes(self.database.read_bytes()[:-4096] + bytes(4096))
        self.assert_there_and_back()

    def test_a_damaged_one_beside_a_journal(self):
        """Rolling back the journal does not mend it, so the journal is kept, too."""
        (page,), = self.rows("SELECT rootpage FROM sqlite_master WHERE name = 'Tb_ProductInfoV2'")
        self.break_down()
        content = self.database.read_bytes()
        self.database.write_bytes(content[:(page - 1) * 4096] + bytes(4096) + content[page * 4096:])
        self.assert_there_and_back()

    def test_one_that_is_cut_short(self):
        self.database.write_bytes(self.database.read_bytes()[:5000])
        self.assert_there_and_back()

    def make_another_kind(self):
        self.change("DROP TABLE Tb_XManConfig; CREATE TABLE Other (a)")

    def test_one_of_another_kind(self):
        self.make_another_kind()
        self.assert_there_and_back()

    def test_one_that_can_be_written_into_is_not_replaced(self):
        """A program that has it open would go on with a file that no longer has a name."""
        for break_it in (self.make_another_kind, self.break_down):
            with self.subTest(break_it.__name__):
                break_it()
                number = self.database.stat().st_ino
                self.assert_restored(self.backup)
                self.assertEqual(self.database.stat().st_ino, number)

    def test_one_that_somebody_reads(self):
        """Whatever is to take its place waits until nobody is at work on it."""
        self.database.write_bytes(b"x" * 8192)
        self.assert_restored(self.backup)
        damaged = self.all_backups()[-1]
        for backup, change in ((self.backup, self.make_another_kind), (damaged, lambda: None)):
            with self.subTest(backup.name):
                change()
                before = self.files()
                let_go = self.hold("BEGIN; SELECT * FROM sqlite_master")
                self.assert_deploys(["--restore", backup.name, "--wait", "0"], IN_USE)
                self.assertEqual(self.files(), before)
                let_go()
                self.assert_deploys(["--restore", backup.name], ALL_DONE, f"restored: {backup.name}\n")
                self.database.unlink()
                self.assert_restored(self.backup)

    def test_a_damaged_one_over_one_in_write_ahead_mode(self):
        """What is left of its log must not get into the other one."""
        self.database.write_bytes(b"x" * 8192)
        self.assert_restored(self.backup)
        damaged = self.all_backups()[-1]
        self.change("PRAGMA journal_mode = WAL")
        reader = self.connect()
        self.assertEqual(reader.execute("SELECT COUNT(*) FROM Tb_XManConfig WHERE ProdID = 190").fetchall(),
                         [(0,)])
        self.change("INSERT INTO Tb_XManConfig VALUES (12, 'late', '')")
        late = self.dump()
        self.assert_deploys(["--restore", damaged.name], ALL_DONE, f"restored: {damaged.name}\n")
        reader.close()
        self.assertEqual(list(self.files()), ["ExMan.db"])
        self.assertEqual(self.database.read_bytes(), b"x" * 8192)
        taken = self.all_backups()[-1]
        self.assert_deploys(["--restore", taken.name], ALL_DONE, f"restored: {taken.name}\n")
        self.assertEqual(self.dump(), late)

    def test_one_with_another_page_size(self):
        for mode in ("DELETE", "WAL"):
            with self.subTest(mode):
                self.database.unlink()
                self.change("PRAGMA page_size = 1024; VACUUM; CREATE TABLE Other (a);"
                            f"PRAGMA journal_mode = {mode}")
                self.database.chmod(0o666)
                before = self.dump()
                self.assert_restored(self.backup)
                taken = self.all_backups()[-1].name
                self.assert_deploys(["--restore", taken], ALL_DONE, f"restored: {taken}\n")
                self.assertEqual(self.dump(), before)

    def test_one_in_write_ahead_mode_that_is_in_use(self):
        """A reader beside it sees the restored state when it next reads."""
        connection = self.connect()
        connection.execute("PRAGMA journal_mode = WAL")
        connection.execute("INSERT INTO Tb_XManConfig VALUES (12, 'late', '')")
        self.assert_deploys(["--restore"], ALL_DONE, f"restored: {self.backup.name}\n")
        self.assertEqual(connection.execute("SELECT * FROM Tb_XManConfig WHERE KeyName = 'late' OR"
                                            " ProdID = 190").fetchall(), [])
        connection.close()
        self.assertEqual(self.dump()[1], self.content[1])

    def test_a_foreign_journal_beside_none(self):
        """SQLite would put what it holds into the next database of this name."""
        self.break_down()
        self.database.unlink()
        self.assert_there_and_back()

    def test_a_foreign_write_ahead_log_beside_none(self):
        connection = self.connect()
        connection.execute("PRAGMA journal_mode = WAL")
        connection.execute("INSERT INTO Tb_XManConfig VALUES (12, 'late', '')")
        left = {path.name: path.read_bytes() for path in self.database.parent.iterdir()}
        connection.close()
        self.database.unlink()
        for name in ("ExMan.db-wal", "ExMan.db-shm"):
            (self.database.parent / name).write_bytes(left[name])
        self.assert_there_and_back()

    def test_what_a_crash_left(self):
        """It is saved as what any program would find there."""
        registered = self.dump()
        self.break_down()
        self.assert_restored(self.backup)
        taken = self.all_backups()[-1]
        self.assertEqual(self.note(taken), (RESTORING, [self.backup.name]))
        self.assertEqual(sorted(path.name for path in taken.iterdir()),
                         ["ExMan.db", "XManConfigV2.xml", RESTORING])
        self.assert_deploys(["--restore", taken.name], ALL_DONE, f"restored: {taken.name}\n")
        self.assertEqual(self.dump(), registered)

    def test_one_that_may_not_be_written(self):
        before = self.installed()
        self.assert_deploys(["--restore"], NOT_RESTORED, options=["--read-only", DATABASE])
        self.assertEqual(self.installed(), before)

    def test_a_disk_that_takes_no_more(self):
        """A limit on the size of a file stands for a full disk."""
        for content in (self.database.read_bytes(), b"x" * 9000):
            self.database.write_bytes(content)
            before = self.files()
            result = self.deploy("--restore", before=self.limit_files(9))
            self.assertIn(result.status, (NO_BACKUP, NOT_RESTORED))
            self.assertEqual(self.files(), before)
