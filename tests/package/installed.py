"""A Mac with the package installed, on which a management tool runs its scripts."""

import shutil

from harness.deploy import INDESIGN, DeployTest
from harness.machine import ROOT, write_script
from harness.package import run


class InstalledTest(DeployTest):
    """A Mac with an application that is not registered."""

    def setUp(self):
        super().setUp()
        self.local = self.folder / "root" / "usr" / "local"
        self.libexec = self.local / "libexec" / "tamsel"
        self.program = self.libexec / "tamsel-deploy"
        self.install()
        self.add_applications(INDESIGN)

    def install(self):
        run(self.package / "install", "--root", self.folder / "root")

    def run_script(self, name, *arguments, options=()):
        """Runs a script of packaging as management tools do: a copy of it, on its own and as root."""
        copy = self.folder / "script"
        shutil.copyfile(ROOT / "packaging" / name, copy)
        copy.chmod(0o700)
        return self.run_inside(copy, *arguments, options=[
            *self.inside_options(options), "--bind", self.local, "/usr/local"])

    def replace_program(self, script):
        """Puts a script of sh in the place of tamsel-deploy. In it, `$real` is the real one."""
        real = self.program.with_name("real")
        if not real.exists():
            self.program.rename(real)
        write_script(self.program, "real=${0%/*}/real\n" + script + "\n")

    def without_waiting(self):
        """Keeps a test from waiting when a script lets the program wait."""
        self.replace_program('case "$*" in *--wait*) ;; *) set -- --wait 0 "$@" ;; esac; exec $real "$@"')

    def end_verification_with(self, status):
        self.replace_program(f'[ "$1" != --verify ] || exit {status}\nexec $real "$@"')
