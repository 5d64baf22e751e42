"""Prints each line and each side of a branch that no test has reached, and fails if there is one.

usage: python3 missed.py EXPORT

  EXPORT  what llvm-cov export prints
"""

import collections
import json
import os
import sys

with open(sys.argv[1], encoding="utf-8") as file:
    files = json.load(file)["data"][0]["files"]

missed = set()
branches = collections.Counter()
for file in files:
    name = os.path.relpath(file["filename"], "..")
    for line, column, count, counted, entry, gap in file["segments"]:
        if counted and entry and not gap and count == 0:
            missed.add((name, line, column, "not reached"))
    # A function can occur several times: as a template, or in several programs.
    for line, column, _, _, true, false, *_ in file["branches"]:
        branches[name, line, column, "never true"] += true
        branches[name, line, column, "never false"] += false
for name, line, column, _ in list(branches):
    never = [what for what in ("never true", "never false") if not branches[name, line, column, what]]
    # A condition that is constant, or not reached, is neither.
    if len(never) == 1:
        missed.add((name, line, column, never[0]))
for name, line, column, what in sorted(missed):
    print(f"{name}:{line}:{column}: {what}")
sys.exit(1 if missed else 0)
