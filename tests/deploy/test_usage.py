import re
import subprocess

from harness.deploy import (ALL_DONE, BACKUPS, DAMAGED, INDESIGN, NO_APPLICATION, NOT_WRITTEN, USAGE,
                            VERSION, DeployTest)
from harness.machine import TESTS

COMMANDS = ("--verify", "--dry-run", "--list", "--restore", "--help", "-h", "--version")
STATUS = re.compile(r"^  (\d+) +(.+(?:\n {4,}\S.*)*)", re.MULTILINE)


def joined(text):
    return " ".join(text.split())


class Usage(DeployTest):
    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)

    def assert_wrong(self, *arguments, **how):
        """Wrong usage: nothing on standard output, only log lines in their usual form, nothing touched."""
        with self.subTest(arguments):
            before = self.state()
            self.assert_deploys(arguments, USAGE, "", "tamsel-deploy --help", **how)
            self.assertEqual(self.state(), before)

    def test_an_unknown_option(self):
        for option in ("--no", "-x", "-v", "--Verify", "-verify", "-hx", "-", ""):
            if option in ("-", ""):
                self.assert_refuses([option], NO_APPLICATION, out=f"not found: {option}\n")
            else:
                self.assert_wrong(option)
                self.assert_wrong(INDESIGN, option)

    def test_an_option_cut_short(self):
        for option in ("--v", "--ver", "--verif", "--dry", "--dry-ru", "--lis", "--l", "--rest", "--restor",
                       "--wai=1", "--w=1", "--replace", "--js", "--jso", "--hel", "--versio"):
            self.assert_wrong(option)

    def test_two_commands(self):
        for first in COMMANDS:
            for second in COMMANDS:
                self.assert_wrong(first, second)

    def test_an_option_twice(self):
        for option in ("--json", "--replace-file", "--wait=1", "--verify"):
            self.assert_wrong(option, option)
            self.assert_wrong(option, INDESIGN, option)
        self.assert_wrong("--wait", "1", "--wait=2")
        self.assert_wrong("--restore=x", "--restore=x")

    def test_a_wait_that_is_no_number(self):
        for seconds in ("", "x", "-1", "+1", "1.5", "1s", " 1", "1 ", "0x10", "1e3"):
            self.assert_wrong("--dry-run", "--wait", seconds)
            self.assert_wrong("--dry-run", "--wait=" + seconds)
        self.assert_wrong("--dry-run", "--wait")

    def test_a_wait_of_any_length(self):
        for seconds in ("0", "00", "7", "0010", "86400"):
            self.assert_deploys(["--wait", seconds, "--dry-run"], ALL_DONE, f"would register: {INDESIGN}\n")

    def test_a_value_where_none_belongs(self):
        for option in ("--verify=1", "--dry-run=", "--list=x", "--json=yes", "--replace-file=no", "--help=x",
                       "--version=1"):
            self.assert_wrong(option)

    def test_a_word_where_none_belongs(self):
        for command in ("--list", "--help", "-h", "--version"):
            self.assert_wrong(command, "word")
            self.assert_wrong("word", command)
            self.assert_wrong(command, "")
            self.assert_wrong(command, "--", "word")
        for words in (["a", "b"], ["a", INDESIGN], ["", ""]):
            self.assert_wrong("--restore", *words)
        self.assert_wrong("--restore=a", "b")

    def test_wrong_usage_counts_before_everything_else(self):
        self.database.write_bytes(b"no database")
        self.assert_wrong("--no", options=["--user", "501"])
        self.assert_wrong("--json", "--no")
        self.assert_wrong("--no", "--json", before=["sh", "-c", 'exec "$@" >/dev/full', "sh"])

    def test_options_in_any_order(self):
        out = f"would register: {INDESIGN}\n"
        for arguments in (["--dry-run", INDESIGN], [INDESIGN, "--dry-run"],
                          ["--wait", "0", INDESIGN, "--dry-run", "--replace-file"],
                          ["--replace-file", INDESIGN, "--wait=0", "--dry-run"],
                          ["--dry-run", "--", INDESIGN], ["--dry-run", "--wait=0", "--", INDESIGN]):
            for environment in ({}, {"POSIXLY_CORRECT": "1"}):
                with self.subTest(arguments, **environment):
                    self.assert_refuses(arguments, ALL_DONE, out=out, environment=environment)

    def test_two_dashes_end_the_options(self):
        for word in ("--dry-run", "--no", "-h"):
            self.assert_refuses(["--", word], NO_APPLICATION, out=f"not found: {word}\n")
            self.assert_refuses(["--dry-run", INDESIGN, "--", word], NO_APPLICATION,
                                out=f"would register: {INDESIGN}\nnot found: {word}\n")

    def test_the_name_of_a_backup_after_anything(self):
        backup = self.deploy_once()
        self.change("DELETE FROM Tb_XManConfig WHERE ProdID = 190")
        for arguments in (["--restore", backup.name], [backup.name, "--restore"],
                          ["--restore=" + backup.name], ["--restore", "--wait", "0", backup.name],
                          ["--restore", "--", backup.name], [f"{BACKUPS}/{backup.name}", "--restore"]):
            self.assert_deploys(arguments, ALL_DONE, f"restored: {backup.name}\n")


