#!/usr/bin/env python3
"""Compares the instructions and allocations of the scenarios with benchmarks/instructions.json, or renews it:

    instructions.py check|renew EXPECTED.json PRINTED DUMPS

PRINTED is the output of kelinfra_scenarios, DUMPS the folder of Callgrind's dumps. Instructions may exceed
the recorded number by MARGIN, allocations by nothing. The numbers depend on the compiler, the C library, ICU
and the processor. If one of them differs from the recorded one, the script prints the difference, and both
numbers may exceed by MARGIN_OF_OTHERS. A number that improved by more than the margin is printed, too, so
that somebody renews it.
"""
import glob
import json
import os
import platform
import re
import subprocess
import sys

MARGIN = 0.03
MARGIN_OF_OTHERS = 0.25


def said(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout.strip()


def surroundings():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        vectors = "AVX2" if re.search(r"^flags.*\bavx2\b", file.read(), re.MULTILINE) else "no AVX2"
    return {
        "compiler": "GCC " + said("c++", "-dumpfullversion"),
        "C library": " ".join(platform.libc_ver()),
        "ICU": said("pkg-config", "--modversion", "icu-uc"),
        "processor": f"{platform.machine()}, {vectors}",
        "valgrind": said("valgrind", "--version"),
    }


def measured(printed, dumps):
    """Scenario -> {"instructions", "requests"}."""
    figures = {}
    for dump in glob.glob(os.path.join(dumps, "*")):
        with open(dump, encoding="utf-8") as file:
            text = file.read()
        name = re.search(r"^desc: Trigger: Client Request: (.*)$", text, re.MULTILINE)
        if name:
            figures[name[1]] = {"instructions": int(re.search(r"^totals: (\d+)$", text, re.MULTILINE)[1])}
    with open(printed, encoding="utf-8") as file:
        for line in file:
            requests, name = line.rstrip("\n").split(" ", 1)
            figures[name]["requests"] = int(requests)
    return dict(sorted(figures.items()))


def verdict(figure, noted, margin):
    if figure > noted * (1 + margin):
        return "worse"
    return "better" if figure < noted * (1 - margin) else ""


def compare(expected, figures, around):
    noted = expected["scenarios"]
    if set(noted) != set(figures):
        sys.exit(f"the scenarios are {sorted(figures)}; noted are {sorted(noted)}")
    recorded = expected["noted with"].items()
    others = [f"{key} {around[key]}, noted {was}" for key, was in recorded if around[key] != was]
    same = not others
    if others:
        print(f"other versions than noted, so the margin is {MARGIN_OF_OTHERS:.0%}: " + "; ".join(others))
    margins = {
        "instructions": MARGIN if same else MARGIN_OF_OTHERS,
        "requests": 0 if same else MARGIN_OF_OTHERS,
    }
    worse, better = 0, 0
    for name, both in figures.items():
        for what, figure in both.items():
            was = noted[name][what]
            found = verdict(figure, was, margins[what])
            if found:
                change = f"{figure / was - 1:+.1%}" if was else "none before"
                print(f"{name}: {figure:,} {what}, noted {was:,} ({change}): {found}")
            worse += found == "worse"
            better += found == "better"
    if better:
        print(f"better than noted: {better}; to hold on to that: scripts/bench --renew-instructions")
    if worse:
        sys.exit(f"worse than noted: {worse}; if that is wanted: scripts/bench --renew-instructions")
    print(f"{len(figures)} scenarios: none takes more than noted")


def renew(file_name, figures):
    lines = ",\n".join(f'    "{name}": {json.dumps(both)}' for name, both in figures.items())
    noted_with = ",\n".join(f'    "{key}": "{value}"' for key, value in surroundings().items())
    with open(file_name, "w", encoding="utf-8") as out:
        out.write(f'{{\n  "noted with": {{\n{noted_with}\n  }},\n  "scenarios": {{\n{lines}\n  }}\n}}\n')


def main():
    what, file_name, printed, dumps = sys.argv[1:]
    figures = measured(printed, dumps)
    if what == "renew":
        renew(file_name, figures)
        return
    with open(file_name, encoding="utf-8") as file:
        compare(json.load(file), figures, surroundings())


main()
