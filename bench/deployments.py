"""Measures tamsel-deploy beside Tamsel, both in the sandbox that this runs in.

usage: bench/deployments.py BUILD ROUNDS ROWS...

  BUILD   where both programs were built
  ROUNDS  how often each run is timed; those on growing tables a tenth of that, at least five times
  ROWS    numbers of unrelated rows per table, for the growing tables

Fills /Applications, which must be empty. Writes one JSON object to standard output, and progress to
standard error. Ends with status 1 and the reason when a run's lines, rows, file or backup are not
those of what it is measured doing.
"""

import pathlib
import shutil
import sqlite3
import time

from measure import (APPLICATION, COPY, DATABASE, SCRATCH, TABLES, TESTS, Refusal, create_database,
                     hand_over, instructions, product_rows, progress, rounds, timed)

EXPECTED = TESTS / "expected"
# In the order in which tamsel-deploy finds them.
PRODUCTS = {"Adobe InCopy CC 2019": 156, "Adobe InDesign CC 2019": 159,
            "Adobe InCopy 2020": 187, "Adobe InDesign 2020": 190}
APPLICATIONS = {f"/Applications/{name}/{name}.app": number for name, number in PRODUCTS.items()}
OWN = pathlib.Path("/Library/Application Support/Tamsel")


class Programs:
    """Both programs; each run is compared with what it must do."""

    def __init__(self, build):
        self.tamsel = str(build / "Tamsel")
        self.deploy = str(build / "tamsel-deploy")
        self.file = (build / "Resources" / COPY.name).read_bytes()

    def deployed(self, state, *arguments):
        """A run of tamsel-deploy that says this about the given applications, or else about all four."""
        paths = [word for word in arguments if word in APPLICATIONS] or APPLICATIONS
        return timed([self.deploy, *arguments], "".join(f"{state}: {path}\n" for path in paths).encode(),
                     SCRATCH / "log")

    def require(self, registered):
        """These applications are registered, no others are, and the file exists if any is."""
        for path, number in APPLICATIONS.items():
            rows = (EXPECTED / f"{file_name(path)}.rows").read_text() if path in registered else ""
            if product_rows(number) != rows:
                raise Refusal(f"other rows of {path}:\n{product_rows(number)}")
        if (COPY.read_bytes() if COPY.exists() else b"") != (self.file if registered else b""):
            raise Refusal(f"another {COPY.name}")

    def left_alone(self, *run):
        """A run that must neither change the database nor make or remove a file."""
        def state():
            return [path.stat().st_mtime_ns for path in (DATABASE, DATABASE.parent, COPY.parent)]

        before = state()
        result = self.deployed(*run)
        if OWN.exists() or state() != before:
            raise Refusal(f"{run[1]} changed something")
        return result

    def verified(self, *arguments):
        return self.left_alone("registered", "--verify", *arguments)

    def tried(self, *arguments):
        unregister()
        return self.left_alone("would register", "--dry-run", *arguments)

    def registered(self, *arguments):
        """A registration on a machine without a backup."""
        unregister()
        size = DATABASE.stat().st_size
        result = self.deployed("registered", *arguments)
        self.require(arguments or APPLICATIONS)
        if [backup.stat().st_size for backup in OWN.glob(f"Backups/*/{DATABASE.name}")] != [size]:
            raise Refusal("there is not one backup, or it is not of the database's size")
        return result

    def registered_by_tamsel(self, *paths):
        """As many runs of Tamsel as there are applications."""
        unregister()
        results = [timed([self.tamsel, "-r", path], (EXPECTED / f"{file_name(path)}.out").read_bytes())
                   for path in paths]
        self.require(paths)
        return {kind: sum(result[kind] for result in results) for kind in results[0]}


def file_name(application):
    return pathlib.Path(application).stem.lower().replace(" ", "-")


def unregister():
    connection = sqlite3.connect(DATABASE, isolation_level=None)
    for table in TABLES:
        connection.executemany(f"DELETE FROM {table} WHERE ProdID = ?",
                               [(number,) for number in APPLICATIONS.values()])
    connection.close()
    COPY.unlink(missing_ok=True)
    shutil.rmtree(OWN, ignore_errors=True)


def wall(action):
    began = time.perf_counter()
    result = action()
    return result, {"wall": (time.perf_counter() - began) * 1e3}


def copied():
    """What a backup needs of SQLite: the times of the copy and of its check."""
    path = SCRATCH / "copy"
    source, copy = sqlite3.connect(DATABASE), sqlite3.connect(path, isolation_level=None)
    copy.execute("PRAGMA synchronous = OFF")
    _, copying = wall(lambda: source.backup(copy))
    copy.close()
    source.close()
    copy = sqlite3.connect(f"file:{path}?immutable=1", uri=True)
    found, checking = wall(lambda: copy.execute("PRAGMA integrity_check").fetchall())
    copy.close()
    path.unlink()
    if found != [("ok",)]:
        raise Refusal(f"the copy is not sound: {found}")
    return {"copy": copying, "check": checking}


def growth(programs, number, sizes):
    """The times of one application's runs by the number of unrelated rows."""
    def verified():
        programs.registered_by_tamsel(APPLICATION)
        return {"--verify": programs.verified(APPLICATION)}

    def registered():
        return {"registration": programs.registered(APPLICATION), **copied()}

    def run(size, action):
        database = SCRATCH / size
        database.rename(DATABASE)
        result = action()
        DATABASE.rename(database)
        return result

    for size in sizes:
        progress(f"growth: creating {size} rows per table")
        create_database(size)
        DATABASE.rename(SCRATCH / size)
    actions = (verified, lambda: {"--dry-run": programs.tried(APPLICATION)}, registered)
    times = rounds("growth", number, {
        (size, action): lambda size=size, action=action: run(size, action)
        for size in sizes for action in actions})
    grown = {}
    for (size, _), results in times.items():
        for kind in results[0]:
            grown.setdefault(kind, {})[size] = [result[kind] for result in results]
    return grown


def measure(build, number, *sizes):
    DATABASE.parent.mkdir(parents=True)
    SCRATCH.mkdir()
    programs = Programs(pathlib.Path(build))
    for path in APPLICATIONS:
        (pathlib.Path(path) / "Contents").mkdir(parents=True)
        (pathlib.Path(path) / "Contents" / "Info.plist").touch()
    help_command = [programs.tamsel, "-h"]
    create_database(0)
    registering = rounds("registering four", int(number), {
        "tamsel-deploy": programs.registered,
        "Tamsel": lambda: programs.registered_by_tamsel(*APPLICATIONS)})
    programs.registered_by_tamsel(*APPLICATIONS)
    return {
        "registering": registering,
        "verifying": rounds("verifying four", int(number), {
            "tamsel-deploy": programs.verified,
            "Tamsel": lambda: timed(help_command)}),
        "instructions": {
            "tamsel-deploy": instructions([programs.deploy, "--verify"]),
            "Tamsel": instructions(help_command)},
        "growth": growth(programs, max(5, int(number) // 10), sizes),
    }


if __name__ == "__main__":
    hand_over(measure)
