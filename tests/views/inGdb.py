"""Runs in gdb, for views.py: stops the program at each line of the plan, or opens a core file, and prints the
expressions that the plan names."""

import json
import os
import re

import gdb

with open(os.environ["KELINFRA_VIEWS_PLAN"], encoding="utf-8") as file:
    plan = json.load(file)


def printed(command):
    try:
        return gdb.execute(command, to_string=True)
    except gdb.error as error:
        return f"gdb reports: {error}"


def number(match):
    value = int(gdb.parse_and_eval(match.group(1)))
    return f"{value:#x}" if "data_" in match.group(1) else str(value)


def look(stop, change):
    """With `change`, the memory is changed as the plan wants it. A core file contains the last change."""
    views = stop["views"] if change else {view["expression"]: view for view in stop["views"]}.values()
    for view in views:
        if view["kind"] == "DAMAGE":
            if change:
                gdb.execute("set var " + view["expression"])
            continue
        wanted = re.sub(r"<((?:->|[^<>])+)>", number, view["text"])
        yield {"line": stop["line"], "expression": view["expression"], "wanted": wanted,
               "kind": view["kind"], "found": printed("output " + view["expression"])}


def live():
    stops = {stop["line"]: stop for stop in plan["stops"]}
    for line in stops:
        gdb.execute(f"break {plan['source']}:{line}", to_string=True)
    gdb.execute("run", to_string=True)
    while gdb.selected_inferior().pid:
        stop = stops[gdb.selected_frame().find_sal().line]
        yield from look(stop, True)
        core = f"{plan['cores']}/{len(os.listdir(plan['cores']))}-{stop['line']}"
        gdb.execute(f"generate-core-file {core}", to_string=True)
        gdb.execute("continue", to_string=True)


def post_mortem():
    line = gdb.selected_frame().find_sal().line
    for stop in plan["stops"]:
        if stop["line"] == line:
            yield from look(stop, False)


result = list(post_mortem() if plan["core"] else live())
with open(plan["result"], "w", encoding="utf-8") as file:
    json.dump(result, file)
