#!/usr/bin/env python3
"""Runs the programs of the pages on errors and compares what they print.

    programs.py FOLDER COMMAND...    COMMAND lists the programs, or runs the one that is named

FOLDER has a file NAME.cpp for each program, and NAME.txt with all that it prints. PORT in such a file means
the port that the system chose: a number, the same at each place.
"""
import re
import subprocess
import sys
from pathlib import Path

SECONDS = 120


def matches(wanted, printed):
    """Whether the program printed what is wanted."""
    pattern = re.escape(wanted).replace("PORT", r"(?P<port>[1-9][0-9]*)", 1).replace("PORT", "(?P=port)")
    return re.fullmatch(pattern, printed) is not None


def run(command, name):
    done = subprocess.run([*command, name], text=True, capture_output=True, timeout=SECONDS)
    status = "" if done.returncode == 0 else f"[exit status {done.returncode}]\n"
    return done.stdout + done.stderr + status


def problems(folder, command):
    """The differences: first between the names, then between the outputs."""
    sources = {file.stem for file in folder.glob("*.cpp")}
    outputs = {file.stem for file in folder.glob("*.txt")}
    listed = subprocess.run(command, text=True, capture_output=True, check=True, timeout=SECONDS)
    built = set(listed.stdout.split())
    if not sources:
        yield f"{folder}: no programs"
    yield from (f"{name}: no expected output, {name}.txt" for name in sorted(sources - outputs))
    yield from (f"{name}.txt: no program" for name in sorted(outputs - sources))
    yield from (f"{name}: differs between the folder and the program that was built"
                for name in sorted(sources ^ built))
    for name in sorted(sources & outputs & built):
        wanted, printed = (folder / f"{name}.txt").read_text(), run(command, name)
        if not matches(wanted, printed):
            yield f"{name}: the page shows\n{wanted}but the program prints\n{printed}"


def main():
    folder, command = Path(sys.argv[1]), sys.argv[2:]
    found = list(problems(folder, command))
    if found:
        sys.exit("\n".join(found) + f"\n{len(found)} problems")
    print(f"{len(list(folder.glob('*.cpp')))} programs print what the pages show")


if __name__ == "__main__":
    main()
