"""SIGINT, SIGTERM and SIGHUP end a run as a failure would; then it dies by that signal."""

import json
import signal
import sys

from harness.deploy import ALL_DONE, BACKUPS, CLOSED, INCOPY, INDESIGN, OLD_FILE, OWN, DeployTest, back

SIGNALS = ("INT", "TERM", "HUP")
# Ends after a minute if nobody ends it.
HANG = "exec sleep 60"
# Prints a line that says how the program ended: its status, or the negative number of a signal.
FATE = [sys.executable, "-S", "-c", "import subprocess, sys; print(subprocess.call(sys.argv[1:]))"]


class SignalTest(DeployTest):
    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)
        self.copied.write_bytes(OLD_FILE)
        self.before = self.installed()

    def assert_dies(self, name, out, *arguments, **how):
        """A run that dies by a signal, with everything as it was."""
        result = self.deploy(*arguments, before=FATE, **how)
        number = getattr(signal, "SIG" + name)
        self.assertEqual(result.out.decode(), f"{out}{-number}\n", result.err)
        self.assertEqual(self.installed(), self.before)
        self.assert_logged(result.err)
        return result


class WhileTamselRuns(SignalTest):
    def test_what_was_done_is_put_back(self):
        for name in SIGNALS:
            with self.subTest(name):
                self.replace_tamsel(f'tamsel "$@"; kill -{name} $PPID; {HANG}')
                result = self.assert_dies(name, f"failed: {INDESIGN}\n", INDESIGN, "--replace-file")
                self.assertTrue(result.err.decode().endswith(back(self.all_backups()[-1].name)))
                self.assertEqual(self.note(self.all_backups()[-1]), (CLOSED, [INDESIGN]))

    def test_tamsel_and_what_it_started_end_first(self):
        """They would go on writing after everything was put back."""
        self.replace_tamsel(f"trap '' TERM; sleep 60 >/dev/null 2>&1 & kill -TERM $PPID; {HANG}")
        # All of them hold the run's lock until the last one has ended.
        result = self.deploy(INDESIGN, before=[
            "bash", "-c", f'"$@"; flock -w 30 "{OWN}/lock" echo free', "bash", *FATE])
        self.assertEqual(result.out.decode(), f"failed: {INDESIGN}\n-15\nfree\n")
        self.assertEqual(self.installed(), self.before)

    def test_all_applications_get_their_lines(self):
        self.add_applications(INCOPY, "/Applications/Adobe InCopy 2020.app")
        self.replace_tamsel(f'case $2 in *InDesign*) kill -TERM $PPID; {HANG} ;; *) tamsel "$@" ;; esac')
        result = self.deploy("/missing.app", INCOPY, INDESIGN, "/Applications/Adobe InCopy 2020.app",
                             before=FATE)
        self.assertEqual(result.out.decode(), f"not found: /missing.app\nregistered: {INCOPY}\n"
                         f"failed: {INDESIGN}\nfailed: /Applications/Adobe InCopy 2020.app\n-15\n")
        self.assertEqual(self.rows("SELECT ProdID FROM Tb_ProductInfoV2 ORDER BY ProdID"),
                         [(12,), (156,), (1860,)])

    def test_the_object_is_whole(self):
        self.replace_tamsel(f"kill -TERM $PPID; {HANG}")
        result = self.deploy(INDESIGN, "--json", before=FATE)
        line, fate = result.out.decode().splitlines()
        self.assertEqual(fate, "-15")
        self.assertEqual(json.loads(line)["applications"][0]["state"], "failed")

    def test_more_than_one(self):
        self.replace_tamsel(f'tamsel "$@"; kill -TERM $PPID; kill -TERM $PPID; kill -INT $PPID; {HANG}')
        result = self.deploy(INDESIGN, before=FATE)
        self.assertIn(result.out.decode(), [f"failed: {INDESIGN}\n{-number}\n" for number in (2, 15)])
        self.assertEqual(self.installed(), self.before)

    def test_the_next_run_completes_the_registration(self):
        self.replace_tamsel(f'tamsel "$@"; kill -INT $PPID; {HANG}')
        self.assert_dies("INT", f"failed: {INDESIGN}\n", INDESIGN)
        self.replace_tamsel('tamsel "$@"')
        self.assert_deploys([INDESIGN], ALL_DONE, f"registered: {INDESIGN}\n")

    def test_one_that_is_ignored_from_the_start(self):
        """As under nohup."""
        for name in SIGNALS:
            self.replace_tamsel(f'kill -{name} $PPID; tamsel "$@"')
            self.assert_deploys([INDESIGN], ALL_DONE, f"registered: {INDESIGN}\n",
                                before=["bash", "-c", f"trap '' {name}; exec \"$@\"", "bash"])
            self.change("DELETE FROM Tb_XManConfig WHERE ProdID = 190;"
                        "DELETE FROM Tb_ProductInfoV2 WHERE ProdID = 190")


class AtOtherTimes(SignalTest):
    def test_while_the_extension_manager_is_looked_for(self):
        for name in SIGNALS:
            self.assert_dies(name, f"failed: {INDESIGN}\n",
                             options=self.stand_in(f"kill -{name} $PPID; exit 1", "pgrep"))

    def test_where_the_end_of_a_child_is_ignored_from_the_start(self):
        self.assert_deploys([INDESIGN], ALL_DONE, f"registered: {INDESIGN}\n",
                            before=["env", "--ignore-signal=CHLD"])

    def test_while_it_waits(self):
        self.need("strace")
        before = self.lasting_state()
        self.hold_run_lock()
        for name in SIGNALS:
            result = self.deploy(INDESIGN, "--wait", "600", before=[
                "strace", "-qq", "-o", self.folder / "trace", "-e", "trace=flock", "-e",
                f"inject=flock:signal={name}:when=2"])
            self.assertEqual((result.out.decode(), result.status),
                             (f"failed: {INDESIGN}\n", 128 + getattr(signal, "SIG" + name)))
        (self.folder / "trace").unlink()
        self.assertEqual(self.lasting_state(), before)

    def test_while_the_present_state_is_saved_before_a_restore(self):
        self.need("strace")
        self.deploy_once("--replace-file")
        before = self.installed()
        result = self.deploy("--restore", before=[
            "strace", "-qq", "-o", self.folder / "trace", "-P", f"{BACKUPS}/.incomplete", "-e",
            "inject=?mkdir,?mkdirat:signal=TERM"])
        self.assertEqual((result.out, result.status), (b"", 128 + signal.SIGTERM))
        self.assert_logged(result.err, "a signal has ended the run", back(self.all_backups()[-1].name))
        self.assertEqual(self.installed(), before)

    def test_while_a_backup_is_brought_back(self):
        """A restore is done or not done."""
        self.need("strace")
        backup = self.deploy_once("--replace-file")
        result = self.deploy("--restore", before=[
            "strace", "-qq", "-o", self.folder / "trace", "-e", "trace=flock", "-e",
            "inject=flock:signal=TERM:when=1"])
        self.assertEqual(result.status, 128 + signal.SIGTERM)
        self.assertIn(result.out.decode(), ("", f"restored: {backup.name}\n"))
        self.assertEqual(self.installed() == self.before, result.out != b"")
