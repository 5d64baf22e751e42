#!/usr/bin/env python3
"""What an administrator would write in Python instead of calling Tamsel.

usage: bench/peer.py STATEMENT STATEMENT RESOURCE
"""

import os
import shutil
import sqlite3
import sys

CONFIGURATION = "/Library/Application Support/Adobe/Extension Manager CC/Configuration"
DATABASE = CONFIGURATION + "/DB/ExMan.db"


def insert(operation, sql):
    connection = sqlite3.connect(DATABASE, isolation_level=None)
    try:
        connection.execute(sql)
        code, word, truth = 101, "succeeded", "true"
    except sqlite3.Error:
        code, word, truth = 1, "failed", "false"
    connection.close()
    print(f"Return code after executing SQL: {code}\n")
    print("Finalized statemant: 0\n\nClosed database: 0\n")
    print(f"{operation} execution: {word}\n\n{operation} {truth}\n")


if not os.access(DATABASE, os.R_OK):
    sys.exit(1)
print("Three parameters\n\n-r command found\n\nFile name found: Adobe InDesign 2020\n")
insert("InsertProductInfo", sys.argv[1])
insert("InsertXManConfig", sys.argv[2])
print("\nThe application was successfully registrated\n")
shutil.copy(sys.argv[3], CONFIGURATION)
