"""What the documents name exists: files, headings, and what tries the claims about a Mac."""

import re
import unittest

from harness.machine import TESTS
from harness.package import PackageTest

ROOT = TESTS.parent
DOCUMENTS = ("README.md", "CHANGELOG.md", "CONTRIBUTING.md", "SECURITY.md", "bench/README.md",
             "tests/README.md")
# What a file named without its folder ends in.
SUFFIXES = (".md", ".txt", ".json", ".py", ".sh", ".c", ".cpp", ".h", ".sql", ".svg")
FOLDERS = {path.name for path in ROOT.iterdir() if path.is_dir() and not path.name.startswith("build")}


def names(text):
    """The files that a document names: where links lead, and, in code, what begins with a folder of
    the tree or ends as files do."""
    links = re.findall(r"\]\(([^)#]+)\)", text)
    code = re.findall(r"(?ms)^```.*?^```|^    \S.*?$", text)
    code += re.findall(r"`([^`]+)`", re.sub(r"(?ms)^```.*?^```", "", text))
    words = re.findall(r"[\w./-]*\w", " ".join(code))
    return {*links, *(word for word in words if word.endswith(SUFFIXES)
                      or "/" in word and word.partition("/")[0] in FOLDERS)}


class Names(unittest.TestCase):
    def test_are_of_files_of_the_tree(self):
        count = 0
        for document in DOCUMENTS:
            path = ROOT / document
            for name in sorted(names(path.read_text())):
                with self.subTest(document, name=name):
                    count += 1
                    # src/Tables is a header with its source, and a folder's own document names its files
                    # without the folder.
                    there = (ROOT / name).exists() or any(ROOT.glob(name + ".*")) or (
                        path.parent != ROOT and any(path.parent.rglob(name)))
                    self.assertTrue(there)
        self.assertGreater(count, 50)

    def test_of_headings_are_right(self):
        for document in DOCUMENTS:
            text = (ROOT / document).read_text()
            headings = {title.lower().replace(" ", "-") for title in re.findall(r"(?m)^#+ (.+)$", text)}
            self.assertLessEqual(set(re.findall(r"\]\(#(.+?)\)", text)), headings, document)


class ArchivesReadme(PackageTest):
    def test_names_only_what_is_in_the_archive(self):
        text = (self.package / "README.md").read_text()
        for name in names(text) | set(re.findall(r"\./(\w+)", text)):
            self.assertTrue((self.package / name).exists(), name)
        self.assertNotIn("<!--", text)
        self.assertNotIn("cmake", text)
        self.assertIn("\n## Install\n", text)
        self.assertTrue(text.endswith("\n## Licence\n\nNo licence has been chosen yet, so all rights are the"
                                      " owner's.\n"))


class OnAMac(unittest.TestCase):
    def test_the_workflow_tries_what_the_readme_says(self):
        section, = re.findall(r"(?ms)^## On a Mac\n(.*?)^## ", (ROOT / "README.md").read_text())
        tried = section[:section.index("Not tried")]
        workflow = (ROOT / ".github" / "workflows" / "build.yml").read_text()
        job, = re.findall(r"(?ms)^  macos:\n(.*?)^  \w+:\n", workflow)
        bullets = "".join(re.findall(r"(?ms)^- (.*?)(?=^- |^$)", tried))
        self.assertEqual(set(re.findall(r"`((?:scripts|packaging)/\S+)`", bullets)),
                         set(re.findall(r"- run: ((?:scripts|packaging)/\S+)", job)))
        kinds, = re.findall(r"scripts/test release -L '\^\(([a-z|]+)\)\$'", job)
        self.assertEqual(set(re.findall(r"`([a-z]+)`", bullets)), set(kinds.split("|")))
        self.assertEqual(sorted(re.findall(r"- os: (\S+)", job)), ["macos-26", "macos-26-intel"])
        self.assertIn("on macOS 26, on Apple silicon\nand on Intel", tried)
