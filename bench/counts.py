#!/usr/bin/env python3
"""Counts instructions and allocations per item of each path, and holds them against limits.

usage: counts.py COUNTS LIMITS [--update]

COUNTS is the program of that name, LIMITS the file bench/limits.json. Each path runs with 500 and
with 5,000 items under callgrind. Exit code 1 when a count is more than a tenth above its limit, or
when the larger run takes over a third more per item: then it grows faster than its input.
"""

import concurrent.futures
import json
import os
import re
import subprocess
import sys
import tempfile

SIZES = (500, 5000)
HEADROOM = 1.1
GROWTH = 1.34


def count(program, path, items):
    """Returns instructions and allocations per item."""
    with tempfile.TemporaryDirectory() as folder:
        result = subprocess.run(
            ["valgrind", "--tool=callgrind", "--toggle-collect=*counted*",
             f"--callgrind-out-file={folder}/out", program, path, str(items)],
            capture_output=True, text=True)
    collected = re.search(r"Collected : (\d+)", result.stderr)
    if result.returncode != 0 or collected is None or int(collected[1]) == 0:
        sys.exit(f"counts: {path} failed:\n{result.stderr}")
    return int(collected[1]) / items, int(result.stdout.split()[0]) / items


def main():
    program, limits_file = sys.argv[1:3]
    with open(limits_file, encoding="utf-8") as file:
        limits = json.load(file)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        counts = dict(zip(limits, pool.map(
            lambda path: [count(program, path, items) for items in SIZES], limits)))
    failed = False
    print(f"{'path':<10} {'instructions':>13} {'limit':>8} {'allocations':>12} {'limit':>7} {'growth':>7}")
    for path, (small, large) in counts.items():
        growth = large[0] / small[0]
        limit = limits[path]
        is_above = large[0] > limit["instructions"] * HEADROOM or \
            large[1] > limit["allocations"] * HEADROOM + 0.01
        verdict = "above its limit" if is_above else "grows faster" if growth > GROWTH else ""
        failed |= bool(verdict)
        print(f"{path:<10} {large[0]:>13.0f} {limit['instructions']:>8} {large[1]:>12.2f} "
              f"{limit['allocations']:>7} {growth:>7.2f} {verdict}")
    if "--update" in sys.argv:
        for path, (_, large) in counts.items():
            limits[path] = {"instructions": round(large[0]), "allocations": round(large[1], 2)}
        with open(limits_file, "w", encoding="utf-8") as file:
            json.dump(limits, file, indent=2)
            file.write("\n")
    elif failed:
        sys.exit(1)


main()
