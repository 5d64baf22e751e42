"""What users get, put together from the build, for tests that install or deploy it."""

import subprocess

from harness.machine import BUILD, ROOT, MachineTest


def run(*command, **how):
    """Runs a command outside the sandbox and returns what it printed; it must succeed."""
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, **how).stdout


class PackageTest(MachineTest):
    """A machine on which the folder from the archive has been unpacked."""

    needs_sandbox = False

    def setUp(self):
        super().setUp()
        self.package = self.folder / "unpacked" / "tamsel"
        run(ROOT / "packaging" / "assemble", BUILD, self.package)
