"""A disk that fails once, or that takes long."""

import re
import signal

from harness.deploy import ALL_DONE, BACKUPS, INDESIGN, NOT_REGISTERED, NOT_RESTORED, DeployTest
from harness.machine import DATABASE

LARGE = 9_999_999
READS, WRITES = "read,pread64", "write,pwrite64"


class DiskTest(DeployTest):
    present = (INDESIGN,)

    def setUp(self):
        super().setUp()
        self.need("strace")
        self.trace = self.folder / "trace"

    def inject(self, calls, fault, number, *arguments, path=None):
        """A run in which this happens at one of these calls, of one file or of all."""
        where = [] if path is None else ["-P", path]
        return self.deploy(*arguments, before=["strace", "-qq", "-o", self.trace, "-e", f"trace={calls}", *where,
                                               "-e", f"inject={calls}:{fault}:when={number}"])


class Failing(DiskTest):
    def test_an_unread_page_is_no_damage(self):
        """Neither a registration nor a restore takes the database for a damaged one."""
        self.change("INSERT INTO Tb_XManConfig VALUES (12, 'long', printf('%.99999c', 'x'))")
        self.deploy_once()
        before = self.dump()
        for number in range(20, 36):
            self.unregister()
            result = self.inject(READS, "error=EIO", number, path=DATABASE)
            self.assertIn("INJECTED", self.trace.read_text())
            self.assertIn(result.status, (ALL_DONE, NOT_REGISTERED), result.err)
            self.assertNotIn(b"damaged", result.err)
        self.deploy_once()
        for number in range(4, 40):
            result = self.inject(READS, "error=EIO", number, "--restore", path=BACKUPS + "/.incomplete/ExMan.db")
            self.assertEqual(list(self.backups.glob("*/damaged")), [], (number, result.err))
        self.assertEqual(self.dump(self.all_backups()[0] / "ExMan.db")[0], before[0])

    def test_an_unread_backup_is_not_called_unsound(self):
        backup = self.deploy_once()
        before = self.installed()
        result = self.inject(READS, "error=EIO", 2, "--restore", path=f"{BACKUPS}/{backup.name}/ExMan.db")
        self.assertEqual((result.out, result.status), (b"", NOT_RESTORED))
        self.assert_logged(result.err, f"{backup.name}/ExMan.db: ", "disk I/O error")
        self.assertNotIn(b"sound", result.err)
        self.assertEqual(self.installed(), before)

    def test_a_restore_tries_once_more(self):
        """An error of the disk does not tell whether all of it has been written."""
        backup = self.deploy_once()
        result = self.inject("fdatasync", "error=EIO", 1, "--restore")
        self.assertEqual((result.out.decode(), result.status), (f"restored: {backup.name}\n", ALL_DONE))
        self.assert_logged(result.err, f"trying once more: {DATABASE}")
        self.assertEqual(self.rows("SELECT * FROM Tb_XManConfig WHERE ProdID = 190"), [])


class Slow(DiskTest):
    """A signal ends the copy of a large file before its end."""

    def assert_ends(self, *arguments):
        result = self.inject(WRITES, "signal=TERM", 9, *arguments)
        self.assertEqual(result.status, 128 + signal.SIGTERM, result.err)
        self.assertLess(sum(map(int, re.findall(r"(?m)^p?write.* = (\d+)", self.trace.read_text()))), LARGE / 2)

    def test_of_a_database(self):
        self.change(f"CREATE TABLE Large AS SELECT zeroblob({LARGE})")
        self.assert_ends()
        self.assertEqual(self.all_backups(), [])

    def test_of_plain_files(self):
        self.deploy_once()
        self.database.write_bytes(b"x" * LARGE)
        self.assert_ends("--restore")
        self.assertEqual(self.database.read_bytes(), b"x" * LARGE)
