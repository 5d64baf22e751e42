"""A program that valgrind watches."""

from harness.machine import TESTS

FOUND = 99


def watched(log, *command):
    """The command, with valgrind around it. What it finds is written to the file log, and makes the
    status FOUND."""
    return ["valgrind", "--quiet", f"--error-exitcode={FOUND}", f"--log-file={log}",
            # Pipes for a debugger would have the same names in two sandboxes at once.
            "--vgdb=no", f"--suppressions={TESTS / 'memory' / 'runtime.supp'}",
            "--leak-check=full", "--show-leak-kinds=all", "--errors-for-leak-kinds=all", *command]
