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
    needs_sandbox = False

    def start(self, *arguments, allowed="yes"):
        """What the trial prints, its status, and how Homebrew was called."""
        finished = subprocess.run(
            [self.folder / "tree" / "packaging" / "homebrew" / "try-formula", *arguments],
            capture_output=True, text=True, check=False, env=dict(
                os.environ, PATH=search_path(self.tools), FOLDER=str(self.folder),
                TAMSEL_THROW_AWAY_MACHINE=allowed))
        return finished.stdout, finished.returncode, (self.folder / "calls").read_text()

    def test_is_tried_from_the_last_commit(self):
        tree = self.folder / "tree"
        shutil.copytree(ROOT / "packaging", tree / "packaging")
        # A checkout of a tag has no branch.
        for arguments in (["init", "--quiet"], ["add", "."], ["commit", "--quiet", "--message", "The commit"],
                          ["checkout", "--quiet", "--detach"], ["branch", "--quiet", "-D", "only"]):
            run("git", "-c", "init.defaultBranch=only", "-c", "user.name=x", "-c", "user.email=x",
                "-C", tree, *arguments)
        self.make_tool("brew", BREW)
        self.assertEqual(self.start(), ("The commit\n", 0, CALLS))
        self.assertEqual(self.start(allowed=""), ("", 77, CALLS))

    def test_leaves_uninstalling_to_homebrew(self):
        formula = (ROOT / "packaging" / "homebrew" / "tamsel.rb").read_text()
        self.assertIn('    system "cmake", "--install", "build"\n', formula)
        self.assertIn('\n    rm libexec/"tamsel/uninstall"\n', formula)
