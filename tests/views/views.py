#!/usr/bin/env python3
"""Compares what gdb shows for the objects of kelViews.cpp with the comments in it.

    views.py MODE BUILD WORK     BUILD is the build folder, WORK a folder for files

MODE is
    objects      a running program, and a core file of it at each stop
    undescribed  the same with one core file; the library has no symbols, so nothing describes classes with
                 virtual functions
    stripped     a running program without symbols
    natvis       the views for Visual Studio name only elements of natvis and members that exist
The library is installed into WORK, and gdb must load the views from there by itself.
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
SOURCE = HERE / "kelViews.cpp"
UNKNOWN = "properties; the library's debug information is needed to show them"


def plan_of(source):
    """The stops, each with its line and its views."""
    stops, views = [], []
    for line, text in enumerate(source.read_text(encoding="utf-8").splitlines(), 1):
        found = re.match(r"  // (VIEW|VIEW-OF-LIBRARY|DAMAGE) (.*)", text)
        if found:
            expression, _, shown = found[2].partition(": ") if found[1] != "DAMAGE" else (found[2], "", "")
            views.append({"kind": found[1], "expression": expression, "text": shown})
        elif re.match(r"  //  ", text):
            views[-1]["text"] += " " + text.strip("/ ")
        elif text == "  stop();":
            stops.append({"line": line, "views": views})
            views = []
    assert not views and len(stops) > 5, "kelViews.cpp cannot be read"
    return stops


def run(command, **options):
    command = list(map(str, command))
    done = subprocess.run(command, text=True, errors="replace", capture_output=True, **options)
    if done.returncode:
        sys.exit(f"{' '.join(command)} failed:\n{done.stdout}{done.stderr}")
    return done.stdout + done.stderr


def library_of(work):
    """The folder of the installed library."""
    return next((work / "prefix").rglob("libKELINFRA.so")).parent


class Gdb:
    """gdb with the views of the installation in WORK/prefix."""

    def __init__(self, work, program, locale="C.UTF-8"):
        self.work, self.program, self.locale = work, program, locale
        self.views = work / "prefix/share/gdb/auto-load"
        self.library = library_of(work)

    def run(self, *arguments):
        # The first two commands are those of docs/debugging.md for libraries that are not in /usr.
        output = run(["gdb", "-nx", "-batch", "-iex", f"add-auto-load-safe-path {self.views}",
                      "-iex", f"add-auto-load-scripts-directory {self.views}",
                      "-iex", "set print elements 40", "-iex", "set startup-with-shell off",
                      "-iex", f"set solib-search-path {self.library}",
                      "-iex", f"set environment LD_LIBRARY_PATH={self.library}", self.program, *arguments],
                     env={**os.environ, "LC_ALL": self.locale})
        if "Python Exception" in output or "Traceback" in output:
            sys.exit(f"gdb complains:\n{output}")
        return output

    def look(self, plan, core=None):
        """The views of the plan. Without a core file, the program runs and writes one at each stop."""
        result = self.work / "result.json"
        result.unlink(missing_ok=True)
        (self.work / "plan.json").write_text(json.dumps({
            "source": SOURCE.name, "stops": plan, "core": bool(core), "cores": str(self.work / "cores"),
            "result": str(result)}))
        os.environ["KELINFRA_VIEWS_PLAN"] = str(self.work / "plan.json")
        output = self.run(*([core] if core else []), "-x", HERE / "inGdb.py")
        if not result.exists():
            sys.exit(f"gdb ended early:\n{output}")
        return json.loads(result.read_text())


def differences(rows, where, mode):
    for row in rows:
        wanted, found = row["wanted"], row["found"]
        if row["kind"] == "VIEW-OF-LIBRARY" and mode == "undescribed":
            wanted = UNKNOWN
        is_line = found.strip() and "\n" not in found and "Python Exception" not in found
        if found == wanted or wanted == "..." and is_line and len(found) < 4000:
            continue
        yield f"{where}, {SOURCE.name}:{row['line']}: {row['expression']}\n  is    {found}\n  not   {wanted}"


def escaped(rows):
    """The same expectations where the terminal shows only ASCII."""
    def ascii_of(match):
        code = ord(match[0])
        return f"\\u{code:04x}" if code < 0x10000 else f"\\U{code:08x}"
    return [{**row, "wanted": re.sub(r"[^\0-\x7f]", ascii_of, row["wanted"])} for row in rows]


def compare(mode, work, program):
    """Compares the views of the running program, of each core file and of an ASCII terminal."""
    plan = plan_of(SOURCE)
    if mode == "undescribed":
        plan = [stop for stop in plan if all(view["kind"] != "DAMAGE" for view in stop["views"])]
    (work / "cores").mkdir()
    rows = Gdb(work, program).look(plan)
    problems = list(differences(rows, "running", mode))
    wanted = sum(view["kind"] != "DAMAGE" for stop in plan for view in stop["views"])
    if len(rows) < wanted:
        problems.append(f"only {len(rows)} of {wanted} views were printed")
    cores = sorted((work / "cores").iterdir())
    for core in cores if mode == "objects" else cores[-1:]:
        problems += differences(Gdb(work, program).look(plan, core), f"core file {core.name}", mode)
    rows_in_ascii = escaped(Gdb(work, program, "C").look(plan, cores[0]))
    problems += differences(rows_in_ascii, "ASCII terminal", mode)
    shutil.rmtree(work / "cores")
    if problems:
        sys.exit("\n".join(problems))
    print(f"{len(rows)} views of a running program agree, and those of its core files")


def compare_stripped(work, program):
    """The library's functions show their objects, although the program describes nothing."""
    run(["strip", program])
    place = "break -source kelMessage.cpp -function tarvo::oss::Message::addArgument"
    output = Gdb(work, program).run("-ex", "set breakpoint pending on", "-ex", place, "-ex", "run",
                                    "-ex", "echo view:", "-ex", "output *this")
    wanted = 'view:"ERR_DISK_FULL", severe, "store.cpp":120'
    if wanted not in output:
        sys.exit(f"gdb does not print\n{wanted}\nbut\n{output}")


