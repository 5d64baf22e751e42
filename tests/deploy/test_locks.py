"""What a run waits for, and what happens when the waiting is over."""

import time

from harness.deploy import (ALL_DONE, ANOTHER_RUN, FAILED, INDESIGN, IN_USE, LOCK, NOT_REGISTERED, NO_BACKUP,
                            OLD_FILE, REGISTERED, RUNNING, DeployTest)
from harness.machine import DATABASE

ANOTHER = "waiting for another run to end"
HELD = "waiting for another program to release the database"
USED = f'the database is in use; sudo lsof "{DATABASE}" names the program\n'
EXCLUSIVE, WRITER, READER = "BEGIN EXCLUSIVE", "BEGIN IMMEDIATE", "BEGIN; SELECT * FROM Tb_XManConfig"


class LockTest(DeployTest):
    present, file = (INDESIGN,), OLD_FILE

    def assert_waits(self, text, let_go, out, *arguments):
        """A run that meets a lock, which is released once it has said so; it says so once."""
        result = self.finish_after(text, let_go, *arguments)
        self.assertEqual((result.out.decode(), result.status), (out, ALL_DONE), result.err.decode())
        return result

    def finish_after(self, text, let_go, *arguments):
        process = self.start_until(text, *arguments, "--wait", "50")
        let_go()
        result = self.finish(process)
        self.assert_logged(result.err)
        self.assertEqual(result.err.decode().count("waiting for"), 1)
        return result


class AnotherRun(LockTest):
    REFUSAL = f'another run is at work; sudo lsof "{LOCK}" names it\n'

    def test_is_waited_for_and_what_it_registers_counts(self):
        let_go = self.hold_run_lock()

        def register_and_let_go():
            self.run_tamsel("-r", INDESIGN)
            let_go()
        self.assert_waits(ANOTHER, register_and_let_go, REGISTERED)
        self.assertEqual(self.all_backups(), [])

    def test_is_waited_for_before_a_restore(self):
        backup = self.deploy_once()
        self.assert_waits(ANOTHER, self.hold_run_lock(), f"restored: {backup.name}\n", "--restore")

    def test_is_waited_for_as_long_as_is_said(self):
        self.deploy_once()
        self.unregister()
        self.hold_run_lock()
        for arguments, out in ([INDESIGN], FAILED), (["--restore"], ""):
            self.assert_unchanged([*arguments, "--wait", "0"], ANOTHER_RUN, self.REFUSAL, out=out)
        before = time.monotonic()
        self.assert_deploys(["--wait", "1"], ANOTHER_RUN, FAILED, ANOTHER)
        self.assertGreaterEqual(time.monotonic() - before, 1)

    def test_works_only_after_the_one_that_is_at_work(self):
        self.hold(READER)
        self.start_until(HELD, "--wait", "50", INDESIGN)
        self.assert_unchanged(["--restore", "--wait", "0"], ANOTHER_RUN, self.REFUSAL)

    def test_does_not_keep_anybody_from_looking(self):
        backup = self.deploy_once()
        self.unregister()
        self.hold_run_lock()
        self.assert_unchanged(["--dry-run"], ALL_DONE, out=f"would register: {INDESIGN}\n")
        self.assert_verified(f"not registered: {INDESIGN}\n", NOT_REGISTERED)
        self.assert_unchanged(["--list"], ALL_DONE, out=f"{backup.name} before registering {INDESIGN}\n")

    def test_a_lock_that_is_no_plain_file(self):
        self.deploy_once()
        self.unregister()
        lock, theirs = self.own / "lock", self.folder / "theirs"
        lock.unlink()
        for make in (lambda: lock.symlink_to(theirs), lock.mkdir):
            lock.unlink(missing_ok=True)
            make()
            for arguments in ([], ["--dry-run"]):
                with self.subTest(arguments):
                    self.assert_unchanged(arguments, NO_BACKUP, f"{LOCK} is not a plain file\n", out=FAILED)
            self.assert_unchanged(["--restore"], NO_BACKUP, f"no lock could be made: {LOCK}: ")
        self.assertFalse(theirs.exists())


