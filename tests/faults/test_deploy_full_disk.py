"""The disk is full while tamsel-deploy registers or restores."""

from harness import disk, snapshot
from harness.deploy import ALL_DONE, NO_BACKUP, NOT_REGISTERED, NOT_RESTORED, OLD_FILE, OPEN
from harness.machine import DATABASE, slow
from harness.promises import PromiseTest
from harness.restores import RestoreTest

FINE = 24  # sizes that differ by one page
ENOUGH = 4  # sizes at which it succeeds


class FullDisk:
    """Every size of a disk, from one without any room to those with enough."""

    def fill(self, *arguments):
        statuses, pages = [], disk.used(self.begin)
        while statuses.count(ALL_DONE) < ENOUGH:
            with self.subTest(pages=pages):
                self.put(self.begin)
                result = disk.run_on_a_disk(self, pages, *self.command, *arguments)
                self.check(result)
                self.assert_way_on(snapshot.take(self.private_library))
            statuses.append(result.status)
            # The backup takes the first few, then comes the room that is reserved.
            pages += 1 if len(statuses) < FINE else 4
        self.print_figure(f"{len(statuses)} sizes tried, {statuses.count(ALL_DONE)} of them large enough")
        return statuses


@slow
class Registration(FullDisk, PromiseTest):
    def check(self, result):
        self.assert_said(result)
        # Room to put back is reserved first.
        self.assertNotEqual(result.status, NOT_RESTORED)

    def test_at_every_size(self):
        statuses = self.fill(*self.options, *self.paths)
        self.assertEqual(statuses[0], NO_BACKUP)


@slow
class RegistrationWithAWriteAheadLog(Registration):
    journal = "wal"


@slow
class Repair(Registration):
    repair = True
    file = OLD_FILE
    options = ("--replace-file",)


@slow
class RepairWithAWriteAheadLog(Repair):
    journal = "wal"


class Restore(FullDisk, RestoreTest):
    def check(self, result):
        self.assert_restored_or_not(result)

    def test_at_every_size(self):
        statuses = self.fill("--restore")
        self.assertEqual(statuses[0], NO_BACKUP)


class RestoreWithAWriteAheadLog(Restore):
    journal = "wal"


class RestoreOverADamagedDatabase(Restore):
    damage = "damaged"


class RestoreWithoutADatabase(RestoreWithAWriteAheadLog):
    damage = "missing"


class FilledMeanwhile(PromiseTest):
    """Somebody else takes all the room while Tamsel runs, and Tamsel does not finish."""

    repair = True

    def test_what_was_written_can_be_put_back_even_so(self):
        self.replace_tamsel("""\
            tamsel "$@"
            cat /dev/zero >/Library/filled 2>&-
            exit 1
            """)
        self.put(self.begin)
        result = disk.run_on_a_disk(self, 2000, *self.command, *self.paths)
        self.assertEqual((result.out.decode(), result.status), (f"failed: {self.paths[0]}\n", NOT_REGISTERED),
                         result.err.decode())
        self.assertGreater(self.inside("/Library/filled").stat().st_size, 100 * disk.PAGE)
        self.assertEqual(self.present(), self.before)

    def test_the_next_run_leads_back_even_where_no_room_is_left(self):
        self.replace_tamsel(f"""\
            tamsel "$@"
            sqlite3 '{DATABASE}' "DELETE FROM Tb_XManConfig WHERE ProdID = 190 AND KeyName = 'bit'"
            cat /dev/zero >/Library/filled 2>&-
            kill -KILL $PPID
            """)
        self.put(self.begin)
        disk.run_on_a_disk(self, 2000, *self.command, *self.paths)
        self.assertEqual(len(self.backups_of(OPEN)), 1)
        self.assertNotEqual(self.present(), self.before)
        self.replace_tamsel("exit 1")
        # Another program has used the database meanwhile, and removed the files of a write-ahead log.
        self.rows("SELECT * FROM Tb_XManConfig")
        pages = disk.used(snapshot.take(self.private_library))
        result = disk.run_on_a_disk(self, pages, *self.command, *self.paths)
        self.assertNotEqual(result.status, NOT_RESTORED, result.err.decode())
        self.assertEqual(self.present(), self.before)


class FilledMeanwhileWithAWriteAheadLog(FilledMeanwhile):
    journal = "wal"
