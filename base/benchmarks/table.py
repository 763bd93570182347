"""Runs the benchmark programs of a folder and prints one table of ours beside the peers.

Every candidate of a row runs alone in a process, round after round, so that a slow moment of the
machine meets all of them. What the table shows is the median of each over its rounds.
"""
import argparse
import json
import pathlib
import re
import statistics
import subprocess
import sys

# What Google Benchmark puts behind the names of those that run in several threads or a given number
# of times.
SETTINGS = re.compile(r"(/(real_time|threads:\d+|iterations:\d+))+$")
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def output_of(program, *options):
    """What the program prints; its warnings about the machine are dropped unless it fails."""
    run = subprocess.run([program, *options], capture_output=True, text=True)
    if run.returncode != 0:
        sys.exit(f"{program.name} {' '.join(options)} failed:\n{run.stdout}{run.stderr}")
    return run.stdout


def find_rows(folder, wanted):
    """The rows whose names match, each with its candidates in the order of the source."""
    rows = {}
    for program in sorted(folder.glob("*_bench")):
        for name in output_of(program, "--benchmark_list_tests=true").splitlines():
            row, _, candidate = SETTINGS.sub("", name).rpartition("/")
            if wanted.search(row):
                rows.setdefault(row, {})[candidate] = (program, name)
    for row, candidates in rows.items():
        if "kiv" not in candidates:
            sys.exit(f"nothing of ours is measured for \"{row}\"; is a program in {folder} outdated?")
    return rows


def measure(program, name, seconds):
    """Nanoseconds for one round of the benchmark's loop: on the processor, or if the benchmark asks
    for it on the clock."""
    exact = re.sub(r"([.\[\]{}()*+?^$|\\])", r"\\\1", name)
    report = json.loads(output_of(
        program, f"--benchmark_filter=^{exact}$", f"--benchmark_min_time={seconds}",
        "--benchmark_format=json"))
    result = report["benchmarks"][0]
    if result.get("error_occurred"):
        sys.exit(f"{name}: {result['error_message']}")
    time = result["real_time" if "/real_time" in name else "cpu_time"]
    return time * NANOSECONDS[result["time_unit"]]


def medians_of(candidates, options):
    rounds = {candidate: [] for candidate in candidates}
    for _ in range(options.rounds):
        for candidate, (program, name) in candidates.items():
            rounds[candidate].append(measure(program, name, options.seconds))
    return {candidate: statistics.median(times) for candidate, times in rounds.items()}


def read_goals(path):
    goals = {}
    for line in path.read_text().splitlines():
        if line and not line.startswith("#"):
            row, factor, reference = (part.strip() for part in line.split("|"))
            goals.setdefault(row, []).append((float(factor), reference))
    return goals


def text_of(nanoseconds):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def listed(times):
    return ", ".join(f"{name} {text_of(time)}" for name, time in times.items()) or "-"


def line_of(row, medians, goals):
    ours = medians["kiv"]
    limits = {name: time for name, time in medians.items() if name.startswith("limit")}
    peers = {name: time for name, time in medians.items() if name != "kiv" and name not in limits}
    best = min(peers.values(), default=None)
    verdicts = []
    for factor, reference in goals:
        ratio = ours / (best if reference == "best" else medians[reference])
        verdict = "met" if ratio <= factor else "MISSED"
        verdicts.append(f"{factor:g} of {reference}: {ratio:.2f} {verdict}")
    return [row, text_of(ours), listed(peers),
            listed({name.removeprefix("limit "): time for name, time in limits.items()}),
            f"{ours / best:.2f}" if best else "-", "; ".join(verdicts) or "-"]


def print_table(lines):
    widths = [max(len(line[column]) for line in lines) for column in range(len(lines[0]))]
    for number, line in enumerate(lines):
        print("  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip())
        if number == 0:
            print("  ".join("-" * width for width in widths))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("folder", type=pathlib.Path, help="where the programs lie")
    parser.add_argument("filter", nargs="?", default="", help="part of the rows' names, a regex")
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--seconds", type=float, default=0.05, help="at least, for each round")
    options = parser.parse_args()

    rows = find_rows(options.folder, re.compile(options.filter, re.IGNORECASE))
    if not rows:
        sys.exit(f"no row matches \"{options.filter}\"")
    goals = read_goals(pathlib.Path(__file__).with_name("goals.txt"))
    lines = [["row", "ours", "peers", "limit", "to best", "goals"]]
    for number, (row, candidates) in enumerate(rows.items(), start=1):
        if sys.stderr.isatty():
            print(f"\r\033[K{number}/{len(rows)} {row}", end="", file=sys.stderr, flush=True)
        lines.append(line_of(row, medians_of(candidates, options), goals.get(row, [])))
    if sys.stderr.isatty():
        print("\r\033[K", end="", file=sys.stderr, flush=True)
    print_table(lines)


if __name__ == "__main__":
    main()
