#!/usr/bin/env python3
"""figures.py ROOT: each figure of docs/why.md is one of docs/benchmarks.md."""
import sys
from pathlib import Path

docs = Path(sys.argv[1]) / "docs"


def cells(line):
    return [cell.strip() for cell in line.strip("|\n").split("|")]


measured, title = set(), ""
for line in (docs / "benchmarks.md").read_text().split("\n"):
    if line.startswith("## "):
        title = line[3:]
    elif line.startswith("| ") and len(row := cells(line)) == 8:
        measured.add((title, row[0], row[1], row[3], row[4], row[6]))

rows = [tuple(cells(line)) for line in (docs / "why.md").read_text().split("\n") if line.startswith("| ")]
figures = [row for row in rows if len(row) == 6 and row[0] != "class"]
missing = [row for row in figures if row not in measured]
if missing or len(figures) != 10:
    sys.exit(f"docs/why.md has {len(figures)} figures; docs/benchmarks.md does not have these: {missing}")
