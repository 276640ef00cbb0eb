#!/usr/bin/env python3
"""Tests scripts/errors: the table keeps the identifiers that programs depend on; faults are reported."""

import hashlib
import importlib.machinery
import importlib.util
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
SCRIPT = str(ROOT / "scripts" / "errors")
sys.dont_write_bytecode = True
loader = importlib.machinery.SourceFileLoader("errors", SCRIPT)
errors = importlib.util.module_from_spec(importlib.util.spec_from_loader("errors", loader))
loader.exec_module(errors)

# The numbers grow with each new identifier. The lines of errors/accepted up to that number never change.
IDENTIFIERS = 31
ACCEPTED = 33
ACCEPTED_SHA256 = "a9eaf33bfa2dc4367233bb862b622afd495ffa5dd3edb8f72c1ecc119d91587a"

# what, the change of a copy of the table, the sentence
CHANGES = [
    ("deletes an identifier", lambda table: table.pop(3), "'NLSException ERR_CONV_CONVERSION_ERROR to:name"),
    ("renames an identifier", lambda table: table[0].update(identifier="ERR_BASE64_BAD_DATA"),
     "'Base64Exception ERR_BASE64_INVALID_DATA unit:text'"),
    ("adds an argument", lambda table: table[0]["arguments"].append({"name": "x", "kind": "text"}),
     "'Base64Exception ERR_BASE64_INVALID_DATA unit:text'"),
    ("removes an argument", lambda table: table[0]["arguments"].pop(), 
     "'Base64Exception ERR_BASE64"),
    ("swaps arguments", lambda table: table[3]["arguments"].reverse(), "'NLSException ERR_CONV"),
    ("changes a kind", lambda table: table[0]["arguments"][0].update(kind="name"), "'Base64Exc"),
    ("removes a class", lambda table: table[2]["raised"].pop("IOException"),
     "'IOException ERR_BUFFER_SIZE_TOO_SMALL capacity:size'"),
    ("lets arguments be missing", lambda table: table[3].update(omissible=1), "'NLSException ERR"),
]
FAULTS = [
    ("lacks a meaning", lambda table: table[1].pop("meaning"), "missing ['meaning']"),
    ("has an unknown key", lambda table: table[1].update(meanings=""), "unknown ['meanings']"),
    ("has an unknown kind", lambda table: table[0]["arguments"][0].update(kind="path"), "the kind path does"),
    ("has a wrong name", lambda table: table[0].update(identifier="ERROR"), "not of the form"),
    ("is not sorted", lambda table: table.reverse(), "not sorted"),
    ("has an identifier twice", lambda table: table.insert(0, table[0]), "occurs twice"),
    ("has a code twice", lambda table: table[-1].update(code=10048), "two identifiers have one code"),
    ("has no class", lambda table: table[0].update(raised={}), "no class"),
    ("has a class without members", lambda table: table[0].update(raised={"IOException": []}), "a member"),
    ("has two arguments of one name", lambda table: table[3]["arguments"][1].update(name="to"), "one name"),
    ("shows an argument that does not exist", lambda table: table[0].update(user="{1}"), "is no argument"),
]


def table():
    return errors.entries((ROOT / errors.TABLE).read_text())


def accepted():
    return (ROOT / errors.ACCEPTED).read_text().splitlines()


class Errors(unittest.TestCase):
    def test_the_table_has_all_identifiers(self):
        self.assertEqual(len(table()), IDENTIFIERS)
        self.assertEqual(len(accepted()), ACCEPTED)

    def test_the_accepted_lines_are_those_that_were_accepted(self):
        lines = "\n".join(accepted()[:ACCEPTED])
        self.assertEqual(hashlib.sha256(lines.encode()).hexdigest(), ACCEPTED_SHA256, lines)

    def test_the_table_has_no_fault(self):
        self.assertEqual(list(errors.faults(table())), [])
        self.assertEqual(errors.lost(table(), accepted()), [])

    def test_each_change_that_programs_would_notice_is_reported(self):
        for what, change, sentence in CHANGES:
            with self.subTest(what):
                changed = table()
                change(changed)
                self.assertTrue(any(sentence in line for line in errors.lost(changed, accepted())))

    def test_an_identifier_may_become_obsolete_and_get_another_class(self):
        changed = table()
        changed[0]["obsolete"] = "6.0.0"
        changed[0]["raised"]["IOException"] = ["ByteArrayOutputStream::write"]
        self.assertEqual(list(errors.faults(changed)), [])
        self.assertEqual(errors.lost(changed, accepted()), [])
        self.assertNotIn("ERR_BASE64_INVALID_DATA{", errors.private_header(changed))

    def test_each_fault_of_the_table_is_reported(self):
        for what, change, sentence in FAULTS:
            with self.subTest(what):
                changed = table()
                change(changed)
                faults = list(errors.faults(changed))
                self.assertTrue(any(sentence in fault for fault in faults), faults)


class Files(unittest.TestCase):
    def run_in_copy(self, change, *arguments):
        """The exit status and what is printed in a copy of the project after `change`."""
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for path in [errors.TABLE, errors.ACCEPTED, *errors.files(table(), ROOT)]:
                (root / path).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(ROOT / path, root / path)
            for path in errors.FOLDERS:
                shutil.copytree(ROOT / path, root / path, dirs_exist_ok=True)
            change(root)
            command = [sys.executable, SCRIPT, *arguments, folder]
            done = subprocess.run(command, text=True, capture_output=True)
            self.left = {path: (root / path).read_text() for path in [errors.ACCEPTED]}
            return done.returncode, done.stdout + done.stderr

    def test_an_unchanged_copy_passes(self):
        status, text = self.run_in_copy(lambda root: None, "--check")
        self.assertEqual(status, 0, text)

    def test_each_file_that_was_edited_or_is_missing_is_named(self):
        for path in [*errors.files(table(), ROOT), errors.ACCEPTED]:
            with self.subTest(path):
                status, text = self.run_in_copy(lambda root: (root / path).write_text("x\n"), "--check")
                self.assertEqual(status, 1)
                self.assertIn(path, text)

    def test_a_new_identifier_is_appended_to_the_accepted_ones(self):
        def add(root):
            data = json.loads((root / errors.TABLE).read_text())
            data["identifiers"].insert(0, {**data["identifiers"][0], "identifier": "ERR_AAA"})
            (root / errors.TABLE).write_text(json.dumps(data))

        status, text = self.run_in_copy(add, "--check")
        self.assertEqual(status, 1)
        self.assertIn("errors/accepted is not what", text)
        self.run_in_copy(add)
        line = "Base64Exception ERR_AAA unit:text"
        self.assertEqual(self.left[errors.ACCEPTED].splitlines(), [*accepted(), line])


if __name__ == "__main__":
    unittest.main()
