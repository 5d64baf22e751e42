"""Runs bench/measure.py in the sandbox, once per kind of folder, and bench/deployments.py, and reports
what they measured.

usage: bench/bench.py [--check] [--json] [--rounds NUMBER] BUILD
"""

import argparse
import json
import os
import pathlib
import platform
import statistics
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
SANDBOX = HERE.parent / "scripts" / "sandbox"

# The most that Tamsel may need, as a share of the floor's user-space instructions: well above the 1.24
# measured with SQLite 3.40, since both programs change with SQLite and the C library. What exceeds 1 goes
# into the maps with their copies, and into the streams.
MOST_INSTRUCTIONS = 1.3

# The most instructions that verifying four registered applications may need, as a multiple of those of
# `Tamsel -h`: well above the 3.39 measured with SQLite 3.40, since they change with it, and below the 5.65 of
# compiling the statements anew for each application.
MOST_FOR_VERIFYING = 4.5

SIZES = [0, 1000, 100000, 1000000]
OTHERS = ["floor", "shell", "Python"]
COUNTS = {
    "instructions": "user-space instructions",
    "calls": "system calls, whole tree",
    "memory": "peak memory, KiB",
    "relocations": "symbols bound at start-up",
    "relative_relocations": "relative relocations",
    "size": "size, bytes",
}


def measure(script, build, parent, *arguments):
    """What a script measures with a fresh library and without applications, in the folder parent."""
    with tempfile.TemporaryDirectory(prefix="tamsel-bench-", dir=parent) as folder:
        library, applications = pathlib.Path(folder, "Library"), pathlib.Path(folder, "Applications")
        library.mkdir()
        applications.mkdir()
        finished = subprocess.run(
            [SANDBOX, "--own-processes", "--bind", applications, "/Applications", library,
             sys.executable, "-B", HERE / script, build, *map(str, arguments)],
            stdout=subprocess.PIPE, check=False)
    if finished.returncode != 0:
        sys.exit(finished.returncode)
    return json.loads(finished.stdout)


def medians(times, program="Tamsel"):
    """The median times of every program, and the median of the pairwise ratios of this one's."""
    summary = {}
    for name, results in times.items():
        summary[name] = {
            kind: {"median": statistics.median(result[kind] for result in results),
                   "ratio": statistics.median(own[kind] / result[kind] for own, result in zip(
                       times[program], results))}
            for kind in ("wall", "processor")}
    return summary


def growth(times):
    """The median wall time by the number of rows, and the median of its ratios to none."""
    none = times["0"]
    return {size: {"median": statistics.median(result["wall"] for result in results),
                   "ratio": statistics.median(result["wall"] / first["wall"]
                                              for result, first in zip(results, none))}
            for size, results in times.items()}


def shares(parts, wholes):
    """The median share that the parts have in a run, by the number of rows."""
    return {size: statistics.median(sum(time["wall"] for time in part) / whole["wall"]
                                    for whole, *part in zip(results, *(times[size] for times in parts)))
            for size, results in wholes.items()}


def deployments(measured):
    """What deployments.py found. A dry run checks the database, a registration copies it first."""
    times = measured["growth"]
    return {
        "verifying": medians(measured["verifying"], "tamsel-deploy"),
        "registering": medians(measured["registering"], "tamsel-deploy"),
        "instructions": measured["instructions"],
        "growth": {kind: growth(results) for kind, results in times.items()},
        "shares": {"--dry-run": shares([times["check"]], times["--dry-run"]),
                   "registration": shares([times["copy"], times["check"]], times["registration"])},
    }


def cell(value, ratio=None):
    text = f"{value:,.2f}" if isinstance(value, float) and value < 1000 else f"{value:,.0f}"
    return text if ratio is None else f"{text} ({ratio:.3f})"


def print_table(heading, rows):
    print("| " + " | ".join(heading) + " |")
    print("|---" + "|---:" * (len(heading) - 1) + "|")
    for row in rows:
        print("| " + " | ".join(row) + " |")
    print()


