#!/usr/bin/env python3
"""Turns Google Benchmark's JSON into docs/benchmarks.md and docs/pictures:

    report.py GOALS.json OUTPUT.md RESULTS.json...

The page begins with the tasks of FIRST and the goals that are missed, with the reasons that OUTPUT.notes.md
gives before its heading "## Notes". The tables of all tasks and the notes follow.

Benchmarks are named "class/task/candidate[/arguments]". In each task the candidate KELINFRA is compared with
the others. Named arguments are part of the task. The counter "allocations" is the number of allocations in a
run. "p50" and "p99" are times of single runs and become separate tasks.

A goal is one of
    {"task", "than", "atMost"}        the largest ratio of KELINFRA's time to that candidate's
    {"task", "thanTask", "atMost"}    and to its own time in another task
    {"task", "allocationsAtMost"}     the largest number of allocations
"""
import json
import os
import re
import sys
from collections import defaultdict

import pictures

OURS = "KELINFRA"
HEAD = """# Benchmarks

This page compares each class with what a program would use instead of it; `scripts/bench` writes it. All
candidates of a task run in one process, on the same input, pinned to one core. The repetitions are in random
order, and the figure is their median. A candidate is timed only if its answer equals KELINFRA's. The machines
are noisy: compare ratios, not absolute times. The ratio is KELINFRA's time divided by the alternative's;
below 1, KELINFRA is faster. A goal is the largest ratio aimed at. "Requests" is the average number of
allocations in one run: calls of malloc, calloc, realloc and of functions that call these.
"""
FIRST = [
    ("512 code units of mixed text to UTF-8", "Converter/512 units to UTF-8, mixed"),
    ("512 code units of Shift_JIS to UTF-8", "Converter/512 units from Shift_JIS to UTF-8, CJK"),
    ("check 4 KiB of UTF-8 and visit each character", "UTF8Iterator/construct and walk, 4 KiB, mixed"),
    ("split a text into tokens", "StringTokenizer/construct and fetch every token"),
    ("a text to a double", "Formatter/text to double"),
    ("4 KiB to Base64", "Base64/encode, bytes:4096"),
    ("append 100,000 integers to a text", "DataBuffer/append 100,000 integers"),
    ("load 1,000 settings", "ExtendedProperties/load, entries:1000"),
    ("throw and catch an error with three arguments", "Diagnostics/throw and catch, three arguments"),
    ("send 64 bytes over TCP and receive the answer", "Socket/round trip of 64 B"),
]
YARDSTICKS = {"memcpy of the text"}  # not alternatives: they do less than the task
COLUMNS = [OURS, "requests", "alternative", "its time", "its requests", "ratio", "goal"]


class Results:
    """Times in nanoseconds and allocations, each by (task, candidate)."""

    def __init__(self):
        self.times = {}
        self.requests = {}

    def add(self, run):
        task, candidate, arguments = re.match(r"([^/]+/[^/]+)/([^/]+)(.*)", run["run_name"]).groups()
        for argument in re.findall(r"/(\w+:\d+)", arguments):
            task += ", " + (run["label"] if argument.startswith("page:") else argument)
        scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[run["time_unit"]]
        real = run["run_name"].endswith("/real_time")
        self.times[task, candidate] = run["real_time" if real else "cpu_time"] * scale
        if "allocations" in run:
            self.requests[task, candidate] = run["allocations"]
        for counter in ("p50", "p99"):
            if counter in run:
                self.times[f"{task}, {counter}", candidate] = run[counter]


class Goals:
    def __init__(self, goals, results):
        self.results = results
        self.rivals = {(goal["task"], goal["than"]): goal["atMost"] for goal in goals if "than" in goal}
        self.own = [goal for goal in goals if "than" not in goal]
        self.met = 0
        self.missed = []
        unknown = {goal["task"] for goal in goals}
        unknown |= {goal["thanTask"] for goal in goals if "thanTask" in goal}
        unknown = sorted(task for task in unknown if (task, OURS) not in results.times)
        if unknown:
            sys.exit(f"goals without a benchmark: {unknown}")

    def verdict(self, what, figure, goal):
        """The verdict of one line; it is also kept for the summary."""
        if figure <= goal:
            self.met += 1
            return f"{goal:,} met"
        self.missed.append(f"| {what} | {plain(figure)} | {goal:,} |")
        return f"{goal:,} missed"

    def of_rival(self, task, candidate, ratio):
        goal = self.rivals.get((task, candidate))
        return "" if goal is None else self.verdict(f"{task} | {candidate}", ratio, goal)

    def own_line(self, goal):
        task = goal["task"]
        if "allocationsAtMost" in goal:
            figure, limit, than = self.results.requests[task, OURS], goal["allocationsAtMost"], "requests"
        else:
            than = goal["thanTask"]
            figure, limit = self.results.times[task, OURS] / self.results.times[than, OURS], goal["atMost"]
            than = "time of " + than.split("/")[1]
        verdict = self.verdict(f"{task} | {than}", figure, limit)
        return f"| {task.split('/')[1]} | {than} | {plain(figure)} | {verdict} |"


