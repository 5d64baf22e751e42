"""What tamsel-deploy saves, in what order, and what it keeps."""

import os
import re
import shutil
import stat

from harness.deploy import (ALL_DONE, CLOSED, INDESIGN, NO_BACKUP, NOT_REGISTERED, NOT_RESTORED, OLD_FILE,
                            OPEN, RESTORING, DeployTest)
from harness.machine import CONFIGURATION

REFUSE = ("CREATE TRIGGER Refuse BEFORE INSERT ON Tb_XManConfig WHEN NEW.ProdID = 190"
          " BEGIN SELECT RAISE(ABORT, 'refused'); END")


class BackupTest(DeployTest):
    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)
        self.copied.write_bytes(OLD_FILE)

    def unregister(self, mark):
        """Makes a state that needs a registration and is like no other."""
        self.change(f"DELETE FROM Tb_XManConfig WHERE ProdID = 190 OR KeyName = 'mark';"
                    f"INSERT INTO Tb_XManConfig VALUES (12, 'mark', '{mark}')")

    def names(self):
        return sorted(path.name for path in self.backups.iterdir())

    def numbers(self):
        return [int(backup.name.partition("-")[0]) for backup in self.all_backups()]


class Contents(BackupTest):
    def test_the_database_the_file_and_a_note(self):
        self.database.chmod(0o666)
        self.copied.chmod(0o604)
        content = self.dump()
        backup = self.deploy_once()
        self.assertRegex(backup.name, r"\A0001-\d{4}-\d\d-\d\dT\d{6}Z\Z")
        self.assertEqual(sorted(path.name for path in backup.iterdir()),
                         ["ExMan.db", "XManConfigV2.xml", CLOSED])
        self.assertEqual(self.dump(backup / "ExMan.db"), content)
        self.assertEqual((backup / "XManConfigV2.xml").read_bytes(), OLD_FILE)
        modes = [stat.S_IMODE((backup / name).stat().st_mode) for name in ("ExMan.db", "XManConfigV2.xml")]
        self.assertEqual(modes, [0o666, 0o604])
        self.assertEqual((backup / CLOSED).read_text(), INDESIGN + "\n")

    def test_no_file_where_there_was_none(self):
        self.copied.unlink()
        self.assertEqual(sorted(path.name for path in self.deploy_once().iterdir()), ["ExMan.db", CLOSED])

    def test_what_is_in_a_write_ahead_log(self):
        connection = self.connect()
        connection.execute("PRAGMA journal_mode = WAL")
        connection.execute("PRAGMA wal_autocheckpoint = 0")
        connection.execute("INSERT INTO Tb_XManConfig VALUES (12, 'late', 'row')")
        content = self.dump()
        backup = self.deploy_once()
        connection.close()
        self.assertEqual(self.dump(backup / "ExMan.db"), content)
        self.change("DELETE FROM Tb_XManConfig WHERE KeyName = 'late'")
        self.assert_deploys(["--restore"], ALL_DONE, f"restored: {backup.name}\n")
        self.assertEqual(self.dump(), content)

    def test_what_a_crash_left_is_taken_back_first(self):
        content = self.dump()
        self.break_down()
        backup = self.deploy_once()
        self.assertEqual(self.dump(backup / "ExMan.db"), content)
        self.assertEqual(len(self.rows("SELECT * FROM Tb_XManConfig WHERE ProdID = 190")), 14)

    def test_one_for_all_applications(self):
        self.add_applications("/Applications/Adobe InCopy 2020.app")
        self.deploy()
        backup, = self.all_backups()
        self.assertEqual(self.note(backup), (CLOSED, ["/Applications/Adobe InCopy 2020.app", INDESIGN]))

    def test_the_note_of_a_run_names_what_it_registers(self):
        self.deploy_once()
        self.add_applications("/Applications/Adobe InCopy 2020.app")
        self.deploy()
        self.assertEqual(self.note(self.all_backups()[-1])[1], ["/Applications/Adobe InCopy 2020.app"])

    def test_nothing_is_saved_where_everything_is_registered(self):
        self.deploy_once()
        before = self.state()
        self.assert_deploys([], ALL_DONE, f"registered: {INDESIGN}\n")
        self.assertEqual(self.state(), before)

    def test_the_note_is_an_open_one_while_tamsel_runs(self):
        listing = self.folder / "listing"
        self.replace_tamsel(f'ls -A "{os.path.dirname(CONFIGURATION)}/../../Tamsel/Backups"/* > "{listing}"\n'
                            'tamsel "$@"')
        self.deploy_once()
        self.assertEqual(listing.read_text().split(), ["ExMan.db", "XManConfigV2.xml", OPEN])


