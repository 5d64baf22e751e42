"""README and manual page say about tamsel-deploy what its help says, in the same words."""

import json
import re
import subprocess

from harness.deploy import DeployTest
from harness.machine import BUILD, ROOT, MachineTest
from harness.registration import INDESIGN

PAGE = ROOT / "man" / "tamsel-deploy.8"


def plain(text):
    """Its words alone: in one line, and as inside a sentence."""
    text = " ".join(text.split()).rstrip(".")
    return text[:1].lower() + text[1:]


def items(text, label):
    """What stands beside or below each label of an indented list."""
    found = re.findall(rf"(?m)^ +({label})(?:  +|\n +)(\S.*(?:\n {{6,}}\S.*)*)", text)
    return {name: plain(words) for name, words in found}


class Words(MachineTest):
    def setUp(self):
        super().setUp()
        self.need("mandoc")
        self.help = self.run_inside(BUILD / "tamsel-deploy", "-h").out.decode()
        page = subprocess.run(["mandoc", "-Tascii", "-Owidth=90", PAGE], capture_output=True, check=True,
                              text=True).stdout
        self.sections = dict(re.findall(r"(?ms)^([A-Z ]+)\n(.*?)(?=^[A-Z])", re.sub(".\b", "", page)))

    def test_of_the_synopsis(self):
        usage = re.findall(r"(?m)^(?:usage:)? +(tamsel-deploy .*)$", self.help)
        self.assertEqual(len(usage), 5)
        page = self.sections["SYNOPSIS"].replace(" ...", "...")
        page = re.sub(r"\b(option|application|backup)\b", lambda word: word[0].upper(), page)
        self.assertEqual([line.strip() for line in page.split("\n") if line], usage)

    def test_of_each_option(self):
        options = items(self.help, r"--[a-z-]+(?: [A-Z]+)?|APPLICATION")
        self.assertEqual(list(options), ["APPLICATION", "--verify", "--dry-run", "--list", "--restore",
                                         "--wait SECONDS", "--replace-file", "--json"])
        page = items(self.sections["DESCRIPTION"], r"--[a-z-]+(?: [a-z]+)?|application")
        for option, words in options.items():
            with self.subTest(option):
                name = re.sub("[A-Z]+", lambda word: word[0].lower(), option)
                self.assertRegex(page[name], "^" + re.escape(words.replace("BACKUP", "backup")) + r"(\.|$)")

    def test_of_each_status(self):
        statuses = items(self.help.partition("exit status:\n")[2], r"\d+")
        self.assertEqual(list(statuses), [str(number) for number in range(15)])
        self.assertEqual(items(self.sections["EXIT STATUS"], r"\d+"), statuses)
        table = re.findall(r"(?m)^\| (\d+) \| (.*) \|$", (ROOT / "README.md").read_text())
        self.assertEqual({number: plain(words.replace("`", "")) for number, words in table}, statuses)


class ManualPage(DeployTest):
    def test_explains_every_line_of_an_application(self):
        sources = "".join(path.read_text() for path in (ROOT / "deploy").glob("*.cpp"))
        states = set(re.findall(r'\b(?:Settle|refuse)\(\s*"([^"]+)"', sources))
        self.assertEqual(len(states), 10, states)
        explained = re.findall(r"(?m)^\.It (.+): path$", PAGE.read_text())
        self.assertEqual(set(explained), states)

    def test_names_every_key_of_the_object(self):
        self.add_applications(INDESIGN)
        self.deploy()
        keys = set()
        for arguments in (["--list"], ["--verify"]):
            json.loads(self.deploy("--json", *arguments).out,
                       object_pairs_hook=lambda pairs: keys.update(key for key, _ in pairs) or dict(pairs))
        self.assertEqual(set(re.findall(r"(?m)^(?:\.It )?\.?Li ([a-z]+)", PAGE.read_text())), keys)

    def test_names_every_file_of_a_run(self):
        self.add_applications(INDESIGN)
        self.deploy()
        named = set(re.findall(r'\.It Pa "?/Library/Application Support/Tamsel/(\w+)', PAGE.read_text()))
        # It is gone after a run.
        self.assertEqual({path.name for path in self.own.iterdir()} | {"staging"}, named)
