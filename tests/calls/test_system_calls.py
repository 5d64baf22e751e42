import pathlib
import re
import shutil
from itertools import filterfalse
from typing import NamedTuple

from harness.machine import BUILD, CONFIGURATION, DATABASE, MachineTest
from harness.registration import INDESIGN

PHOTOSHOP = "/Applications/Adobe Photoshop 2020/Adobe Photoshop 2020.app"
OTHER_FORMS = ([], ["-h"], ["-r"], ["-x", INDESIGN], [INDESIGN, "-r"], ["-r", INDESIGN, "x"])
OF_THE_LOADER = re.compile(r"/etc/ld\.so\.(cache|preload)|(/usr)?/lib.*|.*\.so[.\d]*")


class Call(NamedTuple):
    """A system call of the program itself, or the execve of a program that it starts."""

    name: str
    arguments: str
    result: str

    def paths(self):
        """The paths among the arguments. The text is empty if a handle stands for the path."""
        if self.name in ("read", "readv", "write", "execve"):
            return []
        return [path for path in re.findall(r'"([^"]*)"', self.arguments) if path]


class SystemCalls(MachineTest):
    """Which system calls the program makes, in order."""

    def setUp(self):
        super().setUp()
        # In a folder whose name strace shows unchanged.
        self.program = shutil.copy(BUILD / "Tamsel", self.folder)

    def trace(self, *arguments, before=()):
        """The calls of a run that concern files, processes, threads and output, and the position of
        the presence test. The command before, if there is one, starts the program."""
        self.need("strace")
        trace = self.folder / "trace"
        result = self.run_inside(
            "strace", "-f", "-q", "-s", "4096", "-o", trace, "-e", "signal=none", "-e",
            "trace=%file,close,read,?readv,write,clone,?clone3,?fork,?vfork,wait4",
            *before, self.program, *arguments)
        self.assertEqual(result.status, 0)
        calls = []
        unfinished = {}
        for line in trace.read_text().splitlines():
            process, text = line.split(maxsplit=1)
            text = unfinished.pop(process, "") + re.sub(r"^<\.\.\. \w+ resumed>", "", text)
            if text.endswith(" <unfinished ...>"):
                unfinished[process] = text[:-len(" <unfinished ...>")]
            elif (call := re.fullmatch(r"(\w+)\((.*)\) += (\S+).*", text)):
                calls.append((process, Call(*call.groups())))
        program = calls[0][0]
        calls = [call for process, call in calls
                 if process == program or (call.name, call.result) == ("execve", "0")]
        probe, = self.opened(calls, "O_RDONLY")
        return calls, probe

    def opened(self, calls, mode):
        """The positions where the database is opened in this mode."""
        return [i for i, call in enumerate(calls) if call.name == "openat"
                and call.arguments.startswith(f'AT_FDCWD, "{DATABASE}", {mode}')]

    def named(self, calls, *names):
        return [i for i, call in enumerate(calls) if call.name in names]

    def closed(self, calls, opening):
        """The position where what was opened there is closed."""
        handle = calls[opening].result
        return next(i for i in self.named(calls, "close") if i > opening and calls[i].arguments == handle)

    def paths(self, calls):
        """The files and folders that the program opens or looks at."""
        return {path for call in calls for path in call.paths()}

    def assert_common(self, calls, probe):
        """What holds for each run: the probe is never read, only libraries are opened before it, and
        the output is written once, at the end."""
        used = [call.name for call in calls[probe:] if call.arguments.split(",")[0] == calls[probe].result]
        self.assertEqual(used, ["close"])
        self.assertEqual(list(filterfalse(OF_THE_LOADER.fullmatch, self.paths(calls[:probe]))), [])
        self.assertEqual(self.named(calls, "write"), [len(calls) - 1])

    def assert_copies(self, calls):
        """One process is started, a shell that is given exactly one command."""
        self.assertEqual(len(self.named(calls, "clone", "clone3", "fork", "vfork")), 1)
        source = f"{self.folder}/Resources/XManConfigV2.xml"
        shell, copy = (calls[i].arguments for i in self.named(calls, "execve")[1:])
        self.assertTrue(shell.startswith('"/bin/sh", ["sh", "-c", '), shell)
        self.assertIn(f'"cp \\"{source}\\" \\"{CONFIGURATION}\\""], ', shell)
        self.assertIn(f'["cp", "{source}", "{CONFIGURATION}"], ', copy)

    def test_a_registration_opens_a_connection_for_each_statement_and_then_copies(self):
        calls, probe = self.trace("-r", INDESIGN)
        self.assert_common(calls, probe)
        self.assert_copies(calls)
        first, second = self.opened(calls, "O_RDWR|O_CREAT")
        shell, copy = self.named(calls, "execve")[1:]
        order = [probe, first, self.closed(calls, first), second, self.closed(calls, second), shell, copy,
                 self.named(calls, "wait4")[0], self.closed(calls, probe)]
        self.assertEqual(order, sorted(order))
        # Nothing but the database is opened, and what SQLite needs.
        beside = {DATABASE + ending for ending in ("", "-journal", "-wal", "-shm")}
        folders = set(map(str, pathlib.PurePath(DATABASE).parents))
        self.assertLessEqual(self.paths(calls[probe:]), beside | folders | {"/dev/urandom"})

    def test_an_unsupported_application_only_copies(self):
        for path in (PHOTOSHOP, "x"):
            with self.subTest(path):
                calls, probe = self.trace("-r", path)
                self.assert_common(calls, probe)
                self.assert_copies(calls)
                self.assertEqual(self.paths(calls[probe + 1:]), set())

    def test_every_other_form_only_probes(self):
        for arguments in OTHER_FORMS:
            with self.subTest(arguments):
                calls, probe = self.trace(*arguments)
                self.assert_common(calls, probe)
                self.assertEqual(self.named(calls, "clone", "clone3", "fork", "vfork"), [])
                self.assertEqual(self.paths(calls[probe + 1:]), set())

    def test_the_probe_is_closed_before_the_last_message(self):
        # Line by line, as on a terminal, the writing shows when each message is said.
        calls, probe = self.trace("-x", before=("stdbuf", "-oL"))
        [request] = [i for i, call in enumerate(calls) if "Request for help" in call.arguments]
        [message] = [i for i, call in enumerate(calls) if "No command not found." in call.arguments]
        self.assertLess(request, self.closed(calls, probe))
        self.assertLess(self.closed(calls, probe), message)
