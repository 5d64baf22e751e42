"""What tamsel-deploy saves before a registration, and how it brings it back."""

import shutil
import stat

from harness.deploy import (ALL_DONE, BACKUPS, INDESIGN, NO_BACKUP, NO_DATABASE, NOT_RESTORED,
                            DeployTest)
from harness.machine import CONFIGURATION, DATABASE

OLD_FILE = b"<XManConfig>old</XManConfig>\n"


class BackupTest(DeployTest):
    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)
        self.copied.write_bytes(OLD_FILE)
        self.content = self.dump()

    def dump(self, database=None):
        """All that is in a database, whatever its bytes are."""
        connection = self.connect()
        if database:
            connection.execute("ATTACH ? AS saved", (str(database),))
        schema = "saved" if database else "main"
        rows = [connection.execute(f"SELECT * FROM {schema}.{table} ORDER BY 1, 2, 3").fetchall()
                for table in ("sqlite_master", "Tb_ProductInfoV2", "Tb_XManConfig")]
        connection.close()
        return rows

    def break_down(self):
        """What a program leaves that breaks down while it is writing the database."""
        journal = self.database.parent / "ExMan.db-journal"
        connection = self.connect()
        connection.execute("PRAGMA synchronous = OFF")
        connection.execute("PRAGMA cache_size = 2")
        connection.execute("BEGIN")
        connection.execute("UPDATE Tb_XManConfig SET KeyName = hex(zeroblob(9999)) || KeyName")
        left = self.database.read_bytes(), journal.read_bytes()
        connection.execute("ROLLBACK")
        connection.close()
        self.database.write_bytes(left[0])
        journal.write_bytes(left[1])

    def deploy_once(self):
        """A registration; returns the folder with its backup."""
        before = self.all_backups()
        self.assert_deploys([], ALL_DONE, f"registered: {INDESIGN}\n", "saved to " + BACKUPS)
        new, = set(self.all_backups()) - set(before)
        return new

    def all_backups(self):
        return sorted(self.backups.iterdir()) if self.backups.exists() else []

    def assert_restored(self, backup, arguments=()):
        self.assert_deploys(["--restore", *arguments], ALL_DONE, f"restored: {backup.name}\n")
        self.assertEqual(self.dump(), self.content)
        self.assertEqual(self.rows("PRAGMA integrity_check"), [("ok",)])
        self.assertEqual(sorted(path.name for path in self.database.parent.iterdir()), ["ExMan.db"])


