#!/usr/bin/env python3
"""Turns Google Benchmark's JSON into docs/benchmarks.md: report.py RESULTS.json GOALS.json OUTPUT.md

Benchmarks are named "class/task/candidate[/arguments]"; in each task the candidate KELINFRA is set beside the others.
Named arguments are part of the task.
"""
import json
import re
import sys
from collections import defaultdict

OURS = "KELINFRA"
HEAD = """# Benchmarks

Written by `scripts/bench`. Each class stands beside what one would use instead: in one process, on the same input, pinned
to one core, repetitions in random order, the median of them. The machines are noisy; a ratio counts, an absolute
time does not. The ratio is KELINFRA's time over the alternative's: below 1 KELINFRA is faster. A goal is the largest
ratio aimed at.
"""


def medians(results):
    """(task, candidate) -> nanoseconds."""
    times = {}
    for run in results["benchmarks"]:
        if run.get("aggregate_name") != "median":
            continue
        task, candidate, arguments = re.match(r"([^/]+/[^/]+)/([^/]+)(.*)", run["run_name"]).groups()
        task += "".join(f", {argument}" for argument in re.findall(r"/(\w+:\d+)", arguments))
        real = run["run_name"].endswith("/real_time")
        scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[run["time_unit"]]
        times[task, candidate] = run["real_time" if real else "cpu_time"] * scale
    return times


def readable(nanoseconds):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def rows(times, goals):
    """class -> lines of its table."""
    wanted = {(goal["task"], goal["than"]): goal["atMost"] for goal in goals}
    absent = sorted(set(wanted) - set(times))
    unknown = [(task, candidate) for task, candidate in absent if (task, OURS) not in times]
    if unknown:
        sys.exit(f"goals without a benchmark: {unknown}")
    tables = defaultdict(list)
    for task, candidate in absent:
        name, what = task.split("/")
        goal = f"{wanted[task, candidate]:g} not measured"
        tables[name].append(f"| {what} | {readable(times[task, OURS])} | {candidate} | not installed | | {goal} |")
    for (task, candidate), other in sorted(times.items()):
        if candidate == OURS:
            continue
        ours = times[task, OURS]
        ratio = ours / other
        goal = wanted.get((task, candidate))
        verdict = "" if goal is None else f"{goal:g} " + ("met" if ratio <= goal else "missed")
        name, what = task.split("/")
        tables[name].append(f"| {what} | {readable(ours)} | {candidate} | {readable(other)} | {ratio:.2f} | {verdict} |")
    return tables


def main():
    results_file, goals_file, output_file = sys.argv[1:]
    with open(results_file, encoding="utf-8") as file:
        results = json.load(file)
    with open(goals_file, encoding="utf-8") as file:
        goals = json.load(file)
    tables = rows(medians(results), goals)
    with open(output_file, "w", encoding="utf-8") as out:
        out.write(HEAD)
        for name in sorted(tables):
            out.write(f"\n## {name}\n\n| task | {OURS} | alternative | its time | ratio | goal |\n|---|---|---|---|---|---|\n")
            out.write("\n".join(tables[name]) + "\n")
        with open(output_file.replace(".md", ".notes.md"), encoding="utf-8") as notes:
            out.write(notes.read())


main()
