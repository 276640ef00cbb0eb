#!/usr/bin/env python3
"""Follows the pages of docs/howto literally, so that a step that a page omits is noticed.

    howto.py ROOT FOLDER      writes a folder for each program into FOLDER, and FOLDER/follow.sh, which runs
                              the commands of all programs and compares what they print

A page names the file of each program in the line before the program: "save this as `NAME.cpp`:". After the
program are a block fenced as sh with the commands that compile and run it, and a block fenced as output with
what the commands print. FOLDER must not exist. tests/snippets/counts.txt states the number of programs.
"""
import re
import sys
from pathlib import Path

PROGRAM = re.compile(
    r"^```cpp\n(?P<program>.*?)^```\n(?P<between>.*?)^```output\n(?P<output>.*?)^```\n", re.M | re.S)
NAME = re.compile(r"[Ss]ave this as `([a-z-]+\.cpp)`:\n\n\Z")
COMMANDS = re.compile(r"^```sh\n(.*?)^```\n", re.M | re.S)

FOLLOW = """cd "$(dirname "$0")" || exit 1
status=0
for program in */; do
  (cd "$program" && sh -e commands >printed 2>&1 && diff expected printed) || {
    echo "differs: $program"
    status=1
  }
done
[ $status = 1 ] || echo "each program prints what its page shows"
exit $status
"""


def programs(page):
    text = page.read_text(encoding="utf-8")
    for found in PROGRAM.finditer(text):
        place = f"{page}:{text.count(chr(10), 0, found.start()) + 1}"
        name = NAME.search(text[:found.start()])
        if name is None:
            sys.exit(f"{place}: the line before the program does not name its file")
        commands = COMMANDS.search(found["between"])
        if commands is None or name[1] not in commands[1]:
            sys.exit(f"{place}: no commands after the program compile {name[1]}")
        yield {name[1]: found["program"], "commands": commands[1], "expected": found["output"]}


def main():
    root, folder = Path(sys.argv[1]), Path(sys.argv[2])
    folder.mkdir(parents=True)
    counts = (root / "tests/snippets/counts.txt").read_text(encoding="utf-8")
    stated = int(re.search(r"^docs/howto +(\d+)", counts, re.M)[1])
    found = [(page.stem, files) for page in sorted((root / "docs/howto").glob("*.md"))
             for files in programs(page)]
    if len(found) != stated:
        sys.exit(f"docs/howto has {len(found)} programs with output; tests/snippets/counts.txt says {stated}")
    for number, (page, files) in enumerate(found):
        (folder / f"{number}-{page}").mkdir()
        for name, text in files.items():
            (folder / f"{number}-{page}" / name).write_text(text, encoding="utf-8")
    (folder / "follow.sh").write_text(FOLLOW, encoding="utf-8")


main()
