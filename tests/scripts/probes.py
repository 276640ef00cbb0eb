#!/usr/bin/env python3
"""Tests scripts/probes on small projects that it has not seen."""

import json
import pathlib
import subprocess
import tempfile
import unittest

PROBES = pathlib.Path(__file__).resolve().parent.parent.parent / "scripts" / "probes"

TABLE = """
    {"List::List", 0x636, exitOnly},
    {"List::add", 0x638},
    {"List::clear", 0x63E, either},  // the destructor shares it
"""
SOURCE = """
List::List() { tracedExit<probe("List::List")>([] {}); }
List::~List() { tracedExit<trace::probe("List::clear")>([] {}); }
void List::add() { traced<probe("List::add")>([] {}); }
void List::clear() { traced<probe("List::clear")>([] {}); }
"""

# (what changes in the table or the source, and what is reported)
FAULTS = [
    ((", exitOnly", ""), ("", ""), "List::List: no source reports its entry, so the table must state"),
    ((", either", ", exitOnly"), ("", ""), "List::clear: a source reports its entry, but the table states"),
    (("0x638", "0x638, either"), ("", ""), "List::add: no source reports its exit only, but"),
    (("", ""), ('traced<probe("List::add")>', "("), "List::add: no source reports this probe"),
    (("", ""), ('traced<probe("List::add")>', "// "), "List::add: no source reports this probe"),
    (("List::add", "List::put"), ("", ""), "List::add: the table has no such probe"),
    (("0x638", "0x639"), ("", ""), "the table no longer has: 1CD80638 List::add (entry and exit)"),
    (("{}", "{}"), ("", ""), None),
]


class Probes(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.root = pathlib.Path(self.folder.name)
        self.write(TABLE, SOURCE)
        self.assertEqual(self.run_script(), (0, ""))

    def write(self, table, source):
        folder = self.root / "src/infra/trace"
        folder.mkdir(parents=True, exist_ok=True)
        (folder / "kelProbes.hpp").write_text(table)
        (folder / "kelList.cpp").write_text(source)

    def run_script(self, *options):
        done = subprocess.run([PROBES, *options, self.root], capture_output=True, text=True)
        self.assertEqual(done.stderr, "")
        return done.returncode, done.stdout

    def test_writes_the_table_as_json(self):
        probes = json.loads((self.root / "probes/probes.json").read_text())["probes"]
        self.assertEqual([probe["reports"] for probe in probes], ["exit", "entry and exit", "either"])
        self.assertEqual(
            probes[1],
            {
                "probe": 0x1CD80638,
                "hex": "1CD80638",
                "class": "List",
                "function": "add",
                "reports": "entry and exit",
            },
        )

    def test_accepts_what_has_not_changed(self):
        self.assertEqual(self.run_script("--check"), (0, ""))

    def test_reports_every_difference(self):
        for in_table, in_source, message in FAULTS:
            with self.subTest(message=message):
                self.write(TABLE.replace(*in_table), SOURCE.replace(*in_source))
                status, printed = self.run_script("--check")
                if message is None:
                    self.assertEqual((status, printed), (0, ""))
                else:
                    self.assertEqual(status, 1)
                    self.assertIn(message, printed)

    def test_does_not_accept_a_number_that_is_used_again(self):
        self.write(TABLE.replace("List::add", "List::put"), SOURCE.replace("List::add", "List::put"))
        status, printed = self.run_script()
        self.assertEqual(status, 1)
        self.assertIn("the table no longer has: 1CD80638 List::add", printed)
        self.assertNotIn("List::put", (self.root / "probes/accepted").read_text())

    def test_adds_a_new_number_and_checks_the_file_before(self):
        self.write(
            TABLE + '{"List::join", 0x63A},\n',
            SOURCE + 'void List::join() { traced<probe("List::join")>([] {}); }\n',
        )
        status, printed = self.run_script("--check")
        self.assertEqual(status, 1)
        self.assertIn("probes/probes.json differs from the table: run scripts/probes", printed)
        self.assertEqual(self.run_script(), (0, ""))
        self.assertEqual(self.run_script("--check"), (0, ""))
        self.assertIn("1CD8063A List::join (entry and exit)", (self.root / "probes/accepted").read_text())


if __name__ == "__main__":
    unittest.main()
