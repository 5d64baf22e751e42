"""What must wait for others, and what happens when the waiting is over."""

import fcntl
import os
import time

from harness.deploy import (ALL_DONE, ANOTHER_RUN, CLOSED, IN_USE, INDESIGN, NOT_REGISTERED, NOT_RESTORED,
                            OPEN, OWN, RUNNING, DeployTest, back)
from harness.machine import DATABASE, Result

FAILED = f"failed: {INDESIGN}\n"
REGISTERED = f"registered: {INDESIGN}\n"
HOLDS = ("BEGIN EXCLUSIVE", "BEGIN IMMEDIATE", "BEGIN; SELECT * FROM Tb_XManConfig")

# In a stand-in for Tamsel: another program that holds the database while this one runs.
HELD = f"""\
held() {{
    coproc sqlite3 "{DATABASE}"
    echo "BEGIN EXCLUSIVE; SELECT 'held';" >&"${{COPROC[1]}}"
    read -ru "${{COPROC[0]}}"
    "$@"
    echo .quit >&"${{COPROC[1]}}"
    wait
}}
"""


class LockTest(DeployTest):
    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)

    def deploy_and_meet(self, let_go, *arguments):
        """A run that meets a lock, which is then released."""
        self.need("strace")
        process = self.start(*arguments, "--wait", "600", bufsize=0, before=[
            "strace", "-f", "-qq", "-e", "trace=flock,fcntl", "-e", "signal=none"])
        for line in process.stderr:
            if b"EAGAIN" in line:
                break
        else:
            self.fail("no lock was met")
        let_go()
        result = self.finish(process)
        log = b"".join(line for line in result.err.splitlines(True) if b" tamsel-deploy: " in line)
        self.assert_logged(log)
        return Result(result.out, log, result.status)


class AnotherRun(LockTest):
    def test_is_waited_for(self):
        result = self.deploy_and_meet(self.hold_run_lock())
        self.assertEqual((result.out.decode(), result.status), (REGISTERED, ALL_DONE))

    def test_is_waited_for_before_a_restore(self):
        backup = self.deploy_once()
        result = self.deploy_and_meet(self.hold_run_lock(), "--restore")
        self.assertEqual((result.out.decode(), result.status), (f"restored: {backup.name}\n", ALL_DONE))

    def test_is_waited_for_as_long_as_is_said(self):
        self.hold_run_lock()
        before = time.monotonic()
        self.assert_refuses(["--wait", "1"], ANOTHER_RUN, out=FAILED)
        self.assertGreaterEqual(time.monotonic() - before, 1)

    def test_what_it_registers_is_registered_for_this_one_too(self):
        """Two runs: the second looks at the database once the first has ended."""
        started, go = self.folder / "started", self.folder / "go"
        os.mkfifo(started)
        os.mkfifo(go)
        self.replace_tamsel(f'[ ! -p "{started}" ] || {{ echo > "{started}"; read -r < "{go}"; }}\n'
                            'tamsel "$@"')
        first = self.start()
        started.read_bytes()
        started.unlink()
        second = self.deploy_and_meet(lambda: go.write_text("\n"))
        first = self.finish(first)
        for result in (first, second):
            self.assertEqual((result.out.decode(), result.status), (REGISTERED, ALL_DONE))
        self.assertEqual(len(self.all_backups()), 1)

    def test_its_program_counts_when_it_was_killed(self):
        """The lock is held until the last writer of a killed run has ended."""
        killed, go = self.folder / "killed", self.folder / "go"
        os.mkfifo(killed)
        os.mkfifo(go)
        self.replace_tamsel(f'kill -KILL $PPID; echo > "{killed}"; read -r < "{go}"; tamsel "$@"')
        # The shell stays until Tamsel has ended; with it everything in its sandbox would end.
        first = self.start(before=["bash", "-c", f'"$@"; flock "{OWN}/lock" true', "bash"])
        killed.read_bytes()
        with open(self.own / "lock", "ab") as file, self.assertRaises(BlockingIOError):
            fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        self.assertEqual(self.note(self.all_backups()[0])[0], OPEN)
        go.write_text("\n")
        first.wait()
        self.assertEqual(len(self.rows("SELECT * FROM Tb_XManConfig WHERE ProdID = 190")), 14)
        self.replace_tamsel('tamsel "$@"')
        self.assert_deploys([INDESIGN], ALL_DONE, REGISTERED)
        self.assertEqual(self.note(self.all_backups()[0])[0], CLOSED)