class TheExtensionManager(LockTest):
    def test_is_waited_for(self):
        count = self.folder / "count"
        quits = self.stand_in(f'echo x >> "{count}"; [ "$(wc -l < "{count}")" -lt 3 ]', "pgrep")
        result = self.assert_deploys(["--wait", "50"], ALL_DONE, REGISTERED, options=quits)
        self.assertEqual(result.err.count(b"waiting for the Extension Manager to quit\n"), 1)
        self.assertEqual(len(count.read_text().split()), 3)
        self.unregister()
        self.assert_deploys(["--wait", "0"], RUNNING, options=self.stand_in(f'echo x >> "{count}"', "pgrep"))
        self.assertEqual(len(count.read_text().split()), 4)


class TheDatabase(LockTest):
    def test_in_use(self):
        """A program that only reads is in the way of the COMMIT alone, which a dry run does not have.
        Everything is as before then, with no backup left, and XManConfigV2.xml as it was."""
        looking = [["--dry-run"], ["--verify"]]
        for sql, commands in ((EXCLUSIVE, [[], *looking]), (WRITER, [[], ["--dry-run"]]),
                              (READER, [[], ["--replace-file"]])):
            let_go = self.hold(sql)
            for arguments in commands:
                with self.subTest(sql, arguments=arguments):
                    self.assert_unchanged([*arguments, "--wait", "0"], IN_USE, USED, out=FAILED)
            let_go()
        self.copied.unlink()
        self.hold(READER)
        self.assert_unchanged(["--wait", "0"], IN_USE, USED, out=FAILED)
        self.assert_unchanged(["--dry-run", "--wait", "0"], ALL_DONE, out=f"would register: {INDESIGN}\n")

    def test_is_waited_for(self):
        for sql in (EXCLUSIVE, WRITER, READER):
            with self.subTest(sql):
                self.assert_waits(HELD, self.hold(sql), REGISTERED)
                self.unregister()
        self.deploy_once()
        self.assert_waits(HELD, self.hold(EXCLUSIVE), REGISTERED, "--verify")

    def test_what_another_program_writes_meanwhile_is_in_the_backup(self):
        let_go = self.hold("BEGIN IMMEDIATE; INSERT INTO Tb_XManConfig VALUES (12, 'late', '')")

        def commit():
            let_go(b"COMMIT;\n")
        self.assert_waits(HELD, commit, REGISTERED)
        self.assertIn((12, "late", ""), [row[1:] for row in self.dump(
            self.all_backups()[0] / "ExMan.db")[1]["Tb_XManConfig"]])

    def test_in_use_before_a_restore(self):
        backup = self.deploy_once()
        before = self.installed()
        for sql in (EXCLUSIVE, WRITER, READER):
            with self.subTest(sql):
                let_go = self.hold(sql)
                result = self.deploy("--restore", "--wait", "0")
                let_go()
                self.assertEqual((result.out, result.status), (b"", IN_USE))
                self.assert_logged(result.err, USED)
                self.assertEqual(self.installed(), before)
        for sql in (EXCLUSIVE, WRITER, READER):
            with self.subTest(sql):
                self.assert_waits(HELD, self.hold(sql), f"restored: {backup.name}\n", "--restore")

    def test_with_a_write_ahead_log_only_writers_are_in_the_way(self):
        self.change("PRAGMA journal_mode = WAL")
        let_go = self.hold(WRITER)
        self.assert_deploys(["--wait", "0"], IN_USE, FAILED, USED)
        self.assertEqual(self.all_backups(), [])
        let_go()
        self.hold(READER)
        self.assert_deploys(["--wait", "0"], ALL_DONE, REGISTERED)