class Help(DeployTest):
    def test_help(self):
        result = self.assert_deploys(["--help"], ALL_DONE, self.help())
        self.assertEqual(self.deploy("-h"), result)
        self.assertEqual(result.err, b"")
        for option in (*COMMANDS, "--wait", "--replace-file", "--json"):
            self.assertIn(option, self.help())

    def help(self):
        return self.deploy("-h").out.decode()

    def test_version(self):
        result = self.assert_deploys(["--version"], ALL_DONE, f"tamsel-deploy {VERSION}\n")
        self.assertEqual(result.err, b"")

    def test_both_need_nothing(self):
        self.database.unlink()
        (self.package / "Tamsel").unlink()
        for option in ("-h", "--help", "--version"):
            self.assertEqual(self.deploy(option, options=["--user", "501"]).status, ALL_DONE)

    def test_both_say_when_they_could_not_be_written(self):
        for option in ("-h", "--help", "--version"):
            self.assert_deploys([option], NOT_WRITTEN, before=["sh", "-c", 'exec "$@" >/dev/full', "sh"])

    def statuses(self):
        return {int(number): joined(text) for number, text in STATUS.findall(self.help())}

    def test_the_help_has_every_status_in_its_words(self):
        self.assertEqual(self.statuses(), {
            0: "every application is registered; nothing stands in the way; restored",
            1: "at least one application is not registered; it is as it was before",
            2: "wrong usage",
            3: "root is needed, to write or to read",
            4: "the Extension Manager is running",
            5: "there is no Extension Manager: no database",
            6: "no application found; or one missing, not supported, given twice, with a quote or a line"
               " break in its path",
            7: "no backup could be made; nothing was changed",
            8: "XManConfigV2.xml is missing, or with --replace-file not the one that comes with Tamsel",
            9: "not restored, what was there is still there; or not put back",
            10: "Tamsel or its file is missing beside it",
            11: "another run holds the lock",
            12: "the database is in use",
            DAMAGED: "the database is damaged, or not the Extension Manager's",
            NOT_WRITTEN: "the result could not be written, whatever it was"})

    def test_the_manual_page_has_the_same_words(self):
        self.need("mandoc")
        page = subprocess.run(["mandoc", "-Tascii", TESTS.parent / "man" / "tamsel-deploy.8"],
                              check=True, stdout=subprocess.PIPE).stdout
        page = re.sub(rb".\x08", b"", page).decode()
        section = joined(re.split(r"(?m)^(?=\S)", page.partition("\nEXIT STATUS\n")[2])[0])
        for number, text in self.statuses().items():
            self.assertIn(f" {number} {text}".lower(), " " + section.lower())

    def test_the_readme_has_the_same_words(self):
        readme = (TESTS.parent / "README.md").read_text(encoding="utf-8").replace("`", "")
        for number, text in self.statuses().items():
            self.assertIn(f"| {number} | {text} |".lower(), readme.lower())