def plain(figure):
    return f"{figure:,.0f}" if figure >= 1000 else f"{figure:.3g}"


def readable(nanoseconds):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def rival_lines(results, goals):
    """class -> lines of its table."""
    lines = defaultdict(list)

    def add(task, *cells):
        name, what = task.split("/")
        ours = [what, readable(results.times[task, OURS]), count(results, task, OURS)]
        lines[name].append("| " + " | ".join([*ours, *cells]) + " |")

    for task, candidate in sorted(set(goals.rivals) - set(results.times)):
        add(task, candidate, "not installed", "", "", f"{goals.rivals[task, candidate]:g} not measured")
    for (task, candidate), other in sorted(results.times.items()):
        if candidate == OURS:
            continue
        ratio = results.times[task, OURS] / other
        goal = goals.of_rival(task, candidate, ratio)
        add(task, candidate, readable(other), count(results, task, candidate), f"{ratio:.2f}", goal)
    return lines


def count(results, task, candidate):
    requests = results.requests.get((task, candidate))
    return "" if requests is None else f"{requests:.2f}".rstrip("0").rstrip(".")


def table(head, lines):
    return f"| {' | '.join(head)} |\n" + "|---" * len(head) + "|\n" + "\n".join(lines) + "\n"


def first_lines(results):
    """A line for each task of FIRST, beside the fastest alternative."""
    for what, task in FIRST:
        others = {name: time for (its, name), time in results.times.items()
                  if its == task and name != OURS and name not in YARDSTICKS}
        best = min(others, key=others.get)
        ours = results.times[task, OURS]
        yield f"| {what} | {readable(ours)} | {best} | {readable(others[best])} | {ours / others[best]:.2f} |"


def document(results, goals, drawn, notes):
    reasons, notes = notes.split("## Notes")
    lines = rival_lines(results, goals)
    own = defaultdict(list)
    for goal in goals.own:
        own[goal["task"].split("/")[0]].append(goals.own_line(goal))
    parts = [HEAD, "\n## Ten tasks\n\nEach beside the fastest alternative that was measured.\n\n"]
    parts.append(table(["task", OURS, "alternative", "its time", "ratio"], first_lines(results)))
    parts.append(f"\n## Goals\n\n{goals.met} goals are met, {len(goals.missed)} are missed")
    missed = ":\n\n" + table(["task", "beside", "figure", "goal"], goals.missed) if goals.missed else ".\n"
    parts += [missed, reasons.rstrip(), "\n"]
    for name in sorted(lines):
        parts.append(f"\n## {name}\n\n")
        if name in drawn:
            parts.append(f"![{name}: time against size](pictures/{drawn[name]})\n\n")
        parts.append(table(["task", *COLUMNS], lines[name]))
        if name in own:
            parts.append("\n" + table(["task", "figure of KELINFRA's own", "it is", "goal"], own[name]))
    return "".join([*parts, "\n## Notes", notes])


def main():
    goals_file, output_file, *results_files = sys.argv[1:]
    results = Results()
    for results_file in results_files:
        with open(results_file, encoding="utf-8") as file:
            for run in json.load(file)["benchmarks"]:
                if run.get("aggregate_name") == "median":
                    results.add(run)
    with open(goals_file, encoding="utf-8") as file:
        goals = Goals(json.load(file), results)
    drawn = pictures.draw(results.times, os.path.join(os.path.dirname(output_file), "pictures"))
    with open(output_file.replace(".md", ".notes.md"), encoding="utf-8") as notes:
        text = document(results, goals, drawn, notes.read())
    with open(output_file, "w", encoding="utf-8") as out:
        out.write(text)
    picture = os.path.join(os.path.dirname(output_file), "pictures", "ten-tasks.svg")
    with open(picture, "w", encoding="utf-8") as out:
        out.write(pictures.ten_tasks(text))


main()
