#!/usr/bin/env python3
"""Writes the figures of one run of the benchmarks.

usage: report.py COUNTS RESULTS DOCS

Reads the benchmark library's JSON files in the folder RESULTS and runs COUNTS for the paths that
have no peer; writes RESULTS/results.json, the table between the marks in DOCS/performance.md and
DOCS/performance.svg (gnuplot).
"""

import json
import pathlib
import statistics
import subprocess
import sys

# Path, sizes, own benchmark, the peer's, what the peer is, times of the peer that are wanted.
PAIRS = [
    ("document to records, a zone", (100, 10000, 100000), "zonesToRecords", "zonesToStructs",
     "simdjson into structs", 1.7),
    ("save, a beacon", (10000,), "Save", "WriteSameBytes", "the same bytes written and synced", 4),
    ("load, a beacon", (10000,), "Load", "ConvertWithPlistutil", "plistutil reads and writes", 0.25),
    ("circles around a position", (20, 1000, 100000, 1000000), "circlesAround",
     "circlesAroundInBoost", "Boost.Geometry's R-tree", 1),
]
PER_ITEM = {"zonesToRecords", "zonesToStructs", "Save", "WriteSameBytes", "Load",
            "ConvertWithPlistutil"}
# Path, job or benchmark, size, nanoseconds that are wanted.
ALONE = [
    ("start, a cached zone", "start", 10000, 2500),
    ("start, a cached zone", "start", 100000, 4000),
    ("statistic", "statistic", 10000, 3000),
    ("ranged beacon among 10,000", "range", 10000, 100),
]
CURVES = ["zonesToRecords", "zonesToStructs", "Save", "Load", "circlesAround",
          "circlesAroundInBoost"]
MARK = "<!-- figures -->"


def read_benchmarks(folder):
    """Returns nanoseconds of thread time by benchmark and size."""
    scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
    times = {}
    for file in folder.glob("*Bench.json"):
        for run in json.loads(file.read_text())["benchmarks"]:
            name, _, rest = run["name"].partition("/")
            size = rest.split("/")[0]
            key = "real_time" if name == "ConvertWithPlistutil" else "cpu_time"
            time = run[key] * scale[run["time_unit"]]
            if size.isdigit():
                times[name, int(size)] = time / int(size) if name in PER_ITEM else time
    return times


def run_alone(program, job, size):
    """Returns nanoseconds and allocations per item: the median of five runs."""
    runs = [subprocess.run([program, job, str(size)], capture_output=True, text=True, check=True)
            .stdout.split() for _ in range(5)]
    return (statistics.median(float(run[1]) for run in runs) / size * 1e9,
            int(runs[0][0]) / size)


def duration(nanoseconds):
    return f"{nanoseconds / 1000:.2f} us" if nanoseconds >= 1000 else f"{nanoseconds:.0f} ns"


def draw(times, file):
    """One curve per benchmark: size across, nanoseconds an item up, both logarithmic."""
    script = [f'set terminal svg size 760,420; set output "{file}"', "set logscale xy; set key right",
              'set xlabel "items"; set ylabel "ns an item or a question"; set grid']
    plots, data = [], []
    for name in CURVES:
        points = sorted((size, time) for (each, size), time in times.items() if each == name)
        plots.append(f'"-" with linespoints title "{name}"')
        data += [f"{size} {time}" for size, time in points] + ["e"]
    script.append("plot " + ", ".join(plots))
    subprocess.run(["gnuplot"], input="\n".join(script + data) + "\n", text=True, check=True)


def main():
    program, results, docs = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    times = read_benchmarks(results)
    rows, record = [], []
    for path, sizes, own, peer, what, owed in PAIRS:
        for size in sizes:
            mine, theirs = times[own, size], times[peer, size]
            rows.append(f"| {path} | {size:,} | {duration(mine)} | {what}: {duration(theirs)} "
                        f"| {mine / theirs:.2f} | {owed} |")
            record.append({"path": path, "items": size, "ns": mine, "peer": what,
                           "peer_ns": theirs})
    for path, job, size, owed in ALONE:
        time, allocations = run_alone(program, job, size)
        rows.append(f"| {path} | {size:,} | {duration(time)} | {allocations:.1f} allocations | "
                    f"| {duration(owed)} |")
        record.append({"path": path, "items": size, "ns": time, "allocations": allocations})
    (results / "results.json").write_text(json.dumps(record, indent=2) + "\n")
    page = docs / "performance.md"
    before, _, after = page.read_text().split(MARK)
    table = "\n".join(["| path | items | thread time | beside it | ratio | wanted |",
                       "|---|---|---|---|---|---|"] + rows)
    page.write_text(f"{before}{MARK}\n{table}\n{MARK}{after}")
    draw(times, docs / "performance.svg")
    print(table)


main()
