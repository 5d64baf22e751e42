"""The scripts for Munki, each started as Munki does it."""

import shutil

from harness.deploy import (ALL_DONE, ANOTHER_RUN, DAMAGED, INCOMPLETE, INDESIGN, IN_USE,
                            NO_FILE, NOT_REGISTERED, RUNNING)
from harness.machine import CONFIGURATION, DATABASE, VERSION, write_script
from package.installed import InstalledTest

ASKS = 0
WRONG_ROW = "INSERT INTO Tb_XManConfig VALUES ('190', 'bit', '32')"


class MunkiTest(InstalledTest):
    def check(self, options=()):
        """Whether installcheck asks for an installation; it changes nothing and says nothing."""
        before = self.state()
        result = self.run_script("munki/installcheck", options=options)
        self.assertEqual(self.state(), before)
        self.assertEqual((result.out, result.err), (b"", b""))
        return result.status == ASKS

    def visit(self, options=()):
        """What Munki does each time it runs: if asked to, it installs the package, and the status
        of postinstall is the result."""
        if not self.check(options):
            return "did nothing"
        self.install()
        return self.run_script("munki/postinstall", options=options).status

    def assert_visits(self, *results, options=()):
        self.assertEqual([self.visit(options) for _ in results], list(results))

    def assert_left_alone(self, options=()):
        self.assert_visits("did nothing", options=options)


class WhatARunCanMend(MunkiTest):
    """An installation is asked for once, and then all is well."""

    def assert_mended(self, status=ALL_DONE):
        self.assert_visits(status, "did nothing")

    def test_an_application_that_is_not_registered(self):
        self.assert_mended()
        self.assertEqual(self.deploy("--verify").status, ALL_DONE)

    def test_another_application(self):
        self.assert_mended()
        self.add_applications("/Applications/Adobe InCopy 2020.app")
        self.assert_mended()

    def test_a_registration_that_broke(self):
        self.visit()
        self.change("DELETE FROM Tb_XManConfig WHERE KeyName = 'bit'")
        self.assert_mended()

    def test_a_file_that_is_missing(self):
        self.visit()
        self.copied.unlink()
        self.assertEqual(self.deploy("--verify").status, NO_FILE)
        self.assert_mended()

    def test_a_program_that_is_missing(self):
        self.visit()
        shutil.rmtree(self.local)
        self.local.mkdir()
        self.assert_mended()

    def test_a_program_that_is_not_whole(self):
        self.visit()
        for name in ("Tamsel", "Resources/XManConfigV2.xml"):
            (self.libexec / name).unlink()
            self.assertEqual(self.run_inside(self.program, "--verify").status, INCOMPLETE)
            self.assert_mended()

    def test_a_program_that_cannot_be_executed(self):
        self.visit()
        self.program.chmod(0o644)
        self.assert_mended()

    def test_another_version(self):
        self.visit()
        for version in ("1.0.1", "1.0.20", "11.0.2", "1.0.3"):
            self.replace_program(f"echo tamsel-deploy {version}")
            self.assert_mended()

    def test_a_missing_program_where_nothing_can_be_registered(self):
        for prepare, status in ((lambda: shutil.rmtree(self.inside(INDESIGN)), ALL_DONE),
                                (self.database.unlink, ALL_DONE),
                                (lambda: self.database.write_text("damaged"), DAMAGED)):
            prepare()
            shutil.rmtree(self.libexec)
            if status == DAMAGED:
                self.add_applications(INDESIGN)
            self.assert_mended(status)


class WhatARunCannotMend(MunkiTest):
    """An installation is never asked for: people must act, or it passes, or all is as it should be."""

    def test_no_extension_manager(self):
        self.database.unlink()
        self.assert_left_alone()
        shutil.rmtree(self.private_library / "Application Support")
        self.assert_left_alone()

    def test_no_application(self):
        shutil.rmtree(self.inside(INDESIGN))
        self.assert_left_alone()

    def test_a_database_that_is_damaged_or_another_program_s(self):
        self.change("ALTER TABLE Tb_XManConfig RENAME TO Other")
        self.assert_left_alone()
        for content in (b"x" * 4096, b""):
            self.database.write_bytes(content)
            self.assert_left_alone()

    def test_a_database_that_is_in_use(self):
        release = self.hold("BEGIN EXCLUSIVE")
        self.assert_left_alone()
        release()
        self.hold("BEGIN IMMEDIATE")
        self.assertEqual(self.deploy("--verify").status, NOT_REGISTERED)
        self.assert_left_alone()

    def test_an_extension_manager_that_is_running(self):
        self.assert_left_alone(options=self.stand_in("exit 0", "pgrep"))

    def test_a_database_that_cannot_be_written(self):
        self.assert_left_alone(options=["--read-only", CONFIGURATION])

    def test_a_link_in_the_place_of_the_file(self):
        self.copied.symlink_to("elsewhere")
        self.assertEqual(self.deploy("--verify").status, NOT_REGISTERED)
        self.assert_left_alone()

    def test_no_backups(self):
        self.backups.parent.mkdir()
        self.backups.write_text("in the way")
        self.assertEqual(self.deploy("--verify").status, NOT_REGISTERED)
        self.assert_left_alone()

    def test_a_mac_that_kills_the_program(self):
        self.replace_program("kill -9 $$")
        self.assert_left_alone()

    def test_every_status(self):
        for status in range(15):
            with self.subTest(status):
                self.end_verification_with(status)
                self.assertEqual(self.check(), status in (NOT_REGISTERED, NO_FILE, INCOMPLETE))


