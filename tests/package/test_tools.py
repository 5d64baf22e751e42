"""Where the scripts find their tools on a Mac, whose own tools have stand-ins here."""

import pathlib
import shutil
import subprocess
import tempfile
import unittest

from harness.machine import ROOT, write_script

BREW = """\
echo "brew $*" >>"$CALLS"
case $* in
"list --versions $BREW_HAS") ;;
list*) exit 1 ;;
"--prefix llvm") echo "$KEG" ;;
esac
"""


class ToolsTest(unittest.TestCase):
    """A search path that holds only what a test puts there."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tamsel-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.tools = self.folder / "tools"
        self.tools.mkdir()
        self.calls = self.folder / "calls"
        self.calls.touch()
        for name in ("bash", "cat", "dirname", "id", "sed", "sh"):
            (self.tools / name).symlink_to(shutil.which(name, path="/usr/bin:/bin"))
        self.put("uname", "echo Darwin\n")

    def put(self, name, script):
        write_script(self.tools / name, script)

    def start(self, script, *arguments, tree=ROOT, **variables):
        environment = {"PATH": str(self.tools), "CALLS": str(self.calls), "BREW_HAS": "", **variables}
        return subprocess.run([tree / "scripts" / script, *arguments], capture_output=True, text=True,
                              check=False, cwd=self.folder, env=environment)


class InstallTools(ToolsTest):
    def assert_installed(self, purposes, calls, **variables):
        finished = self.start("install-tools", *purposes, **variables)
        self.assertEqual((finished.stderr, finished.returncode), ("", 0))
        self.assertEqual([line for line in self.calls.read_text().splitlines() if "list" not in line], calls)

    def test_without_homebrew(self):
        finished = self.start("install-tools", "build", "test")
        self.assertEqual((finished.stdout, finished.stderr, finished.returncode), (
            "Installing cmake googletest ...\n",
            "install-tools: Homebrew is not there to install them; install it, or them by other means\n", 1))

    def test_what_is_missing(self):
        self.put("brew", BREW)
        self.assert_installed(["build", "test", "check"],
                              ["brew install --quiet cmake googletest flake8 llvm shellcheck"])

    def test_not_what_is_in_the_search_path(self):
        for name in ("cmake", "flake8", "shellcheck", "clang-format", "clang-tidy"):
            self.put(name, "")
        self.put("c++", "test \"$*\" = '-std=c++17 -E -x c++ -'\n")
        for present in (False, True):
            self.assert_installed(["build", "test", "check"], [])
            self.put("brew", BREW)

    def test_not_what_homebrew_keeps_out_of_it(self):
        for name in ("cmake", "flake8", "shellcheck"):
            self.put(name, "")
        self.put("brew", BREW)
        self.assert_installed(["test"], [], BREW_HAS="googletest")
        self.assert_installed(["check"], [], BREW_HAS="llvm")


class Check(ToolsTest):
    def test_takes_the_llvm_of_homebrew_behind_everything_else(self):
        system, keg = self.folder / "system", self.folder / "keg"
        for folder in (system, keg / "bin"):
            folder.mkdir(parents=True)
        for path in pathlib.Path("/usr/bin").iterdir():
            if not path.name.startswith("clang"):
                (system / path.name).symlink_to(path)
        # A tree with little in it, whose workflow is found to be right without npm.
        tree = self.folder / "tree"
        for name in ("scripts", "src"):
            shutil.copytree(ROOT / name, tree / name)
        for name in (".ci", "bench", "deploy", "packaging", "tests/fuzz", "tests/old-sqlite"):
            (tree / name).mkdir(parents=True)
        write_script(tree / ".github" / "lint", "")
        self.put("brew", BREW)
        for name in ("cmake", "flake8", "shellcheck"):
            self.put(name, "")
        for name in ("clang-format", "clang-tidy", "cmake"):
            write_script(keg / "bin" / name, 'echo "keg ${0##*/}" >>"$CALLS"\n')
        self.start("check", tree=tree, PATH=f"{self.tools}:{system}", KEG=str(keg), BREW_HAS="llvm")
        self.assertEqual({line for line in self.calls.read_text().splitlines() if line.startswith("keg")},
                         {"keg clang-format", "keg clang-tidy"})
