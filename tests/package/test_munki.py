"""The scripts for Munki, each started as Munki does it."""

import shutil

from harness.deploy import INDESIGN
from harness.machine import VERSION, write_script
from package.installed import InstalledTest


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

    def test_leaves_alone_what_an_installation_cannot_mend(self):
        self.database.write_text("damaged")
        self.assertFalse(self.asks())
        self.database.unlink()
        self.assertFalse(self.asks())
        shutil.rmtree(self.inside(INDESIGN))
        self.create_database(self.schema)
        self.assertFalse(self.asks())

    def test_every_status(self):
        """Of the verification, and of the rehearsal if not all is registered."""
        rows = [(0, rehearsed, False) for rehearsed in (0, 1, 10)]
        rows += [(verified, 0, True) for verified in (*range(1, 15), 137)]
        rows += [(1, rehearsed, rehearsed in (0, 10)) for rehearsed in (*range(15), 137)]
        for verified, rehearsed, asks in rows:
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

    def test_hands_on_what_fails(self):
        write_script(self.libexec / "uninstall", "exit 3\n")
        self.assertEqual(self.run_script("munki/uninstall").status, 3)