class TheExtensionManager(LockTest):
    def test_is_waited_for(self):
        count = self.folder / "count"
        quits = self.stand_in(f'echo x >> "{count}"; [ "$(wc -l < "{count}")" -lt 3 ]', "pgrep")
        self.assert_deploys(["--wait", "600"], ALL_DONE, REGISTERED, options=quits)
        self.assertEqual(len(count.read_text().split()), 3)

    def test_is_asked_once_where_nobody_waits(self):
        count = self.folder / "count"
        runs = self.stand_in(f'echo x >> "{count}"', "pgrep")
        self.assert_refuses(["--wait", "0"], RUNNING, options=runs)
        self.assertEqual(len(count.read_text().split()), 1)


class TheDatabase(LockTest):
    def test_in_use_by_another_program(self):
        for sql in HOLDS:
            let_go = self.hold(sql)
            for arguments in ([], ["--dry-run"]):
                with self.subTest(sql, arguments=arguments):
                    self.assert_refuses([*arguments, "--wait", "0"], IN_USE, out=FAILED)
            let_go()

    def test_in_use_in_write_ahead_mode(self):
        self.change("PRAGMA journal_mode = WAL")
        let_go = self.hold("BEGIN IMMEDIATE")
        self.assert_deploys(["--wait", "0"], IN_USE, FAILED)
        self.assertEqual(self.all_backups(), [])
        let_go()
        self.hold(HOLDS[2])
        self.assert_deploys(["--wait", "0"], ALL_DONE, REGISTERED)

    def test_what_waits_in_a_write_ahead_log_is_left_there_by_a_dry_run(self):
        self.change("PRAGMA journal_mode = WAL")
        connection = self.connect()
        connection.execute("INSERT INTO Tb_XManConfig VALUES (12, 'late', '')")
        files = [self.database, self.database.parent / "ExMan.db-wal"]
        left = [path.read_bytes() for path in files]
        connection.close()
        for path, content in zip(files, left):
            path.write_bytes(content)
        self.assert_deploys(["--dry-run"], ALL_DONE, f"would register: {INDESIGN}\n")
        self.assertEqual([path.read_bytes() for path in files], left)

    def test_in_use_before_a_restore(self):
        self.deploy_once()
        before = self.installed()
        for sql in HOLDS:
            let_go = self.hold(sql)
            self.assert_deploys(["--restore", "--wait", "0"], IN_USE)
            let_go()
            self.assertEqual(self.installed(), before)

    def test_is_waited_for(self):
        for sql in HOLDS:
            with self.subTest(sql):
                result = self.deploy_and_meet(self.hold(sql))
                self.assertEqual((result.out.decode(), result.status), (REGISTERED, ALL_DONE))
                self.change("DELETE FROM Tb_XManConfig WHERE ProdID = 190")

    def test_is_waited_for_before_a_restore(self):
        backup = self.deploy_once()
        for sql in HOLDS:
            with self.subTest(sql):
                result = self.deploy_and_meet(self.hold(sql), "--restore")
                self.assertEqual((result.out.decode(), result.status),
                                 (f"restored: {backup.name}\n", ALL_DONE))

    def test_is_waited_for_when_it_is_verified(self):
        self.deploy_once()
        result = self.deploy_and_meet(self.hold(HOLDS[0]), "--verify")
        self.assertEqual((result.out.decode(), result.status), (REGISTERED, ALL_DONE))


