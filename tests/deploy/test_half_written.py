"""A program crashed while writing the database, and a journal is left beside it. What changes
nothing finds what a run would, and leaves that journal to others."""

import os

from harness.deploy import (ALL_DONE, DAMAGED, IN_USE, INCOPY, INDESIGN, NOT_REGISTERED, NOT_ROOT,
                            RESTORING, CopyTest)
from harness.machine import BUILD, CONFIGURATION, DATABASE

FAILED = f"failed: {INCOPY}\n"
THEIRS = "UPDATE Tb_XManConfig SET KeyValue = 'theirs'"
PRODUCTS = "UPDATE Tb_ProductInfoV2 SET ProdName = 'half written'"


class HalfWritten(CopyTest):
    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN, INCOPY)
        self.deploy_once()
        self.journal = self.database.parent / "ExMan.db-journal"
        self.sound = self.dump()

    def assert_looks(self, arguments, status, out, *log, **how):
        self.assert_refuses([*arguments, "--wait", "0"], status, *log, out=out, **how)
        self.assertEqual(self.copies(), [])

    def assert_both_refuse(self, status, *log, path=INCOPY, **how):
        """The dry run comes first, since a run may recover the database before it fails."""
        out = f"failed: {path}\n"
        self.assert_looks(["--dry-run", path], status, out, *log, **how)
        self.assert_deploys([path, "--wait", "0"], status, out, *log, **how)

    def test_the_half_that_was_written_does_not_count(self):
        self.break_down()
        self.assert_looks(["--verify"], NOT_REGISTERED, f"not registered: {INCOPY}\nregistered: {INDESIGN}\n")
        self.assert_looks(["--dry-run"], ALL_DONE, f"would register: {INCOPY}\nregistered: {INDESIGN}\n")
        self.assertTrue(self.journal.exists())
        self.assert_deploys([], ALL_DONE, f"registered: {INCOPY}\nregistered: {INDESIGN}\n")
        self.assertFalse(self.journal.exists())
        self.assertEqual(self.rows("SELECT * FROM Tb_XManConfig WHERE KeyValue = 'half written'"), [])

    def test_nobody_but_root_could_recover_it(self):
        self.break_down()
        for file in (self.database, self.journal):
            file.chmod(0o444)
        self.database.parent.chmod(0o555)
        self.addCleanup(self.database.parent.chmod, 0o755)
        self.assert_looks(["--verify", INDESIGN], ALL_DONE, f"registered: {INDESIGN}\n",
                          options=["--user", "501"])

    def test_a_journal_that_may_not_be_read(self):
        self.break_down()
        self.journal.chmod(0)
        result = self.deploy("--verify", INCOPY, options=["--user", "501"])
        self.assertEqual((result.out.decode(), result.status), (FAILED, NOT_ROOT), result.err.decode())
        self.assertEqual(self.copies(), [])

    def test_a_table_is_missing_in_what_is_recovered(self):
        self.change("DROP TABLE Tb_XManConfig")
        self.break_down(PRODUCTS)
        self.assert_both_refuse(DAMAGED, "Tb_XManConfig")

    def test_what_is_recovered_is_damaged(self):
        page = 4096
        self.change("CREATE INDEX Ix_Name ON Tb_XManConfig (KeyName, KeyValue)")
        self.database.write_bytes(self.database.read_bytes()[:-page] + bytes(page))
        self.break_down(PRODUCTS)
        self.assert_both_refuse(DAMAGED)

    def test_it_may_not_be_written(self):
        self.break_down()
        for place in (DATABASE, CONFIGURATION):
            for path in (INCOPY, INDESIGN):
                self.assert_both_refuse(NOT_REGISTERED, path=path, options=["--read-only", place])

    def test_no_room_for_the_copy(self):
        self.break_down()
        full = ["--tmpfs", "4096", "/tmp"]
        for arguments, options in ((["--verify", INCOPY], full), (["--dry-run", INCOPY], full),
                                   (["--verify", INCOPY], [*full, "--user", "501"])):
            self.assert_looks(arguments, NOT_REGISTERED, FAILED, "No space left on device", options=options)

    def test_no_place_for_the_copy(self):
        self.break_down()
        self.temporary.chmod(0o555)
        for arguments in (["--verify", INCOPY], ["--dry-run", INCOPY]):
            self.assert_looks(arguments, NOT_REGISTERED, FAILED, "/tmp: Permission denied")

    def meanwhile(self, before, sql):
        """An environment in which another program does this before a function is called first."""
        return {"LD_PRELOAD": BUILD / "tests" / "libmeanwhile.so", "BEFORE": before,
                "MEANWHILE": f"sqlite3 '{DATABASE}' \"{sql}\" >/dev/null"}

    def test_another_program_recovers_it_meanwhile(self):
        for arguments, out in ((["--verify", INDESIGN], f"registered: {INDESIGN}\n"),
                               (["--dry-run", INCOPY], f"would register: {INCOPY}\n")):
            for moment in ("mkdtemp", "fsync"):  # before the journal is copied, and after
                self.break_down()
                self.assert_deploys(arguments, ALL_DONE, out,
                                    environment=self.meanwhile(moment, "SELECT * FROM Tb_XManConfig"))
                self.assertFalse(self.journal.exists())
                self.assertEqual(self.dump(), self.sound)
                self.assertEqual(self.copies(), [])

    def test_another_program_recovers_it_meanwhile_and_goes_on(self):
        """The journal and the database that has changed since do not belong together."""
        for moment in ("mkdtemp", "fsync"):
            self.break_down()
            self.assert_deploys(["--verify", INDESIGN], NOT_REGISTERED, f"not registered: {INDESIGN}\n",
                                environment=self.meanwhile(moment, THEIRS))
            self.deploy(INDESIGN)

    def test_what_another_program_does_meanwhile_is_saved(self):
        first, = self.all_backups()
        self.break_down()
        self.assert_deploys(["--restore"], ALL_DONE, f"restored: {first.name}\n",
                            environment=self.meanwhile("mkdtemp", THEIRS))
        second = self.all_backups()[-1]
        self.assertEqual(self.note(second), (RESTORING, [first.name]))
        self.assertEqual({row[-1] for row in self.dump(second / "ExMan.db")[1]["Tb_XManConfig"]}, {"theirs"})

    def test_a_program_that_is_still_at_work_has_not_crashed(self):
        self.hold("BEGIN IMMEDIATE; DELETE FROM Tb_XManConfig")
        self.assertTrue(self.journal.exists())
        self.assert_looks(["--verify", INDESIGN], ALL_DONE, f"registered: {INDESIGN}\n")
        self.assert_both_refuse(IN_USE)


