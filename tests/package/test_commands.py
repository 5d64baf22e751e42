"""The commands of the documents: a stranger takes the archive to a machine with an empty /usr/local
and does what the README says, from top to bottom."""

import hashlib
import re
import subprocess
import sys

from harness.deploy import BACKUPS, INDESIGN, DeployTest
from harness.machine import ROOT
from harness.package import run
from package.archive import NAME

# Commands for developers, which continuous integration runs, alone or as part of others.
FOR_DEVELOPERS = {"scripts/demo", "scripts/test", "cmake -S . -B build && cmake --build build",
                  "scripts/test dev", "scripts/test sanitize", "scripts/check", "scripts/package"}


def commands(document):
    """The blocks of commands in a document, by the heading above them, except those marked as being
    for macOS only."""
    blocks = {}
    heading = ""
    for title, block in re.findall(r"(?ms)^## (.+?)$|^```sh\n(.*?)^```$", (ROOT / document).read_text()):
        heading = title or heading
        if block and not block.startswith("# macOS only\n"):
            blocks.setdefault(heading, []).append(block)
    return blocks


class ReadmeCommands(DeployTest):
    """What a shell does with the commands of the README, one after another, on one machine."""

    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)
        self.blocks = commands("README.md")
        self.local = self.folder / "local"
        self.downloads = self.folder / "downloads"
        for folder in (self.local, self.downloads):
            folder.mkdir()
        # In the sandbox everybody is root.
        self.make_tool("sudo", 'exec "$@"\n')
        self.path = f"{self.tools}:/usr/local/bin:/usr/bin:/bin"
        self.package.rename(self.folder / NAME)
        archive = self.downloads / (NAME + ".tar.gz")
        run(sys.executable, "-B", ROOT / "packaging" / "archive.py", self.folder / NAME, archive, "0")
        digest = hashlib.sha256(archive.read_bytes()).hexdigest()
        (self.downloads / "SHA256SUMS").write_text(f"{digest}  {archive.name}\n")

    def follow(self, *headings):
        script = "set -e\n" + "".join(block for heading in headings for block in self.blocks[heading])
        return self.run_inside("/bin/sh", "-c", script, cwd=self.downloads, path=self.path, options=[
            "--own-processes", "--bind", self.applications, "/Applications",
            "--bind", self.local, "/usr/local"])

    def test_installs_registers_verifies_restores_and_uninstalls(self):
        before = self.rows("SELECT * FROM Tb_XManConfig")
        self.copied.write_text("the vendor's")
        result = self.follow("Install", "Register", "Verify")
        self.assertEqual(result.status, 0, result.err)
        out = result.out.decode()
        for line in (f"{NAME}.tar.gz: OK", f"would register: {INDESIGN}", f"registered: {INDESIGN}"):
            self.assertIn(line + "\n", out)
        self.assertEqual(len(self.rows("SELECT * FROM Tb_XManConfig WHERE ProdID = 190")), 14)
        result = self.follow("Back up and restore", "Tamsel alone", "Uninstall")
        self.assertEqual(result.status, 0, result.err)
        backup, _ = sorted(path.name for path in self.inside(BACKUPS).iterdir())
        self.assertIn(f"{backup} before registering {INDESIGN}\nrestored: {backup}\n", result.out.decode())
        self.assertEqual(self.rows("SELECT * FROM Tb_XManConfig"), before)
        self.assertEqual(self.copied.read_text(), "the vendor's")
        self.assertEqual(list(self.local.iterdir()), [])


class EveryCommand(DeployTest):
    def test_is_run_by_a_test_or_marked(self):
        followed = {"Install", "Register", "Verify", "Back up and restore", "Tamsel alone", "Uninstall"}
        lines = {line for heading, blocks in commands("README.md").items() if heading not in followed
                 for block in blocks for line in block.splitlines()}
        lines |= {re.sub(" +#.*", "", line) for line in re.findall(
            r"(?m)^    (\S.*)$", (ROOT / "CONTRIBUTING.md").read_text())}
        self.assertGreater(len(lines), 3)
        self.assertEqual(lines - FOR_DEVELOPERS, set())

    def test_in_the_manual_pages_does_what_they_say(self):
        self.add_applications(INDESIGN, "/Applications/Design/Adobe InCopy 2020.app")
        run(self.package / "install", "--prefix", self.folder / "local")
        for name in ("Tamsel", "tamsel-deploy"):
            rendered = subprocess.run(["mandoc", "-Tascii", "-Owidth=200", ROOT / "man" / (name + ".8")],
                                      capture_output=True, text=True, check=True).stdout
            text = re.sub(".\b", "", rendered)
            examples = re.search(r"(?s)\nEXAMPLES\n(.*?)\nDIAGNOSTICS\n|\nEXAMPLES\n(.*?)\n[A-Z]", text)[1]
            script = "".join(line.strip() + "\n" for line in examples.splitlines()
                             if line.startswith(" " * 10))
            self.assertGreater(script.count("\n"), 3)
            script = script.replace("sudo ", "")
            result = self.run_inside("/bin/sh", "-ec", script, path=f"{self.folder}/local/bin:/usr/bin:/bin",
                                     options=["--own-processes", "--bind", self.applications,
                                              "/Applications"])
            self.assertEqual((result.status, b"cp:" in result.err), (0, False), result.err)
            if name == "Tamsel":
                self.assertIn(b"InsertXManConfig true\n", result.out)
                self.assertIn(b"190|suite|CC\n", result.out)
            else:
                self.assertIn(f"registered: {INDESIGN}\n".encode(), result.out)
                self.assertIn(b"registered: /Applications/Design/Adobe InCopy 2020.app\n", result.out)
                self.assertIn(b"restored: ", result.out)
