"""munkiimport, a tool of Munki's own, imports the package and its scripts; here a stand-in takes
its place and records its arguments."""

import os
import re
import shutil
import subprocess

from harness.machine import ROOT, VERSION, MachineTest


class Import(MachineTest):
    def setUp(self):
        super().setUp()
        self.tree = self.folder / "a tree"
        shutil.copytree(ROOT / "packaging" / "munki", self.tree / "packaging" / "munki")
        (self.tree / "scripts").mkdir()
        shutil.copy(ROOT / "scripts" / "help.sh", self.tree / "scripts")
        self.scripts = self.tree / "packaging" / "munki"
        self.package = self.tree / "dist" / f"tamsel-{VERSION}.pkg"
        self.package.parent.mkdir()
        self.package.write_text("package")
        (self.folder / "elsewhere" / "a tree" / "packaging" / "munki").mkdir(parents=True)
        self.munkiimport = self.make_tool("munkiimport", 'printf "%s\\n" "$@"\nexit 3\n')

    def run_import(self, *arguments):
        finished = subprocess.run(
            [os.path.join("a tree", "packaging", "munki", "import"), *arguments], cwd=self.folder,
            env={"PATH": f"{self.tools}:/usr/bin:/bin", "CDPATH": str(self.folder / "elsewhere")},
            capture_output=True, text=True, check=False)
        return finished.stdout, finished.stderr, finished.returncode

    def test_uses_every_script(self):
        words = [f"--installcheck_script={self.scripts}/installcheck",
                 f"--postinstall_script={self.scripts}/postinstall",
                 f"--uninstall_script={self.scripts}/uninstall",
                 "--minimum_os_version=10.13",
                 "--blocking_application=Adobe Extension Manager CC.app",
                 "--unattended_install",
                 "--catalog", "to test",
                 str(self.package)]
        self.assertEqual(self.run_import("--catalog", "to test"), ("".join(w + "\n" for w in words), "", 3))
        self.assertEqual(sorted(path.name for path in self.scripts.iterdir()),
                         ["import", "installcheck", "postinstall", "uninstall"])

    def test_names_the_oldest_macos_of_the_program(self):
        oldest, = re.findall(r"CMAKE_OSX_DEPLOYMENT_TARGET (\S+) ", (ROOT / "CMakeLists.txt").read_text())
        self.assertIn(f"--minimum_os_version={oldest}\n", self.run_import()[0])

    def test_installcheck_asks_for_the_version_of_the_tree(self):
        self.assertIn(f"\nversion={VERSION}\n", (self.scripts / "installcheck").read_text())

    def test_needs_the_package_of_installcheck_s_version(self):
        self.package.rename(self.package.with_name("tamsel-9.9.9.pkg"))
        self.assertEqual(self.run_import(), (
            "", f"import: there is no {self.package}; packaging/macos/make-distribution makes it\n", 1))

    def test_needs_munki(self):
        self.munkiimport.unlink()
        self.assertEqual(self.run_import(), ("", "import: Munki's munkiimport is not installed\n", 1))
