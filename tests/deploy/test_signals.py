"""SIGINT, SIGTERM and SIGHUP end a run with everything as it was; then it dies by that signal."""

import json
import os
import signal
import sys

from harness.deploy import ALL_DONE, FAILED, INCOPY, INDESIGN, OLD_FILE, REGISTERED, DeployTest
from harness.machine import write_script

SIGNALS = signal.SIGINT, signal.SIGTERM, signal.SIGHUP
ANOTHER = "waiting for another run to end"
HELD = "waiting for another program to release the database"
SLOW = ("CREATE TRIGGER T AFTER INSERT ON Tb_XManConfig WHEN NEW.ProdID = 190 BEGIN UPDATE Tb_ProductInfoV2"
        " SET SuiteID = (SELECT MAX(" + " || ".join(f"{name}.KeyName" for name in "abcdefghij") + ") FROM "
        + ", ".join(f"Tb_XManConfig {name}" for name in "abcdefghij") + "); END")


class Signals(DeployTest):
    present, file = (INDESIGN,), OLD_FILE

    def setUp(self):
        super().setUp()
        self.before = self.installed()

    def assert_dies(self, process, number, out):
        os.kill(process.number, number)
        result = self.finish(process)
        self.assertEqual((result.out.decode(), result.status), (out, 128 + number), result.err.decode())
        self.assert_logged(result.err, "a signal has ended the run\n")
        self.assertNotIn(b"to bring back", result.err)

    def test_while_it_waits_for_another_run(self):
        self.hold_run_lock()
        for number in SIGNALS:
            with self.subTest(number):
                self.assert_dies(self.start_until(ANOTHER, "--wait", "50", "/missing.app", INDESIGN), number,
                                 f"not found: /missing.app\n{FAILED}")
                self.assertEqual(self.installed(), self.before)
        process = self.start_until(ANOTHER, "--json", INDESIGN)
        os.kill(process.number, signal.SIGHUP)
        self.assertEqual(json.loads(self.finish(process).out)["applications"][0]["state"], "failed")

    def test_while_a_reader_keeps_it_from_committing(self):
        before = self.lasting_state()
        self.hold("BEGIN; SELECT * FROM Tb_XManConfig")
        self.assert_dies(self.start_until(HELD, "--wait", "50", "--replace-file"), signal.SIGTERM, FAILED)
        self.assertEqual(self.lasting_state(), before)

    def test_while_a_slow_statement_runs(self):
        """It would run for days."""
        self.change(SLOW)
        self.add_applications(INCOPY)
        before = self.lasting_state()
        let_go = self.hold_run_lock()
        process = self.start_until(ANOTHER, "--wait", "50", INCOPY, INDESIGN)
        let_go()
        # Once there is a journal, it writes the rows.
        while not (self.database.parent / "ExMan.db-journal").exists():
            self.assertIsNone(process.poll())
        self.assert_dies(process, signal.SIGINT, f"failed: {INCOPY}\n{FAILED}")
        self.assertEqual(self.lasting_state(), before)

    def test_during_a_restore(self):
        self.deploy_once("--replace-file")
        before = self.installed()
        let_go = self.hold_run_lock()
        self.assert_dies(self.start_until(ANOTHER, "--wait", "50", "--restore"), signal.SIGTERM, "")
        let_go()
        self.hold("BEGIN; SELECT * FROM Tb_XManConfig")
        self.assert_dies(self.start_until(HELD, "--wait", "50", "--restore"), signal.SIGTERM, "")
        self.assertEqual(self.installed(), before)

    def test_while_the_extension_manager_is_looked_for(self):
        """No application has been looked for by then, so there are no lines."""
        for script in ("kill -TERM $PPID; exit 1", "kill -TERM $PPID; exit 0"):
            result = self.deploy(INDESIGN, options=self.stand_in(script, "pgrep"))
            self.assertEqual((result.out, result.status), (b"", 128 + signal.SIGTERM))
        self.assertEqual(self.installed(), self.before)

    def test_one_that_was_ignored_from_the_start_stays_so(self):
        """As under nohup."""
        let_go = self.hold_run_lock()
        for number in SIGNALS:
            signal.signal(number, signal.SIG_IGN)
            self.addCleanup(signal.signal, number, signal.SIG_DFL)
        process = self.start_until(ANOTHER, "--wait", "50")
        for number in SIGNALS:
            os.kill(process.number, number)
        let_go()
        self.assertEqual(self.finish(process)[::2], (REGISTERED.encode(), ALL_DONE))

    def test_one_that_was_ignored_and_waits_is_none(self):
        script = ("import os, signal, sys; signal.signal(1, signal.SIG_IGN);"
                  "signal.pthread_sigmask(signal.SIG_BLOCK, [1]); os.kill(os.getpid(), 1);"
                  "os.execv(sys.argv[1], sys.argv[1:])")
        self.deploy_once(before=[sys.executable, "-c", script])

    def test_pgrep_gets_no_blocked_signals_and_an_environment_of_its_own(self):
        """What ends the group of processes must end it, too, and no function of somebody's bash is in it."""
        seen = self.folder / "seen"
        script = f"{{ cat /proc/$$/environ; echo; grep SigBlk /proc/self/status; }} >'{seen}'; exit 1"
        pgrep = write_script(self.tools / "pgrep", script, "bash")
        self.deploy_once(options=["--bind", pgrep, os.path.realpath("/usr/bin/pgrep")],
                         environment={"BASH_FUNC_cat%%": "() { echo hostile; }", "LD_BIND_NOW": "1"})
        self.assertEqual(seen.read_text().splitlines(),
                         ["PATH=/usr/bin:/bin:/usr/sbin:/sbin\0", "SigBlk:\t0000000000000000"])

    def test_it_learns_how_pgrep_ended_even_if_the_caller_ignores_that(self):
        self.deploy_once(before=["env", "--ignore-signal=CHLD"])
