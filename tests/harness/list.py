"""Prints the names of all tests in a folder, one per line, as python3 -m unittest takes them, with
the word slow after those of slow tests."""

import pathlib
import sys
import unittest


def names(suite):
    for test in suite:
        if isinstance(test, unittest.TestSuite):
            yield from names(test)
        else:
            yield test.id() + (" slow" if is_slow(test) else "")


def is_slow(test):
    """Whether the decorator of harness.machine marks a test or its class."""
    return getattr(getattr(test, test.id().rpartition(".")[2]), "slow", getattr(test, "slow", False))


folder = sys.argv[1]
modules = sorted(f"{folder}.{file.stem}" for file in pathlib.Path(folder).glob("test_*.py"))
if not modules:
    sys.exit(f"list.py: no tests in the folder {folder}")
print(*names(unittest.defaultTestLoader.loadTestsFromNames(modules)), sep="\n")
