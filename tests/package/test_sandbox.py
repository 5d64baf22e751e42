"""What the sandbox does on macOS, with that system's tools played by others inside the one of Linux."""

import subprocess
import sys

from harness.machine import CONFIGURATION, NO_SANDBOX, SANDBOX, MachineTest, Result


class OnMacOS(MachineTest):
    def setUp(self):
        super().setUp()
        if sys.platform != "linux":
            self.cannot_run("needs the sandbox of Linux")
        self.run_inside("true")
        self.machine = self.folder / "machine"
        self.support = self.machine / "Library" / "Application Support"
        self.support.mkdir(parents=True)
        self.tools = self.folder / "tools"
        self.tools.mkdir()
        self.play("uname", "echo Darwin")
        self.play("sudo", 'exec "$@"')

    def play(self, tool, script):
        (self.tools / tool).write_text("#!/bin/sh\n" + script)
        (self.tools / tool).chmod(0o755)

    def run_on_macos(self, *command):
        finished = subprocess.run(
            [SANDBOX, self.machine / "Library", "env", "TAMSEL_THROW_AWAY_MACHINE=yes",
             f"PATH={self.tools}:/usr/bin:/bin", SANDBOX, *command],
            capture_output=True, cwd=self.folder, check=False)
        return Result(finished.stdout, finished.stderr, finished.returncode)

    def test_shows_the_private_folder_and_leaves_nothing(self):
        for library in (self.private_library, "Library"):
            result = self.run_on_macos(library, "sh", "-c", f"cd '{CONFIGURATION}' && ls && exit 3")
            self.assertEqual((result.out, result.err, result.status), (b"DB\n", b"", 3))
            self.assertEqual(list(self.support.iterdir()), [])

    def test_leaves_what_was_there(self):
        (self.support / "Adobe" / "Other").mkdir(parents=True)
        self.assertEqual(self.run_on_macos("Library", "true").status, 0)
        self.assertEqual([path.name for path in (self.support / "Adobe").iterdir()], ["Other"])

    def test_leaves_nothing_where_no_link_can_be_made(self):
        self.play("ln", "exit 1")
        result = self.run_on_macos("Library", "true")
        self.assertEqual((result.out, result.status), (b"", NO_SANDBOX))
        self.assertEqual(list(self.support.iterdir()), [])

    def test_leaves_a_real_manager_alone(self):
        manager = self.support / "Adobe" / "Extension Manager CC"
        manager.mkdir(parents=True)
        result = self.run_on_macos("Library", "true")
        self.assertEqual(result.err, b"sandbox: this machine has an Extension Manager\n")
