#!/usr/bin/env python3
"""howto.py ROOT: each page of docs/howto states how to save, compile and run its programs, and
tests/package/howto.py finds pages that omit a step and programs that print something else."""
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(sys.argv.pop(1))
PAGE = """Save this as `one.cpp`:

```cpp
int main() {}
```

Compile and run it:

```sh
test -f one.cpp
echo 1
```

It prints:

```output
1
```
"""
# (text of the page, its replacement, what is reported)
OFFENDERS = [
    ("Save this as `one.cpp`:\n\n", "", "page.md:1: the line before the program does not name its file"),
    ("```sh\ntest -f one.cpp\necho 1\n```\n", "", "page.md:3: no commands after the program compile"),
    ("test -f one.cpp", "test -f two.cpp", "page.md:3: no commands after the program compile one.cpp"),
    ("```output", "```text", "docs/howto has 0 programs with output; tests/snippets/counts.txt says 1"),
]
# The same for what the commands print.
DIFFERENCES = [
    ("echo 1", "echo 2", "> 2"),
    ("echo 1", "echo 1\nfalse", "differs: 0-page/"),
    ("test -f one.cpp", "test -f one.cpp/x", "differs: 0-page/"),
]


class HowTo(unittest.TestCase):
    def extract(self, page, folder):
        """Writes a project with that page, and returns the result of the extraction."""
        root = Path(folder) / "a project"
        for name, text in (("docs/howto/page.md", page), ("tests/snippets/counts.txt", "docs/howto 1 0\n")):
            (root / name).parent.mkdir(parents=True, exist_ok=True)
            (root / name).write_text(text)
        return self.run_on(root, root / "programs")

    def run_on(self, root, folder):
        return subprocess.run([ROOT / "tests/package/howto.py", root, folder], text=True, check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def follow(self, folder):
        return subprocess.run(["sh", Path(folder) / "a project/programs/follow.sh"], text=True, check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def test_each_page_states_every_step(self):
        with tempfile.TemporaryDirectory() as folder:
            result = self.run_on(ROOT, Path(folder) / "programs")
            self.assertEqual((result.returncode, result.stdout), (0, ""))

    def test_accepts_a_page_with_every_step(self):
        with tempfile.TemporaryDirectory() as folder:
            self.assertEqual(self.extract(PAGE, folder).returncode, 0)
            result = self.follow(folder)
            self.assertEqual(result.returncode, 0)
            self.assertEqual(result.stdout, "each program prints what its page shows\n")

    def test_reports_a_page_that_omits_a_step(self):
        for text, replacement, expected in OFFENDERS:
            with self.subTest(text), tempfile.TemporaryDirectory() as folder:
                result = self.extract(PAGE.replace(text, replacement), folder)
                self.assertEqual(result.returncode, 1)
                self.assertIn(expected, result.stdout)

    def test_reports_commands_that_print_something_else_or_fail(self):
        for text, replacement, expected in DIFFERENCES:
            with self.subTest(text), tempfile.TemporaryDirectory() as folder:
                self.assertEqual(self.extract(PAGE.replace(text, replacement), folder).returncode, 0)
                result = self.follow(folder)
                self.assertEqual(result.returncode, 1)
                self.assertIn(expected, result.stdout)


unittest.main()
