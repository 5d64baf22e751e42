"""tamsel-deploy on a disk of every size, from one without any room to those with enough."""

from harness import snapshot
from harness.deploy import ALL_DONE, NO_BACKUP
from harness.machine import slow
from harness.promises import WORLDS, PromiseTest
from harness.restores import RestoreTest

ENOUGH = 4  # sizes at which it succeeds
PAGE = 4096

# Fills the disk, runs on it the command that follows the folder, and hands back what is there then.
ON_THE_DISK = """
folder=$1
shift
cp -a "$folder/." /Library/ || exit 1
"$@" >out 2>err
status=$?
rm -rf "$folder"/* && cp -a /Library/. "$folder/" || exit 1
echo "$status" >status
"""


def used(moment):
    """How many pages the files of a moment take up."""
    contents = {same: content for _, content, same in moment.values() if content}
    return sum(-(-len(content) // PAGE) for content in contents.values())


def run_on_a_disk(test, pages, *command):
    """Runs a command that finds the present content of /Library on a disk of this size."""
    result = test.run_inside("sh", "-c", ON_THE_DISK, "sh", test.private_library, *command,
                             options=[*test.bound, "--tmpfs", str(pages * PAGE), "/Library"])
    test.assertEqual(result.status, 0, result.err.decode())
    return test.shell.result(int((test.folder / "status").read_text()))


class FullDisk:
    def test_at_every_size(self):
        statuses, pages = [], used(self.begin)
        while statuses.count(ALL_DONE) < ENOUGH and len(statuses) < 60:
            with self.subTest(pages=pages):
                self.put(self.begin)
                result = run_on_a_disk(self, pages, *self.command, *self.arguments)
                self.check(result)
                self.assert_recoverable(snapshot.take(self.private_library))
            statuses.append(result.status)
            pages += 1
        self.assertEqual((statuses[0], statuses.count(ALL_DONE)), (NO_BACKUP, ENOUGH))


@slow
class Registration(FullDisk, PromiseTest):
    locals().update(WORLDS["TwoReplacingTheFile"])


@slow
class RestoreWithAWriteAheadLog(FullDisk, RestoreTest):
    journal = "wal"
