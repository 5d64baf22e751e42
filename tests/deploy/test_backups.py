"""What is saved before a registration, under which name, and what is kept."""

import os
import shutil
import signal
import stat

from harness.deploy import (ALL_DONE, BACKUPS, FAILED, INCOPY, INDESIGN, IN_USE, NOTE, NOT_RESTORED,
                            NO_BACKUP, OLD_FILE, REGISTERED, UNFINISHED, DeployTest)

HELD = "waiting for another program to release the database"
READER = "BEGIN; SELECT * FROM Tb_XManConfig"
BEFORE = f"before registering {INDESIGN}"


class BackupTest(DeployTest):
    present, file = (INDESIGN,), OLD_FILE

    def deploy_at(self, *times):
        for seconds in times:
            self.change(f"DELETE FROM Tb_XManConfig WHERE ProdID = 190 OR KeyName = 'mark';"
                        f"INSERT INTO Tb_XManConfig VALUES (12, 'mark', '{seconds}')")
            self.deploy_once(environment=self.clock(seconds))

    def names(self):
        return sorted(path.name for path in self.backups.iterdir())

    def numbers(self):
        return [int(backup.name.partition("-")[0]) for backup in self.all_backups()]

    def restore(self, backup):
        self.assert_deploys(["--restore", backup.name], ALL_DONE, f"restored: {backup.name}\n")


class Contents(BackupTest):
    def test_the_database_the_file_and_a_note(self):
        self.database.chmod(0o666)
        self.copied.chmod(0o604)
        content = self.dump()
        backup = self.deploy_once()
        self.assertRegex(backup.name, r"\A0001-\d{4}-\d\d-\d\dT\d{6}Z\Z")
        self.assertEqual({path.name for path in backup.iterdir()}, {"ExMan.db", "XManConfigV2.xml", NOTE})
        self.assertEqual(self.dump(backup / "ExMan.db"), content)
        self.assertEqual((backup / "XManConfigV2.xml").read_bytes(), OLD_FILE)
        self.assertEqual((backup / NOTE).read_text(), BEFORE + "\n")
        self.assertEqual([stat.S_IMODE(path.stat().st_mode) for path in
                          (backup, backup / "ExMan.db", backup / "XManConfigV2.xml", backup / NOTE)],
                         [0o700, 0o666, 0o604, 0o600])

    def test_what_is_in_a_write_ahead_log(self):
        connection = self.connect()
        connection.execute("PRAGMA journal_mode = WAL")
        connection.execute("PRAGMA wal_autocheckpoint = 0")
        connection.execute("INSERT INTO Tb_XManConfig VALUES (12, 'late', 'row')")
        content = self.dump()
        self.assertEqual(self.dump(self.deploy_once() / "ExMan.db"), content)

    def test_a_hot_journal_is_rolled_back_first(self):
        content = self.dump()
        self.leave_hot_journal()
        self.assertEqual(self.dump(self.deploy_once() / "ExMan.db"), content)

    def test_a_full_disk(self):
        """A limit on the size of a file stands for it, of which a program built for coverage learns
        nothing. Neither a registration nor a restore goes on without a backup."""
        full = ["sh", "-c", 'ulimit -f 8; exec env LLVM_PROFILE_FILE=/dev/null "$@"', "sh"]
        self.deploy_once()
        self.change("CREATE TABLE Much (a); INSERT INTO Much VALUES (zeroblob(100000));"
                    "DELETE FROM Tb_XManConfig WHERE ProdID = 190")
        for arguments, out in ([], FAILED), (["--restore"], ""):
            self.assert_unchanged(arguments, NO_BACKUP, "no backup could be made: ", out=out, before=full)
        self.assertEqual(len(self.names()), 1)


