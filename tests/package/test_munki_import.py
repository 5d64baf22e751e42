"""munkiimport, a tool of Munki's own, imports the package and its scripts; here a stand-in takes
its place and prints its arguments."""

import os
import re
import shutil
import subprocess

from harness.machine import ROOT, VERSION, MachineTest

OLDEST, = re.findall(r"CMAKE_OSX_DEPLOYMENT_TARGET (\S+) ", (ROOT / "CMakeLists.txt").read_text())


class Import(MachineTest):
    def run_import(self, *arguments):
        finished = subprocess.run(
            [os.path.join("a tree", "packaging", "munki", "import"), *arguments], cwd=self.folder,
            env={"PATH": f"{self.tools}:/usr/bin:/bin", "CDPATH": str(self.folder / "elsewhere")},
            capture_output=True, text=True, check=False)
        return finished.stdout.splitlines(), finished.stderr, finished.returncode

    def test_imports_the_package_with_every_script(self):
        scripts, dist = (self.folder / "a tree" / name for name in ("packaging/munki", "dist"))
        shutil.copytree(ROOT / "packaging" / "munki", scripts)
        dist.mkdir()
        (self.folder / "elsewhere" / "a tree" / "packaging" / "munki").mkdir(parents=True)
        self.make_tool("munkiimport", 'printf "%s\\n" "$@"\nexit 3\n')
        self.assertEqual(sorted(path.name for path in scripts.iterdir()),
                         ["import", "installcheck", "postinstall", "uninstall"])

        packages = [str(dist / f"tamsel-{VERSION}{kind}.pkg") for kind in ("-unsigned", "")]
        (dist / "tamsel-9.9.9.pkg").write_text("another version, for which installcheck would ask for ever")
        self.assertEqual(self.run_import(),
                         ([], f"import: there is neither {packages[1]} nor {packages[0]}\n", 1))
        for package in packages:
            with self.subTest(package):
                with open(package, "x"):
                    pass
                self.assertEqual(self.run_import("--catalog", "to test"), ([
                    "--name=tamsel",
                    f"--installcheck_script={scripts}/installcheck",
                    f"--postinstall_script={scripts}/postinstall",
                    f"--uninstall_script={scripts}/uninstall",
                    f"--minimum_os_version={OLDEST}",
                    "--blocking_application=Adobe Extension Manager CC.app",
                    "--unattended_install",
                    "--catalog", "to test",
                    package], "", 3))
