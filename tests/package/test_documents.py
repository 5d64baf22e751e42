"""The documents say what the programs print, and each of their commands does what they say."""

import hashlib
import json
import re
import subprocess

from harness.deploy import BACKUPS, INDESIGN, DeployTest
from harness.machine import ROOT, TESTS, VERSION
from harness.package import run

INCOPY = "/Applications/Adobe InCopy 2020.app"
IN_A_FOLDER = "/Applications/Design/Adobe InCopy 2020.app"
REGISTERED = "SELECT DISTINCT ProdID FROM Tb_XManConfig WHERE ProdID BETWEEN 100 AND 200"
# What stands for the values of a line of Tamsel in its manual page.
VALUES = ((r"\A(File name found:).*", r"\1 name"),
          (r"\A(Return code after executing SQL|Finalized statemant|Closed database): \d+\Z", r"\1: code"),
          (r"\A(ERROR: can't open database|ERROR: while compiling sql): .+", r"\1: reason"))


def read(name):
    return (ROOT / name).read_text()


def page(name):
    """A manual page, as a terminal shows it."""
    shown = run("mandoc", "-Tascii", "-Owidth=200", ROOT / "man" / name)
    return re.sub(".\b", "", shown)


def section(text, heading):
    found, = re.findall(rf"(?ms)^{heading}\n(.*?)^(?=[A-Z])", text)
    return found


def one_line(text):
    return " ".join(text.replace("`", "").split())


def items(text, label):
    """What stands beside or below each label of an indented list, as inside a sentence."""
    found = re.findall(rf"(?m)^ +({label})(?:  +|\n +)(\S.*(?:\n {{6,}}\S.*)*)", text)
    return {name: one_line(words[:1].lower() + words[1:]) for name, words in found}


class DocumentTest(DeployTest):
    def setUp(self):
        super().setUp()
        self.need("mandoc")


class Versions(DeployTest):
    def test_are_the_same_everywhere(self):
        for name, pattern in (("CHANGELOG.md", r"\A# Changes\n[^#]*\n## (\S+) – \d{4}-\d\d-\d\d\n"),
                              ("man/Tamsel.8", r"\nThis page describes version (\S+)\.\n"),
                              ("man/tamsel-deploy.8", r"\nThis page describes version (\S+)\.\n")):
            self.assertEqual(re.findall(pattern, read(name)), [VERSION], name)
        self.assertEqual(set(re.findall(r"tamsel-(\d[\d.]*)-", read("README.md"))), {VERSION})
        help_text = self.run_tamsel("-h").out.decode()
        self.assertTrue(help_text.startswith(f"\nTamsel version {VERSION} build 0\n"))
        self.assertEqual(self.deploy("--version").out.decode(), f"tamsel-deploy {VERSION}\n")


