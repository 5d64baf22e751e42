"""tamsel-deploy from end to end: with the program that users get, a private /Library and a private
/Applications, where every failure can be brought about."""

import os
import shutil
import subprocess
import textwrap

from harness.package import PackageTest
from harness.registration import INDESIGN

INCOPY = "/Applications/Adobe InCopy CC 2019.app"
APPLICATIONS = ("Adobe InCopy CC 2019", "Adobe InCopy CC 2019 Win64", "Adobe InDesign CC 2019",
                "Adobe InDesign CC 2019 Win64", "Adobe InCopy 2020", "Adobe InCopy 2020 Win64",
                "Adobe InDesign 2020", "Adobe InDesign 2020 Win64")
BACKUPS = "/Library/Application Support/Tamsel/Backups"

ALL_DONE, NOT_REGISTERED, USAGE, NOT_ROOT, RUNNING, NO_DATABASE = 0, 1, 2, 3, 4, 5
NO_APPLICATION, NO_BACKUP, NO_FILE, NOT_RESTORED, INCOMPLETE = 6, 7, 8, 9, 10


class DeployTest(PackageTest):
    def setUp(self):
        super().setUp()
        self.applications = self.folder / "Applications"
        self.applications.mkdir()
        self.backups = self.inside(BACKUPS)
        self.copied = self.configuration / "XManConfigV2.xml"

    def add_applications(self, *paths):
        for path in paths:
            self.inside(path).mkdir(parents=True)

    def deploy(self, *arguments, options=(), **how):
        return self.run_inside(self.package / "tamsel-deploy", *arguments, **how, options=[
            "--own-processes", "--bind", self.applications, "/Applications", *options])

    def stand_in(self, script, tool):
        """What puts a shell script in the place of one of the system's tools."""
        path = self.folder / ("instead-of-" + tool)
        path.write_text("#!/bin/sh\n" + textwrap.dedent(script))
        path.chmod(0o755)
        return ["--bind", path, os.path.realpath(shutil.which(tool, path="/usr/bin"))]

    def state(self):
        """Everything that a run could change."""
        return {path: path.read_bytes() if path.is_file() else None
                for path in self.private_library.rglob("*")}

    def assert_deploys(self, arguments, status, out="", log="", **how):
        """The result is this; the log has nothing but lines with times, and this text in it."""
        result = self.deploy(*arguments, **how)
        self.assertEqual((result.out.decode(), result.status), (out, status), result.err.decode())
        self.assertRegex(result.err, rb"\A(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ tamsel-deploy: .+\n)*\Z")
        self.assertIn(log, result.err.decode())
        self.assertEqual(log == "", result.err == b"")

    def assert_refuses(self, arguments, status, log, **how):
        """The result is this, and nothing has changed."""
        before = self.state()
        self.assert_deploys(arguments, status, log=log, **how)
        self.assertEqual(self.state(), before)

    def assert_verified(self, out, status=ALL_DONE, log="", arguments=()):
        before = self.state()
        self.assert_deploys(["--verify", *arguments], status, out, log)
        self.assertEqual(self.state(), before)

    def hold(self, sql):
        """Another program that has done this with the database and does not let it go."""
        holder = subprocess.Popen(["sqlite3", self.database], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(holder.communicate)
        holder.stdin.write(sql.encode() + b"; SELECT 'held';\n")
        holder.stdin.flush()
        while holder.stdout.readline() not in (b"held\n", b""):
            pass
