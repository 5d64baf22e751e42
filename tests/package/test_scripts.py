"""Every script explains itself wherever it is started, and scripts/test says what it left out."""

import contextlib
import io
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest
import unittest.mock

from harness.machine import ROOT, MachineTest, write_script

SCRIPTS = sorted(path for folder in (".ci", ".github", "scripts", "packaging")
                 for path in (ROOT / folder).rglob("*") if path.is_file() and path.stat().st_mode & 0o100)


class Help(unittest.TestCase):
    def explain(self, script, folder, option):
        """What a script prints when it is started in a folder by a relative path."""
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
        holders = {path.name for folder in (".ci", ".github", "scripts", "packaging", "bench")
                   for path in (ROOT / folder).rglob("*")
                   if path.is_file() and r"s/^# \{0,1\}//" in path.read_text(errors="replace")}
        self.assertEqual(holders, {"help.sh", "install", "uninstall"})


class Skipped(MachineTest):
    def not_run(self, function, *arguments, ci="true", **how):
        """The line that a test that cannot run prints."""
        out = io.StringIO()
        with unittest.mock.patch.dict(os.environ, CI=ci, TAMSEL_THROW_AWAY_MACHINE="yes"), \
                contextlib.redirect_stdout(out), self.assertRaises(unittest.SkipTest):
            function(*arguments, **how)
        return out.getvalue()

    def test_only_what_macos_can_never_do_in_continuous_integration(self):
        for ci in ("", "true"):
            self.assertEqual(self.not_run(self.cannot_run, "macOS cannot hide\nprocesses", ci=ci),
                             f"not run: {self.id()}: macOS cannot hide processes\n")
        self.assertEqual(self.not_run(self.cannot_run, "mandoc is not installed", ci=""),
                         f"not run: {self.id()}: mandoc is not installed\n")
        with self.assertRaisesRegex(self.failureException, "mandoc is not installed"):
            self.not_run(self.cannot_run, "mandoc is not installed")

    def test_for_the_reason_that_the_sandbox_gives(self):
        self.make_tool("uname", "echo Darwin\n")
        line = self.not_run(self.run_inside, "true", options=["--user", "501"],
                            path=f"{self.tools}:/usr/bin:/bin")
        self.assertEqual(line, f"not run: {self.id()}: macOS cannot bind folders, change the user or hide"
                               " processes\n")

    def test_is_counted_at_the_end(self):
        scripts = self.folder / "tree" / "scripts"
        log = self.folder / "tree" / "build" / "Testing" / "Temporary" / "LastTest.log"
        for folder in (scripts, log.parent):
            folder.mkdir(parents=True)
        for name in ("test", "help.sh"):
            shutil.copy(ROOT / "scripts" / name, scripts)
        for name, status in (("install-tools", 0), ("cmake", 0), ("ctest", 8)):
            write_script(scripts / name, f"exit {status}\n")
        for lines, end in (
                ("", "no tests were skipped\n"),
                ("not run: a.B.c: x is missing\nsnot run: a.B.c: x is missing\n",
                 "1 test was skipped: 1 since x is missing\n"),
                ("figure: 7 points\nnot run: a.B.c: x: gone\nnot run: a.B.d: no y\nnot run: a.B.e: x: gone\n",
                 "7 points\n3 tests were skipped: 2 since x: gone; 1 since no y\n")):
            log.write_text("1/1 Testing: a\n" + lines)
            finished = subprocess.run([scripts / "test"], capture_output=True, text=True, check=False,
                                      env={"PATH": f"{scripts}:{os.environ['PATH']}"})
            self.assertEqual((finished.stdout, finished.stderr, finished.returncode), (end, "", 8))