class ManualPages(DocumentTest):
    def test_are_clean(self):
        finished = subprocess.run(["mandoc", "-Tlint", "-Wstyle", *sorted((ROOT / "man").iterdir())],
                                  stdout=subprocess.PIPE, text=True, check=False)
        # Which other pages exist depends on the machine.
        self.assertEqual([line for line in finished.stdout.splitlines()
                          if "referenced manual not found" not in line], [])

    def test_explain_every_line_of_tamsel(self):
        explained = {line.strip('"') for line in re.findall(r"(?m)^\.It (.+)$", read("man/Tamsel.8"))}
        outputs = sorted((TESTS / "expected").glob("*.out"))
        self.assertTrue(outputs)
        for output in outputs:
            lines = output.read_text().splitlines()
            for line in filter(None, lines[-2:] if output.name == "help.out" else lines):
                for pattern, replacement in VALUES:
                    line = re.sub(pattern, replacement, line)
                self.assertIn(line.rstrip(), explained, output.name)
        sources = read("src/SQLUtils.cpp") + read("src/main.cpp")
        for beginning in re.findall(r'(?:printf\(|cout << )"([^%\\"]+)', sources):
            self.assertTrue(any(line.startswith(beginning.strip()) for line in explained), beginning)

    def test_list_the_supported_applications(self):
        listed = re.findall(r"(?m)^\.It (Adobe .+) Ta (\d+)$", read("man/Tamsel.8"))
        self.assertEqual(len(listed), 8)
        for name, number in listed:
            self.run_tamsel("-r", f"/{name}.app")
            self.assertEqual(len(self.rows("SELECT * FROM Tb_ProductInfoV2 WHERE ProdID = ?", number)), 1)
            self.change("DELETE FROM Tb_ProductInfoV2")

    def test_say_what_the_help_of_tamsel_deploy_says(self):
        help_text, shown = self.deploy("-h").out.decode(), page("tamsel-deploy.8")
        usage = re.findall(r"(?m)^(?:usage:)? +(tamsel-deploy .*)$", help_text)
        synopsis = re.sub(r"\b(option|application|backup)\b", lambda word: word[0].upper(),
                          section(shown, "SYNOPSIS").replace(" ...", "..."))
        self.assertEqual([line.strip() for line in synopsis.splitlines() if line], usage)
        options = items(help_text, r"--[a-z-]+(?: [A-Z]+)?|APPLICATION")
        explained = items(section(shown, "DESCRIPTION"), r"--[a-z-]+(?: [a-z]+)?|application")
        self.assertEqual(len(options), 8)
        for option, words in options.items():
            name = re.sub("[A-Z]+", lambda word: word[0].lower(), option)
            words = words.replace("BACKUP", "backup")
            self.assertRegex(explained[name], "^" + re.escape(words) + r"([.:]|$)")

    def test_have_a_cure_for_each_status(self):
        statuses = items(self.deploy("-h").out.decode().partition("exit status:\n")[2], r"\d+")
        self.assertEqual(list(statuses), [str(number) for number in range(15)])
        cures = items(section(page("tamsel-deploy.8"), "EXIT STATUS"), r"\d+")
        for number, words in statuses.items():
            self.assertTrue(cures[number].startswith(words + "."), cures[number])
            self.assertTrue(number == "0" or len(cures[number]) > len(words) + 1, number)
        table = re.findall(r"(?m)^\| (\d+) \| (.*) \|$", read("README.md"))
        self.assertEqual({number: one_line(words) for number, words in table},
                         {number: statuses[number] for number in ("0", "1", "3", "4", "12", "13")})

    def test_name_every_state_and_file(self):
        states = {"registered", "would register", "not registered", "without XManConfigV2.xml", "failed",
                  "another XManConfigV2.xml", "not found", "not an application bundle", "not supported",
                  "given twice"}
        shown = page("tamsel-deploy.8")
        self.assertEqual(set(re.findall(r"(?m)^     (\S.*): path  ", section(shown, "DIAGNOSTICS"))), states)
        listed, = re.findall(r"state, which is one of (.*?);", one_line(shown))
        self.assertEqual({state for state in states if state in listed}, states)
        self.add_applications(INDESIGN)
        self.deploy()
        named = re.findall(r"(?m)^ +/Library/Application Support/Tamsel/(\w+)", shown)
        self.assertEqual({path.name for path in self.own.iterdir()}, set(named))

    def test_show_the_object_of_a_broken_registration(self):
        self.add_applications(INCOPY)
        self.deploy()
        self.change("UPDATE Tb_XManConfig SET KeyValue = '2019' WHERE KeyName = 'suite' AND ProdID = 187;"
                    "DELETE FROM Tb_XManConfig WHERE KeyName = 'bit' AND ProdID = 187")
        out = self.deploy("--verify", "--json").out.decode()
        shown = page("tamsel-deploy.8")
        sample, = re.findall(r'(?s) ({"command":.*}\]}\]})', shown)
        self.assertEqual(json.loads(one_line(sample)), json.loads(out))
        keys = set(re.findall(r'"([a-z-]+)":', out + self.deploy("--list", "--json").out.decode()))
        self.assertEqual(set(re.findall(r"(?m)^(?:\.It )?\.?Li ([a-z]+)", read("man/tamsel-deploy.8"))), keys)


