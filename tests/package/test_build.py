import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from harness.machine import TESTS


class Build(unittest.TestCase):
    """What the build puts beside the program."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tamsel-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.build = self.folder / "build"
        self.shipped = self.build / "Resources" / "XManConfigV2.xml"

    def cmake(self, *arguments):
        subprocess.run(["cmake", *arguments], check=True, stdout=subprocess.DEVNULL)

    def configure(self, *options):
        self.cmake("-S", TESTS.parent, "-B", self.build, "-DTAMSEL_TESTS=OFF", *options)

    def make_resources(self):
        self.cmake("--build", self.build, "--target", "resources")

    def test_is_a_release_unless_told_otherwise(self):
        self.configure()
        cache = (self.build / "CMakeCache.txt").read_text()
        self.assertIn("\nCMAKE_BUILD_TYPE:STRING=Release\n", cache)

    def test_ships_the_file_of_the_tree(self):
        self.configure()
        self.make_resources()
        own = TESTS.parent / "Resources" / "XManConfigV2.xml"
        self.assertEqual(self.shipped.read_bytes(), own.read_bytes())

    def test_ships_a_file_of_the_administrators_own_and_keeps_it_up_to_date(self):
        own = self.folder / "the vendor's.xml"
        own.write_text("first")
        self.configure(f"-DTAMSEL_XMANCONFIG={own}")
        self.make_resources()
        self.assertEqual(self.shipped.read_text(), "first")
        own.write_text("second")
        later = self.shipped.stat().st_mtime + 10
        os.utime(own, (later, later))
        self.make_resources()
        self.assertEqual(self.shipped.read_text(), "second")