class Order(BackupTest):
    """The running number decides, whatever the clock says."""

    def deploy_at(self, *times):
        for number, seconds in enumerate(times):
            self.unregister(f"{seconds} {number}")
            self.assert_deploys([INDESIGN], ALL_DONE, f"registered: {INDESIGN}\n",
                                environment=self.clock(seconds))

    def test_the_time_is_universal_time(self):
        environment = {**self.clock(1769903999), "TZ": "Asia/Tokyo", "LC_ALL": "C"}
        self.deploy(INDESIGN, environment=environment)
        self.assertEqual(self.names(), ["0001-2026-01-31T235959Z"])
        result = self.deploy("--list", environment=environment)
        self.assertEqual(result.out.decode(), f"0001-2026-01-31T235959Z before registering {INDESIGN}\n")

    def test_a_clock_that_stands_still(self):
        self.deploy_at(0, 0, 0)
        self.assertEqual(self.names(), ["0001-1970-01-01T000000Z", "0002-1970-01-01T000000Z",
                                        "0003-1970-01-01T000000Z"])

    def test_a_clock_that_goes_back(self):
        self.deploy_at(4000000000, 2000000000, 86400)
        self.assertEqual(self.names(), ["0001-2096-10-02T070640Z", "0002-2033-05-18T033320Z",
                                        "0003-1970-01-02T000000Z"])
        self.assert_deploys(["--restore"], ALL_DONE, "restored: 0003-1970-01-02T000000Z\n",
                            environment=self.clock(1))
        self.assertEqual(self.rows("SELECT KeyValue FROM Tb_XManConfig WHERE KeyName = 'mark'"),
                         [("86400 2",)])

    def test_the_number_goes_on_from_the_highest(self):
        self.deploy_at(0)
        (self.backups / "0001-1970-01-01T000000Z").rename(self.backups / "9998-1970-01-01T000000Z")
        self.deploy_at(1, 2, 3)
        self.assertEqual(self.numbers(), [9998, 9999, 10000, 10001])
        self.unregister("last")
        self.assert_deploys(["--restore"], ALL_DONE, "restored: 10001-1970-01-01T000003Z\n")
        result = self.deploy("--list")
        self.assertEqual([line.split()[0].split("-")[0] for line in result.out.decode().splitlines()],
                         ["9998", "9999", "10000", "10001", "10002"])

    def test_a_number_that_a_removed_backup_had(self):
        self.deploy_at(0, 1, 2)
        shutil.rmtree(self.backups / "0002-1970-01-01T000001Z")
        self.deploy_at(3)
        self.assertEqual(self.numbers(), [1, 3, 4])


class Keeping(BackupTest):
    def test_the_first_one_the_last_one_and_the_five_newest_others(self):
        for number in range(9):
            self.unregister(number)
            self.deploy()
        self.assertEqual(self.numbers(), [1, 4, 5, 6, 7, 8, 9])

    def test_failing_runs_push_nothing_out(self):
        content = self.dump()
        self.deploy_once()
        self.change("DELETE FROM Tb_XManConfig WHERE ProdID = 190;" + REFUSE)
        for _ in range(8):
            self.assert_deploys([INDESIGN], NOT_REGISTERED, f"failed: {INDESIGN}\n")
        self.assertEqual(self.numbers(), [1, 2])
        self.assert_deploys(["--restore", self.all_backups()[0].name], ALL_DONE,
                            f"restored: {self.all_backups()[0].name}\n")
        self.assertEqual(self.dump(), content)

    def test_the_one_that_restoring_leads_to(self):
        """Restoring by name makes backups too; they do not push out what was there before the last
        registration."""
        self.deploy_once()
        self.unregister("last")
        last = self.deploy_once()
        for number in range(8):
            self.change(f"INSERT INTO Tb_XManConfig VALUES (12, 'n{number}', '')")
            self.assert_deploys(["--restore", self.all_backups()[0].name], ALL_DONE,
                                f"restored: {self.all_backups()[0].name}\n")
        self.assertEqual(len(self.all_backups()), 7)
        self.assertIn(last, self.all_backups())
        self.assert_deploys(["--restore"], ALL_DONE, f"restored: {last.name}\n")

    def test_what_has_not_the_form_of_a_backup_is_left_alone(self):
        self.backups.mkdir(parents=True, mode=0o700)
        foreign = ("2019 originals, do not delete", "2001-01-01T000000Z", "001-2001-01-01T000000Z",
                   "0001-2001-01-01T000000", "0001-2001-01-01T000000Z ", "x0001-2001-01-01T000000Z",
                   "0001-2001-01-01T00000ZZ", "0001-2001-01-01 000000Z", ".hidden", "-001-2001-01-01T000000Z")
        for name in foreign:
            (self.backups / name).mkdir()
            for content in ("ExMan.db", CLOSED):
                (self.backups / name / content).write_text("x")
        (self.backups / "0000-2001-01-01T000000Z").write_text("a file")
        before = {path: found for path, found in self.state(self.backups).items()}
        for number in range(8):
            self.unregister(number)
            self.deploy()
        after = self.state(self.backups)
        self.assertEqual({path: after.get(path) for path in before}, before)
        self.assertEqual(len(self.deploy("--list").out.splitlines()), 7)
        for name in foreign:
            self.assertEqual(self.deploy("--restore", "--", name).status, NOT_RESTORED, name)

    def test_a_folder_without_a_note_is_no_backup(self):
        backup = self.deploy_once()
        (backup / CLOSED).unlink()
        self.assertEqual(self.deploy("--list").out, b"")
        for arguments in (["--restore"], ["--restore", backup.name]):
            self.assert_refuses(arguments, NOT_RESTORED)

    def test_what_is_unfinished_goes_at_the_next_run(self):
        unfinished = self.backups / ".incomplete"
        unfinished.mkdir(parents=True)
        self.backups.chmod(0o700)
        for name in ("ExMan.db", CLOSED):
            (unfinished / name).write_text("x")
        self.assertEqual(self.deploy("--list").out, b"")
        self.assertTrue(unfinished.exists())
        self.deploy_once()
        self.assertFalse(unfinished.exists())


