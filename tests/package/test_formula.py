"""The trial of Homebrew's formula, with a stand-in for Homebrew."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from harness.machine import ROOT, write_script
from harness.package import run

BREW = """\
echo "$*" >>"$FOLDER/calls"
case $* in
--repository*) echo "$FOLDER/tap" ;;
tap-new*) mkdir "$FOLDER/tap" ;;
install*) [ -f "$FOLDER/tap/Formula/tamsel.rb" ] && git -C "$HOMEBREW_TAMSEL_CLONE" log -1 --format=%s main ;;
"$FAILS") exit 1 ;;
esac
"""
STYLE = "style --except-cops FormulaAudit/Homepage packaging/homebrew/tamsel.rb"
CALLS = ["--repository local/tamsel", "tap-new --no-git local/tamsel", "--repository local/tamsel",
         "--repository local/tamsel", "install --HEAD local/tamsel/tamsel", "test local/tamsel/tamsel",
         "uninstall local/tamsel/tamsel", "untap --force local/tamsel"]


class Formula(unittest.TestCase):
    """A checkout of a tag, which has no branch."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tamsel-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.tree = self.folder / "tree"
        for name in ("packaging", "scripts"):
            shutil.copytree(ROOT / name, self.tree / name)
        for arguments in (["init", "--quiet"], ["add", "."], ["commit", "--quiet", "--message", "The commit"],
                          ["checkout", "--quiet", "--detach"], ["branch", "--quiet", "-D", "only"]):
            run("git", "-c", "init.defaultBranch=only", "-c", "user.name=x", "-c", "user.email=x",
                "-C", self.tree, *arguments)
        write_script(self.folder / "brew", BREW)
        (self.folder / "work").mkdir()

    def start(self, *arguments, allowed="yes", fails=""):
        """The result, and how Homebrew was called."""
        finished = subprocess.run(
            [self.tree / "packaging" / "homebrew" / "try-formula", *arguments], capture_output=True,
            text=True, check=False, env=dict(
                os.environ, PATH=f"{self.folder}:{os.environ['PATH']}", FOLDER=str(self.folder),
                TMPDIR=str(self.folder / "work"), FAILS=fails, TAMSEL_THROW_AWAY_MACHINE=allowed))
        self.assertEqual(list((self.folder / "work").iterdir()), [])
        calls = self.folder / "calls"
        return finished, calls.read_text().splitlines() if calls.exists() else []

    def test_is_installed_from_the_last_commit(self):
        finished, calls = self.start()
        self.assertEqual((finished.stdout, finished.returncode), ("The commit\n", 0), finished.stderr)
        self.assertEqual(calls, CALLS)

    def test_style(self):
        finished, calls = self.start("--style")
        self.assertEqual((calls, finished.returncode), ([STYLE, *CALLS], 0))
        (self.folder / "calls").unlink()
        finished, calls = self.start("--style", fails=STYLE)
        self.assertEqual((calls, finished.returncode), ([STYLE], 1))

    def test_a_failing_test(self):
        finished, calls = self.start(fails="test local/tamsel/tamsel")
        self.assertEqual((calls[-2:], finished.returncode),
                         (["test local/tamsel/tamsel", "untap --force local/tamsel"], 1))

    def test_refusals(self):
        for arguments, allowed, status in ((["--other"], "yes", 2), (["--style", "x"], "yes", 2),
                                           ([], "", 77)):
            finished, calls = self.start(*arguments, allowed=allowed)
            self.assertEqual((calls, finished.stdout, finished.returncode), ([], "", status))
            self.assertRegex(finished.stderr, r"\Atry-formula: .+\n\Z")
