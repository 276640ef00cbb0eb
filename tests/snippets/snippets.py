#!/usr/bin/env python3
"""Compiles the C++ of the public headers, README.md and docs, and runs what shows a result.

    snippets.py extract ROOT OUTPUT              writes one C++ source with every fragment
    snippets.py programs ROOT FOLDER             writes a C++ source for each program into FOLDER and prints
                                                 their names
    snippets.py run ROOT FOLDER COMMAND...       runs COMMAND, which is the program built from the fragments,
                                                 and the programs that were built into FOLDER (with the
                                                 emulator before the last word of COMMAND, if there is one),
                                                 and compares their results

The C++ is an indented block of a /// comment after an empty comment line, or a block of a Markdown file that
is fenced as cpp. A block with `int main(` is a program, any other block is a fragment.

A program is compiled unchanged, as a separate program. A block fenced as output must follow it, with all that
it prints, line by line. If the program ends with another status than 0, the last line of that block is
"[exit status N]".

A fragment becomes the body of a function. For each class X that it names, kelX.hpp is included. It may show
results in comments at the ends of lines:

    expression;              // -> VALUE            the value of the expression, or of the declared variable
    statement;               // EXPRESSION -> VALUE the value of EXPRESSION afterwards
    statement;               // prints TEXT         what is printed; blanks and line ends count alike

In Markdown, a block fenced as output shows the output of the fragment before it.

The file counts.txt states how many programs and fragments each folder has, so that one that is added, lost or
no longer recognised is noticed.
"""
import concurrent.futures
import os
import re
import subprocess
import sys
from pathlib import Path

MARKDOWN = ["*.md", "docs/**/*.md", "examples/*.md"]

NAMESPACES = "  using namespace tarvo::oss;\n  using namespace tarvo::util;"

# Blocks of Markdown that are not C++ for users of the library, by the language of their fence.
OTHER_LANGUAGES = {
    "sh": "commands; tests/package runs those that build programs with the library",
    "cmake": "tests/package builds a program with the same lines",
    "asm": "tests/inspect counts the instructions of that function in the built program",
    "properties": "the format of a request, which tests/examples sends",
    "internal-cpp": "a line of the library's own sources, with names that programs do not have",
    "wrong-cpp": "a mistake; the compiler refuses it, or the page says what happens",
    "c++": "a program of docs/errors/programs, which tests/errors compiles and runs",
    "text": "a drawing of lines and words, or the output of a program in c++",
    "console": "commands with the tool and what they print; tests/tools runs them",
    "transcript": "a run of the example programs; tests/examples compares their answers",
    "message": "what a compiler, a linker or a program says",
}


class Example:
    def __init__(self, file, line):
        self.file, self.line = file, line  # the number of the first line of code
        self.code = []  # lines
        self.values = {}  # line -> the value shown
        self.printed = []  # what lines print
        self.output = None  # the lines of the block fenced as output

    @property
    def place(self):
        return f"{self.file}:{self.line}"

    @property
    def whole(self):
        return any(re.match(r"int main\(", line) for line in self.code)


def die(text):
    sys.exit(f"snippets.py: {text}")


def header_examples(file, text):
    """Yields the examples of a header; empty comment lines between indented ones belong to the example."""
    example, last = None, None
    for number, line in enumerate(text.split("\n") + [""], 1):
        comment = re.fullmatch(r"\s*///(?: (.*))?", line)
        content = (comment[1] or "") if comment else None
        if content is not None and content.startswith("    ") and (example or last in ("", None)):
            example = example or Example(file, number)
            example.code.append(content[4:])
        elif example and content == "":
            example.code.append("")
        elif example:
            yield example
            example = None
        last = content


