"""An archive for macOS, packed from a small program that a test makes."""

import hashlib
import shutil
import subprocess
import sys

from harness.package import ROOT, PackageTest, run
from package.macho import ARM64, X86_64, Slice, universal

NAME = "tamsel-1.0.2-macos-universal"
NOON = 1_000_000_000
TEXTS = ("Adobe InCopy CC 2019", "Adobe InCopy CC 2019 Win64", "Adobe InDesign CC 2019",
         "Adobe InDesign CC 2019 Win64", "Adobe InCopy 2020", "Adobe InCopy 2020 Win64",
         "Adobe InDesign 2020", "Adobe InDesign 2020 Win64", "1.0.2 build 0",
         "INSERT OR REPLACE INTO Tb_XManConfig", "Finalized statemant: ",
         "/Library/Application Support/Adobe/Extension Manager CC/Configuration/DB/ExMan.db")
INTEL = Slice(X86_64, (10, 13), texts=TEXTS, signed=False)
APPLE = Slice(ARM64, (11, 0), texts=TEXTS)


class ArchiveTest(PackageTest):
    def setUp(self):
        super().setUp()
        self.unpacked = self.folder / NAME
        shutil.copytree(self.package, self.unpacked)
        self.archive = self.folder / (NAME + ".tar.gz")

    def pack(self, seconds=NOON):
        run(sys.executable, "-B", ROOT / "packaging" / "archive.py", self.unpacked, self.archive,
            str(seconds))
        self.write_sums()

    def write_sums(self):
        digest = hashlib.sha256(self.archive.read_bytes()).hexdigest()
        (self.folder / "SHA256SUMS").write_text(f"{digest}  {self.archive.name}\n")

    def check(self):
        return subprocess.run([sys.executable, "-B", ROOT / "packaging" / "check-package", self.archive],
                              capture_output=True, text=True, check=False)

    def assert_notices(self, what):
        finished = self.check()
        self.assertEqual((finished.stdout, finished.returncode), ("", 1))
        self.assertIn(f"check-package: {self.archive}: {what}", finished.stderr)
