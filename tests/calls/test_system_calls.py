"""Which system calls Tamsel makes, in order."""

import itertools
import pathlib
import re
import shutil

from harness.machine import BUILD, CONFIGURATION, DATABASE, MachineTest
from harness.registration import INDESIGN

LINE = re.compile(r"(\w+)\((.*)\) += (\S+).*")
OF_THE_LOADER = re.compile(r"/etc/ld\.so\.(cache|preload)|(/usr)?/lib.*|.*\.so[.\d]*")
# What SQLite looks at: the database, the files beside it, the folders above it, and random numbers.
OF_SQLITE = {DATABASE + side for side in ("", "-journal", "-wal", "-shm")} | {"/dev/urandom"}
OF_SQLITE |= set(map(str, pathlib.PurePath(DATABASE).parents))


class SystemCalls(MachineTest):
    def setUp(self):
        super().setUp()
        self.need("strace")
        # In a folder whose name strace shows unchanged.
        self.program = shutil.copy(BUILD / "Tamsel", self.folder)

    def trace(self, *arguments, before=()):
        """The calls of the program itself, and those with which a process becomes another program, as
        name, arguments and result. The command before, if there is one, starts the program."""
        trace = self.folder / "trace"
        result = self.run_inside(
            "strace", "-f", "-q", "-s", "4096", "-o", trace, "-e", "signal=none", "-e",
            "trace=%file,close,read,?readv,write,wait4",
            *before, self.program, *arguments)
        self.assertEqual(result.status, 0)
        program, calls, unfinished = None, [], {}
        for line in trace.read_text().splitlines():
            process, text = line.split(maxsplit=1)
            program = program or process
            text = unfinished.pop(process, "") + re.sub(r"^<\.\.\. \w+ resumed>", "", text)
            if text.endswith(" <unfinished ...>"):
                unfinished[process] = text[:-len(" <unfinished ...>")]
            elif match := LINE.fullmatch(text):
                name, result = match[1], match[3]
                if process == program or (name, result) == ("execve", "0"):
                    calls.append((name, match[2], result))
        return calls

    def events(self, *arguments, **how):
        """The same in words. What the loader and SQLite look at is left out."""
        events, handles = [], {}
        for name, text, result in self.trace(*arguments, **how):
            path = next(iter(re.findall(r'"([^"]*)"', text)), "")
            handle = text.split(",")[0]
            if name == "openat" and path == DATABASE:
                handles[result] = "probe" if ", O_RDONLY" in text else "database"
                events.append("open " + handles[result])
            elif name == "close":
                events += ["close " + handles.pop(handle)] if handle in handles else []
            elif name in ("read", "readv"):
                events += ["read probe"] if handles.get(handle) == "probe" else []
            elif path == str(self.program):
                events = []
            elif name == "execve":
                events += re.findall(r"\[(.*?)\]", text) if result == "0" else []
            elif name in ("wait4", "write"):
                events.append("wait" if name == "wait4" else "write")
            elif path and path not in OF_SQLITE and not OF_THE_LOADER.fullmatch(path):
                events.append(path)
        return events

    def copying(self):
        """A shell is given one command, and that is what it runs."""
        source = f"{self.folder}/Resources/XManConfigV2.xml"
        return [f'"sh", "-c", "cp \\"{source}\\" \\"{CONFIGURATION}\\""',
                f'"cp", "{source}", "{CONFIGURATION}"', "wait"]

    def test_a_registration_opens_a_connection_for_each_statement_and_then_copies(self):
        self.assertEqual(self.events("-r", INDESIGN), [
            "open probe", "open database", "close database", "open database", "close database",
            *self.copying(), "close probe", "write"])

    def test_an_unsupported_application_only_copies(self):
        for path in ("/Applications/Adobe Photoshop 2020.app", "x"):
            self.assertEqual(self.events("-r", path), ["open probe", *self.copying(), "close probe", "write"])

    def test_every_other_form_only_probes(self):
        for arguments in ([], ["-h"], ["-r"], ["-x", INDESIGN], [INDESIGN, "-r"], ["-r", INDESIGN, "x"]):
            with self.subTest(arguments):
                self.assertEqual(self.events(*arguments), ["open probe", "close probe", "write"])

    def test_the_probe_is_closed_before_the_last_message(self):
        # Line by line, as on a terminal, the writing shows when each message is said.
        events = self.events("-x", before=("stdbuf", "-oL"))
        self.assertEqual([event for event, _ in itertools.groupby(events)],
                         ["open probe", "write", "close probe", "write"])