class Backup(BackupTest):
    def test_saves_the_database_and_the_file(self):
        self.database.chmod(0o666)
        backup = self.deploy_once()
        self.assertRegex(backup.name, r"\A\d{4}-\d\d-\d\dT\d{6}Z\Z")
        self.assertEqual(sorted(path.name for path in backup.iterdir()), ["ExMan.db", "XManConfigV2.xml"])
        self.assertEqual(self.dump(backup / "ExMan.db"), self.content)
        self.assertEqual(stat.S_IMODE((backup / "ExMan.db").stat().st_mode), 0o666)
        self.assertEqual((backup / "XManConfigV2.xml").read_bytes(), OLD_FILE)

    def test_saves_what_is_in_a_write_ahead_log(self):
        connection = self.connect()
        connection.execute("PRAGMA journal_mode = WAL")
        connection.execute("PRAGMA wal_autocheckpoint = 0")
        connection.execute("INSERT INTO Tb_XManConfig VALUES (12, 'late', 'row')")
        self.content = self.dump()
        backup = self.deploy_once()
        connection.close()
        self.assertEqual(self.dump(backup / "ExMan.db"), self.content)

    def test_takes_back_what_a_crash_left(self):
        self.break_down()
        for arguments in (["--dry-run"], ["--verify"]):
            self.assert_refuses(arguments, NO_DATABASE, "the database cannot be read: ")
        backup = self.deploy_once()
        self.assertEqual(self.dump(backup / "ExMan.db"), self.content)
        self.assertEqual(len(self.rows("SELECT * FROM Tb_XManConfig WHERE ProdID = 190")), 14)

    def test_saves_once_for_all_applications(self):
        self.add_applications("/Applications/Adobe InCopy 2020.app")
        self.deploy()
        self.assertEqual(len(self.all_backups()), 1)

    def test_saves_nothing_where_everything_is_registered(self):
        registered = f"registered: {INDESIGN}\n"
        self.deploy_once()
        before = self.state()
        for arguments in ([], ["--dry-run"], [INDESIGN, INDESIGN]):
            self.assert_deploys(arguments, ALL_DONE, registered * max(1, arguments.count(INDESIGN)))
            self.assertEqual(self.state(), before)
        for undo in (lambda: self.change("DELETE FROM Tb_XManConfig WHERE KeyName = 'suite'"),
                     lambda: self.copied.write_bytes(OLD_FILE), self.copied.unlink):
            undo()
            self.assert_deploys(["--dry-run"], ALL_DONE, "would register: " + INDESIGN + "\n")
            self.deploy_once()

    def test_keeps_the_last_five(self):
        self.backups.mkdir(parents=True)
        for year in range(2001, 2008):
            (self.backups / f"{year}-01-01T000000Z").mkdir()
            (self.backups / f"{year}-01-01T000000Z" / "ExMan.db").write_text("x")
        (self.backups / "notes").write_text("mine")
        new = self.deploy_once()
        self.assertEqual([path.name for path in self.all_backups()],
                         [*(f"{year}-01-01T000000Z" for year in range(2004, 2008)), new.name, "notes"])

    def slow_clock(self):
        """What makes the machine's clock stand still for the first two readings."""
        (self.folder / "clock").write_text("0")
        return self.stand_in(f"""\
            case $2 in *T%H%M%SZ) ;; *) echo 2026-01-01T00:00:00Z; exit ;; esac
            read -r count < "{self.folder}/clock"
            echo $((count + 1)) > "{self.folder}/clock"
            echo 2026-01-01T00000$((count / 2))Z
            """, "date") + self.stand_in("exit 0", "sleep")

    def test_never_replaces_a_backup(self):
        clock = self.slow_clock()
        self.deploy(options=clock)
        (self.backups / "2026-01-01T000000Z" / "mark").write_text("")
        self.change("DELETE FROM Tb_ProductInfoV2")
        result = self.deploy(options=clock)
        self.assertEqual(result.status, ALL_DONE)
        self.assertEqual([path.name for path in self.all_backups()],
                         ["2026-01-01T000000Z", "2026-01-01T000001Z"])
        self.assertTrue((self.backups / "2026-01-01T000000Z" / "mark").exists())

    def test_leaves_the_backup_of_another_run_alone(self):
        # The other one makes its folder just before this one does.
        shutil.copy("/usr/bin/mkdir", self.folder / "mkdir")
        another = self.stand_in(f"""\
            case $* in
            *T000000Z) [ -e "{self.folder}/once" ] || {{
                : > "{self.folder}/once"
                for path; do :; done
                "{self.folder}/mkdir" "$path" && echo mine > "$path/ExMan.db"
            }} ;;
            esac
            exec "{self.folder}/mkdir" "$@"
            """, "mkdir")
        self.backups.mkdir(parents=True)
        self.deploy(options=self.slow_clock() + another)
        self.assertEqual([path.name for path in self.all_backups()],
                         ["2026-01-01T000000Z", "2026-01-01T000001Z"])
        self.assertEqual((self.backups / "2026-01-01T000000Z" / "ExMan.db").read_text(), "mine\n")
        self.assertEqual(self.dump(self.backups / "2026-01-01T000001Z" / "ExMan.db"), self.content)

    def assert_no_backup(self, **how):
        before = self.state()
        self.assert_deploys([], NO_BACKUP, log="no backup could be made", **how)
        self.assertEqual({path: data for path, data in self.state().items() if data is not None},
                         {path: data for path, data in before.items() if data is not None})
        self.assertEqual(self.all_backups(), [])

    def test_a_folder_that_cannot_be_made(self):
        self.inside("/Library/Application Support/Tamsel").write_text("in the way")
        self.assert_deploys([], NO_BACKUP, log="no backup could be made")
        self.assertEqual(self.copied.read_bytes(), OLD_FILE)

    def test_a_folder_that_cannot_be_written(self):
        self.backups.mkdir(parents=True)
        self.assert_no_backup(options=["--read-only", BACKUPS])

    def test_sqlite_that_cannot_save(self):
        shutil.copy("/usr/bin/sqlite3", self.folder / "sqlite3")
        for refused in (".backup", "integrity_check"):
            tool = self.stand_in(f"""\
                case $* in *{refused}*) echo "disk full"; exit 1 ;; esac
                exec "{self.folder}/sqlite3" "$@"
                """, "sqlite3")
            self.assert_no_backup(options=tool)

    def test_a_damaged_database(self):
        page = 4096
        self.change("CREATE INDEX Ix_Name ON Tb_XManConfig (KeyName, KeyValue)")
        self.database.write_bytes(self.database.read_bytes()[:-page] + bytes(page))
        self.assert_no_backup()


