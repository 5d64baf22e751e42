"""Every script explains itself, wherever it is started from."""

import os
import pathlib
import subprocess
import tempfile
import unittest

from harness.package import ROOT

SCRIPTS = sorted(path for folder in (".ci", "scripts", "packaging") for path in (ROOT / folder).rglob("*")
                 if path.is_file() and path.stat().st_mode & 0o100)


class Help(unittest.TestCase):
    def explain(self, script, folder, option):
        """What a script prints that is started in a folder by a relative path."""
        path = os.path.join(".", os.path.relpath(script, folder))
        finished = subprocess.run([path, option], cwd=folder, capture_output=True, text=True, check=False)
        self.assertEqual((finished.stderr, finished.returncode), ("", 0))
        return finished.stdout

    def test_is_the_same_from_any_folder(self):
        self.assertGreater(len(SCRIPTS), 15)
        with tempfile.TemporaryDirectory(prefix="tamsel- ") as elsewhere:
            for script in SCRIPTS:
                for folder in (ROOT, script.parent, pathlib.Path(elsewhere)):
                    for option in ("-h", "--help"):
                        with self.subTest(script=script.name, folder=folder, option=option):
                            text = self.explain(script, folder, option)
                            self.assertRegex(
                                text, rf"(?m)\A[A-Z].*\n(?s:.*)^usage: .*\b{script.name} \[?-h")
                            self.assertNotRegex(text, r"(?m)^#|^set|^\. ")

    def test_is_found_once_but_in_what_is_shipped_alone(self):
        holders = {path.name for folder in (".ci", "scripts", "packaging", "bench")
                   for path in (ROOT / folder).rglob("*")
                   if path.is_file() and r"s/^# \{0,1\}//" in path.read_text(errors="replace")}
        self.assertEqual(holders, {"help.sh", "install", "uninstall"})
