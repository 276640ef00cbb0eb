#!/usr/bin/env python3
"""Draws time against size, one SVG for each class: draw(times, folder) -> {class: file name}. Both axes are
logarithmic.

    pictures.py PAGE PICTURE    draws the table "Ten tasks" of PAGE, which report.py wrote, into PICTURE

The ground is light or dark, as the viewer's settings demand.
"""
import math
import os
import re
import sys
from collections import defaultdict
from xml.sax.saxutils import escape

OURS = "KELINFRA"
SIZE = re.compile(
    r"(?P<name>bytes|units|entries):(?P<named>\d+)"
    r"|\b(?P<number>\d+) (?P<unit>B|KiB|MiB|units)\b"
    r"|\bover (?P<sockets>\d+)\b"
)
SCALE = {"B": (1, "bytes"), "KiB": (1 << 10, "bytes"), "MiB": (1 << 20, "bytes"), "units": (1, "units")}
COLOURS = [
    "#2f81f7", "#1a9e5c", "#a855f7", "#d97706", "#7b8794",
    "#0fa3b1", "#8a9a0b", "#ec4899", "#9c6b4e", "#5b6ee1",
]
OUR_COLOUR = "#e5484d"

PANEL_WIDTH, PANEL_HEIGHT, COLUMNS = 660, 250, 2
# The picture of ten tasks: the left edge of the bars, the width of a bar for the alternative's time.
BARS, BAR_WIDTH, BAR_HEIGHT = 330, 300, 26
PLOT = {"left": 62, "top": 34, "width": 290, "height": 168}

STYLE = """
  .ground { fill: #ffffff }
  text { font: 12px sans-serif; fill: #1f2328 }
  .title { font-weight: bold }
  .grid { stroke: #d5dae0; stroke-width: 1 }
  .limit { stroke: #7b8794; stroke-width: 2 }
  @media (prefers-color-scheme: dark) {
    .ground { fill: #0d1117 }
    text { fill: #e6edf3 }
    .grid { stroke: #30363d }
  }
"""


def sized(task):
    """(the task without its size but with the size's unit, the size); (None, None) for a task without one."""
    found = list(SIZE.finditer(task))
    if not found:
        return None, None
    last = found[-1]
    if last["named"]:
        size, counted = int(last["named"]), last["name"]
    elif last["sockets"]:
        size, counted = int(last["sockets"]), "sockets"
    else:
        scale, counted = SCALE[last["unit"]]
        size = int(last["number"]) * scale
    before, after = task[: last.start()], task[last.end() :]
    family = before.removesuffix(", ") + after if last["named"] else before + "\u2026" + after
    return f"{family}: {counted}", size


def families(times):
    """class -> family -> candidate -> sorted (size, nanoseconds); families of one size are left out."""
    classes = defaultdict(lambda: defaultdict(lambda: defaultdict(list)))
    for (task, candidate), time in times.items():
        name, what = task.split("/")
        family, size = sized(what)
        if size is not None:
            classes[name][family][candidate].append((size, time))
    result = {}
    for name, found in sorted(classes.items()):
        kept = {}
        for family, lines in sorted(found.items()):
            lines = {candidate: sorted(points) for candidate, points in sorted(lines.items())}
            if OURS in lines and len(lines[OURS]) > 1:
                kept[family] = lines
        if kept:
            result[name] = kept
    return result


class Axis:
    """A logarithmic scale: maps the decades around the values to a number of pixels."""

    def __init__(self, values, start, end):
        self.low = math.log10(min(values)) - 0.1
        self.high = math.log10(max(values)) + 0.1
        self.start, self.end = start, end

    def at(self, value):
        return self.start + (math.log10(value) - self.low) / (self.high - self.low) * (self.end - self.start)

    def decades(self):
        return [10.0**power for power in range(math.ceil(self.low), math.floor(self.high) + 1)]


def text(x, y, what, more=""):
    return f'<text x="{x:.1f}" y="{y:.1f}"{more}>{escape(what)}</text>'


def line(x1, y1, x2, y2):
    return f'<line class="grid" x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}"/>'


def duration(nanoseconds):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:g} {unit}"
    return f"{nanoseconds:g} ns"


def amount(size):
    for unit, scale in (("Mi", 1 << 20), ("Ki", 1 << 10)):
        if size >= scale and size % scale == 0:
            return f"{size // scale} {unit}"
    return f"{size:,}"


