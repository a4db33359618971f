#!/usr/bin/env python3
"""Writes the figures of one run of the benchmarks.

usage: report.py BUILD RESULTS DOCS

Reads the benchmark library's JSON files and the text of RefreshTurns in the folder RESULTS, and runs
what has no peer: the program Counts and simulated days, both of the folder BUILD. Writes
RESULTS/results.json, the table between the marks in DOCS/performance.md and DOCS/performance.svg
(gnuplot). Exit code 1 when two programs that should read the same have not.
"""

import json
import pathlib
import resource
import statistics
import subprocess
import sys
import tempfile

MARK = "<!-- figures -->"
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
# Whose times are of all items together.
OF_ALL = {"zonesToRecords", "zonesToStructs", "Save", "WriteSameBytes", "Load",
          "LoadTreeWithLibplist", "rangedSecond"}
RANGED_AT_ONCE = 10
# Path, sizes, own benchmark, the peer's, what the peer is, the most that the ratio may be. Files are
# written in real time, for their peer mostly waits.
PAIRS = [
    ("document to records, a zone", (100, 10000, 100000), "zonesToRecords", "zonesToStructs",
     "simdjson into structs", 1.7, "cpu_time"),
    ("save durably, a beacon", (10000,), "Save", "WriteSameBytes", "the bytes written and synced", 4,
     "real_time"),
    ("load, a beacon", (10000,), "Load", "LoadTreeWithLibplist", "libplist's bare tree", 0.25,
     "cpu_time"),
    ("circles around a position", (20, 1000, 100000, 1000000), "circlesAround",
     "circlesAroundInBoost", "Boost.Geometry's R-tree", 1, "cpu_time"),
]
# Path, benchmark, size, nanoseconds that are wanted.
ALONE = [
    ("ranging callback of ten, a beacon", "rangedBeacon", 100000, 100),
    ("ranging callback of one", "rangedAlone", 10000, 100),
    ("advertisement to the location engine", "advertisement", 10000, 50),
]
# Path, job of Counts, size, nanoseconds that are wanted.
JOBS = [
    ("start, a cached zone", "start", 10000, 2500),
    ("start, a cached zone", "start", 100000, 4000),
    ("statistic made", "statistic", 10000, 3000),
]
DAYS = [("simulated day, 200 beacons, walking", "walking", 4e9),
        ("simulated day, 200 beacons, still", "still", 2.5e9)]
LONGEST_TURN = 5e6
CURVES = {
    "an item of a document or a file": ["zonesToRecords", "zonesToStructs", "Save", "Load"],
    "a question for circles": ["circlesAround", "circlesAroundInBoost", "fixAmongCircles"],
    "a beacon of a second": ["rangedSecond"],
}


def read_benchmarks(folder):
    """Returns nanoseconds of one item, and what was found, by benchmark, size and kind of time."""
    times, found = {}, {}
    for file in sorted(folder.glob("*Bench.json")):
        for run in json.loads(file.read_text())["benchmarks"]:
            if run.get("error_occurred"):
                sys.exit(f"report: {run['name']}: {run['error_message']}")
            name, _, rest = run["run_name"].partition("/")
            if run.get("aggregate_name", "median") != "median" or not rest.split("/")[0].isdigit():
                continue
            size = int(rest.split("/")[0])
            items = size if name in OF_ALL else RANGED_AT_ONCE if name == "rangedBeacon" else 1
            for kind in ("cpu_time", "real_time"):
                times[name, size, kind] = run[kind] * NANOSECONDS[run["time_unit"]] / items
            found[name, size] = run.get("found")
    return times, found


def run_job(program, job, size):
    """Returns nanoseconds and allocations of one item: the median of five runs."""
    runs = [subprocess.run([program, job, str(size)], capture_output=True, text=True, check=True)
            .stdout.split() for _ in range(5)]
    return (statistics.median(float(run[1]) for run in runs) / size * 1e9,
            int(runs[0][0]) / size)


