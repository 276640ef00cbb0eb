#!/usr/bin/env python3
"""Tests scripts/includes on small projects that it has not seen."""

import pathlib
import subprocess
import tempfile
import unittest

INCLUDES = pathlib.Path(__file__).resolve().parent.parent.parent / "scripts" / "includes"

PAGE = """# A page

| folder | not this one |
|---|---|
| `src/infra/platform` | `src/infra/util` |

| folder | contents | may include |
|---|---|---|
| `include/infra/oss` | `headers` | |
| `src/infra/platform` | system calls | |
| `src/infra/oss` | classes | `include/infra/oss`, `src/infra/platform` |
| `src/infra/util` | more classes | `src/infra/oss` |

After the table: `src/infra/oss`.

| question | file | answer |
|---|---|---|
| Where is A? | `oss/kelA.cpp` | `Alpha::first` calls `second`, as `a sentence in code` says |
"""
FILES = {
    "include/infra/oss/kelA.hpp": "",
    "src/infra/oss/kelA.cpp": "void Alpha::first() { second(); }",
    "src/infra/oss/kelB.hpp": "",
    "src/infra/platform/kelP.hpp": "",
    "src/infra/util/kelU.hpp": "",
}

# (file, text, what is reported)
OFFENDERS = [
    ("src/infra/oss/kelX.cpp", '#include "util/kelU.hpp"\n',
     "src/infra/oss/kelX.cpp:1: src/infra/oss may not include src/infra/util"),
    ("src/infra/oss/kelX.cpp", '// text\n\n#include "util/kelU.hpp"\n', "src/infra/oss/kelX.cpp:3: "),
    ("src/infra/oss/kelX.cpp", "#include <util/kelU.hpp>\n", "src/infra/oss/kelX.cpp:1: "),
    ("src/infra/oss/kelX.cpp", '  #  include "util/kelU.hpp"\n', "src/infra/oss/kelX.cpp:1: "),
    ("src/infra/oss/kelX.cpp", '#include "../util/kelU.hpp"\n', "src/infra/oss/kelX.cpp:1: "),
    ("src/infra/platform/kelX.hpp", '#include "oss/kelB.hpp"\n',
     "src/infra/platform/kelX.hpp:1: src/infra/platform may not include src/infra/oss"),
    ("src/infra/util/kelX.cpp", '#include "platform/kelP.hpp"\n',
     "src/infra/util/kelX.cpp:1: src/infra/util may not include src/infra/platform"),
    ("src/infra/util/kelX.cpp", '#include "infra/oss/kelA.hpp"\n',
     "src/infra/util/kelX.cpp:1: src/infra/util may not include include/infra/oss"),
    ("include/infra/oss/kelX.hpp", '#include "oss/kelB.hpp"\n',
     "include/infra/oss/kelX.hpp:1: include/infra/oss may not include src/infra/oss"),
    ("src/infra/extra/kelX.cpp", "", "src/infra/extra: docs/architecture.md has no row for this folder"),
    ("src/infra/platform/posix/kelX.cpp", "",
     "src/infra/platform/posix: docs/architecture.md has no row for this folder"),
]

ALLOWED = [
    ("src/infra/oss/kelX.cpp", '#include "infra/oss/kelA.hpp"\n#include "platform/kelP.hpp"\n'),
    ("src/infra/oss/kelX.cpp", '#include "kelB.hpp"\n#include <string>\n#include <unicode/unistr.h>\n'),
    ("src/infra/oss/kelX.cpp", '// #include "util/kelU.hpp"\n'),
    ("src/infra/util/kelX.cpp", '#include "oss/kelB.hpp"\n#include "util/kelU.hpp"\n'),
]


def run(files, page=PAGE):
    with tempfile.TemporaryDirectory() as folder:
        for name, text in {**FILES, **files, "docs/architecture.md": page}.items():
            path = pathlib.Path(folder, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, "utf-8")
        return subprocess.run([INCLUDES, folder], capture_output=True, text=True)


class Includes(unittest.TestCase):
    def test_reports_each_offender_and_nothing_else(self):
        for file, text, expected in OFFENDERS:
            with self.subTest(file=file, text=text):
                result = run({file: text})
                lines = result.stdout.split("\n")
                self.assertEqual(result.returncode, 1, result.stdout)
                self.assertTrue(lines[0].startswith(expected), result.stdout)
                self.assertIn("1 problems", lines[1])

    def test_reports_nothing_that_is_allowed(self):
        for file, text in ALLOWED:
            with self.subTest(file=file, text=text):
                result = run({file: text})
                self.assertEqual(result.returncode, 0, result.stdout)

    def test_reports_a_row_without_a_folder(self):
        result = run({}, PAGE.replace("\n\nAfter", "\n| `src/infra/gone` | nothing | |\n\nAfter"))
        self.assertEqual(result.returncode, 1)
        self.assertIn("src/infra/gone: docs/architecture.md has a row, but", result.stdout)

    def test_reports_answers_that_name_what_does_not_exist(self):
        for old, new, expected in [
            ("oss/kelA.cpp`", "oss/kelGone.cpp`", "names oss/kelGone.cpp, which does not exist"),
            ("Alpha::first", "Alpha::gone", "names Alpha::gone, which occurs nowhere"),
            ("`second`", "`gone`", "names gone, which occurs nowhere"),
        ]:
            with self.subTest(new=new):
                result = run({}, PAGE.replace(old, new))
                self.assertEqual(result.returncode, 1)
                self.assertIn(expected, result.stdout)

    def test_fails_without_a_table(self):
        self.assertEqual(run({}, "# A page\n").returncode, 1)


if __name__ == "__main__":
    unittest.main()
