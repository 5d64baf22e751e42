import pathlib
import subprocess
import tempfile
import unittest

from harness.machine import ROOT


class Build(unittest.TestCase):
    def test_is_a_release_with_the_file_of_the_tree_unless_told_otherwise(self):
        with tempfile.TemporaryDirectory(prefix="tamsel-") as folder:
            subprocess.run(["cmake", "-S", ROOT, "-B", folder, "-DTAMSEL_TESTS=OFF"], check=True,
                           stdout=subprocess.DEVNULL)
            build, shipped = pathlib.Path(folder), pathlib.Path("Resources", "XManConfigV2.xml")
            self.assertIn("\nCMAKE_BUILD_TYPE:STRING=Release\n", (build / "CMakeCache.txt").read_text())
            self.assertEqual((build / shipped).read_bytes(), (ROOT / shipped).read_bytes())
