"""Prints the names of all tests in a folder, one a line, as python3 -m unittest takes them."""

import pathlib
import sys
import unittest


def names(suite):
    for test in suite:
        if isinstance(test, unittest.TestSuite):
            yield from names(test)
        else:
            yield test.id()


folder = sys.argv[1]
modules = sorted(f"{folder}.{file.stem}" for file in pathlib.Path(folder).glob("test_*.py"))
print(*names(unittest.defaultTestLoader.loadTestsFromNames(modules)), sep="\n")