class Pen:
    """The style of a candidate's line. Ours is thick; when all colours are used, lines are dashed."""

    def __init__(self, colour, width=1.5, dashed=False):
        self.colour, self.width = colour, width
        self.dashes = ' stroke-dasharray="5 3"' if dashed else ""

    def draw(self, places):
        path = " ".join(f"{x:.1f},{y:.1f}" for x, y in places)
        dots = "".join(
            f'<circle cx="{x:.1f}" cy="{y:.1f}" r="{self.width + 1}" fill="{self.colour}"/>'
            for x, y in places
        )
        stroke = f'fill="none" stroke="{self.colour}" stroke-width="{self.width}"{self.dashes}'
        return f'<polyline points="{path}" {stroke}/>{dots}'


def pens(candidates):
    others = sorted(set(candidates) - {OURS})
    result = {name: Pen(COLOURS[i % len(COLOURS)], dashed=i >= len(COLOURS)) for i, name in enumerate(others)}
    result[OURS] = Pen(OUR_COLOUR, width=3)
    return result


def panel(family, lines, pen_of):
    left, top, width, height = (PLOT[key] for key in ("left", "top", "width", "height"))
    sizes = sorted({size for points in lines.values() for size, _ in points})
    x = Axis(sizes, left, left + width)
    y = Axis([time for points in lines.values() for _, time in points], top + height, top)
    parts = [text(left, top - 14, family, ' class="title"')]
    for decade in y.decades():
        parts.append(line(left, y.at(decade), left + width, y.at(decade)))
        parts.append(text(left - 6, y.at(decade) + 4, duration(decade), ' text-anchor="end"'))
    for size in sizes:
        parts.append(line(x.at(size), top, x.at(size), top + height))
        parts.append(text(x.at(size), top + height + 16, amount(size), ' text-anchor="middle"'))
    # Ours is drawn last, so it is on top. The legend is ordered by the height at which the lines end.
    for candidate in sorted(lines, key=lambda name: name == OURS):
        parts.append(pen_of[candidate].draw([(x.at(size), y.at(time)) for size, time in lines[candidate]]))
    for row, candidate in enumerate(sorted(lines, key=lambda name: -lines[name][-1][1])):
        middle = top + 4 + row * 17
        parts.append(pen_of[candidate].draw([(left + width + 12, middle), (left + width + 34, middle)]))
        parts.append(text(left + width + 42, middle + 4, candidate))
    return "\n".join(parts)


def svg(width, height, parts):
    size = f'width="{width}" height="{height}" viewBox="0 0 {width} {height}"'
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" {size}>',
        f"<style>{STYLE}</style>",
        f'<rect class="ground" width="{width}" height="{height}"/>',
        *parts,
    ]) + "\n</svg>\n"


def picture(found):
    pen_of = pens(candidate for lines in found.values() for candidate in lines)
    columns = min(COLUMNS, len(found))
    width, height = columns * PANEL_WIDTH, math.ceil(len(found) / columns) * PANEL_HEIGHT
    parts = []
    for i, (family, lines) in enumerate(found.items()):
        parts.append(f'<g transform="translate({i % columns * PANEL_WIDTH} {i // columns * PANEL_HEIGHT})">')
        parts.append(panel(family, lines, pen_of) + "\n</g>")
    return svg(width, height, parts)


def draw(times, folder):
    os.makedirs(folder, exist_ok=True)
    files = {}
    for name, found in families(times).items():
        files[name] = f"{name}.svg"
        with open(os.path.join(folder, files[name]), "w", encoding="utf-8") as out:
            out.write(picture(found))
    return files


def ten_tasks(page):
    """The table "Ten tasks" of a page as bars: KELINFRA's time; the alternative's time is the line."""
    rows = re.findall(r"^\| (.*) \| (.*) \| (.*) \| (.*) \| ([0-9.]+) \|$", page.split("## Goals")[0], re.M)
    height = 44 + BAR_HEIGHT * len(rows)
    end = BARS + BAR_WIDTH
    labels = BARS + BAR_WIDTH * max(1, *(float(row[4]) for row in rows)) + 12
    parts = [text(8, 20, f"Time of {OURS}; the line is the alternative's time", ' class="title"')]
    for row, (task, ours, other, _, ratio) in enumerate(rows):
        y = 34 + row * BAR_HEIGHT
        length = BAR_WIDTH * float(ratio)
        parts.append(text(8, y + 16, task))
        parts.append(f'<rect x="{BARS}" y="{y + 4}" width="{length:.1f}" height="16" fill="{OUR_COLOUR}"/>')
        parts.append(text(labels, y + 16, f"{ours}: {ratio} of {other}"))
    parts.append(line(end, 30, end, height - 10).replace('"grid"', '"limit"'))
    return svg(math.ceil(labels) + 300, height, parts)


def main():
    page, picture_file = sys.argv[1:]
    with open(page, encoding="utf-8") as file:
        drawn = ten_tasks(file.read())
    with open(picture_file, "w", encoding="utf-8") as out:
        out.write(drawn)


if __name__ == "__main__":
    main()