def markdown_examples(file, text):
    """Returns the cpp blocks. Any other block must be fenced with a language that is listed above."""
    found, fence, before, block = [], None, "", None
    for number, line in enumerate(text.split("\n"), 1):
        if fence is None and line.startswith("```"):
            fence = line[3:].strip()
            if fence == "cpp":
                found.append(Example(file, number + 1))
                block = found[-1].code
            elif fence == "output":
                if not found or found[-1].output is not None:
                    die(f"{file}:{number}: output without an example before it")
                block = found[-1].output = []
            elif fence not in OTHER_LANGUAGES:
                languages = ", ".join(["cpp", "output", *OTHER_LANGUAGES])
                die(f"{file}:{number}: a block fenced as '{fence}'; the languages are {languages}")
        elif line.startswith("```"):
            fence = block = None
        elif block is not None:
            block.append(line)
        elif fence is None and re.match(r"\s+```|\s*~~~", line):
            die(f"{file}:{number}: fences are three backquotes at the start of the line")
        elif fence is None and re.match(r"    \s*\S", line) and before.strip() == "":
            die(f"{file}:{number}: an indented block; fence it with its language")
        before = line
    if fence is not None:
        die(f"{file}: the last block is not closed")
    return found


def count(root, found):
    """Compares the numbers of programs and fragments of each folder with those that counts.txt states."""
    counted = {}
    for example in found:
        numbers = counted.setdefault(str(Path(example.file).parent), [0, 0])
        numbers[0 if example.whole else 1] += 1
    lines = (root / "tests/snippets/counts.txt").read_text().split("\n")
    rows = [line.split() for line in lines if line and not line.startswith("#")]
    stated = {folder: [int(programs), int(fragments)] for folder, programs, fragments in rows}
    for folder in sorted(counted.keys() | stated.keys()):
        is_there, should = counted.get(folder, [0, 0]), stated.get(folder, [0, 0])
        if is_there != should:
            places = "\n  ".join(e.place for e in found if str(Path(e.file).parent) == folder)
            die(f"{folder}: {is_there[0]} programs and {is_there[1]} fragments, but counts.txt states "
                f"{should[0]} and {should[1]}:\n  {places}")


def examples(root):
    """All of them, with the results that they show."""
    found = []
    for file in sorted(root.glob("include/**/*.hpp")):
        found += header_examples(str(file.relative_to(root)), file.read_text())
    for file in sorted({file for folder in MARKDOWN for file in root.glob(folder)}):
        found += markdown_examples(str(file.relative_to(root)), file.read_text())
    for example in found:
        if not example.whole:
            example.code = [instrumented(example, example.line + i, line)
                            for i, line in enumerate(example.code)]
    return found


def check(root, found):
    """The faults that can be seen without running anything."""
    for example in found:
        if example.whole and example.output is None:
            die(f"{example.place}: no block fenced as output follows this program")
    count(root, found)


def instrumented(example, number, line):
    """The line with calls that print the values which its comment shows."""
    prints = re.search(r"// prints (.*)$", line)
    if prints:
        example.printed.append(prints[1])
    shown = re.fullmatch(r"(\s*)(.*);\s*// (?:(\S.*?) )?-> (.*)", line)
    if not shown:
        return line
    indent, statement, expression, example.values[number] = shown.groups()
    declared = re.match(r"[\w:<>, ]+[ &*]+(\w+) = ", statement)
    if expression or declared:
        return f"{indent}{statement}; snippets::shows({number}, {expression or declared[1]});"
    return f"{indent}snippets::shows({number}, {statement});"


def fragments_of(found):
    return [example for example in found if not example.whole]


def shows_results(example):
    return bool(example.values or example.printed or example.output)


def source(root, fragments):
    """One source with a function for each fragment."""
    headers = {file.stem[3:]: file.relative_to(root / "include") for file in root.glob("include/**/kel*.hpp")}
    includes, functions, table = set(), [], []
    for index, example in enumerate(fragments):
        if example.file.startswith("include/"):
            includes.add(f"#include <{example.file[len('include/'):]}>")
        code = "\n".join(example.code)
        includes.update(f"#include <{headers[word]}>" for word in re.findall(r"\w+", code) if word in headers)
        includes.update(re.findall(r"^#include .*$", code, re.M))
        code = re.sub(r"^#include .*$", "", code, flags=re.M)
        functions.append(f'void example{index}() {{\n{NAMESPACES}\n#line {example.line} "{example.file}"\n'
                         f"{code}\n}}\n")
        if shows_results(example):
            table.append(f'    {{"{example.place}", example{index}}},\n')
        else:
            table.append(f"    {{nullptr, example{index}}},  // shows no result: compiled only\n")
    return (
        "// Written by tests/snippets/snippets.py.\n"
        + "\n".join(sorted(includes))
        + '\n#include "kelSnippets.hpp"\n\n'
        + "\n".join(functions)
        + "\nconst std::vector<snippets::Example> snippets::examples = {\n"
        + "".join(table)
        + "};\n"
    )