class Names(BackupTest):
    def test_a_number_and_the_time_in_utc(self):
        self.copied.unlink()
        self.deploy_at(1769903999, 1769903999, 0, -1, 999999999999)
        self.assertEqual({path.name for path in self.all_backups()[0].iterdir()}, {"ExMan.db", NOTE})
        self.assertEqual(self.names(), ["0001-2026-01-31T235959Z", "0002-2026-01-31T235959Z",
                                        "0003-1970-01-01T000000Z", "0004-1970-01-01T000000Z",
                                        "0005-9999-12-31T235959Z"])
        self.unregister()
        self.deploy_once(environment={**self.clock(0), "TZ": "Asia/Tokyo"})
        self.assertEqual(self.names()[-1], "0006-1970-01-01T000000Z")

    def test_the_number_goes_on_from_the_highest_and_decides_what_is_newer(self):
        self.deploy_at(5, 6, 7)
        shutil.rmtree(self.backups / "0002-1970-01-01T000006Z")
        (self.backups / "0003-1970-01-01T000007Z").rename(self.backups / "9999-1970-01-01T000007Z")
        self.deploy_at(2, 1)
        names = ["0001-1970-01-01T000005Z", "9999-1970-01-01T000007Z", "10000-1970-01-01T000002Z",
                 "10001-1970-01-01T000001Z"]
        self.assert_unchanged(["--list"], ALL_DONE, out="".join(f"{name} {BEFORE}\n" for name in names))
        self.assert_deploys(["--restore"], ALL_DONE, f"restored: {names[-1]}\n")
        self.assertEqual(self.rows("SELECT KeyValue FROM Tb_XManConfig WHERE KeyName = 'mark'"), [("1",)])

    def test_other_names_and_links_are_no_backups(self):
        self.deploy_at(0)
        foreign = ["0002-2026-1-31T235959Z", "00002-2026-01-31T235959Z", "002-2026-01-31T235959Z", ".hidden",
                   "0002-2026-01-31T235959", "0002-2026-01-31T235959Zz", "x0002-2026-01-31T235959Z", "-001",
                   "0002-2026-01-31T23595xZ", "9999999999999999-2026-01-31T235959Z", "originals"]
        for name in foreign:
            shutil.copytree(self.all_backups()[0], self.backups / name)
        link, file = "0002-2026-01-31T235959Z", "0003-2026-01-31T235959Z"
        shutil.copytree(self.all_backups()[0], self.folder / "away")
        (self.backups / link).symlink_to(self.folder / "away")
        (self.backups / file).write_text("a file")
        before = self.state(self.folder / "away")
        self.deploy_at(*range(8))
        kept = [name for name in self.names() if name not in (*foreign, link, file)]
        self.assertEqual([int(name[:4]) for name in kept], [1, 4, 5, 6, 7, 8, 9])
        self.assertEqual(len(self.names()), len([*foreign, link, file, *kept]))
        self.assertEqual(self.state(self.folder / "away"), before)
        self.assertEqual([line.split()[0] for line in self.deploy("--list").out.decode().splitlines()], kept)
        for name in [*foreign, link, file, self.backups / link]:
            with self.subTest(name):
                self.assert_unchanged(["--restore", "--", name], NOT_RESTORED,
                                      f"there is no backup {name}; --list shows them\n")


class Kept(BackupTest):
    def test_the_first_the_last_and_the_five_newest_others(self):
        self.deploy_at(*range(9))
        self.assertEqual(self.numbers(), [1, 4, 5, 6, 7, 8, 9])

    def test_restores_do_not_push_out_what_was_before_the_last_registration(self):
        self.deploy_at(1, 2)
        for _ in range(7):
            self.restore(self.all_backups()[0])
        self.assertEqual(self.numbers(), [1, 2, 5, 6, 7, 8, 9])
        self.assert_deploys(["--restore"], ALL_DONE, "restored: 0002-1970-01-01T000002Z\n")

    def test_a_run_that_changes_nothing_leaves_none_and_pushes_none_out(self):
        self.deploy_at(*range(7))
        before = self.names()
        self.unregister()
        self.change("CREATE TRIGGER T BEFORE INSERT ON Tb_XManConfig BEGIN SELECT RAISE(ABORT, 'no'); END")
        self.assertEqual(self.deploy().status, 1)
        self.assertEqual(self.names(), before)

    def test_a_note_that_cannot_be_read_stops_only_a_restore_without_a_name(self):
        """Otherwise that could bring back an older state than was meant."""
        self.deploy_at(1)
        backup, = self.all_backups()
        (backup / NOTE).write_text("words")
        self.assert_unchanged(["--restore"], NOT_RESTORED, f"the note of {backup.name} cannot be read, ")
        out = f"{backup.name} with a note that cannot be read\n"
        for make in (os.unlink, lambda note: note.write_bytes(b""), lambda note: note.write_bytes(b"\n"),
                     os.mkfifo, os.mkdir, lambda note: note.symlink_to("/etc/passwd")):
            note = backup / NOTE
            if make is os.unlink or note.is_file():
                note.unlink()
            with self.subTest(make):
                if make is not os.unlink:
                    make(note)
                self.assert_unchanged(["--list"], ALL_DONE, out=out)
                self.assert_unchanged(["--restore"], NOT_RESTORED, f"the note of {backup.name} cannot be"
                                      " read, so name the backup to be restored\n")
                self.restore(backup)
                self.deploy_once()
                for new in self.all_backups()[1:]:
                    shutil.rmtree(new)
            (note.rmdir if note.is_dir() else lambda: note.unlink(missing_ok=True))()
            note.write_text("x")

    def test_a_list_is_in_order_and_escaped(self):
        path = self.folder / "a\\b\t, c\xa0" / "Adobe InDesign 2020.app"
        self.add_applications(path, INCOPY)
        self.deploy(INCOPY, path, environment=self.clock(0))
        self.deploy("--restore", environment=self.clock(60))
        shown = str(path).replace("\\", "\\\\").replace("\t", "\\x09")
        self.assert_unchanged(["--list"], ALL_DONE, out=(
            f"0001-1970-01-01T000000Z before registering {INCOPY}, {shown}\n"
            "0002-1970-01-01T000100Z before restoring 0001-1970-01-01T000000Z\n"))


