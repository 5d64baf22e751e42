"""The command line, and what it prints about itself."""

import re

from harness.deploy import ALL_DONE, INDESIGN, NO_APPLICATION, NOT_RESTORED, USAGE, DeployTest
from harness.machine import VERSION

WRONG = [
    *(([option], f"option {option} is unknown") for option in (
        "--no", "-x", "-v", "--Verify", "-verify", "-hx", "-", "--v", "--dry", "--restor", "--replace")),
    ([INDESIGN, "--js"], "option --js is unknown"),
    (["--wai=1"], "option --wai is unknown"),
    (["--verify", "--list"], "--list cannot be given with --verify"),
    (["--dry-run", "--restore", "x"], "--restore cannot be given with --dry-run"),
    (["--version", "--dry-run"], "--dry-run cannot be given with --version"),
    *(([option, INDESIGN, option], f"{option} is given twice")
      for option in ("--json", "--replace-file", "--verify", "--dry-run", "--list", "--version")),
    (["--wait", "1", "--wait=2"], "--wait is given twice"),
    *((["--wait", value], f'--wait needs a number of seconds, not "{value}"')
      for value in ("", "x", "-1", "+1", "1.5", "1s", " 1", "0x10", "1234567", "--verify")),
    (["--wait="], '--wait needs a number of seconds, not ""'),
    (["--wait"], '--wait needs a number of seconds, not ""'),
    (["--wait", "--", "5"], '--wait needs a number of seconds, not ""'),
    *(([option + "=x"], f"{option} takes no value")
      for option in ("--verify", "--dry-run", "--list", "--json", "--replace-file", "--help", "--version")),
    (["--list", "word"], '--list does not take "word"'),
    (["--version", "--", ""], '--version does not take ""'),
    (["--restore", "a", "b"], '--restore does not take "b"'),
    (["--restore=a", "b"], '--restore does not take "b"'),
]
STATUSES = {
    0: "every application is registered; with --dry-run, nothing stands in the way; with --restore, restored",
    1: "at least one application is not registered; it is as it was before",
    2: "wrong usage",
    3: "root is needed, to write or to read",
    4: "the Extension Manager is running",
    5: "there is no Extension Manager: no database",
    6: "no application found; or one missing, not supported or given twice",
    7: "no backup could be made; nothing was changed",
    8: "XManConfigV2.xml is missing, or with --replace-file another one, or it cannot be put in place",
    9: "a restore failed; the log says what has changed and what has not",
    10: "the installation is incomplete",
    11: "another run holds the lock",
    12: "the database is in use",
    13: "the database is damaged, or not the Extension Manager's",
    14: "the result could not be written, whatever it was",
}


class Usage(DeployTest):
    present = (INDESIGN,)

    def test_wrong_usage_is_named_and_touches_nothing(self):
        # It comes before everything else.
        self.database.write_bytes(b"no database")
        before = self.state()
        for arguments, message in WRONG:
            for more in ([], ["--json"]) if "--json" not in "".join(arguments) else ([],):
                with self.subTest([*more, *arguments]):
                    result = self.assert_deploys([*more, *arguments], USAGE, options=["--user", "501"])
                    self.assertEqual(result.err.decode().partition("Z tamsel-deploy: ")[2],
                                     message + "; see tamsel-deploy --help\n")
        self.assertEqual(self.state(), before)

    def test_options_come_in_any_order(self):
        for arguments in (["--dry-run", INDESIGN], [INDESIGN, "--dry-run"], ["--dry-run", "--wait=5"],
                          ["--wait", "0010", INDESIGN, "--dry-run", "--replace-file"],
                          ["--dry-run", "--wait=999999", "--", INDESIGN]):
            with self.subTest(arguments):
                self.assert_unchanged(arguments, ALL_DONE, out=f"would register: {INDESIGN}\n",
                                      environment={"POSIXLY_CORRECT": "1"})

    def test_what_follows_two_dashes_is_no_option(self):
        for word in ("--dry-run", "--no", "-h", "--", ""):
            with self.subTest(word):
                self.assert_unchanged(["--dry-run", INDESIGN, "--", word], NO_APPLICATION,
                                      out=f"would register: {INDESIGN}\nnot found: {word}\n")

    def test_a_backup_can_be_named_in_four_ways(self):
        backup = self.deploy_once()
        for arguments in (["--restore", backup.name], [backup.name, "--restore"],
                          ["--restore=" + backup.name], ["--restore", "--wait", "0", "--", backup.name]):
            with self.subTest(arguments):
                self.assert_deploys(arguments, ALL_DONE, f"restored: {backup.name}\n")
        self.assert_unchanged(["--restore", ""], NOT_RESTORED, "there is no backup ; --list shows them")


class AboutItself(DeployTest):
    def test_help_wins_over_everything_and_needs_nothing(self):
        self.database.unlink()
        (self.package / "Tamsel").unlink()
        out = self.deploy("--help").out
        for arguments in (["-h"], ["--no", "-h"], ["--verify", "--list", "word", "--help"], ["--wait", "-h"],
                          ["--json", "--json", "--help", "-h"]):
            with self.subTest(arguments):
                self.assertEqual(self.deploy(*arguments, options=["--user", "501"]), (out, b"", ALL_DONE))

    def test_help_fits_80_columns_and_has_every_option_and_status_once(self):
        text = self.deploy("-h").out.decode()
        self.assertLessEqual(max(map(len, text.splitlines())), 80)
        for option in ("APPLICATION", "--verify", "--dry-run", "--list", "--restore", "--wait SECONDS",
                       "--replace-file", "--json"):
            self.assertEqual(len(re.findall(f"(?m)^  {option} ", text)), 1, option)
        statuses = re.findall(r"(?m)^  (\d+) +(.+(?:\n {4,}\S.*)*)", text)
        self.assertEqual([(int(number), " ".join(words.split())) for number, words in statuses],
                         list(STATUSES.items()))

    def test_version(self):
        for arguments in (["--version"], ["--json", "--version"]):
            self.assertEqual(self.deploy(*arguments, options=["--user", "501"]),
                             (f"tamsel-deploy {VERSION}\n".encode(), b"", ALL_DONE))