class StoppedByALock(LockTest):
    """Tamsel itself does not wait; if a lock stops it, its work is put back and it is started again."""

    def setUp(self):
        super().setUp()
        self.runs = self.folder / "runs"
        self.change("INSERT INTO Tb_XManConfig VALUES (190, 'bit', 'old')")

    def replace(self, script):
        """The script runs as the first two Tamsels; the third is the real one."""
        self.replace_tamsel(f'{HELD}echo x >> "{self.runs}"\n'
                            f'[ "$(wc -l < "{self.runs}")" -lt 3 ] || {{ tamsel "$@"; exit; }}\n{script}')

    def assert_started_again(self, script):
        self.replace(script)
        self.assert_deploys(["--wait", "600"], ALL_DONE, REGISTERED)
        self.assertEqual(len(self.runs.read_text().split()), 3)
        self.assertEqual(len(self.all_backups()), 1)

    def test_at_its_first_statement(self):
        self.assert_started_again('held tamsel "$@"')

    def test_at_its_second_statement(self):
        self.assert_started_again(
            f'sqlite3 "{DATABASE}" "INSERT INTO Tb_ProductInfoV2 (ProdID, ProdName) VALUES (190, 5)"\n'
            'echo InsertProductInfo true; held tamsel "$@" | sed 1,/InsertProductInfo.false/d')

    def test_until_waiting_is_over(self):
        self.replace('held tamsel "$@"')
        self.assert_puts_back(["--wait", "0"], IN_USE, FAILED, "Tamsel: ")
        self.assertEqual(len(self.runs.read_text().split()), 1)
        self.assertEqual(self.note(self.all_backups()[-1])[0], CLOSED)

    def test_a_failure_of_another_kind_is_not_tried_again(self):
        self.replace("echo InsertProductInfo false")
        self.assert_puts_back(["--wait", "600"], NOT_REGISTERED, FAILED)
        self.assertEqual(len(self.runs.read_text().split()), 1)


class NotPutBack(LockTest):
    """What cannot be put back is rolled back by the next run, whatever its applications."""

    def test_the_next_run_leads_back(self):
        before = self.installed()
        self.database.chmod(0o644)
        self.replace_tamsel(f'sqlite3 "{DATABASE}" "INSERT INTO Tb_XManConfig VALUES (190, 5, 5)"\n'
                            f'chmod 444 "{DATABASE}"; exit 1')
        result = self.assert_deploys([INDESIGN, "--wait", "0"], NOT_RESTORED, FAILED)
        failed, = self.all_backups()
        self.assertEqual(self.note(failed), (OPEN, [INDESIGN]))
        self.assertTrue(result.err.decode().endswith(back(failed.name)))
        self.database.chmod(0o644)
        self.assertNotEqual(self.installed(), before)
        self.replace_tamsel("exit 1")
        self.add_applications("/Applications/Adobe InCopy 2020.app")
        self.deploy("/Applications/Adobe InCopy 2020.app")
        self.assertEqual(self.installed(), before)
        self.assertEqual(self.note(failed)[0], CLOSED)

    def test_restoring_leads_back_too(self):
        before = self.installed()
        self.database.chmod(0o644)
        self.replace_tamsel(f'sqlite3 "{DATABASE}" "INSERT INTO Tb_XManConfig VALUES (190, 5, 5)"\n'
                            f'chmod 444 "{DATABASE}"; exit 1')
        self.assert_deploys([INDESIGN, "--wait", "0"], NOT_RESTORED, FAILED)
        self.database.chmod(0o644)
        failed = self.all_backups()[0]
        self.assert_deploys(["--restore"], ALL_DONE, f"restored: {failed.name}\n")
        self.assertEqual(self.installed(), before)
        self.assertEqual(self.note(failed)[0], CLOSED)
