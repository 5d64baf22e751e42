"""A program that valgrind watches."""


def watched(log, *command):
    """The command, with valgrind around it. What it finds, it writes to the file log."""
    return ["valgrind", "--quiet", f"--log-file={log}", "--leak-check=full", "--error-exitcode=99",
            # Pipes for a debugger would have the same names in two sandboxes at once.
            "--vgdb=no", *command]
