"""What the sandbox does on macOS, and with the disks of Linux."""

import pathlib
import subprocess
import tempfile

from harness.machine import CONFIGURATION, NO_SANDBOX, SANDBOX, MachineTest
from package.macos import MANAGER, MacTest


class SandboxTest(MacTest):
    def run_on_macos(self, *command, **how):
        return self.run_on_the_mac(SANDBOX, *command, **how)

    def assert_refused(self, reason, *command, **how):
        """It refuses for this reason, and nothing has changed."""
        before = sorted(self.support.rglob("*"))
        result = self.run_on_macos(*command or ("Library", "true"), **how)
        self.assertEqual((result.out, result.err.decode(), result.status),
                         (b"", f"sandbox: {reason}\n", NO_SANDBOX))
        self.assertEqual(sorted(self.support.rglob("*")), before)


class OnMacOS(SandboxTest):
    def test_shows_the_private_folder_and_leaves_nothing(self):
        for library in (self.private_library, "Library"):
            result = self.run_on_macos(library, "sh", "-c", f"cd '{CONFIGURATION}' && ls && exit 3")
            self.assertEqual((result.out, result.err, result.status), (b"DB\n", b"", 3))
            self.assertEqual(list(self.support.iterdir()), [])

    def test_removes_what_tamsel_deploy_saved(self):
        result = self.run_on_macos(
            "Library", "sh", "-c", "mkdir '/Library/Application Support/Tamsel' && cd '/Library/Application"
            " Support/Tamsel' && mkdir Backups && echo saved >Backups/saved && cat Backups/saved")
        self.assertEqual((result.out, result.err, result.status), (b"saved\n", b"", 0))
        self.assertEqual(list(self.support.iterdir()), [])

    def test_leaves_what_was_there(self):
        (self.support / "Adobe" / "Other").mkdir(parents=True)
        self.assertEqual(self.run_on_macos("Library", "true").status, 0)
        self.assertEqual([path.name for path in (self.support / "Adobe").iterdir()], ["Other"])

    def test_leaves_nothing_where_no_link_can_be_made(self):
        self.make_tool("ln", "exit 1")
        result = self.run_on_macos("Library", "true")
        self.assertEqual((result.out, result.status), (b"", NO_SANDBOX))
        self.assertEqual(list(self.support.iterdir()), [])

    def test_leaves_nothing_where_a_signal_ends_it(self):
        for signal, status in (("HUP", 129), ("INT", 130), ("TERM", 143)):
            with self.subTest(signal):
                result = self.run_on_macos("Library", "sh", "-c", f"kill -{signal} $PPID")
                self.assertEqual((result.out, result.err, result.status), (b"", b"", status))
                self.assertEqual(list(self.support.iterdir()), [])

    def test_leaves_a_real_manager_alone(self):
        manager = self.support / MANAGER
        manager.mkdir(parents=True)
        self.assert_refused("this machine has an Extension Manager")
        manager.rmdir()
        for place in (self.private_library, "/nowhere", "/tmp/tamsel-sandbox.abc/ef/Library",
                      "/tmp/tamsel-sandbox.abcdef", "/Volumes/Another Disk/Library"):
            manager.symlink_to(f"{place}/Application Support/{MANAGER}")
            self.assert_refused("this machine has an Extension Manager")
            manager.unlink()

    def test_leaves_real_backups_alone(self):
        saves = self.support / "Tamsel"
        reason = ("tamsel-deploy has been used here, and /Library/Application Support/Tamsel would be"
                  " removed")
        (saves / "Backups").mkdir(parents=True)
        self.assert_refused(reason)
        (saves / "Backups").rmdir()
        saves.rmdir()
        saves.symlink_to("/nowhere")
        self.assert_refused(reason)

    def test_leaves_backups_alone_that_are_made_meanwhile(self):
        self.make_tool("ln", '/bin/ln "$@" && mkdir -p "/Library/Application Support/Tamsel/Backups"')
        result = self.run_on_macos("Library", "true")
        self.assertEqual((result.err, result.status),
                         (b"sandbox: /Library/Application Support/Tamsel is there\n", NO_SANDBOX))
        self.assertEqual([path.name for path in self.support.iterdir()], ["Tamsel"])

    def test_says_why_it_is_none(self):
        self.assert_refused("macOS has no namespaces; on a machine to be thrown away, set"
                            " TAMSEL_THROW_AWAY_MACHINE=yes", variables=())
        for options in (("--bind", "/usr", "/opt"), ("--user", "501"), ("--own-processes",),
                        ("--read-only", CONFIGURATION)):
            self.assert_refused("macOS cannot bind folders, change the user or hide processes",
                                *options, "Library", "true")

    def test_a_check_runs_nothing(self):
        result = self.run_on_macos("--check")
        self.assertEqual((result.out, result.err, result.status), (b"", b"", 0))
        (self.support / MANAGER).mkdir(parents=True)
        self.assert_refused("this machine has an Extension Manager", "--check")


class AfterAKill(SandboxTest):
    """A sandbox that could not remove its link."""

    def setUp(self):
        super().setUp()
        self.link = self.support / MANAGER
        result = self.run_on_macos("Library", "sh", "-c", "kill -KILL $PPID")
        self.assertEqual(result.status, 137)
        self.passage = pathlib.Path(*self.link.readlink().parts[:3])
        self.addCleanup(subprocess.run, ["rm", "-rf", self.passage], check=True)
        self.assertTrue(self.passage.name.startswith("tamsel-sandbox."))
        self.assertTrue((self.passage / "process").exists())

    def assert_tidies_up(self):
        result = self.run_on_macos("Library", "ls", CONFIGURATION)
        self.assertEqual((result.out, result.err, result.status), (b"DB\n", b"", 0))
        self.assertEqual(list(self.support.iterdir()), [])
        self.assertFalse(self.passage.exists())

    def test_its_link_is_removed(self):
        self.assert_tidies_up()

    def test_its_link_is_removed_when_its_folders_are_gone(self):
        (self.passage / "Library").unlink()
        (self.passage / "process").write_text("1\n")
        self.assert_tidies_up()

    def test_a_check_leaves_it(self):
        self.assertEqual(self.run_on_macos("--check").status, 0)
        self.assertTrue(self.link.is_symlink())

    def test_the_link_of_another_one_that_lives_is_left(self):
        (self.passage / "process").write_text("1\n")
        self.assert_refused("another sandbox is at work, in the place of"
                            " /Library/Application Support/Adobe/Extension Manager CC")
        self.assertTrue(self.link.is_symlink())


class Check(MacTest):
    def test_on_linux(self):
        with tempfile.TemporaryDirectory() as tools:
            for path, status, reason in (("/usr/bin:/bin", 0, ""),
                                         (tools, NO_SANDBOX, "sandbox: bubblewrap is not installed\n")):
                for tool in ("bash", "dirname", "uname"):
                    if path == tools:
                        pathlib.Path(tools, tool).symlink_to("/usr/bin/" + tool)
                finished = subprocess.run(["/usr/bin/bash", SANDBOX, "--check"], env={"PATH": path},
                                          capture_output=True, text=True, check=False)
                self.assertEqual((finished.stdout, finished.stderr, finished.returncode),
                                 ("", reason, status))


class OnLinux(MachineTest):
    def test_a_disk_of_a_limited_size(self):
        result = self.run_inside("sh", "-c", "head -c 100000 /dev/zero >/Library/file; wc -c </Library/file",
                                 options=["--tmpfs", "65536", "/Library"])
        self.assertEqual((result.out, result.status), (b"65536\n", 0), result.err.decode())
        self.assertFalse(self.inside("/Library/file").exists())
