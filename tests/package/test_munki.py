"""The scripts for Munki, each started as Munki does it."""

import os
import re
import shutil
import subprocess

from harness.machine import ROOT, VERSION, MachineTest, write_script
from harness.installed import InstalledTest

OLDEST, = re.findall(r"CMAKE_OSX_DEPLOYMENT_TARGET (\S+) ", (ROOT / "CMakeLists.txt").read_text())


class MunkiTest(InstalledTest):
    def asks(self):
        """Whether installcheck asks for an installation; it changes nothing and says nothing."""
        before = self.state()
        result = self.run_script("munki/installcheck")
        self.assertEqual(self.state(), before)
        self.assertEqual((result.out, result.err), (b"", b""))
        return result.status == 0

    def visit(self):
        """What Munki does each time it runs: if asked to, it installs the package, and the status
        of postinstall is the result."""
        if not self.asks():
            return "did nothing"
        self.install()
        return self.run_script("munki/postinstall").status


class InstallCheck(MunkiTest):
    def test_asks_for_an_installation_that_mends_and_then_no_more(self):
        for wrong in (lambda: None,
                      lambda: self.add_applications("/Applications/Adobe InCopy 2020.app"),
                      lambda: self.change("DELETE FROM Tb_XManConfig WHERE KeyName = 'bit'"),
                      self.copied.unlink,
                      (self.libexec / "Resources" / "XManConfigV2.xml").unlink,
                      lambda: (self.libexec / "tamsel-deploy").chmod(0o644),
                      lambda: shutil.rmtree(self.libexec)):
            wrong()
            self.assertEqual([self.visit(), self.visit()], [0, "did nothing"])
            self.assertEqual(self.deploy("--verify").status, 0)

    def test_every_status(self):
        """Of the verification, and of the rehearsal if not all is registered. A damaged database, for
        one, is nothing that an installation can mend."""
        for verified, rehearsed, asks in (
                (0, 0, False), (0, 10, False), *((verified, 0, True) for verified in (*range(1, 15), 137)),
                *((1, rehearsed, rehearsed == 10) for rehearsed in (*range(1, 15), 137))):
            with self.subTest(verified=verified, rehearsed=rehearsed):
                self.replace_program(
                    f'case $* in --version) echo tamsel-deploy {VERSION} ;;'
                    f' "--verify --wait 0") exit {verified} ;;'
                    f' "--dry-run --wait 0") exit {rehearsed} ;; *) exit 99 ;; esac')
                self.assertEqual(self.asks(), asks)

    def test_any_other_version(self):
        for script, asks in (
                (f"echo tamsel-deploy {VERSION}", False), ("echo tamsel-deploy 1.0.1", True),
                (f"echo tamsel-deploy {VERSION}0", True), (f"echo tamsel-deploy 1{VERSION}", True),
                ("exit 1", True), ("exit 127", True), ("kill -9 $$", False)):
            with self.subTest(script):
                self.replace_program(script)
                self.assertEqual(self.asks(), asks)


class PostInstall(MunkiTest):
    def test_every_status(self):
        """A Mac without an Extension Manager or an application is no failure."""
        for status in (*range(15), 137):
            with self.subTest(status):
                self.replace_program(f'[ "$*" = "" ] && exit {status}')
                self.assertEqual(self.run_script("munki/postinstall").status,
                                 0 if status in (5, 6) else status)
        shutil.rmtree(self.libexec)
        self.assertEqual(self.run_script("munki/postinstall").status, 127)


class Uninstall(MunkiTest):
    def test_removes_the_program_and_leaves_registrations_and_backups(self):
        self.visit()
        before = self.state()
        self.assertEqual(self.run_script("munki/uninstall").status, 0)
        self.assertEqual(list(self.local.iterdir()), [])
        self.assertEqual(self.state(), before)
        self.assertEqual(self.run_script("munki/uninstall"), (b"", b"", 0))
        self.install()
        write_script(self.libexec / "uninstall", "exit 3\n")
        self.assertEqual(self.run_script("munki/uninstall").status, 3)


class Import(MachineTest):
    """munkiimport, a tool of Munki's own, gets the package and every script. A stand-in for it prints
    its arguments."""

    needs_sandbox = False

    def run_import(self, *arguments):
        finished = subprocess.run(
            [os.path.join("a tree", "packaging", "munki", "import"), *arguments], cwd=self.folder,
            env={"PATH": f"{self.tools}:/usr/bin:/bin"}, capture_output=True, text=True, check=False)
        return finished.stdout.splitlines(), finished.stderr, finished.returncode

    def test_takes_the_package_of_this_version_a_signed_one_rather_than_an_unsigned_one(self):
        scripts, dist = (self.folder / "a tree" / name for name in ("packaging/munki", "dist"))
        shutil.copytree(ROOT / "packaging" / "munki", scripts)
        dist.mkdir()
        self.make_tool("munkiimport", 'printf "%s\\n" "$@"\nexit 3\n')
        packages = [dist / f"tamsel-{VERSION}{kind}.pkg" for kind in ("-unsigned", "")]
        (dist / "tamsel-9.9.9.pkg").touch()
        self.assertEqual(self.run_import(),
                         ([], f"import: there is neither {packages[1]} nor {packages[0]}\n", 1))
        for package in packages:
            package.touch()
            self.assertEqual(self.run_import("--catalog", "to test"), ([
                "--name=tamsel",
                f"--installcheck_script={scripts}/installcheck",
                f"--postinstall_script={scripts}/postinstall",
                f"--uninstall_script={scripts}/uninstall",
                f"--minimum_os_version={OLDEST}",
                "--blocking_application=Adobe Extension Manager CC.app",
                "--unattended_install",
                "--catalog", "to test",
                str(package)], "", 3))