class Commands(DocumentTest):
    """What a shell does with the commands of the documents, in their order: a stranger takes the archive
    to a machine with an empty /usr/local."""

    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN, IN_A_FOLDER)
        self.local = self.folder / "local"
        self.local.mkdir()
        # In the sandbox everybody is root.
        self.make_tool("sudo", 'exec "$@"\n')

    def follow(self, script):
        """What the commands print, on standard output alone and on both."""
        result = self.run_inside(
            "/bin/sh", "-ec", script, path=f"{self.tools}:/usr/local/bin:/usr/bin:/bin",
            options=self.inside_options(["--bind", self.local, "/usr/local"]))
        self.assertEqual((result.status, b"cp:" in result.err), (0, False), result.err)
        return result.out.decode(), (result.err + result.out).decode()

    def test_of_the_readme_do_what_it_says(self):
        name = f"tamsel-{VERSION}-macos-universal"
        self.package.rename(self.folder / name)
        run("tar", "-czf", f"{name}.tar.gz", name, cwd=self.folder)
        run("rm", "-r", name, cwd=self.folder)
        digest = hashlib.sha256((self.folder / f"{name}.tar.gz").read_bytes()).hexdigest()
        # Of a package that was not downloaded, too.
        (self.folder / "SHA256SUMS").write_text(
            f"{digest}  {name}.tar.gz\n{'0' * 64}  tamsel-{VERSION}-unsigned.pkg\n")
        self.copied.write_text("the vendor's")
        text, _, sources = read("README.md").partition("<!-- In the checkout only -->\n")
        self.assertEqual(re.findall(r"(?ms)^```sh\n(.*?)^```$", sources), ["scripts/demo\nscripts/test\n"])
        commands = [block or word + "\n" for block, word in re.findall(
            r"(?ms)^```sh\n(.*?)^```$|`((?:sudo tamsel-deploy|tamsel-deploy -)[^`]*)`", text)]
        self.assertEqual(len(commands), 9, commands)
        out, _ = self.follow("".join(commands))
        backup = sorted(path.name for path in self.inside(BACKUPS).iterdir())[0]
        for line in (f"{name}.tar.gz: OK", f"would register: {INDESIGN}", f"registered: {INDESIGN}",
                     f"{backup} before registering {INDESIGN}", f"restored: {backup}"):
            self.assertIn(line + "\n", out)
        self.assertEqual(self.rows(REGISTERED), [])
        self.assertEqual(self.copied.read_text(), "the vendor's")
        self.assertEqual(list(self.local.iterdir()), [])

    def test_of_the_readme_print_what_it_shows(self):
        console, = re.findall(r"(?ms)^```console\n(.*?)^```$", read("README.md"))
        shown = re.split(r"(?m)^\$ sudo (.*)\n", console)[1:]
        self.assertEqual(len(shown), 4)
        run(self.package / "install", "--prefix", self.local)
        for command, output in zip(shown[::2], shown[1::2]):
            _, both = self.follow(f"/usr/local/bin/{command}")
            # A terminal shows both streams, and a name has the time of its backup.
            self.assertEqual(*(sorted(re.sub(r"\d{4}-\d\d-\d\dT[\d:]+Z", "TIME", text).splitlines())
                               for text in (both, output)))

    def test_of_the_manual_pages_do_what_they_say(self):
        run(self.package / "install", "--prefix", self.local)
        for name, lines, left in (
                ("Tamsel.8", {"InsertXManConfig true", "190|suite|CC"}, []),
                ("tamsel-deploy.8", {f"registered: {INDESIGN}", f"registered: {IN_A_FOLDER}"}, [(190,)])):
            examples = section(page(name), "EXAMPLES").splitlines()
            script = "".join(line.strip() + "\n" for line in examples if line.startswith(" " * 10))
            self.assertLessEqual(lines, set(self.follow(script)[0].splitlines()), script)
            # Whatever else was registered was undone.
            self.assertEqual(self.rows(REGISTERED), left)

    def test_cure_lines_that_the_program_logs(self):
        sources = "".join(path.read_text() for path in sorted((ROOT / "deploy").glob("*.cpp")))
        # SQLite's own, and the system's.
        sources += "file is not a database, database disk image is malformed, database or disk is full"
        sources += "No space left on device, Permission denied, Read-only file system"
        sources += "Operation not permitted, attempt to write a readonly database"
        rows = re.findall(r"(?m)^\| (`.*`) \| .* \| .* \|$", read("README.md"))
        self.assertEqual(len(rows), 13)
        for line in re.findall(r"`(.*?)`", " ".join(rows)):
            self.assertTrue(line.strip(". ") in sources, line)