class Restore(BackupTest):
    def test_the_latest(self):
        backup = self.deploy_once()
        self.assertNotEqual(self.dump(), self.content)
        self.assert_restored(backup)
        self.assertEqual(self.copied.read_bytes(), OLD_FILE)

    def test_a_named_one(self):
        backup = self.deploy_once()
        shutil.copytree(backup, self.backups / "2099-01-01T000000Z")
        (self.backups / "2099-01-01T000000Z" / "ExMan.db").write_bytes(self.database.read_bytes())
        self.assert_restored(backup, [backup.name])

    def test_removes_a_file_that_was_not_there(self):
        self.copied.unlink()
        backup = self.deploy_once()
        self.assertTrue(self.copied.exists())
        self.assert_restored(backup)
        self.assertFalse(self.copied.exists())

    def test_a_database_that_has_gone(self):
        self.database.chmod(0o666)
        backup = self.deploy_once()
        self.database.unlink()
        self.assert_restored(backup)
        self.assertEqual(stat.S_IMODE(self.database.stat().st_mode), 0o666)

    def test_does_not_follow_links(self):
        backup = self.deploy_once()
        targets = [self.folder / "somebody's", self.folder / "somebody else's"]
        for target, path in zip(targets, (self.copied, self.database)):
            target.write_bytes(b"theirs")
            path.unlink()
            path.symlink_to(target)
        self.assert_restored(backup)
        self.assertEqual(self.copied.read_bytes(), OLD_FILE)
        self.assertEqual([target.read_bytes() for target in targets], [b"theirs", b"theirs"])

    def test_a_database_that_is_no_longer_one(self):
        backup = self.deploy_once()
        for damage in (b"x" * 8192, b""):
            self.database.write_bytes(damage)
            self.assert_restored(backup)

    def test_a_database_that_has_gone_in_a_crash(self):
        backup = self.deploy_once()
        self.break_down()
        # SQLite would put what the journal holds into the next database of this name.
        self.database.unlink()
        self.assert_restored(backup)

    def test_a_database_with_what_a_crash_left(self):
        backup = self.deploy_once()
        self.break_down()
        self.assert_restored(backup)

    def test_a_locked_database(self):
        self.deploy_once()
        self.hold("BEGIN EXCLUSIVE")
        self.assert_refuses(["--restore"], NOT_RESTORED, "the database cannot be written: ")

    def test_a_database_that_may_not_be_written(self):
        self.deploy_once()
        self.assert_refuses(["--restore"], NOT_RESTORED, "the database cannot be written: ",
                            options=["--read-only", DATABASE])

    def test_no_backup(self):
        self.assert_refuses(["--restore"], NOT_RESTORED, "there is no backup")
        self.deploy_once()
        self.assert_refuses(["--restore", "2001-01-01T000000Z"], NOT_RESTORED, "there is no backup")
        self.assert_refuses(["--restore", ""], NOT_RESTORED, "there is no backup")

    def test_a_damaged_backup(self):
        backup = self.deploy_once()
        (backup / "ExMan.db").write_bytes(b"x" * 4096)
        self.assert_refuses(["--restore"], NOT_RESTORED, "is damaged")

    def test_a_file_that_cannot_be_written(self):
        self.deploy_once()
        self.copied.write_bytes(b"other")
        self.assert_deploys(["--restore"], NOT_RESTORED, log="XManConfigV2.xml cannot be restored",
                            options=["--read-only", CONFIGURATION + "/XManConfigV2.xml"])
