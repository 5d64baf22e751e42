"""The scripts for Jamf, each started as Jamf does it."""

import shutil

from harness.deploy import INCOPY, INDESIGN
from harness.installed import InstalledTest

# What Jamf passes first: the volume, the Mac's name and the user's.
FIRST = ("/", "A Mac", "")


class ExtensionAttribute(InstalledTest):
    def assert_says(self, words):
        result = self.run_script("jamf/extension-attribute", *FIRST)
        self.assertEqual(result, (f"<result>{words}</result>\n".encode(), b"", 0))

    def test_of_the_program_itself(self):
        before = self.state()
        self.assert_says("not registered")
        self.assertEqual(self.state(), before)
        self.deploy()
        self.assert_says("registered")
        shutil.rmtree(self.libexec)
        self.assert_says("Tamsel is not installed")

    def test_every_status_of_the_verification(self):
        words = {0: "registered", 1: "not registered", 3: "database cannot be read",
                 5: "no Extension Manager", 6: "no application", 8: "without XManConfigV2.xml",
                 10: "Tamsel is incomplete", 12: "database in use", 13: "database damaged"}
        for status in (*range(15), 137):
            with self.subTest(status):
                self.replace_program(f'[ "$*" != --verify ] || exit {status}\nexit 99')
                self.assert_says(words.get(status, f"status {status}"))


class Policy(InstalledTest):
    def assert_ends(self, status, out, *parameters):
        """The result, with the parameters from the fourth on; Jamf always passes all eight."""
        padded = [*parameters, *[""] * (8 - len(parameters))]
        result = self.run_script("jamf/policy", *FIRST, *padded)
        self.assertEqual((result.out.decode(), result.status), (out, status), result.err)
        return result.err.decode()

    def test_registers(self):
        self.assert_ends(6, f"not found: {INCOPY}\n", INCOPY)
        self.assert_ends(0, f"registered: {INDESIGN}\n")
        self.assertEqual(self.deploy("--verify").status, 0)

    def test_hands_parameters_on(self):
        self.replace_program('printf "%s\\n" "$@"')
        self.assert_ends(0, "--wait=60\n/A b*.app\n--json\n", "--wait=60", "", "/A b*.app", "", "", "--json")

    def test_refuses_a_path_that_is_not_absolute(self):
        for word in ("Applications/A.app", " /B.app", "60", "~/A.app"):
            self.assertEqual(self.assert_ends(2, "", "/A.app", word),
                             f"policy: neither an option nor an absolute path: {word}\n")

    def test_every_status(self):
        """A Mac without an Extension Manager or an application is no failure; one without the
        application that was named is."""
        for status in (*range(15), 137):
            with self.subTest(status):
                self.replace_program(f"exit {status}")
                self.assert_ends(0 if status in (5, 6) else status, "", "--wait=0")
                self.assert_ends(0 if status == 5 else status, "", "/A.app", "--wait=0")
        shutil.rmtree(self.libexec)
        self.assert_ends(127, "")
