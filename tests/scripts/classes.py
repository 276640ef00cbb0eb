#!/usr/bin/env python3
"""classes.py ROOT: docs/classes.md names every public class. One row stands for the classes of exceptions."""
import re
import sys
from pathlib import Path

root = Path(sys.argv[1])
headers = [header.read_text() for header in (root / "include").rglob("*.hpp")]
classes = {name for text in headers for name in re.findall(r"^class KELINFRA_API (\w+)", text, re.M)}
page = (root / "docs/classes.md").read_text()
rows = [line.split("|")[1] for line in page.split("\n") if line.startswith("| `")]
named = {name for row in rows for name in re.findall(r"`(\w+)`", row)}
missing = sorted(name for name in classes - named if not name.endswith("Exception"))
if missing or len(classes) < 30:
    sys.exit(f"{len(classes)} public classes; docs/classes.md does not name these: {missing}")