def run_day(command, scenario):
    """Returns the nanoseconds of processor time that the command takes for a scenario."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run([command, "simulate", scenario], stdout=subprocess.DEVNULL, check=True)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return (after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime) * 1e9


def read_turns(file):
    """Returns (locations, zones, step, milliseconds a location, longest turn) of each line."""
    lines = [line.split() for line in file.read_text().splitlines()[1:]]
    return [(int(line[0]), int(line[1]), line[2], float(line[4]), float(line[5]))
            for line in lines if len(line) == 7]


def duration(nanoseconds):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.2f} {unit}"
    return f"{nanoseconds:.0f} ns"


def draw(times, turns, file):
    """Panels of curves: how many there are across, nanoseconds of one up, both logarithmic."""
    script = [f'set terminal svg size 1000,700 background "white"; set output "{file}"',
              "set logscale xy; set grid; set key below; set multiplot layout 2,2"]
    panels = {title: {name: sorted((size, time) for (each, size, kind), time in times.items()
                                   if each == name and kind == "cpu_time") for name in names}
              for title, names in CURVES.items()}
    panels["a location of 100 zones, main queue"] = {
        step: sorted((turn[0], turn[3] * 1e6) for turn in turns
                     if turn[2] == step and turn[1] == 100) for step in ("first", "refresh")}
    for title, curves in panels.items():
        script.append(f'set title "{title}"; set xlabel "how many"; set ylabel "ns"; set yrange [*:*]')
        script.append("plot " + ", ".join(
            f'"-" with linespoints title "{name}"' for name in curves))
        for points in curves.values():
            script += [f"{size} {time}" for size, time in points] + ["e"]
    subprocess.run(["gnuplot"], input="\n".join(script) + "\n", text=True, check=True)


class Table:
    """The rows of the table and of the JSON file."""

    def __init__(self):
        self.rows = ["| path | how many | time | beside it | ratio | wanted | |",
                     "|---|---:|---:|---|---:|---:|---|"]
        self.record = []

    def add_pair(self, path, size, mine, theirs, what, most):
        ratio = mine / theirs
        self._add(path, size, mine, f"{what}: {duration(theirs)}", f"{ratio:.2f}", f"{most}",
                  ratio <= most)
        self.record[-1].update({"peer": what, "peer_ns": theirs})

    def add_alone(self, path, size, mine, beside, wanted):
        self._add(path, size, mine, beside, "", duration(wanted), mine <= wanted)

    def _add(self, path, size, mine, beside, ratio, wanted, is_met):
        self.rows.append(f"| {path} | {size:,} | {duration(mine)} | {beside} | {ratio} | {wanted} "
                         f"| {'met' if is_met else 'not met'} |")
        self.record.append({"path": path, "items": size, "ns": mine, "met": is_met})


def main():
    build, results, docs = (pathlib.Path(argument) for argument in sys.argv[1:4])
    times, found = read_benchmarks(results)
    turns = read_turns(results / "RefreshTurns.txt")
    table = Table()
    for path, sizes, own, peer, what, most, kind in PAIRS:
        for size in sizes:
            if found[own, size] != found[peer, size]:
                sys.exit(f"report: {own} and {peer} do not find the same among {size}")
            table.add_pair(path, size, times[own, size, kind], times[peer, size, kind], what, most)
    for path, name, size, wanted in ALONE:
        table.add_alone(path, size, times[name, size, "cpu_time"], "", wanted)
    for path, job, size, wanted in JOBS:
        time, allocations = run_job(build / "bench/Counts", job, size)
        table.add_alone(path, size, time, f"{allocations:.1f} allocations", wanted)
    for locations, zones, step, _, longest in turns:
        if locations == 200:
            table.add_alone(f"longest turn of the main queue, {step}", locations * zones,
                            longest * 1e6, f"{locations} locations", LONGEST_TURN)
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([sys.executable, "bench/day.py", folder], check=True)
        for path, name, wanted in DAYS:
            time = run_day(build / "tools/ksbeacon/ksbeacon", f"{folder}/{name}.json")
            table.add_alone(path, 1, time, "processor time of the command", wanted)
    (results / "results.json").write_text(json.dumps(table.record, indent=2) + "\n")
    page = docs / "performance.md"
    before, _, after = page.read_text().split(MARK)
    text = "\n".join(table.rows)
    page.write_text(f"{before}{MARK}\n{text}\n{MARK}{after}")
    draw(times, turns, docs / "performance.svg")
    print(text)


main()
