"""The scripts for Jamf, each started as Jamf does it."""

import shutil

from harness.deploy import (ALL_DONE, ANOTHER_RUN, DAMAGED, INCOMPLETE, INCOPY, INDESIGN, IN_USE,
                            NO_APPLICATION, NOT_REGISTERED, RUNNING)
from package.installed import InstalledTest

# What Jamf passes first: the volume, the Mac's name and the user's.
FIRST = ("/", "A Mac", "")


class ExtensionAttribute(InstalledTest):
    def assert_says(self, words, options=()):
        before = self.state()
        result = self.run_script("jamf/extension-attribute", *FIRST, options=options)
        self.assertEqual(result, (f"<result>{words}</result>\n".encode(), b"", 0))
        self.assertEqual(self.state(), before)

    def test_of_an_application(self):
        self.assert_says("not registered")
        self.deploy()
        self.assert_says("registered")
        self.copied.unlink()
        self.assert_says("without XManConfigV2.xml")
        shutil.rmtree(self.inside(INDESIGN))
        self.assert_says("no application")

    def test_of_the_database(self):
        self.without_waiting()
        release = self.hold("BEGIN EXCLUSIVE")
        self.assert_says("database in use")
        release()
        self.database.chmod(0)
        self.assert_says("database cannot be read", options=["--user", "501"])
        self.database.write_text("damaged")
        self.database.chmod(0o644)
        self.assert_says("database damaged")
        self.database.unlink()
        self.assert_says("no Extension Manager")

    def test_of_the_program(self):
        (self.libexec / "Tamsel").unlink()
        self.assert_says("Tamsel is incomplete")
        shutil.rmtree(self.libexec)
        self.assert_says("Tamsel is not installed")

    def test_of_any_other_status(self):
        for status in (2, 4, 7, 9, 11, 14, 15, 137):
            self.end_verification_with(status)
            self.assert_says(f"status {status}")


class Policy(InstalledTest):
    def assert_ends(self, status, *parameters, out="", **how):
        """The result, with the parameters from the fourth on; Jamf always passes all eight."""
        padded = [*parameters, *[""] * (8 - len(parameters))]
        result = self.run_script("jamf/policy", *FIRST, *padded, **how)
        self.assertEqual((result.out.decode(), result.status), (out, status), result.err)

    def test_registers(self):
        self.assert_ends(ALL_DONE, out=f"registered: {INDESIGN}\n")
        self.assertEqual(self.deploy("--verify").status, ALL_DONE)

    def test_hands_parameters_on(self):
        self.replace_program('printf "%s\\n" "$@"')
        self.assert_ends(ALL_DONE, "--wait", "60", "", "/A b*.app", "", "", "", "$HOME",
                         out="--wait\n60\n/A b*.app\n$HOME\n")

    def test_starts_without_parameters_by_hand(self):
        for number in range(4):
            result = self.run_script("jamf/policy", *FIRST[:number])
            self.assertEqual((result.out.decode(), result.status), (f"registered: {INDESIGN}\n", ALL_DONE))

    def test_nothing_to_register_is_no_failure(self):
        self.database.unlink()
        self.assert_ends(ALL_DONE)
        self.assert_ends(ALL_DONE, INDESIGN)
        self.create_database(self.schema)
        shutil.rmtree(self.inside(INDESIGN))
        self.assert_ends(ALL_DONE)
        self.assert_ends(ALL_DONE, "--wait", "0")

    def test_a_named_application_that_is_missing_is_one(self):
        self.assert_ends(NO_APPLICATION, INCOPY, out=f"not found: {INCOPY}\n")

    def test_any_other_status_is_one(self):
        self.assert_ends(RUNNING, "--wait=0", options=self.stand_in("exit 0", "pgrep"))
        failed = f"failed: {INDESIGN}\n"
        release = self.hold_run_lock()
        self.assert_ends(ANOTHER_RUN, "--wait=0", out=failed)
        release()
        release = self.hold("BEGIN EXCLUSIVE")
        self.assert_ends(IN_USE, "--wait", "0", out=failed)
        release()
        self.assert_ends(NOT_REGISTERED, "--verify", out=f"not registered: {INDESIGN}\n")
        self.database.write_text("damaged")
        self.assert_ends(DAMAGED, out=failed)
        (self.libexec / "Tamsel").unlink()
        self.assert_ends(INCOMPLETE)
        shutil.rmtree(self.libexec)
        self.assert_ends(127)
