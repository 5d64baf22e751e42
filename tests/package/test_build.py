import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

from harness.machine import BUILD, ROOT


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
        self.cmake("-S", ROOT, "-B", self.build, "-DTAMSEL_TESTS=OFF", *options)

    def make_resources(self):
        self.cmake("--build", self.build, "--target", "resources")

    def test_is_a_release_unless_told_otherwise(self):
        self.configure()
        cache = (self.build / "CMakeCache.txt").read_text()
        self.assertIn("\nCMAKE_BUILD_TYPE:STRING=Release\n", cache)

    def test_ships_the_file_of_the_tree(self):
        self.configure()
        self.make_resources()
        own = ROOT / "Resources" / "XManConfigV2.xml"
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


class SQLite(unittest.TestCase):
    """What the object files of the build need from SQLite."""

    def used_by(self, *targets):
        files = [file for target in targets for file in (BUILD / "CMakeFiles" / f"{target}.dir").rglob("*.o")]
        self.assertGreaterEqual(len(files), len(targets))
        wanted = subprocess.run(["nm", "-u", *files], check=True, stdout=subprocess.PIPE, text=True).stdout
        return set(re.findall(r"(?m)^ *(?:U )?_?(sqlite3_\w+)$", wanted))

    def test_the_program_uses_six_functions(self):
        self.assertEqual(self.used_by("core", "Tamsel"), {
            "sqlite3_open", "sqlite3_prepare_v2", "sqlite3_step", "sqlite3_finalize", "sqlite3_close",
            "sqlite3_errmsg"})

    def test_the_list_for_another_system_has_just_the_functions_that_are_used(self):
        listed = (ROOT / "packaging" / "macos" / "libsqlite3.tbd").read_text()
        self.assertEqual(self.used_by("core", "Tamsel", "tamsel-deploy"),
                         set(re.findall(r"(?m)^ +- _(sqlite3_\w+)$", listed)))