VIEWED = """tarvo::oss::Message tarvo::oss::MessageList tarvo::oss::BaseException tarvo::oss::ByteBuffer
  tarvo::oss::DataBuffer tarvo::oss::UTF8String tarvo::oss::SizeableBuffer<*,*>
  tarvo::util::ExtendedProperties tarvo::oss::Socket"""


def check_natvis(work, build):
    """The installed file has no problems, and a copy with a wrong name, element or class has one each."""
    program = build / "tests/views/kelinfra_view_types"
    text = re.search(r"icu_\d+::UnicodeString", run(["nm", "-C", program]))[0]
    installed = (work / "prefix/share/kelinfra/KELINFRA.natvis").read_text(encoding="utf-8")
    file = work / "checked.natvis"
    os.environ.update(KELINFRA_NATVIS=str(file), KELINFRA_TEXT_CLASS=text, KELINFRA_VIEWED=VIEWED)
    library = (library_of(work) / "libKELINFRA.so").resolve()
    for old, new, wanted in [
        ("", "", "0 problems"),
        ("lineNumber_", "line_", "there is no member line_ in line_"),
        ("block_.size<", "block_.sizes<", "there is no member sizes in block_.sizes"),
        ("[block_.length]s8", "[block_.lengths]s8", "there is no member lengths in block_.lengths"),
        (">next<", ">following<", "there is no member following in following"),
        ('Condition="ownsHandle_"', 'Condition="owns_"', "there is no member owns_ in owns_"),
        ("Fields.fBuffer", "Fields.fChars", "there is no member fChars in fUnion.fStackFields.fChars"),
        ("oss::Socket", "oss::Plug", "there is no view of tarvo::oss::Socket"),
        ("ArrayItems", "ArrayThings", "ArrayThings is not an element of natvis"),
    ]:
        if old not in installed:
            sys.exit(f"KELINFRA.natvis does not contain {old}")
        file.write_text(installed.replace(old, new) if old else installed, encoding="utf-8")
        output = run(["gdb", "-nx", "-batch", program, "-ex", f'add-symbol-file "{library}"',
                      "-x", HERE / "natvis.py"], env={**os.environ, "LC_ALL": "C.UTF-8"})
        if wanted not in output:
            sys.exit(f"with {new or 'the installed file'}, natvis.py does not say\n{wanted}\nbut\n{output}")


def main():
    mode, build, work = sys.argv[1], pathlib.Path(sys.argv[2]).resolve(), pathlib.Path(sys.argv[3]).resolve()
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    run(["cmake", "--install", build, "--prefix", work / "prefix"])
    program = work / "kelinfra_views"
    shutil.copy(build / "tests/views" / program.name, program)
    if mode == "undescribed":
        run(["strip", (library_of(work) / "libKELINFRA.so").resolve()])
    if mode == "natvis":
        check_natvis(work, build)
    elif mode == "stripped":
        compare_stripped(work, program)
    else:
        compare(mode, work, program)


main()
