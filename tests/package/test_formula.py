"""Homebrew's formula and its trial, with a stand-in for Homebrew."""

import os
import shutil
import subprocess

from harness.machine import ROOT, MachineTest, search_path
from harness.package import run

BREW = """\
echo "$*" >>"$FOLDER/calls"
case $* in
--repository*) echo "$FOLDER/tap" ;;
tap-new*) mkdir "$FOLDER/tap" ;;
install*) [ -f "$FOLDER/tap/Formula/tamsel.rb" ] && git -C "$HOMEBREW_TAMSEL_CLONE" log -1 --format=%s main ;;
test*) exit "$TEST_STATUS" ;;
esac
"""
CALLS = """\
style --except-cops FormulaAudit/Homepage packaging/homebrew/tamsel.rb
--repository local/tamsel
tap-new --no-git local/tamsel
--repository local/tamsel
--repository local/tamsel
install --HEAD local/tamsel/tamsel
test local/tamsel/tamsel
uninstall local/tamsel/tamsel
untap --force local/tamsel
"""


class Formula(MachineTest):
    def start(self, *arguments, allowed="yes", status="0"):
        """The result of the trial, and how Homebrew was called."""
        calls = self.folder / "calls"
        calls.write_text("")
        finished = subprocess.run(
            [self.folder / "tree" / "packaging" / "homebrew" / "try-formula", *arguments],
            capture_output=True, text=True, check=False, env=dict(
                os.environ, PATH=search_path(self.tools), FOLDER=str(self.folder), TEST_STATUS=status,
                TAMSEL_THROW_AWAY_MACHINE=allowed))
        return finished.stdout, finished.returncode, calls.read_text()

    def test_is_tried_from_the_last_commit(self):
        tree = self.folder / "tree"
        shutil.copytree(ROOT / "packaging", tree / "packaging")
        # A checkout of a tag has no branch.
        for arguments in (["init", "--quiet"], ["add", "."], ["commit", "--quiet", "--message", "The commit"],
                          ["checkout", "--quiet", "--detach"], ["branch", "--quiet", "-D", "only"]):
            run("git", "-c", "init.defaultBranch=only", "-c", "user.name=x", "-c", "user.email=x",
                "-C", tree, *arguments)
        self.make_tool("brew", BREW)
        self.assertEqual(self.start("--style"), ("The commit\n", 0, CALLS))
        _, status, calls = self.start(status="1")
        self.assertEqual(status, 1)
        self.assertRegex(calls, "\ntest local/tamsel/tamsel\nuntap --force local/tamsel\n\\Z")
        self.assertEqual(self.start("--other"), ("", 2, ""))
        self.assertEqual(self.start(allowed=""), ("", 77, ""))

    def test_leaves_uninstalling_to_homebrew(self):
        formula = (ROOT / "packaging" / "homebrew" / "tamsel.rb").read_text()
        self.assertIn('    system "cmake", "--install", "build"\n', formula)
        self.assertIn('\n    rm libexec/"tamsel/uninstall"\n', formula)
