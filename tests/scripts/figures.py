#!/usr/bin/env python3
"""figures.py ROOT: each figure of docs/why.md is one of docs/benchmarks.md, and README.md's picture shows its
table "Ten tasks"."""
import sys
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(sys.argv[1]) / "benchmarks"))
import pictures  # pylint: disable=wrong-import-position

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

if pictures.ten_tasks((docs / "benchmarks.md").read_text()) != (docs / "pictures/ten-tasks.svg").read_text():
    sys.exit("docs/pictures/ten-tasks.svg is not the table of docs/benchmarks.md: run benchmarks/pictures.py")
