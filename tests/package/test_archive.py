"""The archive is the same wherever it is packed, and its check notices what is not as it should be."""

import hashlib
import os
import shutil
import subprocess
import sys

from harness.machine import ROOT
from harness.package import PackageTest, run
from harness.checkout import NAME

NOON = 1_000_000_000


class Archive(PackageTest):
    def setUp(self):
        super().setUp()
        self.unpacked = self.package.rename(self.folder / NAME)
        self.archive = self.folder / f"{NAME}.tar.gz"

    def pack(self, seconds=NOON):
        run(sys.executable, "-B", ROOT / "packaging" / "archive.py", self.unpacked, self.archive,
            str(seconds))
        return self.archive.read_bytes()

    def test_its_bytes_depend_on_the_files_alone(self):
        first = self.pack()
        # The time in the header of the compression, which would otherwise be the present.
        self.assertEqual(first[4:8], NOON.to_bytes(4, "little"))
        again = self.folder / "later" / NAME
        shutil.copytree(self.unpacked, again)
        for number, path in enumerate(again.rglob("*")):
            os.utime(path, (number, number))
            path.chmod(path.stat().st_mode & 0o700)
        self.unpacked = again
        self.assertEqual(self.pack(), first)
        self.assertNotEqual(self.pack(NOON + 1), first)

    def assert_noticed(self, reason, sums="{}  {}\n"):
        digest = hashlib.sha256(self.pack()).hexdigest()
        (self.folder / "SHA256SUMS").write_text(sums.format(digest, self.archive.name))
        finished = subprocess.run([sys.executable, "-B", ROOT / "packaging" / "check-package", self.archive],
                                  capture_output=True, text=True, check=False)
        self.assertEqual((finished.stdout, finished.returncode), ("", 1))
        self.assertIn(reason, finished.stderr)

    def test_what_is_wrong_is_noticed(self):
        self.assert_noticed("check-package: SHA256SUMS: ", "{0}0  {1}\n")
        # A program of this system has passed everything else.
        self.assert_noticed("lipo")
        (self.unpacked / ".DS_Store").write_text("x")
        self.assert_noticed("check-package: the files: ")
