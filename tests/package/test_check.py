"""The archive's bytes depend on its files alone."""

import os
import pathlib
import shutil
import sys
import tempfile
import unittest

from harness.machine import ROOT
from harness.package import run


class Archive(unittest.TestCase):
    def test_is_the_same_from_another_folder_at_another_time(self):
        with tempfile.TemporaryDirectory(prefix="tamsel-") as folder:
            packed = []
            for umask, name in enumerate(("first", "later")):
                tree = pathlib.Path(folder, name, "tamsel")
                shutil.copytree(ROOT / "packaging", tree)
                for seconds, path in enumerate(tree.rglob("*")):
                    os.utime(path, (seconds + umask, seconds + umask))
                    path.chmod(path.stat().st_mode & (0o777, 0o700)[umask])
                run(sys.executable, "-B", ROOT / "packaging" / "archive.py", tree, f"{folder}/{name}.gz", "1")
                packed.append(pathlib.Path(folder, name + ".gz").read_bytes())
            self.assertEqual(*packed)
            # The time in the header of the compression.
            self.assertEqual(packed[0][4:8], b"\1\0\0\0")