class HalfReplaced(CopyTest):
    """A restore was killed while it replaced the database as a file. What is beside the database is
    set aside, or waits to be put there."""

    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)
        self.deploy_once()
        self.change("PRAGMA journal_mode = WAL")
        connection = self.connect()
        connection.execute(THEIRS)
        left = {path.name: path.read_bytes() for path in self.database.parent.iterdir()}
        connection.close()
        for name in ("ExMan.db", "ExMan.db-wal"):
            (self.database.parent / name).write_bytes(left[name])
        self.log = self.database.parent / "ExMan.db-wal"

    def assert_not_registered(self):
        for arguments, status, state in ((["--verify"], NOT_REGISTERED, "not registered"),
                                         (["--dry-run"], ALL_DONE, "would register")):
            self.assert_refuses(arguments, status, out=f"{state}: {INDESIGN}\n")
            self.assertEqual(self.copies(), [])
        self.assert_deploys([INDESIGN], ALL_DONE, f"registered: {INDESIGN}\n")
        self.assertEqual([path.name for path in self.database.parent.iterdir()], ["ExMan.db"])

    def test_before_the_new_one_is_in_place(self):
        self.log.rename(self.database.parent / ".ExMan.db-wal.tamsel-old")
        os.link(self.database, self.database.parent / ".ExMan.db.tamsel-old")
        self.assert_not_registered()

    def test_after_the_new_one_is_in_place(self):
        self.log.rename(self.database.parent / ".ExMan.db-wal.tamsel-new")
        (self.database.parent / ".ExMan.db.tamsel-old").write_bytes(b"damaged")
        self.assert_not_registered()
