"""How a backup is brought back, whatever is in its place by then."""

import os
import shutil
import stat

from harness.deploy import (ALL_DONE, BACKUPS, INCOPY, INDESIGN, IN_USE, NOTE, NOT_RESTORED, NO_FILE,
                            OLD_FILE, OWN, DeployTest, back)
from harness.machine import CONFIGURATION, DATABASE

NONE = f"this backup has no sound database; what was there is in {BACKUPS}/"
HELD = "waiting for another program to release the database"


class RestoreTest(DeployTest):
    """INDESIGN is registered; the backup holds the state before."""

    present, file = (INDESIGN,), OLD_FILE

    def setUp(self):
        super().setUp()
        self.copied.chmod(0o604)
        self.database.chmod(0o666)
        self.before = self.installed()
        self.backup = self.deploy_once("--replace-file")

    def restore(self, backup, *arguments, **how):
        """A restore, which saves the present state as a backup of its own; returns that."""
        known = self.all_backups()
        result = self.assert_deploys(["--restore", *arguments], ALL_DONE, f"restored: {backup.name}\n", **how)
        new, = set(self.all_backups()) - set(known)
        self.assertEqual((new / NOTE).read_text(), f"before restoring {backup.name}\n")
        last = back(new.name)
        if not (new / "ExMan.db").exists():
            last = f"what was there before is in {BACKUPS}/{new.name}\n"
        self.assertTrue(result.err.decode().endswith(last), result.err)
        return new

    def assert_restored(self, *arguments, **how):
        new = self.restore(self.backup, *arguments, **how)
        self.assertEqual(self.installed(), self.before)
        self.assertEqual(stat.S_IMODE(self.database.stat().st_mode), 0o666)
        return new


class Which(RestoreTest):
    def test_by_default_the_state_before_the_last_registration_however_often(self):
        registered = self.installed()
        self.assertNotEqual(registered, self.before)
        taken = self.assert_restored()
        self.assert_restored()
        # Nothing differs, but the state is saved all the same.
        self.assert_restored()
        self.restore(taken, taken.name)
        self.assertEqual(self.installed(), registered)
        self.assert_restored()

    def test_by_number_name_or_path(self):
        name = self.backup.name
        for word in ("1", "01", "0001", name, f"{BACKUPS}/{name}", f"/{BACKUPS}/.//{name}/"):
            with self.subTest(word):
                self.assert_restored(word)
        self.assert_restored("Backups/" + name, before=["env", "-C", OWN])
        self.add_applications(INCOPY)
        self.assert_deploys([INCOPY], ALL_DONE, f"registered: {INCOPY}\n")
        self.assert_restored("1")

    def test_what_is_none(self):
        name = self.backup.name
        shutil.copytree(self.backup, self.folder / name)
        for word in ("2", "00001", "x1", "-", "0", "1 ", name[1:], name + "x", "0002" + name[4:], ".", "/",
                     BACKUPS, f"{BACKUPS}/{name}/ExMan.db", f"{self.folder}/{name}", "a\nb"):
            with self.subTest(word):
                shown = word.replace("\n", "\\n")
                self.assert_unchanged(["--restore", "--", word], NOT_RESTORED,
                                      f"there is no backup {shown}; --list shows them\n")

    def test_none_at_all(self):
        shutil.rmtree(self.own)
        before = self.state()
        self.assert_unchanged(["--restore"], NOT_RESTORED, "there is no backup\n")
        self.assertEqual(self.state(), before)

    def test_a_damaged_backup(self):
        whole = (self.backup / "ExMan.db").read_bytes()
        for content in (b"x" * 4096, whole[:4096], whole[:-4096] + bytes([7]) * 4096, None):
            with self.subTest(content and content[:9]):
                (self.backup / "ExMan.db").unlink()
                if content:
                    (self.backup / "ExMan.db").write_bytes(content)
                for arguments in (["--restore"], ["--restore", "1"]):
                    self.assert_unchanged(arguments, NOT_RESTORED, NONE + self.backup.name)
                (self.backup / "ExMan.db").write_bytes(whole)


class File(RestoreTest):
    def test_that_has_gone_comes_back_with_its_mode(self):
        self.copied.unlink()
        self.assert_restored()

    def test_that_has_changed(self):
        self.copied.write_bytes(b"x")
        os.link(self.copied, self.folder / "another name")
        self.assert_restored()
        self.assertEqual((self.folder / "another name").read_bytes(), b"x")

    def test_that_was_not_there_goes(self):
        self.restore(self.backup)
        self.copied.unlink()
        backup = self.deploy_once()
        self.assertTrue(self.copied.exists())
        self.restore(backup)
        self.assertFalse(self.copied.exists())
        self.restore(backup)

    def test_that_is_no_plain_file(self):
        self.copied.unlink()
        self.copied.mkdir()
        self.assert_unchanged(["--restore"], NO_FILE,
                              f"{CONFIGURATION}/XManConfigV2.xml is not a plain file\n")


