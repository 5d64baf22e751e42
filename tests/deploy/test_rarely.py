"""What hardly ever happens, when nothing may be lost either."""

import os

from harness.deploy import (ALL_DONE, BACKUPS, CLOSED, IN_USE, INCOMPLETE, INCOPY, INDESIGN, NO_APPLICATION,
                            NO_BACKUP, NOT_REGISTERED, NOT_RESTORED, OPEN, RESTORING, RUNNING, USAGE,
                            DeployTest)
from harness.machine import DATABASE

FAILED = f"failed: {INDESIGN}\n"
DONE = f"registered: {INDESIGN}\n"


class Rarely(DeployTest):
    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN, INCOPY)

    def test_the_second_of_two_cannot_be_put_back(self):
        self.replace_tamsel(f'if [ "$2" = "{INCOPY}" ]; then tamsel "$@"; exit; fi\n'
                            f'sqlite3 "{DATABASE}" "INSERT INTO Tb_XManConfig VALUES (190, 5, 5)"\n'
                            f'chmod 444 "{DATABASE}"; exit 1')
        self.assert_deploys([INCOPY, INDESIGN, "--wait", "0"], NOT_RESTORED,
                            f"registered: {INCOPY}\n{FAILED}")
        backup, = self.all_backups()
        self.assertEqual(self.note(backup), (OPEN, ["+" + INCOPY, INDESIGN]))
        self.assert_deploys(["--list"], ALL_DONE, f"{backup.name} before registering {INCOPY}, {INDESIGN}\n")
        self.database.chmod(0o644)
        # The next run leaves alone what finished, the file included.
        self.replace_tamsel("exit 1")
        self.deploy(INDESIGN)
        self.assert_verified(f"registered: {INCOPY}\n", arguments=[INCOPY])
        self.assertEqual(self.rows("SELECT * FROM Tb_XManConfig WHERE ProdID = 190"), [])

    def test_a_note_of_an_application_that_nobody_knows(self):
        backup = self.deploy_once()
        (backup / CLOSED).rename(backup / OPEN)
        (backup / OPEN).write_text("/Applications/Nobody's.app\n\n")
        self.assert_deploys([INDESIGN], ALL_DONE, DONE)
        self.assertEqual(self.note(backup)[0], CLOSED)

    def test_a_registration_that_was_killed_and_whose_file_has_gone(self):
        backup = self.deploy_once()
        (backup / CLOSED).rename(backup / OPEN)
        self.copied.unlink()
        self.assert_deploys([INDESIGN], ALL_DONE, DONE, "led back to " + backup.name)

    def test_a_damage_that_is_saved_already(self):
        self.deploy_once()
        for _ in range(2):
            self.database.write_bytes(b"x" * 5000)
            self.copied.unlink(missing_ok=True)
            self.deploy("--restore")
        self.assertEqual([self.note(backup)[0] for backup in self.all_backups()], [CLOSED, RESTORING])

    def test_numbers_with_fractions(self):
        self.change("CREATE TABLE Other (a REAL); INSERT INTO Other VALUES (0.1), (2.5)")
        self.deploy_once()
        self.deploy("--restore")
        self.assertEqual(len(self.all_backups()), 2)
        self.change("UPDATE Other SET a = 0.10000000000000001 WHERE a = 0.1")
        self.deploy("--restore")
        self.assertEqual(len(self.all_backups()), 3)
        self.deploy("--restore")
        self.assertEqual(len(self.all_backups()), 3)

    def test_a_place_that_another_row_has_taken(self):
        self.change("DROP TABLE Tb_XManConfig; CREATE TABLE Tb_XManConfig (ProdID TEXT, KeyName, KeyValue);"
                    "INSERT INTO Tb_XManConfig (rowid, ProdID, KeyName) VALUES (7, 190, 'mine')")
        self.replace_tamsel(f'sqlite3 "{DATABASE}" "UPDATE Tb_XManConfig SET ProdID = 12; INSERT INTO'
                            ' Tb_XManConfig VALUES (190, 5, 5)"; exit 1')
        self.assert_deploys([INDESIGN], NOT_REGISTERED, FAILED)
        self.assertEqual(self.rows("SELECT ProdID, KeyName FROM Tb_XManConfig ORDER BY rowid"),
                         [("12", "mine"), ("190", "mine")])

    def test_a_row_that_cannot_come_back(self):
        self.change("CREATE UNIQUE INDEX Ix_Value ON Tb_XManConfig (KeyName, KeyValue);"
                    "INSERT INTO Tb_XManConfig VALUES (190, 'mine', 'only')")
        self.replace_tamsel(f'sqlite3 "{DATABASE}" "UPDATE Tb_XManConfig SET ProdID = 12 WHERE KeyName ='
                            " 'mine'\"; exit 1")
        self.assert_deploys([INDESIGN], NOT_RESTORED, FAILED, "another row is in the place of one of 190")

    def test_a_key_that_products_could_share_and_do_not(self):
        self.change("CREATE UNIQUE INDEX Ix_Entry ON Tb_ProductInfoV2 (PCDEntryName)")
        self.assert_deploys([INDESIGN, INCOPY], ALL_DONE, f"{DONE}registered: {INCOPY}\n")

    def test_one_of_two_displaces_the_other(self):
        self.change("CREATE UNIQUE INDEX Ix_Suite ON Tb_ProductInfoV2 (SuiteID) WHERE ProdID > 100"
                    " AND ProdID < 200")
        result = self.deploy(INDESIGN, INCOPY)
        self.assertEqual(result.status, NOT_REGISTERED)
        self.assertIn(f"registered: {INCOPY}\n".encode(), result.out)
        self.assertIn(f"not registered: {INDESIGN}\n".encode(), result.out)

    def test_a_lock_that_tamsel_meets_at_the_end_of_a_statement(self):
        self.replace_tamsel('printf "Return code after executing SQL: 5\\nInsertProductInfo false\\n'
                            'InsertXManConfig false\\n"')
        self.assert_deploys([INDESIGN, "--wait", "0"], IN_USE, FAILED)

    def test_a_lock_that_stays_when_tamsel_has_written_nothing(self):
        self.replace_tamsel(f"""\
            {{ {{ printf '.timeout 60000\\nBEGIN EXCLUSIVE;\\n'; read -r _ <"{self.folder}/go"; }} |
                sqlite3 "{DATABASE}"; }} >/dev/null 2>&1 &
            while sqlite3 "{DATABASE}" 'SELECT * FROM Tb_XManConfig' >/dev/null 2>&1; do :; done
            printf 'ERROR: while compiling sql: database is locked\\n'
            printf 'InsertProductInfo false\\nInsertXManConfig false\\n'
            """)
        os.mkfifo(self.folder / "go")
        self.assert_deploys([INDESIGN, "--wait", "0"], IN_USE, FAILED)
        self.assertEqual(self.note(self.all_backups()[0])[0], CLOSED)

    def test_a_lock_that_comes_when_tamsel_has_written(self):
        os.mkfifo(self.folder / "go")
        self.replace_tamsel(f"""\
            sqlite3 "{DATABASE}" "INSERT INTO Tb_XManConfig VALUES (190, 5, 5)"
            {{ {{ printf '.timeout 60000\\nBEGIN EXCLUSIVE;\\n'; read -r _ <"{self.folder}/go"; }} |
                sqlite3 "{DATABASE}"; }} >/dev/null 2>&1 &
            while sqlite3 "{DATABASE}" 'SELECT * FROM Tb_XManConfig' >/dev/null 2>&1; do :; done
            exit 1
            """)
        self.need("strace")
        run = self.start(INDESIGN, "--wait", "0", before=[
            "strace", "-qq", "-e", "trace=?nanosleep,?clock_nanosleep", "-e", "signal=none"])
        # It has said so, and then waited at least once.
        for sign in (b"waiting for a lock, to put back", b"nanosleep("):
            for line in run.stderr:
                if sign in line:
                    break
        (self.folder / "go").write_text("go\n")
        result = self.finish(run)
        self.assertEqual((result.out.decode(), result.status), (FAILED, NOT_REGISTERED))
        self.assertEqual(self.rows("SELECT * FROM Tb_XManConfig WHERE ProdID = 190"), [])

    def test_a_row_that_somebody_else_removes_meanwhile(self):
        self.change("INSERT INTO Tb_XManConfig VALUES (190, 'mine', 'kept')")
        self.replace_tamsel(f'sqlite3 "{DATABASE}" "DELETE FROM Tb_XManConfig WHERE KeyName IN'
                            """ ('bit', 'mine')"; exit 1""")
        self.assert_deploys([INDESIGN], NOT_REGISTERED, FAILED)
        self.assertEqual(self.rows("SELECT ProdID, KeyName FROM Tb_XManConfig ORDER BY rowid"),
                         [(12, "$iconpath"), (12, "$installfolder"), (1860, "suite"), (190, "mine")])

    def set_aside(self, name):
        """Where a restore sets a file aside, and leaves it if it is killed."""
        return self.database.parent / f".{name}.tamsel-old"

    def test_a_journal_that_a_killed_restore_has_moved_away(self):
        before = self.dump()
        self.break_down()
        os.link(self.database, self.set_aside("ExMan.db"))
        (self.database.parent / "ExMan.db-journal").rename(self.set_aside("ExMan.db-journal"))
        (self.database.parent / ".ExMan.db-wal.tamsel-new").write_text("of another database")
        self.deploy(INDESIGN)
        self.deploy("--restore")
        self.assertEqual(self.dump(), before)
        self.assertEqual([path.name for path in self.database.parent.iterdir()], ["ExMan.db"])

    def test_a_journal_that_a_killed_restore_has_not_brought_yet(self):
        before = self.dump()
        self.break_down()
        self.set_aside("ExMan.db").write_text("the former one")
        self.set_aside("ExMan.db-wal").write_text("of the former one")
        journal = self.database.parent / "ExMan.db-journal"
        journal.rename(journal.with_name(".ExMan.db-journal.tamsel-new"))
        self.deploy(INDESIGN)
        self.deploy("--restore")
        self.assertEqual(self.dump(), before)
        self.assertEqual([path.name for path in self.database.parent.iterdir()], ["ExMan.db"])

    def test_the_end_of_a_path_is_the_middle_of_a_character(self):
        self.assert_deploys([b"/\xc3"], NO_APPLICATION, "not found: /\\xC3\n")

    def test_a_file_of_ours_that_cannot_be_read(self):
        (self.package / "Resources" / "XManConfigV2.xml").chmod(0)
        self.assert_deploys([INDESIGN], INCOMPLETE)

    def test_no_pgrep(self):
        self.assert_deploys([INDESIGN], RUNNING, options=["--bind", "/dev/null", "/usr/bin/pgrep"])

    def test_no_number_of_seconds(self):
        for words in (["--wait", ""], ["--wait="], ["--wait", "1234567"]):
            self.assert_deploys([*words, INDESIGN], USAGE)

    def test_no_room_for_a_backup(self):
        self.backups.mkdir(parents=True, mode=0o700)
        self.assert_deploys(["--dry-run", INDESIGN], NO_BACKUP, FAILED, "no room",
                            options=["--tmpfs", "65536", BACKUPS])

    def test_a_folder_of_backups_that_is_somebody_elses(self):
        self.backups.mkdir(parents=True, mode=0o700)
        options = []
        if os.getuid() == 0:
            os.chown(self.backups, 1, 1)
        else:
            # It belongs to the root outside, who is nobody in the sandbox.
            options = ["--bind", "/usr", BACKUPS]
        self.assert_deploys([INDESIGN], NO_BACKUP, FAILED, "root alone", options=options)

    def test_a_working_folder_that_the_environment_invents(self):
        for told in ("/nowhere", "relative", f"{self.folder}/../{self.folder.name}"):
            result = self.deploy("--verify", "x.app", environment={"PWD": told})
            self.assertEqual(result.out, b"not found: x.app\n")

    def test_a_working_folder_that_has_gone(self):
        gone = ["sh", "-c", 'mkdir "$0" && cd "$0" && rmdir "$0" && exec env -u PWD "$@"',
                self.folder / "gone"]
        result = self.deploy("--verify", "Applications/x.app", before=gone)
        self.assertEqual(result.out, b"not found: Applications/x.app\n")

    def test_a_note_that_another_run_renames_meanwhile(self):
        self.need("strace")
        backup = self.deploy_once()
        once = ["strace", "-qq", "-o", "/dev/null", "-P", f"{BACKUPS}/{backup.name}/{CLOSED}",
                "-e", "inject=openat:error=ENOENT:when=1"]
        self.assert_deploys(["--list"], ALL_DONE, f"{backup.name} before registering {INDESIGN}\n",
                            before=once)

    def test_a_note_that_is_renewed_and_does_not_get_to_the_disk(self):
        self.need("strace")
        first = self.deploy_once()
        for _ in range(2):
            self.assert_deploys(["--restore"], ALL_DONE, f"restored: {first.name}\n")
        newest = self.all_backups()[-1]
        broken = ["strace", "-qq", "-o", "/dev/null", "-P", f"{BACKUPS}/{newest.name}",
                  "-e", "inject=fsync:error=EIO"]
        self.assert_deploys([INDESIGN], NO_BACKUP, FAILED, before=broken)
        self.assertEqual(self.note(newest), (RESTORING, [first.name]))

    def test_names_that_only_resemble_a_backup_s(self):
        backup = self.deploy_once()
        for name in ("0002-2026-1-31T235959Z", "00002-2026-01-31T235959Z", "002-2026-01-31T235959Z",
                     "0002-2026-01-31T235959", "0002-2026-01-31T235959Zz", "x0002-2026-01-31T235959Z"):
            (self.backups / name).mkdir()
            (self.backups / name / CLOSED).write_text("x")
        self.assert_deploys(["--list"], ALL_DONE, f"{backup.name} before registering {INDESIGN}\n")
