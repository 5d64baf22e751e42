"""Measures one registration by Tamsel and by its peers, all in the sandbox that this runs in.

usage: bench/measure.py BUILD FOLDER ROUNDS ROWS...

  BUILD   where Tamsel and the floor were built
  FOLDER  what kind of folder /Library is, for the progress
  ROUNDS  how often each program is timed
  ROWS    numbers of unrelated rows per table, for a growth table; without any, only times are taken

Writes one JSON object to standard output, and progress to standard error. Ends with status 1 and
the reason when a program's rows, output or file are not those of a registration.
"""

import json
import os
import pathlib
import random
import re
import sqlite3
import statistics
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
TESTS = HERE.parent / "tests"
CONFIGURATION = pathlib.Path(
    "/Library/Application Support/Adobe/Extension Manager CC/Configuration")
DATABASE = CONFIGURATION / "DB" / "ExMan.db"
COPY = CONFIGURATION / "XManConfigV2.xml"
SCRATCH = pathlib.Path("/Library/bench")
ENVIRONMENT = {"PATH": os.environ["PATH"], "HOME": str(SCRATCH)}
TABLES = ("Tb_ProductInfoV2", "Tb_XManConfig")

APPLICATION = "/Applications/Adobe InDesign 2020/Adobe InDesign 2020.app"
NUMBER = 190
OUTPUT = (TESTS / "expected" / "adobe-indesign-2020.out").read_bytes()
HELP = (TESTS / "expected" / "help.out").read_bytes()
ROWS = (TESTS / "expected" / "adobe-indesign-2020.rows").read_text()
STATEMENTS = (TESTS / "expected" / "INDESIGNCC2020MAC.sql").read_text().splitlines()

UNRELATED = """
WITH RECURSIVE number(n) AS (SELECT 0 UNION ALL SELECT n + 1 FROM number)
INSERT INTO Tb_ProductInfoV2 SELECT 10000 + n, 'Another', 'Another ' || n, 'Another', '1.0.0',
    'another-1.0', '/Applications/Another', 'en_US', 7 FROM number LIMIT {rows};
WITH RECURSIVE number(n) AS (SELECT 0 UNION ALL SELECT n + 1 FROM number)
INSERT INTO Tb_XManConfig SELECT 10000 + n / 14, 'key' || (n % 14), '/Applications/Another'
    FROM number LIMIT {rows};
"""


class Refusal(Exception):
    """A program did not do what it is measured doing."""


def commands(build):
    """Every program with its arguments."""
    resource = str(build / "Resources" / "XManConfigV2.xml")
    copy = f'cp "{resource}" "{CONFIGURATION}"'
    return {
        "Tamsel": [str(build / "Tamsel"), "-r", APPLICATION],
        "floor": [str(build / "bench" / "floor"), *STATEMENTS, copy],
        "shell": [str(HERE / "peer.sh"), *STATEMENTS, resource],
        "Python": [sys.executable, str(HERE / "peer.py"), *STATEMENTS, resource],
        "Tamsel -h": [str(build / "Tamsel"), "-h"],
    }


def progress(text):
    print(f"\r{text:<70}", end="" if sys.stderr.isatty() else "\n", file=sys.stderr, flush=True)


def create_database(rows):
    """A new database with this many unrelated rows in each table."""
    DATABASE.unlink(missing_ok=True)
    connection = sqlite3.connect(DATABASE, isolation_level=None)
    connection.execute("PRAGMA synchronous = OFF")
    connection.executescript((TESTS / "schemas" / "primary-keys.sql").read_text())
    connection.executescript("BEGIN;" + UNRELATED.format(rows=rows) + "COMMIT;")
    connection.close()


def product_rows(number=NUMBER):
    connection = sqlite3.connect(DATABASE)
    rows = [row for table in TABLES for row in connection.execute(
        f"SELECT * FROM {table} WHERE ProdID = ? ORDER BY rowid", (number,))]
    connection.close()
    return "".join("|".join(map(str, row)) + "\n" for row in rows)


def timed(command, expected=None, log=None):
    """Runs a command; its wall time and the processor time of its whole tree, in milliseconds.
    What it writes must be what is expected; what does not count goes to a log file."""
    expected = expected or (HELP if command[-1] == "-h" else OUTPUT)
    output = SCRATCH / "output"
    new = (os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600)
    actions = [(os.POSIX_SPAWN_OPEN, 1, output, *new),
               (os.POSIX_SPAWN_OPEN, 2, log, *new) if log else (os.POSIX_SPAWN_DUP2, 1, 2)]
    began = time.perf_counter()
    child = os.posix_spawn(command[0], command, ENVIRONMENT, file_actions=actions)
    _, status, usage = os.wait4(child, 0)
    wall = time.perf_counter() - began
    if status != 0 or output.read_bytes() != expected:
        wrote = "".join(file.read_text() for file in (output, log) if file)
        raise Refusal(f"{command[0]} ended with {status} and wrote:\n{wrote}")
    return {"wall": wall * 1e3, "processor": (usage.ru_utime + usage.ru_stime) * 1e3}


