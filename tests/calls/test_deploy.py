"""The order in which tamsel-deploy writes to disk: a power failure cannot be tried, but what it finds can."""

import re
from typing import NamedTuple

from harness.deploy import BACKUPS, OLD_FILE
from harness.machine import CONFIGURATION, DATABASE
from harness.promises import PromiseTest
from harness.registration import INDESIGN
from harness.restores import RestoreTest

LINE = re.compile(r"(\d+) +(\w+)\((.*)\) += (\S+).*")
WRITE, SYNC = {"write", "pwrite64", "writev", "ftruncate"}, {"fsync", "fdatasync"}
RENAME = {"rename", "renameat", "renameat2"}
UNFINISHED = BACKUPS + "/.incomplete"
NEW_FILE = CONFIGURATION + "/.XManConfigV2.xml.tamsel-new"


class Call(NamedTuple):
    """A call of the program itself, or the execve of a program that it starts."""

    name: str
    arguments: str

    def __contains__(self, path):
        return f"<{path}>" in self.arguments or f'"{path}"' in self.arguments


class Order:
    """What a run does to files, in order."""

    def trace(self, *arguments):
        self.need("strace")
        log = self.folder / "trace"
        result = self.shell.run(
            "strace", "-f", "-q", "-y", "-s", "4096", "-o", log, "-e", "signal=none", "-e",
            "trace=execve,%file,write,pwrite64,?writev,ftruncate,fsync,fdatasync", *self.command, *arguments)
        self.assertEqual(result.status, 0, result.err.decode())
        self.list, begun = [], {}
        program = None
        for line in log.read_text().splitlines():
            process, text = line.split(maxsplit=1)
            program = program or process
            line = process + " " + begun.pop(process, "") + re.sub(r"^<\.\.\. \w+ resumed>", "", text)
            if line.endswith(" <unfinished ...>"):
                begun[process] = line[len(process) + 1:-len(" <unfinished ...>")]
            elif (call := LINE.fullmatch(line)) and not call[4].startswith("-"):
                if process == program or call[2] == "execve":
                    self.list.append(Call(call[2], call[3]))

    def find(self, names, *texts, last=False):
        """The position of the first or the last of these calls that has these paths in it."""
        found = [i for i, call in enumerate(self.list)
                 if call.name in names and all(text in call for text in texts)]
        self.assertTrue(found, f"no {names} of {texts}")
        return found[-1 if last else 0]

    def renamed_to(self, pattern):
        """The position where something is renamed to such a path."""
        found = [i for i, call in enumerate(self.list)
                 if call.name in RENAME and re.search(pattern + r'"(, \w+)?$', call.arguments)]
        self.assertEqual(len(found), 1, pattern)
        return found[0]

    def synced_after(self, folder, position):
        """The position where a folder is synced after a call."""
        found = [i for i, call in enumerate(self.list)
                 if i > position and call.name in SYNC and f"<{folder}>" in call.arguments]
        self.assertTrue(found, f"{folder} is not synced")
        return found[0]

    def assert_written_then_synced(self, path, before):
        written = self.find(WRITE, path, last=True)
        synced = self.find(SYNC, path, last=True)
        self.assertLess(written, synced)
        self.assertLess(synced, before)

    def started(self, program):
        """The position where that program is started."""
        found = [i for i, call in enumerate(self.list)
                 if call.name == "execve" and call.arguments.startswith(f'"{program}"')]
        self.assertEqual(len(found), 1, program)
        return found[0]


class Registration(Order, PromiseTest):
    repair = True
    file = OLD_FILE
    options = ("--replace-file",)

    def setUp(self):
        super().setUp()
        self.trace(*self.options, INDESIGN)
        self.tamsel = self.started(self.package / "Tamsel")

    def test_the_backup_is_on_disk_before_it_has_its_name_and_the_name_before_tamsel_starts(self):
        renamed = self.renamed_to(re.escape(BACKUPS) + r"/0001-[^/]*")
        for name in ("ExMan.db", "XManConfigV2.xml"):
            self.assert_written_then_synced(f"{UNFINISHED}/{name}", renamed)
        self.assertLess(self.find(SYNC, f"{UNFINISHED}/registering"), renamed)
        self.assertLess(self.find(SYNC, UNFINISHED), renamed)
        self.assertLess(self.synced_after(BACKUPS, renamed), self.tamsel)

    def test_the_new_file_is_on_disk_before_it_has_its_name(self):
        renamed = self.renamed_to(re.escape(CONFIGURATION) + "/XManConfigV2.xml")
        self.assert_written_then_synced(NEW_FILE, renamed)
        backup = self.renamed_to(re.escape(BACKUPS) + r"/0001-[^/]*")
        self.assertLess(backup, renamed)
        self.synced_after(CONFIGURATION, renamed)

    def test_the_note_of_the_end_comes_after_tamsel(self):
        ended = self.renamed_to("/registered")
        self.assertLess(self.tamsel, ended)

    def test_nothing_else_writes_the_file(self):
        for call in self.list:
            if call.name in WRITE:
                self.assertFalse(f"{CONFIGURATION}/XManConfigV2.xml" in call, call)


class RestoreOverADamagedDatabase(Order, RestoreTest):
    damage = "damaged"
    file = OLD_FILE
    options = ("--replace-file",)

    def setUp(self):
        super().setUp()
        self.trace("--restore")

    def test_what_was_there_is_on_disk_before_anything_changes(self):
        backup = self.renamed_to(re.escape(BACKUPS) + r"/0002-[^/]*")
        for name in ("ExMan.db", "ExMan.db-journal", "ExMan.db-wal"):
            self.assert_written_then_synced(f"{UNFINISHED}/{name}", backup)
        synced = self.synced_after(BACKUPS, backup)
        self.assertLess(synced, self.renamed_to(re.escape(DATABASE)))
        self.assertLess(synced, self.renamed_to(re.escape(CONFIGURATION) + "/XManConfigV2.xml"))

    def test_the_journals_of_another_time_go_before_the_database_comes(self):
        renamed = self.renamed_to(re.escape(DATABASE))
        folder = DATABASE.rpartition("/")[0]
        self.assert_written_then_synced(f"{folder}/.ExMan.db.tamsel-new", renamed)
        removed = max(i for i, call in enumerate(self.list)
                      if call.name in RENAME | {"unlink", "unlinkat"} and i < renamed
                      and re.match(rf'[^"]*"{re.escape(DATABASE)}-(journal|wal)"', call.arguments))
        self.assertLess(self.synced_after(folder, removed), renamed)
        self.synced_after(folder, renamed)