def report(results):
    print(f"{results['date']}, {results['machine']}, {results['rounds']} rounds")
    print("Medians; in parentheses, Tamsel's share of them. That of a time is the median of pairs.\n")
    rows = []
    for folder in ("memory-backed", "disk-backed"):
        for kind in ("wall", "processor"):
            times = {name: time[kind] for name, time in results[folder].items()}
            rows.append([f"{kind} time, ms, {folder}", cell(times["Tamsel"]["median"])]
                        + [cell(times[name]["median"], times[name]["ratio"]) for name in OTHERS]
                        + [cell(times["Tamsel -h"]["median"])])
    counts = results["counts"]
    for kind, title in COUNTS.items():
        row = [title, cell(counts["Tamsel"][kind])]
        for name in OTHERS:
            value = counts[name].get(kind)
            row.append(cell(value, counts["Tamsel"][kind] / value) if value else "–")
        rows.append(row + [cell(counts["Tamsel -h"][kind])])
    print_table(["", "Tamsel", "floor", "shell", "Python", "Tamsel -h"], rows)
    print_table(["unrelated rows per table", "wall time, ms", "of that without any"],
                [[cell(int(size)), cell(result["median"]), f"{result['ratio']:.3f}"]
                 for size, result in results["growth"].items()])


def report_deployments(results):
    print("tamsel-deploy; in parentheses, how often it takes the other's time, the median of pairs.\n")
    rows = []
    for work, title in (("verifying", "verifying four, `Tamsel -h`"),
                        ("registering", "registering four, four runs of `Tamsel -r`")):
        for kind in ("wall", "processor"):
            own, other = (results[work][name][kind] for name in ("tamsel-deploy", "Tamsel"))
            rows.append([f"{kind} time, ms, {title}", cell(own["median"]),
                         cell(other["median"], other["ratio"])])
    own, other = (results["instructions"][name] for name in ("tamsel-deploy", "Tamsel"))
    rows.append(["user-space instructions, verifying four, `Tamsel -h`", cell(own),
                 cell(other, own / other)])
    print_table(["", "tamsel-deploy", "Tamsel"], rows)
    print("Wall times in ms, for one application; in parentheses, of that of --verify without any rows, the"
          "\nshare of the check in a dry run, and that of the copy and its check in a registration.\n")
    times, parts = results["growth"], results["shares"]
    print_table(["unrelated rows per table", "--verify", "--dry-run", "registration", "copy", "its check"],
                [[cell(int(size)), cell(result["median"], result["ratio"]),
                  *(cell(times[kind][size]["median"], parts[kind][size]) for kind in parts),
                  *(cell(times[kind][size]["median"]) for kind in ("copy", "check"))]
                 for size, result in times["--verify"].items()])


def main():
    parser = argparse.ArgumentParser(add_help=False)
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--json", action="store_true")
    parser.add_argument("--rounds", type=int)
    parser.add_argument("build", type=pathlib.Path)
    options = parser.parse_args()
    rounds = options.rounds or (5 if options.check else 300)
    sizes = SIZES[:2] if options.check else SIZES

    memory = measure("measure.py", options.build, "/dev/shm", "memory-backed", rounds, *sizes)
    disk = measure("measure.py", options.build, options.build, "disk-backed", rounds)
    deployed = measure("deployments.py", options.build, "/dev/shm", rounds, *sizes)
    results = {
        "date": time.strftime("%Y-%m-%d"),
        "machine": f"{platform.system()} on {platform.machine()}, {os.cpu_count()} processors",
        "rounds": rounds,
        "memory-backed": medians(memory["times"]),
        "disk-backed": medians(disk["times"]),
        "counts": memory["counts"],
        "growth": growth(memory["growth"]),
        "deployments": deployments(deployed),
    }
    if options.json:
        json.dump(results, sys.stdout, indent=2)
        print()
    else:
        report(results)
        report_deployments(results["deployments"])
    ratio = memory["counts"]["Tamsel"]["instructions"] / memory["counts"]["floor"]["instructions"]
    if options.check and ratio > MOST_INSTRUCTIONS:
        sys.exit(f"bench: {ratio:.4f} of the floor's instructions, at most {MOST_INSTRUCTIONS}")
    ratio = deployed["instructions"]["tamsel-deploy"] / deployed["instructions"]["Tamsel"]
    if options.check and ratio > MOST_FOR_VERIFYING:
        sys.exit(f"bench: {ratio:.4f} of the instructions of Tamsel -h to verify, at most"
                 f" {MOST_FOR_VERIFYING}")


if __name__ == "__main__":
    main()
