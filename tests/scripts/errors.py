#!/usr/bin/env python3
"""Tests scripts/errors and tests/errors/programs.py: the table keeps the identifiers that programs depend on;
faults of the table, of the pages and of their programs are reported."""

import hashlib
import importlib.machinery
import importlib.util
import json
import pathlib
import shutil
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
SCRIPT = str(ROOT / "scripts" / "errors")
sys.dont_write_bytecode = True


def module(name, path):
    loader = importlib.machinery.SourceFileLoader(name, path)
    loaded = importlib.util.module_from_spec(importlib.util.spec_from_loader(name, loader))
    loader.exec_module(loaded)
    return loaded


errors = module("errors", SCRIPT)
programs = module("programs", str(ROOT / "tests" / "errors" / "programs.py"))

# The numbers grow with each new identifier. The lines of errors/accepted up to that number never change.
IDENTIFIERS = 31
ACCEPTED = 33
PAGES = 32  # with the index
PROGRAMS = 59
ACCEPTED_SHA256 = "4a331f2b93f5639499def47fce4cd71b35b2aea1fefa9046ac7b22b9c942db00"

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
    ("does not say when arguments are missing", lambda table: table[3].update(omissible=1),
     "omissible and omissible_if belong together"),
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


CURE = f"{errors.PROGRAMS}/ERR_MSGLIST_EMPTY.cure"
RAISE = f"{errors.PROGRAMS}/ERR_SOCKET_TIMEOUT.raise"
SEAM = "tests/infra/oss/kelFormatterSeamTest.cpp"

# what, a file, its new text (None: it is deleted), the sentence
PROGRAM_FAULTS = [
    ("a program is missing", f"{CURE}.cpp", None, "EMPTY.cure.cpp is missing"),
    ("an output is missing", f"{RAISE}.txt", None, "TIMEOUT.raise.txt is missing"),
    ("a program belongs to no page", f"{errors.PROGRAMS}/ERR_NO.cure.cpp", "", "belongs to no identifier"),
    ("an output belongs to no program", f"{errors.PROGRAMS}/ERR_NO.cure.txt", "", "belongs to no identifier"),
    ("a page belongs to no identifier", f"{errors.PAGES}/ERR_NO.md", "", "belongs to no identifier"),
    ("a cure raises an error", f"{CURE}.txt", "ERR_MSGLIST_EMPTY: []\n", "the cure raises ERR_MSGLIST_EMPTY"),
    ("a program raises another error", f"{RAISE}.txt",
     "oss::SocketException\nERR_SOCKET_CLOSED: [] - [a] [1]\n", "not the class and one message"),
    ("a program has another class", f"{RAISE}.txt", "NLSException\nERR_SOCKET_TIMEOUT: [] - [a] [1]\n",
     "not the class and one message"),
    ("a program prints two messages", f"{RAISE}.txt",
     "oss::SocketException\nERR_SOCKET_TIMEOUT: [] - [a] [1]\nERR_SOCKET_TIMEOUT: [] - [a] [1]\n",
     "not the class and one message"),
    ("a message lacks an argument", f"{RAISE}.txt", "oss::SocketException\nERR_SOCKET_TIMEOUT: [] - [a]\n",
     "not the 2 arguments"),
    ("the named test does not exist", SEAM, "TEST(A, B) {\n}\n", "has no test FormatSettings."),
    ("the named test does not name the identifier", SEAM,
     "TEST(FormatSettings, RaiseOutOfMemoryIfAFormatCannotBeCreatedAndStayUnchanged) {\n}\n", "has no test"),
]


