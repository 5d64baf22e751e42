"""tamsel-deploy from end to end: the program that users get, with a private /Library and
/Applications where every failure can be brought about."""

import fcntl
import hashlib
import json
import os
import pathlib
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile

from harness import snapshot
from harness.machine import BUILD, NO_OPTIONS, SANDBOX, VERSION, Result
from harness.package import PackageTest
from harness.registration import INDESIGN, PRODUCTS

INCOPY = "/Applications/Adobe InCopy CC 2019.app"
# All that are supported.
APPLICATIONS = [PRODUCTS[number] for number in ("156", "155", "159", "158", "187", "186", "190", "189")]
OWN = "/Library/Application Support/Tamsel"
BACKUPS = OWN + "/Backups"
LOCK = OWN + "/lock"

ALL_DONE, NOT_REGISTERED, USAGE, NOT_ROOT, RUNNING, NO_DATABASE = 0, 1, 2, 3, 4, 5
NO_APPLICATION, NO_BACKUP, NO_FILE, NOT_RESTORED, INCOMPLETE = 6, 7, 8, 9, 10
ANOTHER_RUN, IN_USE, DAMAGED, NOT_WRITTEN = 11, 12, 13, 14

# The names of a backup's note, before and after its registration is known to be committed.
UNFINISHED, NOTE = "unfinished", "note"
NAME = re.compile(r"\d{4,}-\d\d\d\d-\d\d-\d\dT\d{6}Z")
LINE = rb"\d{4,}-\d\d-\d\dT\d\d:\d\d:\d\dZ tamsel-deploy: [^\x00-\x1f\x7f]+\n"
OLD_FILE = b"<XManConfig>the vendor's</XManConfig>\n"
REGISTERED, FAILED = f"registered: {INDESIGN}\n", f"failed: {INDESIGN}\n"
LOOKS = ("verify", "dry-run", "list")


def back(name):
    """How the log of a run ends that has changed something."""
    return f"to bring back the state before: sudo tamsel-deploy --restore {name}\n"


