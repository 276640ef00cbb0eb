#!/usr/bin/env python3
"""Compiles the C++ examples of the public headers, README.md and docs, and runs those that show a result.

    snippets.py extract ROOT OUTPUT      writes one C++ source with every example
    snippets.py run ROOT COMMAND...      runs the program built from that source and compares its results

An example is an indented block of a /// comment after an empty comment line, or a block of a Markdown file
that is fenced as cpp. It becomes the body of a function, or the function if it is a whole program. For each
class X that it names, kelX.hpp is included. It shows results in comments at the ends of lines:

    expression;              // -> VALUE            the value of the expression, or of the declared variable
    statement;               // EXPRESSION -> VALUE the value of EXPRESSION afterwards
    statement;               // prints TEXT         what is printed; blanks and line ends count alike

In Markdown, a block fenced as output shows the output of the cpp block before it.
"""
import re
import subprocess
import sys
from pathlib import Path

# The number of examples, so that the test notices one that is added, lost or no longer recognised.
EXAMPLES = 25

MARKDOWN = ["*.md", "docs/*.md", "examples/*.md"]

NAMESPACES = "  using namespace tarvo::oss;\n  using namespace tarvo::util;"

# Blocks of Markdown that are not C++ for users of the library, by the language of their fence.
OTHER_LANGUAGES = {
    "sh": "commands; tests/package runs those that build programs with the library",
    "cmake": "tests/package builds a program with the same lines",
    "asm": "tests/inspect counts the instructions of that function in the built program",
    "properties": "the format of a request, which tests/examples sends",
    "internal-cpp": "a line of the library's own sources, with names that programs do not have",
    "text": "a drawing of lines and words",
    "transcript": "a run of the example programs; tests/examples compares their answers",
}


class Example:
    def __init__(self, file, line, code):
        self.file, self.line, self.code = file, line, code  # code: lines; `line` is the number of the first
        self.values = {}  # line -> the value shown
        self.printed = []  # what lines print

    @property
    def place(self):
        return f"{self.file}:{self.line}"


def die(text):
    sys.exit(f"snippets.py: {text}")


def header_examples(file, text):
    """Yields the examples of a header; empty comment lines between indented ones belong to the example."""
    block, first, last = [], 0, None
    for number, line in enumerate(text.split("\n") + [""], 1):
        comment = re.fullmatch(r"\s*///(?: (.*))?", line)
        content = (comment[1] or "") if comment else None
        if content is not None and content.startswith("    ") and (block or last in ("", None)):
            if not block:
                first = number
            block.append(content[4:])
        elif block and content == "":
            block.append("")
        elif block:
            yield Example(file, first, block)
            block = []
        last = content


def markdown_examples(file, text):
    """Yields the cpp blocks. Any other block must be fenced with a language that is listed above."""
    example, fence, before = None, None, ""
    for number, line in enumerate(text.split("\n"), 1):
        if fence is None and line.startswith("```"):
            fence = line[3:].strip()
            if fence == "cpp":
                example = Example(file, number + 1, [])
            elif fence == "output":
                if example is None:
                    die(f"{file}:{number}: output without an example before it")
            elif fence not in OTHER_LANGUAGES:
                languages = ", ".join(["cpp", "output", *OTHER_LANGUAGES])
                die(f"{file}:{number}: a block fenced as '{fence}'; the languages are {languages}")
        elif line.startswith("```"):
            if fence == "cpp":
                yield example
            fence = None
        elif fence == "cpp":
            example.code.append(line)
        elif fence == "output":
            example.printed.append(line)
        elif fence is None and re.match(r"    \s*\S", line) and before.strip() == "":
            die(f"{file}:{number}: an indented block; fence it with its language")
        before = line


def examples(root):
    """All of them, with the results that they show."""
    found = []
    for file in sorted(root.glob("include/**/*.hpp")):
        found += header_examples(str(file.relative_to(root)), file.read_text())
    for file in sorted(file for folder in MARKDOWN for file in root.glob(folder)):
        found += markdown_examples(str(file.relative_to(root)), file.read_text())
    if len(found) != EXAMPLES:
        die(f"{len(found)} examples and not {EXAMPLES}: {', '.join(example.place for example in found)}")
    for example in found:
        example.code = [instrumented(example, example.line + i, line) for i, line in enumerate(example.code)]
    return found


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


def source(root, found):
    headers = {file.stem[3:]: file.relative_to(root / "include") for file in root.glob("include/**/kel*.hpp")}
    includes, functions, table = set(), [], []
    for index, example in enumerate(found):
        if example.file.startswith("include/"):
            includes.add(f"#include <{example.file[len('include/'):]}>")
        code = "\n".join(example.code)
        includes.update(f"#include <{headers[word]}>" for word in re.findall(r"\w+", code) if word in headers)
        includes.update(re.findall(r"^#include .*$", code, re.M))
        code = re.sub(r"^#include .*$", "", code, flags=re.M)
        # A whole program: its main is a function like the others.
        whole = re.search(r"^int main\(\)", code, re.M)
        code = code.replace("int main()", f"void example{index}()") if whole else f"{code}\n}}"
        opening = "" if whole else f"void example{index}() {{\n{NAMESPACES}\n"
        functions.append(f'{opening}#line {example.line} "{example.file}"\n{code}\n')
        if example.values or example.printed:
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


def run(found, command):
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=300)
    output = result.stdout.decode("utf-8", "backslashreplace").replace("\r\n", "\n")
    failures = [f"the program ended with status {result.returncode}:\n{output}"] if result.returncode else []
    parts = output.split("\x1e")[1:]
    ran = {place: rest for place, _, rest in (part.partition("\n") for part in parts)}
    for example in found:
        if not example.values and not example.printed:
            continue
        if example.place not in ran:
            failures.append(f"{example.place}: did not run")
            continue
        values = dict(re.findall(r"\x1f(\d+) (.*?)\x1f\n", ran[example.place], re.S))
        for line, value in example.values.items():
            if values.get(str(line)) != value:
                found_value = values.get(str(line), "not shown")
                failures.append(f"{example.file}:{line}: shows {value}, but the value is {found_value}")
        printed = re.sub(r"\x1f.*?\x1f\n", "", ran[example.place], flags=re.S)
        shown = " ".join(example.printed)
        if shown.split() != printed.split():
            failures.append(f"{example.place}: shows that it prints\n  {shown}\nbut it prints\n  {printed}")
    if failures:
        die("\n".join(failures))
    print(f"{len(ran)} of {len(found)} examples show results, and have them")


def main():
    root = Path(sys.argv[2])
    found = examples(root)
    if sys.argv[1] == "extract":
        Path(sys.argv[3]).write_text(source(root, found))
    else:
        run(found, sys.argv[3:])


main()