class EqualStates(BackupTest):
    def test_a_state_is_saved_once(self):
        self.change(REFUSE)
        for seconds in (100, 200):
            self.deploy(INDESIGN, environment=self.clock(seconds))
        self.assertEqual(self.names(), ["0001-1970-01-01T000140Z"])

    def test_one_that_differs_in_anything_is_saved(self):
        self.change(REFUSE)
        self.deploy()
        for number, differ in enumerate((
                lambda: self.change("INSERT INTO Tb_XManConfig VALUES (12, 'x', '1')"),
                lambda: self.change("UPDATE Tb_XManConfig SET KeyValue = 2 WHERE KeyName = 'x'"),
                lambda: self.change("UPDATE Tb_XManConfig SET KeyValue = x'32' WHERE KeyName = 'x'"),
                lambda: self.change("CREATE TABLE Other (a)"), lambda: self.copied.write_bytes(b"x"),
                self.copied.unlink, lambda: self.copied.write_bytes(b""))):
            differ()
            self.deploy()
            self.assertEqual(self.numbers()[-1], number + 2)
            self.deploy()
            self.assertEqual(self.numbers()[-1], number + 2)

    def test_the_newest_one_serves_again_and_its_note_is_renewed(self):
        backup = self.deploy_once()
        self.assert_deploys(["--restore"], ALL_DONE, f"restored: {backup.name}\n")
        restoring = self.all_backups()[-1]
        self.assertEqual(self.note(restoring), (RESTORING, [backup.name]))
        # The state is that of the first backup, which is not the newest.
        self.deploy_once()
        self.assertEqual(self.numbers(), [1, 2, 3])
        self.assert_deploys(["--restore", backup.name], ALL_DONE, f"restored: {backup.name}\n")
        before = self.numbers()
        self.assert_deploys(["--restore", backup.name], ALL_DONE, f"restored: {backup.name}\n")
        self.assertEqual(len(self.numbers()), len(before) + 1)
        self.assert_deploys(["--restore", backup.name], ALL_DONE, f"restored: {backup.name}\n")
        self.assertEqual(len(self.numbers()), len(before) + 1)
        self.assert_deploys([INDESIGN], ALL_DONE, f"registered: {INDESIGN}\n")
        self.assertEqual(len(self.numbers()), len(before) + 1)
        self.assertEqual(self.note(self.all_backups()[-1]), (CLOSED, [INDESIGN]))


class Listing(BackupTest):
    def test_oldest_first_with_the_reason(self):
        self.assertEqual(self.deploy("--list"), (b"", b"", ALL_DONE))
        self.add_applications("/Applications/Adobe InCopy 2020.app")
        self.deploy(environment=self.clock(0))
        self.deploy("--restore", environment=self.clock(60))
        self.unregister("x")
        self.deploy(INDESIGN, environment=self.clock(30))
        self.assert_refuses(["--list"], ALL_DONE, out=(
            "0001-1970-01-01T000000Z before registering /Applications/Adobe InCopy 2020.app, "
            f"{INDESIGN}\n"
            "0002-1970-01-01T000100Z before restoring 0001-1970-01-01T000000Z\n"
            f"0003-1970-01-01T000030Z before registering {INDESIGN}\n"))

    def test_paths_of_all_kinds(self):
        path = self.folder / "a\\b\t, c" / "Adobe InDesign 2020.app"
        self.add_applications(path)
        self.deploy(path)
        shown = str(path).replace("\\", "\\\\").replace("\t", "\\x09")
        self.assertTrue(re.fullmatch(r"0001-\S+ before registering " + re.escape(shown) + "\n",
                                     self.deploy("--list").out.decode()))

    def test_needs_neither_a_database_nor_a_program_nor_a_quiet_manager(self):
        backup = self.deploy_once()
        self.database.unlink()
        (self.package / "Tamsel").unlink()
        self.assert_refuses(["--list"], ALL_DONE, out=f"{backup.name} before registering {INDESIGN}\n",
                            options=self.stand_in("exit 0", "pgrep"))


class NoBackup(BackupTest):
    def test_a_disk_that_takes_no_more(self):
        """A limit on the size of a file stands for a full disk."""
        limited = self.limit_files(8)
        self.change("CREATE TABLE Much (a); INSERT INTO Much VALUES (zeroblob(100000))")
        self.assert_refuses([INDESIGN], NO_BACKUP, out=f"failed: {INDESIGN}\n", before=limited)
        self.assertEqual(self.names(), [])
