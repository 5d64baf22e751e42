"""Root follows no link that somebody could have planted."""

import os
import shutil

from harness.deploy import (ALL_DONE, DAMAGED, INDESIGN, NO_BACKUP, NO_FILE, OLD_FILE,
                            DeployTest)

FAILED = f"failed: {INDESIGN}\n"


class Links(DeployTest):
    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)
        self.copied.write_bytes(OLD_FILE)
        self.theirs = self.folder / "theirs"

    def plant(self, path):
        """Puts a link in the place of a file or folder, and moves that elsewhere with all its content."""
        if path.exists():
            path.rename(self.theirs)
        path.symlink_to(self.theirs)

    def assert_not_followed(self, commands, status, out=""):
        def content():
            return self.content_of(self.theirs) if self.theirs.is_file() else self.state(self.theirs)
        before = content()
        for arguments in commands:
            with self.subTest(arguments):
                self.assert_refuses([*arguments, "--wait", "0"], status, out=out)
                self.assertEqual(content(), before)

    def test_at_the_database(self):
        self.deploy_once()
        self.unregister()
        self.plant(self.database)
        self.assert_not_followed([[], ["--dry-run"], ["--verify"], ["--restore"]], DAMAGED)

    def unregister(self):
        self.change("DELETE FROM Tb_XManConfig WHERE ProdID = 190")

    def test_at_the_database_with_nothing_behind_it(self):
        self.deploy_once()
        self.database.unlink()
        self.database.symlink_to(self.folder / "nothing")
        for arguments in ([], ["--dry-run"], ["--verify"], ["--restore"]):
            self.assert_refuses(arguments, DAMAGED)
        self.assertFalse((self.folder / "nothing").exists())

    def test_at_the_installed_file(self):
        self.deploy_once()
        self.unregister()
        self.plant(self.copied)
        self.assert_not_followed([[INDESIGN], ["--replace-file"], ["--dry-run"]], NO_FILE, FAILED)
        self.assert_not_followed([["--restore"]], NO_FILE)

    def test_at_the_installed_file_with_nothing_behind_it(self):
        self.copied.unlink()
        self.copied.symlink_to(self.folder / "nothing")
        for arguments in ([], ["--replace-file"], ["--dry-run"]):
            self.assert_refuses(arguments, NO_FILE, out=FAILED)
        self.assertFalse((self.folder / "nothing").exists())

    def test_a_link_is_no_installed_file(self):
        self.deploy_once()
        self.plant(self.copied)
        self.assert_verified(f"without XManConfigV2.xml: {INDESIGN}\n", NO_FILE)

    def test_at_the_folder_of_the_backups(self):
        self.deploy_once()
        self.unregister()
        self.plant(self.backups)
        self.assert_not_followed([[], ["--dry-run"]], NO_BACKUP, FAILED)
        for arguments in (["--restore"], ["--list"]):
            self.assert_not_followed([arguments], NO_BACKUP)

    def test_at_the_folder_of_the_backups_before_the_first_run(self):
        self.theirs.mkdir(mode=0o700)
        self.own.mkdir(parents=True)
        self.backups.symlink_to(self.theirs)
        self.assert_not_followed([[], ["--dry-run"]], NO_BACKUP, FAILED)

    def test_at_the_lock(self):
        self.own.mkdir(parents=True)
        self.theirs.write_bytes(b"theirs")
        (self.own / "lock").symlink_to(self.theirs)
        before = self.installed()
        result = self.deploy()
        self.assertNotEqual(result.status, ALL_DONE)
        self.assertEqual((self.installed(), self.theirs.read_bytes()), (before, b"theirs"))

    def test_at_names_that_are_used_for_a_moment(self):
        """Where a run makes and removes something, somebody may have put a link to their own things."""
        self.theirs.mkdir()
        (self.theirs / "ExMan.db").write_bytes(b"theirs")
        self.own.mkdir(parents=True)
        self.backups.mkdir(mode=0o700)
        for path in (self.own / "staging", self.backups / ".incomplete",
                     self.configuration / ".XManConfigV2.xml.tamsel-new",
                     self.configuration / ".XManConfigV2.xml.tamsel-old",
                     self.database.parent / ".ExMan.db.tamsel-new", self.database.parent / ".tamsel-reserve"):
            path.symlink_to(self.theirs if path.name in ("staging", ".incomplete")
                            else self.theirs / "ExMan.db")
        self.deploy_once("--replace-file")
        self.assertEqual([path.read_bytes() for path in self.theirs.iterdir()], [b"theirs"])
        self.assertEqual(sorted(path.name for path in self.configuration.iterdir()),
                         ["DB", "XManConfigV2.xml"])

    def test_above_them_a_link_is_followed(self):
        for path in (self.configuration, self.database.parent):
            away = self.folder / ("away" + path.name)
            shutil.move(path, away)
            path.symlink_to(away)
        self.own.parent.mkdir(exist_ok=True)
        (self.folder / "own").mkdir()
        self.own.symlink_to(self.folder / "own")
        content = self.dump()
        backup = self.deploy_once("--replace-file")
        self.assertEqual(self.copied.read_bytes(), self.shipped.read_bytes())
        self.assertTrue(self.configuration.is_symlink() and self.own.is_symlink())
        self.assert_verified(f"registered: {INDESIGN}\n")
        self.assert_deploys(["--restore"], ALL_DONE, f"restored: {backup.name}\n")
        self.assertEqual(self.dump(), content)
        self.assertEqual(sorted(os.listdir(self.folder / "own")), ["Backups", "lock"])
