#!/usr/bin/env python3
"""snippets.py COMPILER INCLUDE_FOLDER...: tests/snippets/snippets.py accepts a page that shows what its C++
does, and fails with the place of each kind of difference."""
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

SNIPPETS = Path(__file__).resolve().parent.parent / "snippets"
COMPILER, *INCLUDES = sys.argv[1:]
CLEANED = tempfile.TemporaryDirectory()
KEPT = Path(CLEANED.name)
BUILT = {}  # the text of a source -> (its program, the compiler's messages)

PROGRAM = """# Page

```cpp
#include <cstdio>

int main() {
  std::puts("one");
  std::puts("  two");
  return 0;
}
```

It prints:

```output
one
  two
```
"""

FRAGMENT = """
```cpp
std::printf("three\\n");  // prints three
const int sum = 1 + 1;   // -> 2
```
"""


def compiled(source, program, *more):
    """The compiler's messages; empty if it succeeds. Equal sources are compiled once."""
    text = source.read_text()
    if text not in BUILT:
        flags = ["-std=c++17", "-O0", "-I", SNIPPETS, *(f"-I{folder}" for folder in INCLUDES if folder)]
        kept = KEPT / str(len(BUILT))
        result = subprocess.run([COMPILER, *flags, source, *more, "-licuuc", "-o", kept],
                                capture_output=True, text=True, check=False)
        BUILT[text] = (kept, result.stderr if result.returncode else "")
    kept, messages = BUILT[text]
    if not messages:
        shutil.copy(kept, program)
    return messages


def checked(page, counts="docs 1 1"):
    """The output of the checker for a project with that page; "" if it finds nothing."""
    with tempfile.TemporaryDirectory() as folder:
        root, built = Path(folder), Path(folder) / "built"
        for name, text in {"docs/page.md": page, "tests/snippets/counts.txt": counts}.items():
            (root / name).parent.mkdir(parents=True, exist_ok=True)
            (root / name).write_text(text)

        def script(action, *arguments):
            return subprocess.run([sys.executable, SNIPPETS / "snippets.py", action, root, *arguments],
                                  capture_output=True, text=True, check=False)

        names = script("programs", built)
        extracted = script("extract", root / "fragments.cpp")
        if names.returncode or extracted.returncode:
            return names.stderr + extracted.stderr
        messages = compiled(root / "fragments.cpp", root / "fragments", SNIPPETS / "kelSnippetsMain.cpp")
        for name in names.stdout.split():
            messages += compiled(built / f"{name}.cpp", built / name)
        return messages or script("run", built, root / "fragments").stderr


def expect(pattern, page, counts="docs 1 1"):
    said = checked(page, counts)
    if not (re.search(pattern, said, re.S) if pattern else said == ""):
        sys.exit(f"expected {pattern or 'nothing'}, but the checker says:\n{said}\nof the page:\n{page}")


def changed(old, new):
    page = PROGRAM + FRAGMENT
    assert old in page, old
    return page.replace(old, new)


expect("", PROGRAM + FRAGMENT)
expect("", changed("return 0", "return 3").replace("  two\n```\n", "  two\n[exit status 3]\n```\n"))
# Programs must be refused for a different line, a blank, an additional or missing line, and another exit
# status.
expect(r"docs/page.md:4: shows.*one\n    two\n.*but it prints.*uno\n", changed('("one")', '("uno")'))
expect(r"docs/page.md:4: shows", changed("\n  two\n", "\n two\n"))
expect(r"docs/page.md:4: shows", changed("\n  two\n", "\n  two\nthree\n"))
expect(r"docs/page.md:4: shows", changed("\n  two\n", "\n"))
expect(r"docs/page.md:4: shows.*\[exit status 3\]", changed("return 0", "return 3"))
expect(r"docs/page.md:4: shows.*\[exit status 3\]", changed("  two\n```\n", "  two\n[exit status 3]\n```\n"))
# An output without a program and a program without an output must be refused.
expect(r"docs/page.md:4: no block fenced as output", changed("```output", "```text"))
expect(r"docs/page.md:19: output without an example", PROGRAM + "```output\nmore\n```\n" + FRAGMENT)
expect(r"docs/page.md:1: output without an example", "```output\nmore\n```\n" + PROGRAM + FRAGMENT)
# Code that does not compile, and results of fragments.
expect(r"docs/page.md:7:.*error", changed('("one")', '("one"'))
expect(r"docs/page.md:21:.*error", changed("std::printf", "std::print_it"))
expect(r"docs/page.md:22: shows 2, but the value is 3", changed("1 + 1", "1 + 2"))
expect(r"docs/page.md:21: shows that it prints\n  three", changed('"three', '"four'))
# Blocks that the checker would overlook must be refused, and missing blocks too.
expect("docs/page.md:3: a block fenced as 'cxx'", changed("```cpp\n#include", "```cxx\n#include"))
expect(r"docs/page.md:3: fences are", changed("```cpp\n#include", "  ```cpp\n#include"))
expect(r"docs/page.md: the last block is not closed", PROGRAM + FRAGMENT + "```cpp\n")
expect(r"docs: 1 programs and 1 fragments, but counts.txt states 2 and 1", PROGRAM + FRAGMENT, "docs 2 1")
expect(r"docs/sub: 0 programs and 0 fragments, but counts.txt states 1 and 0", PROGRAM + FRAGMENT,
       "docs 1 1\ndocs/sub 1 0")
print("the checker fails for each kind of difference")