def programs_of(found):
    """name -> program; the names of a file's programs end in their numbers."""
    named = {}
    for example in found:
        if example.whole:
            stem = re.sub(r"\W+", "-", example.file.removesuffix(".md"))
            number = sum(other.file == example.file for other in named.values()) + 1
            named[f"{stem}-{number}"] = example
    return named


def write_programs(programs, folder):
    folder.mkdir(parents=True, exist_ok=True)
    for name, example in programs.items():
        text = f'#line {example.line} "{example.file}"\n' + "\n".join(example.code) + "\n"
        file = folder / f"{name}.cpp"
        if not file.exists() or file.read_text() != text:
            file.write_text(text)
    print(";".join(programs))


def result_of(command):
    """(what the command prints, its exit status)"""
    try:
        result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                stdin=subprocess.DEVNULL, timeout=300, check=False)
    except subprocess.TimeoutExpired as error:
        return (error.stdout or b"").decode("utf-8", "backslashreplace"), "a timeout after 300 s"
    return result.stdout.decode("utf-8", "backslashreplace").replace("\r\n", "\n"), result.returncode


def indented(text):
    return "".join(f"  {line}\n" for line in text.split("\n")).rstrip()


def failure_of_program(example, command):
    """None if the program prints and returns what the page shows."""
    printed, status = result_of(command)
    if status:
        printed += ("" if printed.endswith("\n") or not printed else "\n") + f"[exit status {status}]\n"
    shown = "".join(f"{line}\n" for line in example.output)
    if printed in (shown, shown[:-1]):
        return None
    return f"{example.place}: shows that it prints\n{indented(shown)}\nbut it prints\n{indented(printed)}"


def failures_of_programs(programs, folder, emulator):
    def failure(name):
        windows = folder / f"{name}.exe"
        file = windows if windows.exists() else folder / name
        return failure_of_program(programs[name], [*emulator, str(file)])

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        return [failed for failed in pool.map(failure, programs) if failed]


def failures_of_fragments(fragments, command):
    output, status = result_of(command)
    failures = [f"the program of the fragments ended with status {status}:\n{output}"] if status else []
    parts = output.split("\x1e")[1:]
    ran = {place: rest for place, _, rest in (part.partition("\n") for part in parts)}
    for example in filter(shows_results, fragments):
        if example.place not in ran:
            failures.append(f"{example.place}: did not run")
            continue
        values = dict(re.findall(r"\x1f(\d+) (.*?)\x1f\n", ran[example.place], re.S))
        for line, value in example.values.items():
            if values.get(str(line)) != value:
                found_value = values.get(str(line), "not shown")
                failures.append(f"{example.file}:{line}: shows {value}, but the value is {found_value}")
        printed = re.sub(r"\x1f.*?\x1f\n", "", ran[example.place], flags=re.S)
        shown = " ".join(example.printed + (example.output or []))
        if shown.split() != printed.split():
            failures.append(f"{example.place}: shows that it prints\n  {shown}\nbut it prints\n  {printed}")
    return failures


def run(found, folder, command):
    fragments, programs = fragments_of(found), programs_of(found)
    failures = failures_of_fragments(fragments, command)
    failures += failures_of_programs(programs, folder, command[:-1])
    if failures:
        die("\n".join(failures))
    showing = sum(map(shows_results, fragments))
    print(f"{len(programs)} programs and {showing} of {len(fragments)} fragments show results, and have them")


def main():
    action, root, place = sys.argv[1], Path(sys.argv[2]), Path(sys.argv[3])
    found = examples(root)
    if action == "programs":
        return write_programs(programs_of(found), place)
    check(root, found)
    if action == "extract":
        place.write_text(source(root, fragments_of(found)))
    else:
        run(found, place, sys.argv[4:])


main()
