"""Prints each line and each side of a branch that no test has reached, and fails where there is one.

usage: python3 missed.py EXPORT

  EXPORT  what llvm-cov export prints
"""

import json
import os
import sys

with open(sys.argv[1], encoding="utf-8") as file:
    files = json.load(file)["data"][0]["files"]

missed = set()
for file in files:
    name = os.path.relpath(file["filename"], "..")
    for line, column, count, counted, entry, gap in file["segments"]:
        if counted and entry and not gap and count == 0:
            missed.add((name, line, column, "not reached"))
    for line, column, _, _, true, false, *_ in file["branches"]:
        # A condition that is constant, or not reached, has neither.
        if true == 0 and false > 0:
            missed.add((name, line, column, "never true"))
        if false == 0 and true > 0:
            missed.add((name, line, column, "never false"))
for name, line, column, what in sorted(missed):
    print(f"{name}:{line}:{column}: {what}")
sys.exit(1 if missed else 0)
