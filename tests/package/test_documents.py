"""The documents agree with the program, and with each other."""

import re
import subprocess

from harness.machine import BUILD, ROOT, TESTS, VERSION, MachineTest

# What stands for the values of a line in the manual page.
VALUES = ((r"\A(File name found:).*", r"\1 name"),
          (r"\A(Return code after executing SQL|Finalized statemant|Closed database): \d+\Z", r"\1: code"),
          (r"\A(ERROR: can't open database|ERROR: while compiling sql): .+", r"\1: reason"))


def read(name):
    return (ROOT / name).read_text()


def described(page):
    """The lines that a manual page explains."""
    return {line.strip('"') for line in re.findall(r"(?m)^\.It (.+)$", page)}


class ManualPages(MachineTest):
    def test_are_clean(self):
        self.need("mandoc")
        finished = subprocess.run(["mandoc", "-Tlint", "-Wstyle", *sorted((ROOT / "man").iterdir())],
                                  capture_output=True, text=True, check=False)
        # Which other pages exist depends on the machine.
        self.assertEqual([line for line in finished.stdout.splitlines()
                          if "referenced manual not found" not in line], [])

    def test_explain_every_line_that_the_program_prints(self):
        page = described(read("man/Tamsel.8"))
        outputs = sorted((TESTS / "expected").glob("*.out"))
        self.assertGreater(len(outputs), 20)
        for output in outputs:
            lines = output.read_text().splitlines()
            if output.name == "help.out":
                lines = lines[-2:]
            for line in filter(None, lines):
                for pattern, replacement in VALUES:
                    line = re.sub(pattern, replacement, line)
                self.assertIn(line.rstrip(), page, output.name)

    def test_explain_every_line_in_the_sources(self):
        page = described(read("man/Tamsel.8"))
        for name, pattern, least in (("src/SQLUtils.cpp", r'printf\("(.*?)[%\\]', 7),
                                     ("src/main.cpp", r'(?:printf\(|cout << )"(.*?)[%\\"]', 7)):
            beginnings = re.findall(pattern, read(name))
            self.assertGreaterEqual(len(beginnings), least)
            for beginning in beginnings:
                self.assertTrue(any(line.startswith(beginning.strip()) for line in page), beginning)

    def test_list_the_supported_applications(self):
        listed = re.findall(r"(?m)^\.It (Adobe .+) Ta (\d+)$", read("man/Tamsel.8"))
        self.assertEqual(len(listed), 8)
        for name, number in listed:
            self.run_tamsel("-r", f"/{name}.app")
            self.assertEqual(len(self.rows("SELECT * FROM Tb_ProductInfoV2 WHERE ProdID = ?", number)), 1)
            self.change("DELETE FROM Tb_ProductInfoV2")


class Version(MachineTest):
    def test_is_the_same_everywhere(self):
        for name, pattern in (("CHANGELOG.md", r"\A# Changes\n[^#]*\n## (\S+) – \d{4}-\d\d-\d\d\n"),
                              ("man/Tamsel.8", r"\nThis page describes version (\S+)\.\n"),
                              ("man/tamsel-deploy.8", r"\nThis page describes version (\S+)\.\n")):
            self.assertEqual(re.findall(pattern, read(name)), [VERSION], name)
        self.assertEqual(set(re.findall(r"tamsel-(\d[\d.]*)-macos", read("README.md"))), {VERSION})
        result = self.run_tamsel("-h")
        self.assertTrue(result.out.decode().startswith(f"\nTamsel version {VERSION} build 0\n"))
        result = self.run_inside(BUILD / "tamsel-deploy", "--version")
        self.assertEqual(result.out.decode(), f"tamsel-deploy {VERSION}\n")
