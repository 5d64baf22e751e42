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
        """The calls of a run that concern files, processes, threads and output.

        The command before, if there is one, starts the program.
        """
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
        return [call for process, call in calls
                if process == program or (call.name, call.result) == ("execve", "0")]

    def opened(self, calls, mode):
        """The positions where the database is opened in this mode."""
        return [i for i, call in enumerate(calls) if call.name == "openat"
                and call.arguments.startswith(f'AT_FDCWD, "{DATABASE}", {mode}')]

    def started(self, calls):
        """The positions where other programs are started."""
        return [i for i, call in enumerate(calls) if call.name == "execve"][1:]

    def closed(self, calls, opening):
        """The position where what was opened there is closed."""
        handle = calls[opening].result
        return next(i for i, call in enumerate(calls)
                    if i > opening and call.name == "close" and call.arguments == handle)

    def paths(self, calls, first, last=None):
        """The files and folders that the program opens or looks at between two calls."""
        return {path for call in calls[first:last] for path in call.paths()}

    def test_one_connection_for_each_statement_then_the_copy_and_the_probe_open_all_along(self):
        calls = self.trace("-r", INDESIGN)
        [probe] = self.opened(calls, "O_RDONLY")
        first, second = self.opened(calls, "O_RDWR|O_CREAT")
        shell, copy = self.started(calls)
        waited = next(i for i, call in enumerate(calls) if call.name == "wait4")
        self.assertLess(probe, first)
        self.assertLess(first, self.closed(calls, first))
        self.assertLess(self.closed(calls, first), second)
        self.assertLess(second, self.closed(calls, second))
        self.assertLess(self.closed(calls, second), shell)
        self.assertLess(copy, waited)
        self.assertLess(waited, self.closed(calls, probe))

    def test_the_probe_is_never_read(self):
        for arguments in (["-r", INDESIGN], ["-h"]):
            with self.subTest(arguments):
                calls = self.trace(*arguments)
                [probe] = self.opened(calls, "O_RDONLY")
                used = [call.name for call in calls[probe:]
                        if call.arguments.split(",")[0] == calls[probe].result]
                self.assertEqual(used, ["close"])

    def test_the_shell_is_given_exactly_one_command(self):
        source = f"{self.folder}/Resources/XManConfigV2.xml"
        for path in (INDESIGN, PHOTOSHOP):
            with self.subTest(path):
                calls = self.trace("-r", path)
                shell, copy = (calls[i].arguments for i in self.started(calls))
                self.assertTrue(shell.startswith('"/bin/sh", ["sh", "-c", '), shell)
                self.assertIn(f'"cp \\"{source}\\" \\"{CONFIGURATION}\\""], ', shell)
                self.assertIn(f'["cp", "{source}", "{CONFIGURATION}"], ', copy)

    def test_before_the_probe_only_libraries_are_opened(self):
        for arguments in (["-r", INDESIGN], ["-h"]):
            with self.subTest(arguments):
                calls = self.trace(*arguments)
                [probe] = self.opened(calls, "O_RDONLY")
                self.assertEqual(list(filterfalse(OF_THE_LOADER.fullmatch, self.paths(calls, 0, probe))), [])

    def test_after_the_probe_only_the_database_is_opened_and_what_sqlite_needs(self):
        calls = self.trace("-r", INDESIGN)
        [probe] = self.opened(calls, "O_RDONLY")
        beside = {DATABASE + ending for ending in ("", "-journal", "-wal", "-shm")}
        folders = set(map(str, pathlib.PurePath(DATABASE).parents))
        self.assertLessEqual(self.paths(calls, probe), beside | folders | {"/dev/urandom"})

    def test_after_the_probe_no_other_form_opens_or_looks_at_anything(self):
        for arguments in (["-r", PHOTOSHOP], ["-r", "x"], *OTHER_FORMS):
            with self.subTest(arguments):
                calls = self.trace(*arguments)
                [probe] = self.opened(calls, "O_RDONLY")
                self.assertEqual(self.paths(calls, probe + 1), set())

    def test_no_thread_and_no_process_but_the_shell_is_started(self):
        for arguments in (["-r", INDESIGN], ["-r", PHOTOSHOP], *OTHER_FORMS):
            with self.subTest(arguments):
                calls = self.trace(*arguments)
                begun = [call for call in calls if call.name in ("clone", "clone3", "fork", "vfork")]
                registration = arguments in (["-r", INDESIGN], ["-r", PHOTOSHOP])
                self.assertEqual(len(begun), 1 if registration else 0)

    def test_an_unsupported_application_opens_no_connection(self):
        calls = self.trace("-r", PHOTOSHOP)
        self.assertEqual(len(self.opened(calls, "O_RDONLY")), 1)
        self.assertEqual(self.opened(calls, "O_RDWR"), [])

    def test_every_other_form_only_probes(self):
        for arguments in OTHER_FORMS:
            with self.subTest(arguments):
                calls = self.trace(*arguments)
                self.assertEqual(len(self.opened(calls, "O_RDONLY")), 1)
                self.assertEqual(self.opened(calls, "O_RDWR"), [])
                self.assertEqual(self.started(calls), [])

    def test_output_is_written_once_at_the_end(self):
        for arguments in (["-r", INDESIGN], ["-r", PHOTOSHOP], ["-h"], ["-x"], []):
            with self.subTest(arguments):
                names = [call.name for call in self.trace(*arguments)]
                self.assertEqual(names[-1], "write")
                self.assertEqual(names.count("write"), 1)

    def test_the_probe_is_closed_before_the_last_message(self):
        # Line by line, as on a terminal, the writing shows when each message is said.
        calls = self.trace("-x", before=("stdbuf", "-oL"))
        [probe] = self.opened(calls, "O_RDONLY")
        [request] = [i for i, call in enumerate(calls) if "Request for help" in call.arguments]
        [message] = [i for i, call in enumerate(calls) if "No command not found." in call.arguments]
        self.assertLess(request, self.closed(calls, probe))
        self.assertLess(self.closed(calls, probe), message)
