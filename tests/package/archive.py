"""An archive for macOS, packed from small programs that a test makes."""

import hashlib
import shutil
import subprocess
import sys

from harness.machine import ROOT, VERSION
from harness.package import PackageTest, run
from package.macho import ARM64, X86_64, Slice, universal

NAME = f"tamsel-{VERSION}-macos-universal"
NOON = 1_000_000_000
PROGRAMS = ("Tamsel", "tamsel-deploy")
INTEL = Slice(X86_64, (10, 13), texts=(VERSION,), signed=False)
APPLE = Slice(ARM64, (11, 0), texts=(VERSION,))


class ArchiveTest(PackageTest):
    def setUp(self):
        super().setUp()
        self.need("otool" if sys.platform == "darwin" else "llvm-otool-14")
        self.unpacked = self.folder / NAME
        shutil.copytree(self.package, self.unpacked)
        self.archive = self.folder / (NAME + ".tar.gz")
        for program in PROGRAMS:
            self.put(program, universal([INTEL, APPLE]))

    def put(self, program, content):
        (self.unpacked / program).write_bytes(content)

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

    def assert_notices(self, what, program=None):
        finished = self.check()
        self.assertEqual((finished.stdout, finished.returncode), ("", 1))
        self.assertIn(f"check-package: {program or self.archive}: {what}", finished.stderr)