class Files(unittest.TestCase):
    def run_in_copy(self, change, checking=True):
        """The problems in a copy of the project after `change`."""
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            named = {entry["impossible"]["file"] for entry in table() if "impossible" in entry}
            for path in [errors.TABLE, errors.ACCEPTED, *named, *errors.files(table(), ROOT)]:
                (root / path).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(ROOT / path, root / path)
            shutil.copytree(ROOT / errors.PROGRAMS, root / errors.PROGRAMS)
            change(root)
            problems, _ = errors.renew(root, checking)
            self.accepted = (root / errors.ACCEPTED).read_text().splitlines()
            return "\n".join(problems)

    def test_an_unchanged_copy_passes(self):
        self.assertEqual(self.run_in_copy(lambda root: None), "")

    def test_each_file_that_was_edited_or_is_missing_is_named(self):
        paths = list(errors.files(table(), ROOT))

        def change(root):
            (root / paths[0]).unlink()
            for path in paths[1:]:
                (root / path).write_text((root / path).read_text() + "\n")

        problems = self.run_in_copy(change)
        for path in paths:
            self.assertIn(f"{path} is not what scripts/errors writes", problems)

    def test_each_fault_of_the_programs_is_reported(self):
        for what, path, text, sentence in PROGRAM_FAULTS:
            def change(root, path=path, text=text):
                if text is None:
                    (root / path).unlink()
                else:
                    (root / path).write_text(text)

            with self.subTest(what):
                self.assertIn(sentence, self.run_in_copy(change))

    def test_there_are_all_pages_and_programs(self):
        self.assertEqual(len(list((ROOT / errors.PAGES).glob("*.md"))), PAGES)
        self.assertEqual(len(list((ROOT / errors.PROGRAMS).glob("*.cpp"))), PROGRAMS)

    def test_a_new_identifier_is_appended_to_the_accepted_ones(self):
        def add(root):
            data = json.loads((root / errors.TABLE).read_text())
            data["identifiers"].insert(0, {**data["identifiers"][0], "identifier": "ERR_AAA"})
            (root / errors.TABLE).write_text(json.dumps(data))
            for file in (root / errors.PROGRAMS).glob("ERR_BASE64_INVALID_DATA.*"):
                text = file.read_text().replace("ERR_BASE64_INVALID_DATA", "ERR_AAA")
                file.with_name(file.name.replace("ERR_BASE64_INVALID_DATA", "ERR_AAA")).write_text(text)

        self.assertIn("errors/accepted is not what", self.run_in_copy(add))
        self.assertEqual(self.run_in_copy(add, False), "")
        self.assertEqual(self.accepted, [*accepted(), "Base64Exception ERR_AAA unit:text"])


class Programs(unittest.TestCase):
    """The comparison of what programs print, with a script in the place of the built programs."""

    def problems(self, files, built, printed="port 80, 80\n", status=0):
        with tempfile.TemporaryDirectory() as folder:
            for name, text in files.items():
                (pathlib.Path(folder) / name).write_text(text)
            code = (f"import sys\nif len(sys.argv) < 2: print({built!r})\n"
                    f"else: print({printed!r}, end=''); sys.exit({status})")
            return list(programs.problems(pathlib.Path(folder), [sys.executable, "-c", code]))

    def test_a_program_that_prints_what_its_file_has_passes(self):
        self.assertEqual(self.problems({"a.cpp": "", "a.txt": "port PORT, PORT\n"}, "a"), [])

    def test_each_difference_is_reported(self):
        both = {"a.cpp": "", "a.txt": "port PORT, PORT\n"}
        for what, arguments, sentence in [
            ("no programs", ({}, ""), "no programs"),
            ("no expectation", ({"a.cpp": ""}, "a"), "a: no expected output"),
            ("no program", ({**both, "b.txt": ""}, "a"), "b.txt: no program"),
            ("not built", (both, ""), "a: differs between the folder"),
            ("built only", (both, "a b"), "b: differs between the folder"),
            ("another text", (both, "a", "x\n"), "the program prints\nx"),
            ("two ports", (both, "a", "port 80, 81\n"), "the program prints\nport 80, 81"),
            ("no port", (both, "a", "port x, x\n"), "the program prints"),
            ("more text", (both, "a", "port 80, 80\n\n"), "the program prints"),
            ("a failure", (both, "a", "port 80, 80\n", 3), "[exit status 3]"),
        ]:
            with self.subTest(what):
                found = self.problems(*arguments)
                self.assertTrue(any(sentence in problem for problem in found), found)


if __name__ == "__main__":
    unittest.main()
