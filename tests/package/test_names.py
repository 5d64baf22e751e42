"""What the documents name exists: files, and headings."""

import re
import unittest

from harness.machine import ROOT
from harness.package import PackageTest

DOCUMENTS = ("README.md", "CHANGELOG.md", "CONTRIBUTING.md", "SECURITY.md", "bench/README.md",
             "tests/README.md")
# What a file named without its folder ends in.
SUFFIXES = (".md", ".txt", ".json", ".py", ".sh", ".c", ".cpp", ".h", ".sql", ".svg")
FOLDERS = {path.name for path in ROOT.iterdir() if path.is_dir() and not path.name.startswith("build")}


def names(text):
    """The files that a document names: where links lead, and, in code, what begins with a folder of
    the tree or ends as files do."""
    code = re.findall(r"(?ms)^```.*?^```|^    \S.*?$", text)
    code += re.findall(r"`([^`]+)`", re.sub(r"(?ms)^```.*?^```", "", text))
    words = re.findall(r"[\w./-]*\w", " ".join(code))
    return {*re.findall(r"\]\(([^)#]+)\)", text), *(
        word for word in words
        if word.endswith(SUFFIXES) or "/" in word and word.partition("/")[0] in FOLDERS)}


class Names(unittest.TestCase):
    def test_are_of_files_and_headings_that_exist(self):
        for document in DOCUMENTS:
            path = ROOT / document
            text = path.read_text()
            for name in names(text):
                # src/Tables is a header with its source, and a folder's own document names its files
                # without the folder.
                self.assertTrue((ROOT / name).exists() or any(ROOT.glob(name + ".*")) or (
                    path.parent != ROOT and any(path.parent.rglob(name))), f"{document}: {name}")
            headings = {title.lower().replace(" ", "-") for title in re.findall(r"(?m)^#+ (.+)$", text)}
            self.assertLessEqual(set(re.findall(r"\]\(#(.+?)\)", text)), headings, document)


class ArchivesReadme(PackageTest):
    def test_names_only_what_is_in_the_archive(self):
        text = (self.package / "README.md").read_text()
        for name in names(text) | set(re.findall(r"\./(\w+)", text)):
            # What packagers need is in the sources alone, as it says.
            if not name.startswith(("packaging/", "scripts/")):
                self.assertTrue((self.package / name).exists(), name)
        self.assertNotIn("<!--", text)
        self.assertNotIn("## From source", text)
        self.assertTrue(text.endswith(" all rights are the owner's.\n"))