class WhatOnlyARunCanTell(MunkiTest):
    """An installation is asked for once, and again when something has changed."""

    schema = "without-keys"

    def setUp(self):
        super().setUp()
        self.visit()

    def assert_tried_once(self, **how):
        results = [self.visit(**how) for _ in range(3)]
        self.assertIn(results[0], (NOT_REGISTERED, DAMAGED, "did nothing"))
        self.assertEqual(results[1:], ["did nothing"] * 2)

    def test_a_wrong_row_where_tables_have_no_keys(self):
        self.change(WRONG_ROW)
        self.assert_visits(NOT_REGISTERED, "did nothing", "did nothing")
        self.change("DELETE FROM Tb_XManConfig WHERE KeyName = 'suite'")
        self.assert_visits(NOT_REGISTERED, "did nothing")
        self.change("DELETE FROM Tb_XManConfig WHERE KeyName = 'bit' AND KeyValue = '32' AND ProdID = '190'")
        self.assert_visits(ALL_DONE, "did nothing")

    def test_what_had_been_mended_in_between(self):
        self.change(WRONG_ROW)
        self.assert_visits(NOT_REGISTERED)
        self.change("DELETE FROM Tb_XManConfig WHERE ProdID = '190'")
        self.assert_visits(ALL_DONE)
        self.change(WRONG_ROW)
        self.assert_visits(NOT_REGISTERED, "did nothing")

    def test_another_version(self):
        self.change(WRONG_ROW)
        self.assert_visits(NOT_REGISTERED, "did nothing")
        self.replace_program("echo tamsel-deploy 1.0.1")
        self.assert_visits(NOT_REGISTERED, "did nothing")

    def test_a_damage(self):
        self.create_database("primary-keys")
        self.change("CREATE INDEX Ix_Name ON Tb_XManConfig (KeyName, KeyValue)")
        self.database.write_bytes(self.database.read_bytes()[:-4096] + bytes(4096))
        self.assert_tried_once()

    def test_a_database_that_cannot_be_written(self):
        self.create_database("primary-keys")
        self.assert_tried_once(options=["--read-only", DATABASE])

    def test_every_status(self):
        """What passes is tried whenever Munki runs: 4, 7, 11 and 12, and 9, since the next run
        rolls back first."""
        for status, results in ((1, [1, "did nothing"]), (4, [4, 4]), (5, [0, 0]), (6, [0, 0]), (7, [7, 7]),
                                (8, [8, "did nothing"]), (9, [9, 9]), (11, [11, 11]), (12, [12, 12]),
                                (13, [13, "did nothing"])):
            with self.subTest(status):
                write_script(
                    self.package / "tamsel-deploy",
                    f"case $1 in --version) echo tamsel-deploy {VERSION} ;; --dry-run) ;;"
                    f" --verify) echo {status} && exit 8 ;; *) exit {status} ;; esac\n")
                self.install()
                self.assert_visits(*results)

    def test_leaves_a_link_alone(self):
        self.change(WRONG_ROW)
        target = self.own / "somebody's"
        target.write_text("theirs")
        (self.own / "munki-tried").symlink_to(target.name)
        self.assert_visits(NOT_REGISTERED, "did nothing")
        self.assertEqual(target.read_text(), "theirs")


class PostInstall(MunkiTest):
    def install_with(self, status, log="", out="", **how):
        result = self.run_script("munki/postinstall", **how)
        self.assertEqual((result.out.decode(), result.status), (out, status))
        self.assert_logged(result.err, log)

    def test_registers(self):
        self.install_with(ALL_DONE, out=f"registered: {INDESIGN}\n")
        self.assertEqual(self.deploy("--verify").status, ALL_DONE)

    def test_a_mac_without_an_application_is_no_failure(self):
        shutil.rmtree(self.inside(INDESIGN))
        self.install_with(ALL_DONE, "no supported application")

    def test_a_mac_without_an_extension_manager_is_no_failure(self):
        self.database.unlink()
        self.install_with(ALL_DONE, "there is no database")

    def test_a_damaged_database_is_one(self):
        self.database.write_text("damaged")
        self.install_with(DAMAGED, out=f"failed: {INDESIGN}\n")

    def test_a_program_that_is_missing_is_one(self):
        shutil.rmtree(self.libexec)
        self.assertEqual(self.run_script("munki/postinstall").status, 127)

    def test_what_passes_is_one_and_is_tried_again(self):
        self.without_waiting()
        release = self.hold("BEGIN EXCLUSIVE")
        self.install_with(IN_USE, out=f"failed: {INDESIGN}\n")
        release()
        release = self.hold_run_lock()
        self.install_with(ANOTHER_RUN, out=f"failed: {INDESIGN}\n")
        release()
        self.install_with(RUNNING, options=self.stand_in("exit 0", "pgrep"))
        self.assert_visits(ALL_DONE, "did nothing")


class Uninstall(MunkiTest):
    def test_removes_the_program_and_leaves_the_registrations(self):
        self.create_database("without-keys")
        self.visit()
        self.change(WRONG_ROW)
        self.visit()
        before = self.installed()
        self.assertEqual(self.run_script("munki/uninstall").status, 0)
        self.assertEqual(list(self.local.iterdir()), [])
        self.assertEqual(self.installed(), before)
        self.assertEqual(sorted(path.name for path in self.own.iterdir()), ["Backups", "lock"])
        self.assertEqual(len(self.all_backups()), 2)

    def test_is_done_where_there_is_nothing(self):
        shutil.rmtree(self.libexec)
        self.assertEqual(self.run_script("munki/uninstall"), (b"", b"", 0))

    def test_hands_on_what_fails(self):
        write_script(self.libexec / "uninstall", "exit 3\n")
        self.assertEqual(self.run_script("munki/uninstall").status, 3)
