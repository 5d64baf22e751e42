"""A Mac with the package installed and an application that is not registered, on which a management
tool runs its scripts."""

import shutil

from harness.deploy import INDESIGN, DeployTest
from harness.machine import ROOT, write_script
from harness.package import run


class InstalledTest(DeployTest):
    def setUp(self):
        super().setUp()
        self.local = self.folder / "root" / "usr" / "local"
        self.libexec = self.local / "libexec" / "tamsel"
        self.install()
        self.add_applications(INDESIGN)

    def install(self):
        run(self.package / "install", "--root", self.folder / "root")

    def run_script(self, name, *arguments):
        """Runs a script of packaging as management tools do: a copy of it, on its own and as root."""
        copy = self.folder / "script"
        shutil.copyfile(ROOT / "packaging" / name, copy)
        copy.chmod(0o700)
        return self.run_inside(copy, *arguments,
                               options=self.inside_options(["--bind", self.local, "/usr/local"]))

    def replace_program(self, script):
        """Puts a script of sh in the place of tamsel-deploy."""
        write_script(self.libexec / "tamsel-deploy", script + "\n")