class Unfinished(BackupTest):
    """The backup of a run that was killed before its COMMIT had worked."""

    def kill(self, *arguments):
        """A run that is killed while COMMIT waits for a reader. The file is the new one by then."""
        let_go = self.hold(READER)
        process = self.start_until(HELD, *arguments, "--wait", "50")
        os.kill(process.number, signal.SIGKILL)
        self.finish(process)
        let_go()
        self.assertTrue((self.all_backups()[-1] / UNFINISHED).is_file())

    def notes(self):
        return [[name for name in (UNFINISHED, NOTE) if (backup / name).is_file()]
                for backup in self.all_backups()]

    def test_serves_the_next_run(self):
        before = self.installed()
        self.kill("--replace-file")
        self.assertEqual(self.copied.read_bytes(), self.shipped.read_bytes())
        self.assertEqual(self.dump(), before[0])
        self.assert_deploys(["--list"], ALL_DONE, f"{self.all_backups()[0].name} {BEFORE}\n")
        self.kill("--replace-file")
        self.add_applications(INCOPY)
        name = self.all_backups()[0].name
        self.assert_deploys(["--replace-file"], ALL_DONE, f"registered: {INCOPY}\n" + REGISTERED,
                            f"saved to {BACKUPS}/{name}\n")
        self.assertEqual((self.notes(), self.numbers()), ([[NOTE]], [1]))
        self.assert_deploys(["--list"], ALL_DONE, f"{name} before registering {INCOPY}, {INDESIGN}\n")
        self.assert_deploys(["--restore"], ALL_DONE, f"restored: {name}\n")
        self.assertEqual(self.installed(), before)

    def test_stays_as_it_is_if_the_next_run_cannot_commit_either(self):
        self.kill()
        before = self.state(self.backups)
        self.hold(READER)
        self.assert_deploys(["--wait", "0"], IN_USE, FAILED)
        self.assertEqual(self.state(self.backups), before)

    def test_does_not_serve_if_somebody_has_written_since(self):
        self.kill()
        self.change("INSERT INTO Tb_XManConfig VALUES (12, 'late', '')")
        before = self.installed()
        self.deploy_once()
        self.assertEqual((self.notes(), self.numbers()), ([[NOTE], [NOTE]], [1, 2]))
        self.deploy("--restore")
        self.assertEqual(self.installed(), before)

    def test_does_not_serve_if_the_file_is_one_that_nobody_has_saved(self):
        self.kill("--replace-file")
        self.copied.write_bytes(b"<a-third-one/>")
        before = self.installed()
        self.deploy_once("--replace-file")
        self.assertEqual(self.numbers(), [1, 2])
        self.deploy("--restore")
        self.assertEqual(self.installed()[:2], before[:2])

    def test_does_not_serve_if_it_has_no_file_and_there_is_somebodys_now(self):
        self.copied.unlink()
        self.kill()
        self.copied.write_bytes(b"<a-third-one/>")
        self.deploy_once()
        self.assertEqual(self.numbers(), [1, 2])

    def test_does_not_serve_if_it_is_not_the_newest(self):
        self.deploy_at(1, 2)
        first = self.all_backups()[0]
        (first / NOTE).rename(first / UNFINISHED)
        self.restore(first)
        (first / NOTE).rename(first / UNFINISHED)
        self.deploy_once()
        self.assertEqual(self.numbers(), [1, 2, 3, 4])

    def test_is_ended_by_a_restore(self):
        self.kill()
        self.assert_deploys(["--restore"], ALL_DONE, f"restored: {self.all_backups()[0].name}\n")
        self.assertEqual(self.notes(), [[NOTE], [NOTE]])
        self.deploy_once()
        self.assertEqual(self.numbers(), [1, 2, 3])
