"""A private machine for a test: an Extension Manager of its own, and programs run in its sandbox.

Everything is in a temporary folder that is removed after the test. Nothing here knows how the
program works; expected output is written out in files or in the tests themselves.
"""

import functools
import os
import pathlib
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import textwrap
import unittest
from typing import NamedTuple

TESTS = pathlib.Path(__file__).resolve().parent.parent
ROOT = TESTS.parent
SANDBOX = ROOT / "scripts" / "sandbox"
BUILD = pathlib.Path(os.environ.get("TAMSEL_BUILD", ROOT / "build"))
VERSION, = re.findall(r"(?m)^project\(Tamsel VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text())

CONFIGURATION = "/Library/Application Support/Adobe/Extension Manager CC/Configuration"
DATABASE = CONFIGURATION + "/DB/ExMan.db"

NO_SANDBOX = 77
NO_OPTIONS = "the sandbox has no options there"  # on macOS

# A folder in memory, if the machine has one, so that no run waits for a disk.
MEMORY = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None


class Result(NamedTuple):
    """What a program did."""

    out: bytes
    err: bytes
    status: int


class MachineTest(unittest.TestCase):
    """A test on a machine with an Extension Manager whose database holds unrelated rows."""

    maxDiff = None
    schema = "primary-keys"
    place = None  # where the temporary folder is made
    needs_sandbox = True  # by every test of the class
    slow = False

    def run(self, result=None):
        """Runs the test, unless only slow tests are to run and it is none, or the reverse."""
        wanted = {"only": True, "no": False}.get(os.environ.get("TAMSEL_SLOW_TESTS"))
        is_slow = getattr(getattr(self, self._testMethodName), "slow", self.slow)
        return super().run(result) if wanted in (None, is_slow) else None

    def setUp(self):
        if self.needs_sandbox and why_no_sandbox():
            self.cannot_run(why_no_sandbox())
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tamsel-", dir=self.place))
        self.addCleanup(shutil.rmtree, self.folder)
        self.tools = self.folder / "tools"
        self.private_library = self.folder / "Library"
        self.configuration = self.inside(CONFIGURATION)
        self.database = self.inside(DATABASE)
        self.database.parent.mkdir(parents=True)
        self.create_database(self.schema)

    def inside(self, path):
        """Where a path below /Library, as programs in the sandbox see it, really is."""
        return self.folder / path.lstrip("/")

    def create_database(self, schema):
        """Replaces the database with a new one that has this schema and the unrelated rows."""
        self.database.unlink(missing_ok=True)
        for name in (schema, "unrelated-rows"):
            self.change((TESTS / "schemas" / (name + ".sql")).read_text(encoding="utf-8"))

    def connect(self):
        """A connection to the database, without transactions of its own."""
        connection = sqlite3.connect(self.database, isolation_level=None)
        self.addCleanup(connection.close)
        return connection

    def change(self, sql):
        """Runs statements on the database, as another program would."""
        connection = self.connect()
        connection.executescript(sql)
        connection.close()

    def rows(self, query, *values):
        """What a query yields."""
        connection = self.connect()
        rows = connection.execute(query, values).fetchall()
        connection.close()
        return rows

    def make_tool(self, name, script):
        """Puts a shell script into the folder tools, to be found through search_path or bound over
        a tool of the system. Returns its path."""
        return write_script(self.tools / name, script)

    def run_inside(self, *command, stdin=b"", cwd=None, path=None, options=()):
        """Runs a command in the sandbox, to which options go as well, and returns its Result."""
        if options and sys.platform == "darwin":
            self.cannot_run(NO_OPTIONS, on_every_mac=True)
        environment = dict(os.environ, **({"PATH": path} if path else {}))
        finished = subprocess.run(
            [SANDBOX, *options, self.private_library, *command],
            input=stdin, capture_output=True, cwd=cwd or self.folder, env=environment, check=False)
        if finished.returncode == NO_SANDBOX:
            self.cannot_run(reason_of(finished))
        return Result(finished.stdout, finished.stderr, finished.returncode)

    def run_tamsel(self, *arguments, **how):
        """Runs the program that users get, by its absolute path."""
        return self.run_inside(BUILD / "Tamsel", *arguments, **how)

    def need(self, tool):
        """Skips the test if a tool that it starts in the sandbox is missing."""
        if shutil.which(tool) is None:
            self.cannot_run(tool + " is not installed")

    def cannot_run(self, reason, on_every_mac=False):
        """Skips the test, which scripts/test counts. In continuous integration every test must run,
        except for what cannot run on any Mac."""
        if os.environ.get("CI") == "true" and not on_every_mac:
            self.fail("skipped: " + reason)
        print(f"not run: {self.id()}: {' '.join(reason.split())}", flush=True)
        self.skipTest(reason)

    def assert_result(self, result, out, err=b"", status=0):
        """Compares each of the three with what is expected, byte for byte."""
        self.assertEqual(result.out.decode("utf-8", "backslashreplace"),
                         out.decode("utf-8", "backslashreplace"))
        self.assertEqual(result, Result(out, err, status))


def reason_of(finished):
    """Why the sandbox has refused to run a command."""
    return finished.stderr.decode().strip().replace("sandbox: ", "", 1)


@functools.lru_cache(maxsize=None)
def why_no_sandbox():
    """Why this machine can make no sandbox; empty if it can."""
    finished = subprocess.run([SANDBOX, "--check"], capture_output=True, check=False)
    return reason_of(finished) if finished.returncode else ""


def write_script(path, script, shell="sh"):
    """Makes an executable shell script, whose first line is added here. Returns its path."""
    path.parent.mkdir(exist_ok=True)
    path.write_text(f"#!/bin/{shell}\n" + textwrap.dedent(script))
    path.chmod(0o755)
    return path


def search_path(first):
    """The search path, with a folder that comes before all others."""
    return f"{first}:{os.environ['PATH']}"


def slow(test):
    """Marks a test, or all tests of a class, to run only when asked for."""
    test.slow = True
    return test


def expected(name):
    """The bytes of a file with expected output."""
    return (TESTS / "expected" / name).read_bytes()