class DeployTest(PackageTest):
    present = ()  # applications that are there
    file = None  # the XManConfigV2.xml that is there
    own_processes = False  # else the real pgrep looks for the Extension Manager
    needs_sandbox = True

    def setUp(self):
        if sys.platform == "darwin":
            self.cannot_run(NO_OPTIONS, on_every_mac=True)
        super().setUp()
        self.need("pgrep")
        self.applications = self.folder / "Applications"
        self.applications.mkdir()
        self.own = self.inside(OWN)
        self.backups = self.inside(BACKUPS)
        self.copied = self.configuration / "XManConfigV2.xml"
        self.shipped = BUILD / "Resources" / "XManConfigV2.xml"
        self.add_applications(*self.present)
        if self.file is not None:
            self.copied.write_bytes(self.file)

    def add_applications(self, *paths):
        """Makes bundles: in /Applications, as programs in the sandbox see it, or anywhere else."""
        for path in paths:
            path = self.inside(path) if str(path).startswith("/Applications/") else pathlib.Path(path)
            (path / "Contents").mkdir(parents=True, exist_ok=True)
            (path / "Contents" / "Info.plist").write_text("<plist/>\n")

    # Running it

    def inside_options(self, options=()):
        """Unless told otherwise, pgrep finds nothing: not every container can hide other processes."""
        no_manager = ["--bind", "/bin/false", os.path.realpath("/usr/bin/pgrep")]
        return [*(["--own-processes"] if self.own_processes else no_manager),
                "--bind", self.applications, "/Applications", *options]

    def deploy(self, *arguments, options=(), environment=None, before=(), **how):
        """Runs it, if need be behind another command, and returns its Result."""
        return self.run_inside(*self.words(before, environment), *arguments,
                               options=self.inside_options(options), **how)

    def words(self, before, environment):
        variables = [f"{name}={value}" for name, value in (environment or {}).items()]
        return [*before, *(["env", *variables] if variables else []), self.package / "tamsel-deploy"]

    @staticmethod
    def clock(seconds):
        """An environment whose clock stands still at this many seconds after 1970."""
        return {"LD_PRELOAD": BUILD / "tests" / "libclock.so", "CLOCK": seconds}

    def start(self, *arguments, options=(), environment=None, before=(), **how):
        """The same without waiting for its end; finish does that."""
        process = subprocess.Popen(
            [SANDBOX, *self.inside_options(options), self.private_library,
             *self.words(before, environment), *arguments],
            **{"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE,
               "cwd": self.folder, "bufsize": 0, **how})
        self.addCleanup(self.stop, process)
        return process

    def start_until(self, text, *arguments, **how):
        """The same, once it has logged this text. The variable process names the program's own."""
        process = self.start(*arguments, before=["sh", "-c", 'echo $$ >process; exec "$@"', "sh"], **how)
        process.log = b""
        while text.encode() not in process.log or not (self.folder / "process").exists():
            line = process.stderr.readline()
            self.assertTrue(line, process.log)
            process.log += line
        process.number = int((self.folder / "process").read_text())
        return process

    @staticmethod
    def stop(process):
        """Ends what was started, and everything in its sandbox."""
        with process:
            process.kill()

    def finish(self, process):
        out, err = process.communicate(timeout=60)
        return Result(out, getattr(process, "log", b"") + (err or b""), process.returncode)

    # What stands in the way

    def stand_in(self, script, tool):
        """The options that put a shell script in the place of one of the system's tools."""
        return ["--bind", self.make_tool(tool, script), os.path.realpath(shutil.which(tool, path="/usr/bin"))]

    def hold(self, sql):
        """Another program that has done this to the database and holds it until the returned
        function is called."""
        holder = subprocess.Popen(["sqlite3", "-bail", self.database],
                                  stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(holder.communicate)
        holder.stdin.write(sql.encode() + b"; SELECT 'held';\n")
        holder.stdin.flush()
        line = None
        while line != b"held\n":
            line = holder.stdout.readline()
            self.assertTrue(line, "the database cannot be held")
        return holder.communicate

    def hold_run_lock(self):
        """Another run that does not end until the returned function is called."""
        self.own.mkdir(parents=True, exist_ok=True)
        file = open(self.own / "lock", "ab")
        self.addCleanup(file.close)
        os.fchmod(file.fileno(), 0o600)
        fcntl.flock(file, fcntl.LOCK_EX)
        return file.close

    def leave_hot_journal(self, half="UPDATE Tb_XManConfig SET KeyValue = 'half written'"):
        """Leaves a hot journal: what a program leaves that crashes while writing the database."""
        journal = self.database.parent / "ExMan.db-journal"
        connection = self.connect()
        connection.execute("PRAGMA synchronous = OFF")
        connection.execute("PRAGMA cache_size = 2")
        connection.execute("BEGIN")
        connection.execute(half)
        connection.execute("CREATE TABLE Half AS SELECT zeroblob(99999)")
        left = self.database.read_bytes(), journal.read_bytes()
        connection.execute("ROLLBACK")
        connection.close()
        self.assertFalse(left[0].startswith(self.database.read_bytes()))
        self.database.write_bytes(left[0])
        journal.write_bytes(left[1])

    # What there is

    def dump(self, database=None):
        """Everything in a database, whatever its bytes are: the schema, and each table's rows with
        their row numbers. Read from a copy, since reading can change the files."""
        database = database or self.database
        with tempfile.TemporaryDirectory(dir=self.folder) as folder:
            for suffix in ("", "-journal", "-wal"):
                file = pathlib.Path(str(database) + suffix)
                if file.exists():
                    shutil.copy(file, pathlib.Path(folder, "copy" + suffix))
            connection = sqlite3.connect(pathlib.Path(folder, "copy"))
            try:
                return self.contents(connection)
            finally:
                connection.close()

    def contents(self, connection):
        self.assertEqual(connection.execute("PRAGMA integrity_check").fetchall(), [("ok",)])
        schema = connection.execute("SELECT type, name, sql FROM sqlite_master ORDER BY name").fetchall()
        tables = {}
        for kind, name, sql in schema:
            if kind == "table":
                numbered = "" if "WITHOUT ROWID" in sql.upper() else "rowid, "
                tables[name] = sorted(connection.execute(f"SELECT {numbered}* FROM {name}"), key=repr)
        return schema, tables

    def state(self, folder=None):
        """Everything that a run could change, below /Library or one of its folders."""
        # Nobody could read a difference in a large file.
        return {name: (mode, content if len(content or b"") < 100 else hashlib.sha256(content).hexdigest())
                for name, (mode, content, _) in snapshot.take(folder or self.private_library).items()}

    def lasting_state(self):
        """The same, except for what every run leaves once it has taken the lock."""
        passing = {str(path.relative_to(self.private_library))
                   for path in (self.own, self.own / "lock", self.backups)}
        return {name: found for name, found in self.state().items() if name not in passing}

    def installed(self):
        """What a restore brings back: the database's content, the file, and the names in both folders."""
        file = self.state(self.configuration).get(self.copied.name)
        return self.dump(), file, [sorted(path.name for path in folder.iterdir())
                                   for folder in (self.configuration, self.database.parent)]

    def all_backups(self):
        """The folders of the backups, oldest first."""
        folders = self.backups.iterdir() if self.backups.exists() else []
        return sorted((folder for folder in folders if NAME.fullmatch(folder.name)),
                      key=lambda folder: int(folder.name.partition("-")[0]))

    # What must be true

    def assert_logged(self, err, *texts):
        """The log consists of lines with times, and has these texts in them."""
        self.assertRegex(err, rb"\A(" + LINE + rb")*\Z")
        for text in texts:
            self.assertIn(text, err.decode())

    def assert_deploys(self, arguments, status, out="", *log, **how):
        """The result is this, and the log has these texts in it; a failure always says something."""
        result = self.deploy(*arguments, **how)
        self.assertEqual((result.out.decode(), result.status), (out, status), result.err.decode())
        self.assert_logged(result.err, *log)
        self.assertTrue(status == ALL_DONE or result.err)
        return result

    def assert_unchanged(self, arguments, status, *log, out="", **how):
        """The result is this, in lines and as an object, and nothing has changed. What only looks
        leaves no trace."""
        command = next((word[2:] for word in arguments if word in ("--restore", *map("--{}".format, LOOKS))),
                       "register")
        state = self.state if command in LOOKS else self.lasting_state
        before = state()
        result = self.assert_deploys(arguments, status, out, *log, **how)
        self.assertNotRegex(result.err, b"to bring back|what was there before")
        again = self.deploy("--json", *arguments, **how)
        found = json.loads(again.out)
        self.assertEqual((again.status, [found.pop(key) for key in ("command", "status", "version", "backup",
                                                                    "restored")]),
                         (status, [command, status, VERSION, None, None]))
        lines = [f"{item['state']}: {item['path']}" for item in found["applications"]]
        lines += [f"{item['name']} {item['reason']}" for item in found.get("backups", ())]
        self.assertTrue("\\" in out or "".join(line + "\n" for line in lines) == out, found)
        self.assertFalse(any(item["changed"] for item in found["applications"]))
        # What failed with the run as a whole was not compared in the end.
        self.assertFalse(any(item["differences"] for item in found["applications"]
                             if item["reason"] == found["reason"] and item["state"] == "failed"))
        self.assertEqual(found["reason"] is None, status == ALL_DONE)
        if status != ALL_DONE:
            self.assertIn(found["reason"].replace("\\", "\\\\").replace("\n", "\\n"), again.err.decode())
        self.assertEqual(state(), before)
        return result

    def assert_verified(self, out, status=ALL_DONE, *log, arguments=()):
        self.assert_unchanged(["--verify", *arguments], status, *log, out=out)

    def deploy_once(self, *arguments, **how):
        """A registration of INDESIGN; returns the folder of the backup that it made."""
        before = self.all_backups()
        self.assert_deploys([*arguments, INDESIGN], ALL_DONE, REGISTERED, **how)
        new, = set(self.all_backups()) - set(before)
        return new

    def unregister(self):
        self.change("DELETE FROM Tb_XManConfig WHERE ProdID = 190")
