"""tamsel-deploy on a disk of every size, from one without any room to those with enough."""

from harness import disk, snapshot
from harness.deploy import ALL_DONE, NO_BACKUP
from harness.machine import slow
from harness.promises import WORLDS, PromiseTest
from harness.restores import RestoreTest

ENOUGH = 4  # sizes at which it succeeds


class FullDisk:
    def test_at_every_size(self):
        statuses, pages = [], disk.used(self.begin)
        while statuses.count(ALL_DONE) < ENOUGH and len(statuses) < 60:
            with self.subTest(pages=pages):
                self.put(self.begin)
                result = disk.run_on_a_disk(self, pages, *self.command, *self.arguments)
                self.check(result)
                self.assert_recoverable(snapshot.take(self.private_library))
            statuses.append(result.status)
            pages += 1
        self.assertEqual((statuses[0], statuses.count(ALL_DONE)), (NO_BACKUP, ENOUGH))


@slow
class Registration(FullDisk, PromiseTest):
    locals().update(WORLDS["TwoReplacingTheFile"])
    arguments = (*WORLDS["TwoReplacingTheFile"]["options"], *WORLDS["TwoReplacingTheFile"]["paths"])


@slow
class RestoreWithAWriteAheadLog(FullDisk, RestoreTest):
    journal = "wal"