def verify(programs):
    """Compares what each program leaves, at its first run and at a repair, with a registration."""
    resource = pathlib.Path(programs["Tamsel"][0]).parent / "Resources" / COPY.name
    for name, command in programs.items():
        create_database(0)
        COPY.unlink(missing_ok=True)
        for _ in range(2):
            timed(command)
            if command[-1] == "-h":
                continue
            if product_rows() != ROWS:
                raise Refusal(f"{name} left other rows:\n{product_rows()}")
            if not COPY.exists() or COPY.read_bytes() != resource.read_bytes():
                raise Refusal(f"{name} left another {COPY.name}")


def rounds(what, number, runs):
    """Times each of the runs once per round, in random order: a run is slower after one that takes
    up much of the processor's caches, so each must come after each of the others."""
    times = {name: [] for name in runs}
    chance = random.Random(0)
    for count in range(-3, number):
        if count % 20 == 0 or count == number - 1:
            progress(f"{what}: round {count + 1} of {number}")
        for name in chance.sample(list(runs), len(runs)):
            result = runs[name]()
            if count >= 0:  # the first rounds warm up
                times[name].append(result)
    return times


def output_of(*command, file=None, **environment):
    """What a tool that watches a program reports, on standard error or in a file."""
    finished = subprocess.run(command, env=dict(ENVIRONMENT, **environment), stderr=subprocess.PIPE,
                              stdout=subprocess.DEVNULL, check=True, text=True)
    return file.read_text() if file else finished.stderr


def number_in(pattern, text):
    return int(re.search(pattern, text).group(1))


def instructions(command):
    """How many instructions a program needs, without the kernel and without what it starts."""
    return number_in(r"Collected : (\d+)", output_of(
        "valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", *command))


def counts(command):
    """What does not depend on the time that a run takes."""
    file = SCRATCH / "counts"
    calls = output_of("strace", "-f", "-qq", "-o", str(file), *command, file=file)
    peaks = [int(output_of("/usr/bin/time", "-f", "%M", "-o", str(file), *command, file=file))
             for _ in range(31)]
    counted = {"calls": len(re.findall(r"^\d+ +\w+\(", calls, re.MULTILINE)),
               "memory": statistics.median(peaks)}
    with open(command[0], "rb") as program:
        if program.read(4) != b"\x7fELF" or pathlib.Path(command[0]).samefile(sys.executable):
            return counted  # a script: what counts happens in processes that it starts
    linker = output_of(*command, LD_DEBUG="statistics")
    return dict(
        counted,
        instructions=instructions(command),
        relocations=number_in(r" number of relocations: (\d+)", linker),
        relative_relocations=number_in(r"number of relative relocations: (\d+)", linker),
        size=os.path.getsize(command[0]))


def growth(command, number, sizes):
    """The times of a registration by the number of unrelated rows."""
    def run(size):
        database = SCRATCH / str(size)
        database.rename(DATABASE)
        result = timed(command)
        DATABASE.rename(database)
        return result

    for size in sizes:
        progress(f"growth: creating {size} rows per table")
        create_database(size)
        DATABASE.rename(SCRATCH / str(size))
    runs = {size: lambda size=size: run(size) for size in sizes}
    return rounds("growth", number, runs)


def measure(build, folder, number, *sizes):
    programs = commands(pathlib.Path(build))
    DATABASE.parent.mkdir(parents=True)
    SCRATCH.mkdir()
    verify(programs)
    create_database(0)
    runs = {name: lambda command=command: timed(command) for name, command in programs.items()}
    measured = {"times": rounds(folder, int(number), runs), "counts": {}}
    if product_rows() != ROWS:
        raise Refusal("the measured runs left other rows")
    if sizes:
        for name, command in programs.items():
            progress(f"counting {name}")
            measured["counts"][name] = counts(command)
        measured["growth"] = growth(programs["Tamsel"], int(number), sizes)
    return measured


def hand_over(measure_all):
    """Writes to standard output what the function measures, which gets the words of the command
    line; if it refuses, the program ends with the reason."""
    try:
        measured = measure_all(*sys.argv[1:])
    except Refusal as refusal:
        sys.exit(f"\nbench: {refusal}")
    progress("")
    json.dump(measured, sys.stdout)


if __name__ == "__main__":
    hand_over(measure)