class Database(RestoreTest):
    def test_what_others_wrote_since_goes_too_and_can_be_had_back(self):
        number = self.database.stat().st_ino
        for sql in ("INSERT INTO Tb_XManConfig VALUES (12, 'late', ''); CREATE TABLE Other (a)",
                    "DROP TABLE Tb_XManConfig; DROP TABLE Tb_ProductInfoV2; CREATE TABLE Other (a)"):
            self.change(sql)
            self.database.chmod(0o600)
            late = self.installed()
            taken = self.assert_restored()
            self.restore(taken, taken.name)
            self.assertEqual(self.installed(), late)
            self.assert_restored()
        # It was written into, not replaced.
        self.assertEqual(self.database.stat().st_ino, number)

    def test_with_a_hot_journal(self):
        registered = self.installed()
        self.leave_hot_journal()
        taken = self.assert_restored()
        self.restore(taken, taken.name)
        self.assertEqual(self.installed(), registered)

    def assert_saved_as_damaged(self):
        """What is no sound database is saved as the files that it is, and cannot be restored."""
        files = self.state(self.database.parent)
        taken = self.assert_restored()
        self.assertFalse((taken / "ExMan.db").exists())
        self.assertEqual(self.state(taken / "damaged")["ExMan.db"], files["ExMan.db"])
        self.assert_unchanged(["--restore", taken.name], NOT_RESTORED, NONE + taken.name)
        self.assertRegex(self.deploy("--list").out.decode(),
                         taken.name + r" .*\d{6}Z \(cannot be restored\)\n")
        self.assertIn(b'"restorable":false}', self.deploy("--list", "--json").out)

    def test_that_is_damaged(self):
        self.change("CREATE INDEX Ix_Name ON Tb_XManConfig (KeyName, KeyValue)")
        whole = self.database.read_bytes()
        schema = bytearray(whole)
        schema[100:108] = bytes([99]) * 8
        number = self.database.stat().st_ino
        self.change("PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = sql || ' NEWER'")
        words = self.database.read_bytes()
        new = whole[:44] + (9).to_bytes(4, "big") + whole[48:]
        for name, content, is_written_into in (
                ("an index", whole[:-4096] + bytes(4096), True), ("cut short", whole[:5000], True),
                ("its schema", bytes(schema), True), ("words of a newer SQLite in its schema", words, True),
                ("a newer format of schemas", new, True),
                ("a size of pages that does not exist", whole[:16] + b"\0\3" + whole[18:], False),
                ("garbage", b"x" * 8192, False)):
            with self.subTest(name):
                self.database.write_bytes(content)
                self.assert_saved_as_damaged()
                self.assertEqual(self.database.stat().st_ino == number, is_written_into)

    def test_garbage_beside_files_of_another_time(self):
        """None of them may ever meet the database that takes its place."""
        for side in ("-journal", "-wal", "-shm"):
            (self.database.parent / ("ExMan.db" + side)).write_bytes(b"of another time")
        self.database.write_bytes(b"x" * 8192)
        self.assert_saved_as_damaged()

    def test_that_has_gone(self):
        """The journal that it has left behind belongs to nothing any more."""
        self.leave_hot_journal()
        self.database.unlink()
        taken = self.assert_restored()
        self.assertEqual(sorted(path.name for path in taken.rglob("*")),
                         ["ExMan.db-journal", "XManConfigV2.xml", "damaged", NOTE])
        self.assert_unchanged(["--restore", taken.name], NOT_RESTORED, f"{NONE}{taken.name}\n")
        shutil.rmtree(self.database.parent)
        self.assert_deploys(["--restore", "1"], NOT_RESTORED, "", "nothing was changed: ")
        self.assertFalse(self.database.parent.exists())

    def test_a_link_or_folder_in_its_place(self):
        self.database.rename(self.folder / "theirs")
        for make in (lambda: self.database.symlink_to(self.folder / "theirs"), self.database.mkdir):
            self.database.unlink(missing_ok=True)
            make()
            self.assert_unchanged(["--restore"], 13, f"{DATABASE} is not a plain file\n")

    def test_empty(self):
        self.database.write_bytes(b"")
        self.assert_restored()

    def test_another_page_size(self):
        for mode in ("DELETE", "WAL"):
            with self.subTest(mode):
                self.change(f"PRAGMA page_size = 1024; VACUUM; PRAGMA journal_mode = {mode}")
                late = self.dump()
                taken = self.assert_restored()
                self.restore(taken, taken.name)
                self.assertEqual(self.dump(), late)
                self.change("PRAGMA journal_mode = DELETE")

    def test_a_write_ahead_log_of_another_page_size_with_a_reader(self):
        self.change("PRAGMA page_size = 1024; VACUUM; PRAGMA journal_mode = WAL")
        let_go = self.hold("BEGIN; SELECT * FROM Tb_XManConfig")
        before = self.dump()
        self.assert_deploys(["--restore", "--wait", "0"], IN_USE, "", "nothing was changed: the database")
        self.assertEqual((self.dump(), self.copied.read_bytes()), (before, self.shipped.read_bytes()))
        process = self.start_until(HELD, "--restore", "--wait", "50")
        let_go()
        self.assertEqual(self.finish(process)[::2], (f"restored: {self.backup.name}\n".encode(), ALL_DONE))
        self.assertEqual(self.installed(), self.before)

    def test_a_write_ahead_log_that_is_open(self):
        """Whoever has it open sees the restored state when they next read."""
        connection = self.connect()
        connection.execute("PRAGMA journal_mode = WAL")
        self.restore(self.backup)
        self.assertEqual(connection.execute("SELECT * FROM Tb_XManConfig WHERE ProdID = 190").fetchall(), [])
        connection.close()
        self.assertEqual(self.dump()[1], self.before[0][1])

    def test_where_nothing_may_be_written_keeps_its_backup(self):
        before = self.installed()
        for count, path in enumerate((DATABASE, CONFIGURATION), 2):
            result = self.assert_deploys(["--restore"], NOT_RESTORED, "", "nothing was changed: ",
                                         options=["--read-only", path])
            self.assertNotIn(b"to bring back", result.err)
            self.assertEqual((self.installed(), len(self.all_backups())), (before, count))

    def test_needs_no_program(self):
        (self.package / "Tamsel").unlink()
        shutil.rmtree(self.package / "Resources")
        self.assert_restored()
