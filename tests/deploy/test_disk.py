"""A disk that fails once, or that takes long."""

import re
import signal

from harness.deploy import (ALL_DONE, BACKUPS, FAILED, INDESIGN, NOT_REGISTERED, NOT_RESTORED, NO_BACKUP,
                            REGISTERED, DeployTest, back)
from harness.machine import DATABASE

LARGE = 9_999_999
FOLDER = DATABASE.rpartition("/")[0]
LOOKING = f"looking whether the rows were written: {DATABASE}: disk I/O error"
READS, WRITES, SYNCS = "read,pread64", "write,pwrite64", "fsync,fdatasync"


class DiskTest(DeployTest):
    present = (INDESIGN,)

    def setUp(self):
        super().setUp()
        self.need("strace")
        self.trace = self.folder / "trace"

    def inject(self, calls, fault, number, *arguments, paths=(), more=()):
        """A run in which this happens at one of these calls, of these files or of all."""
        where = [word for path in paths for word in ("-P", path)]
        return self.deploy(*arguments, before=[
            "strace", "-qq", "-o", self.trace, *where, "-e", f"trace={calls},openat",
            "-e", f"inject={calls}:{fault}:when={number}", *more])


class Failing(DiskTest):
    def test_an_unread_page_is_no_damage(self):
        """Neither a registration nor a restore takes the database for a damaged one."""
        self.change("INSERT INTO Tb_XManConfig VALUES (12, 'long', printf('%.99999c', 'x'))")
        self.deploy_once()
        before = self.dump()
        for number in range(20, 36):
            self.unregister()
            result = self.inject(READS, "error=EIO", number, paths=[DATABASE])
            self.assertIn("INJECTED", self.trace.read_text())
            self.assertIn(result.status, (ALL_DONE, NOT_REGISTERED), result.err)
            self.assertNotIn(b"damaged", result.err)
            self.assertNotIn(b"is never used", result.err)
        self.deploy_once()
        for number in range(4, 40):
            result = self.inject(READS, "error=EIO", number, "--restore",
                                 paths=[BACKUPS + "/.incomplete/ExMan.db"])
            self.assertEqual(list(self.backups.glob("*/damaged")), [], (number, result.err))
        self.assertEqual(self.dump(self.all_backups()[0] / "ExMan.db")[0], before[0])

    def test_a_copy_that_fails_names_both_files(self):
        """Nobody can tell at which of them it was."""
        copy = BACKUPS + "/.incomplete/ExMan.db"
        result = self.inject(WRITES, "error=ENOSPC", 2, paths=[copy])
        self.assertEqual((result.out.decode(), result.status), (FAILED, NO_BACKUP))
        self.assert_logged(result.err,
                           f"no backup could be made: {copy} or {DATABASE}: database or disk is full")

    def test_an_unread_backup_is_not_called_unsound(self):
        backup = self.deploy_once()
        before = self.installed()
        result = self.inject(READS, "error=EIO", 2, "--restore", paths=[f"{BACKUPS}/{backup.name}/ExMan.db"])
        self.assertEqual((result.out, result.status), (b"", NOT_RESTORED))
        self.assert_logged(result.err, f"{backup.name}/ExMan.db: disk I/O error")
        self.assertNotIn(b"sound", result.err)
        self.assertEqual(self.installed(), before)

    def test_a_commit_that_reports_an_error_may_have_worked(self):
        """Its last step is to sync the folder, once the journal has gone."""
        result = self.inject(SYNCS, "error=EIO", 2, paths=[FOLDER])
        self.assertEqual((result.out.decode(), result.status), (REGISTERED, ALL_DONE), result.err)
        self.assert_logged(result.err, LOOKING)
        self.assert_verified(REGISTERED)

    def test_a_commit_of_which_nobody_knows_whether_it_worked(self):
        """The database cannot be opened to look for the rows, either."""
        result = self.inject(SYNCS, "error=EIO", 3, paths=[FOLDER, DATABASE],
                             more=["-e", "inject=openat:error=EIO:when=6+"])
        self.assertEqual((result.out.decode(), result.status), (FAILED, NOT_REGISTERED), result.err)
        self.assert_logged(result.err, LOOKING, "; ask with --verify whether it was committed",
                           back(self.all_backups()[0].name))
        self.assert_verified(REGISTERED)

    def test_a_restore_tries_once_more(self):
        """An error of the disk does not tell whether all of it has been written."""
        backup = self.deploy_once()
        result = self.inject(SYNCS, "error=EIO", 1, "--restore", paths=[DATABASE + "-journal"])
        self.assertEqual((result.out.decode(), result.status), (f"restored: {backup.name}\n", ALL_DONE))
        self.assert_logged(result.err, f"trying once more: {DATABASE}")
        self.assertEqual(self.rows("SELECT * FROM Tb_XManConfig WHERE ProdID = 190"), [])


class LargeFiles(DiskTest):
    """A signal ends the copy of a large file before its end."""

    def assert_ends(self, *arguments):
        result = self.inject(WRITES, "signal=TERM", 9, *arguments)
        self.assertEqual(result.status, 128 + signal.SIGTERM, result.err)
        sizes = re.findall(r"(?m)^p?write.* = (\d+)", self.trace.read_text())
        self.assertLess(sum(map(int, sizes)), LARGE / 2)

    def test_of_a_database(self):
        self.change(f"CREATE TABLE Large AS SELECT zeroblob({LARGE})")
        self.assert_ends()
        self.assertEqual(self.all_backups(), [])

    def test_of_plain_files(self):
        self.deploy_once()
        self.database.write_bytes(b"x" * LARGE)
        self.assert_ends("--restore")
        self.assertEqual(self.database.read_bytes(), b"x" * LARGE)
