"""The sandbox, on Linux and, played there, on macOS: it shows a private /Library and leaves nothing."""

from harness.machine import CONFIGURATION, NO_SANDBOX, SANDBOX, MachineTest
from harness.macos import MANAGER, MacTest


class OnLinux(MachineTest):
    def test_a_disk_of_a_limited_size(self):
        result = self.run_inside("sh", "-c", "head -c 100000 /dev/zero >/Library/file; wc -c </Library/file",
                                 options=["--tmpfs", "65536", "/Library"])
        self.assertEqual((result.out, result.status), (b"65536\n", 0), result.err.decode())
        self.assertFalse(self.inside("/Library/file").exists())


class OnMacOS(MacTest):
    def run_on_macos(self, *command, **how):
        return self.run_on_the_mac(SANDBOX, *command, **how)

    def test_shows_the_private_folder_and_leaves_nothing(self):
        for library in (self.private_library, "Library"):
            result = self.run_on_macos(library, "sh", "-c", f"""
                cd '{CONFIGURATION}' && ls && mkdir '/Library/Application Support/Tamsel' && exit 3""")
            self.assertEqual((result.out, result.err, result.status), (b"DB\n", b"", 3))
            self.assertEqual(list(self.support.iterdir()), [])

    def test_leaves_nothing_where_a_signal_ends_it(self):
        result = self.run_on_macos("Library", "sh", "-c", "kill -TERM $PPID")
        self.assertEqual((result.out, result.err, result.status), (b"", b"", 143))
        self.assertEqual(list(self.support.iterdir()), [])

    def test_refuses_where_it_would_touch_what_is_real(self):
        def assert_refused(reason, *options, **how):
            result = self.run_on_macos(*options, "Library", "true", **how)
            self.assertEqual((result.out, result.err.decode(), result.status),
                             (b"", f"sandbox: {reason}\n", NO_SANDBOX))

        assert_refused("macOS has no namespaces; on a machine to be thrown away, set"
                       " TAMSEL_THROW_AWAY_MACHINE=yes", variables=())
        assert_refused("macOS cannot bind folders, change the user or hide processes", "--user", "501")
        for name in (MANAGER, "Tamsel"):
            real = self.support / name
            reason = f"this machine has /Library/Application Support/{name}"
            real.mkdir(parents=True)
            assert_refused(reason)
            real.rmdir()
            real.symlink_to("/nowhere")
            assert_refused(reason)
            self.assertTrue(real.is_symlink())
            real.unlink()
