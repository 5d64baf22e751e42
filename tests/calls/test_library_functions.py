import subprocess
import unittest

from harness.machine import BUILD

# What a compiler turns strings, printf and the like into. Names with underscores belong to it, too.
COMPILERS = {"memcpy", "memmove", "memset", "memcmp", "bcmp", "strlen", "printf", "puts", "putchar"}


class LibraryFunctions(unittest.TestCase):
    """What the program calls in the C library and in SQLite. Some of it, such as a look at the
    environment, makes no system call."""

    def test_are_six_of_sqlite_and_the_shell(self):
        objects = [*BUILD.glob("CMakeFiles/core.dir/src/*.o"), *BUILD.glob("CMakeFiles/Tamsel.dir/src/*.o")]
        self.assertEqual(len(objects), 5)
        listing = subprocess.run(["nm", "-u", *objects], check=True, stdout=subprocess.PIPE, text=True).stdout
        names = {line.split()[1] for line in listing.splitlines() if line.startswith(" ")}
        self.assertEqual({name for name in names - COMPILERS if not name.startswith("_")},
                         {"sqlite3_close", "sqlite3_errmsg", "sqlite3_finalize", "sqlite3_open",
                          "sqlite3_prepare_v2", "sqlite3_step", "system"})
        self.assertEqual([name for name in names if "env" in name or "thread" in name], [])
