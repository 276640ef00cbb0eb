#!/usr/bin/env python3
"""Tests scripts/raises: a small project in which all agrees, and every defect that is put into it."""

import importlib.machinery
import importlib.util
import json
import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
SCRIPT = str(ROOT / "scripts" / "raises")
sys.dont_write_bytecode = True
loader = importlib.machinery.SourceFileLoader("raises", SCRIPT)
raises = importlib.util.module_from_spec(importlib.util.spec_from_loader("raises", loader))
loader.exec_module(raises)

TABLE = "errors/identifiers.json"
HEADER = "include/infra/kelDoor.hpp"
SOURCE = "src/infra/kelDoor.cpp"
MAPPING = "src/infra/kelSocketError.cpp"
TEST = "tests/infra/kelDoorTest.cpp"

PROJECT = {
    TABLE: """{"identifiers": [
{"identifier": "ERR_JAMMED", "raised": {"DoorException": ["Door::open"]}, "arguments": []},
{"identifier": "ERR_LOCKED", "raised": {"DoorException": ["Door::open", "Door::Door"]},
 "arguments": [{"name": "key"}, {"name": "turns"}]},
{"identifier": "ERR_NO_KEY", "raised": {"KeyException": ["Door::open"]},
 "arguments": [{"name": "operation"}, {"name": "name"}]},
{"identifier": "QN_ERR_RESET", "raised": {"DoorException": ["Door::knock"]},
 "arguments": [{"name": "host"}, {"name": "port"}], "code": 10054},
{"identifier": "QN_ERR_SOCKET", "raised": {"DoorException": ["Door::knock"]},
 "arguments": [{"name": "code"}, {"name": "host"}, {"name": "port"}], "omissible": 2}
]}
""",
    HEADER: """/// A door.
///
/// Errors: every failure is a DoorException.
///   10054 QN_ERR_RESET  (host, port)
///   other QN_ERR_SOCKET (code, host, port)
class KELINFRA_API Door {
 public:
  /// Opens it as `open` does.
  explicit Door(int key);
  Door(const Door& other) = delete;

  /// Opens it. An error ERR_JAMMED leaves it closed.
  ///   raises   ERR_LOCKED (key, number of
  ///            turns): it is locked
  ///            ERR_JAMMED (no arguments): it does not move
  ///            KeyException ERR_NO_KEY ("Door::open()", name): there is none
  void open();
  /// Knocks.
  ///   raises   the error of the code
  void knock(int times,
             int pause);

  /// Closes it.
  void close();

 private:
  void turn();
};
""",
    SOURCE: """// raise<DoorException>(errors::ERR_IN_A_COMMENT);
void Door::open() {
  raise<DoorException>(errors::ERR_LOCKED, Name{key_}, Size{std::max(turns(1, 2), 3)});
  raise<DoorException>(errors::ERR_JAMMED);
  raise<house::KeyException>(errors::ERR_NO_KEY, Operation{"Door::open()"}, Name{name});
}
""",
    MAPPING: """
  return generic ? makeError<DoorException>({errors::QN_ERR_SOCKET, place}, number)
                 : makeError<DoorException>({named->entry, place});
""",
    TEST: """const std::string file = "kelDoor.cpp";
  EXPECT_THAT(open, Raises<DoorException>("ERR_LOCKED", "k", 3).from(file));
  EXPECT_THAT(open, Raises<DoorException>("ERR_JAMMED").from("kelDoor.cpp"));
  EXPECT_THAT(open, Raises<house::KeyException>("ERR_NO_KEY", "Door::open()", name)
                        .from(file));
  EXPECT_THAT(open, Raises<DoorException>("QN_ERR_SOCKET", 10022));
  EXPECT_THAT(open, Raises<DoorException>(identifier, host, port)) << "QN_ERR_RESET";
  constexpr Entry<Classes<DoorException>, Kinds<Code>> own{"ERR_OWN"};
  EXPECT_THAT([] { raise<DoorException>(own, Code{1}); }, Raises<DoorException>("ERR_OWN", 1));
""",
}

NO_TEST = "raised, but expected by no test"
NOT_IN_TABLE = "not in the table"
NOT_LISTED = "the table does not list it"
NOWHERE = "raised nowhere"

# what, file, text, replacement, problems: (file:line, the end of the sentence)
DEFECTS = [
    ("a header misspells an identifier", HEADER, "ERR_LOCKED", "ERR_LOKCED",
     [(f"{HEADER}:13", NOT_IN_TABLE), (f"{HEADER}:17", "Door::open does not document ERR_LOCKED")]),
    ("a header mentions an identifier that does not exist", HEADER, "error ERR_JAMMED", "error ERR_JAM",
     [(f"{HEADER}:12", NOT_IN_TABLE)]),
    ("a header drops an argument", HEADER, "key, number of\n  ///            turns", "key",
     [(f"{HEADER}:13", "the table has the arguments (key, turns)")]),
    ("a header drops the list of arguments", HEADER, "ERR_JAMMED (no arguments)", "ERR_JAMMED",
     [(f"{HEADER}:15", "documented without its arguments")]),
    ("a header adds an argument", HEADER, "(no arguments)", "(host)",
     [(f"{HEADER}:15", "the table has the arguments ()")]),
    ("a header swaps arguments", HEADER, "(code, host, port)", "(code, port, host)",
     [(f"{HEADER}:5", "in another order")]),
    ("a header names another class", HEADER, "KeyException", "DoorException",
     [(f"{HEADER}:16", "the table has it for KeyException")]),
    ("a header names no class", HEADER, "every failure is a DoorException", "there are some",
     [(f"{HEADER}:15", "documented without its exception class")]),
    ("a header has another code", HEADER, "10054", "10055",
     [(f"{HEADER}:4", "the table has the code 10054")]),
    ("another member documents an identifier", HEADER, "  /// Closes it.",
     "  /// Closes it.\n  ///   raises   ERR_JAMMED (no arguments)", [(f"{HEADER}:25", NOT_LISTED)]),
    ("another member documents the error of the code", HEADER, "  /// Closes it.",
     "  /// Closes it.\n  ///   raises   the error of the code", [(f"{HEADER}:25", NOT_LISTED)]),
    ("a member does not refer to the one that documents its error", HEADER, "as `open` does", "by a key",
     [(f"{HEADER}:9", "Door::Door does not document ERR_LOCKED")]),
    ("a member only has the name of a raising member as a word", HEADER, "`open` does", "one does to open it",
     [(f"{HEADER}:9", "Door::Door does not document ERR_LOCKED")]),
    ("the class does not explain the error of the code", HEADER, "10054 QN_ERR_RESET  (host, port)", "",
     [(f"{HEADER}:20", "Door::knock does not document QN_ERR_RESET, which")]),
    ("a member does not document the error of the code", HEADER, "the error of the code", "nothing",
     [(f"{HEADER}:20", "Door::knock does not document QN_ERR_SOCKET, which")]),
    ("the table lists a member that does not exist", TABLE, '"Door::knock"', '"Door::ring"',
     [(TABLE, "QN_ERR_RESET: no public member Door::ring")]),
    ("the table lists a private member", TABLE, '"Door::knock"', '"Door::turn"',
     [(TABLE, "QN_ERR_RESET: no public member Door::turn")]),
    ("the table lists a member that documents nothing", TABLE, '["Door::open"]}, "arguments": []',
     '["Door::close"]}, "arguments": []', [(f"{HEADER}:24", "Door::close does not document ERR_JAMMED"),
                                           (f"{HEADER}:17", NOT_LISTED)]),
    ("the table has another class", TABLE, '"KeyException"', '"LockException"',
     [(f"{SOURCE}:5", "the table has it for LockException"), (TABLE, f"LockException ERR_NO_KEY: {NOWHERE}"),
      (f"{HEADER}:16", "the table has it for LockException"), (f"{TEST}:4", "has it for L")]),
    ("the table has an argument more", TABLE, '[{"name": "key"}', '[{"name": "key"}, {"name": "lock"}',
     [(f"{HEADER}:13", "the arguments (key, lock, turns)"), (f"{TEST}:2", "(key, lock, turns)")]),
    ("the table lacks an identifier", TABLE, '"ERR_JAMMED"', '"ERR_STUCK"',
     [(f"{SOURCE}:4", NOT_IN_TABLE), (f"{HEADER}:12", NOT_IN_TABLE), (f"{TEST}:3", NOT_IN_TABLE),
      (TABLE, f"ERR_STUCK: {NOWHERE}")]),
    ("the table has an identifier as obsolete that is raised", TABLE, '"arguments": []}',
     '"arguments": [], "obsolete": "6.0.0"}', [(f"{SOURCE}:4", "the table has it as obsolete")]),
    ("a raise is added", SOURCE, "}\n", "  raise<DoorException>(errors::ERR_BURNT);\n}\n",
     [(f"{SOURCE}:6", NOT_IN_TABLE)]),
    ("a raise is removed", SOURCE, "raise<DoorException>(errors::ERR_JAMMED);", "",
     [(TABLE, f"ERR_JAMMED: {NOWHERE}"), (f"{TEST}:3", "not raised by kelDoor.cpp")]),
    ("a raise has another class", SOURCE, "DoorException>(errors::ERR_J", "KeyException>(errors::ERR_J",
     [(f"{SOURCE}:4", "the table has it for DoorException"), (TABLE, f"ERR_JAMMED: {NOWHERE}")]),
    ("a raise has a literal", SOURCE, "errors::ERR_JAMMED", '"ERR_JAMMED"',
     [(f"{SOURCE}:4", "write errors::ERR_JAMMED"), (TABLE, f"ERR_JAMMED: {NOWHERE}")]),
    ("a raise cannot be read", SOURCE, "errors::ERR_JAMMED", "identifier",
     [(f"{SOURCE}:4", "the identifier of this error cannot be read")]),
    ("the codes are not mapped", MAPPING, "{named->entry, place}", "{errors::ERR_JAMMED, place}",
     [(TABLE, f"QN_ERR_RESET: {NOWHERE}")]),
    ("a test's expectation is removed", TEST, 'Raises<DoorException>("ERR_JAMMED")', "ThrowsSomething()",
     [(f"{SOURCE}:4", NO_TEST)]),
    ("an expectation through a variable is removed", TEST, '"QN_ERR_RESET"', '""',
     [(f"{MAPPING}:3", NO_TEST)]),
    ("a test expects an argument less", TEST, '"k", 3', '"k"',
     [(f"{SOURCE}:3", NO_TEST), (f"{TEST}:2", "the table has the arguments (key, turns)")]),
    ("a test expects another class", TEST, "house::KeyException", "house::DoorException",
     [(f"{SOURCE}:5", NO_TEST), (f"{TEST}:4", "the table has it for KeyException")]),
    ("a test expects another file", TEST, '("kelDoor.cpp")', '("kelGate.cpp")',
     [(f"{SOURCE}:4", NO_TEST), (f"{TEST}:3", "not raised by kelGate.cpp")]),
    ("a test misspells an identifier", TEST, "ERR_JAMMED", "ERR_JAMED",
     [(f"{SOURCE}:4", NO_TEST), (f"{TEST}:3", NOT_IN_TABLE)]),
]


class Raises(unittest.TestCase):
    def test_a_project_in_which_all_agrees_has_no_problems(self):
        problems, counts = raises.check(PROJECT)
        self.assertEqual(problems, [])
        self.assertEqual(counts, "5 in the table, 5 raised, 5 documented, 5 expected")

    def test_each_defect_is_reported_with_file_and_line(self):
        for what, path, text, replacement, expected in DEFECTS:
            with self.subTest(what):
                self.assertIn(text, PROJECT[path])
                problems, _ = raises.check({**PROJECT, path: PROJECT[path].replace(text, replacement, 1)})
                for place, sentence in expected:
                    self.assertTrue(
                        any(problem.startswith(place + ":") and sentence in problem for problem in problems),
                        f"no problem at {place}: {sentence}; there are\n" + "\n".join(problems),
                    )

    def test_each_identifier_that_no_header_states_is_reported(self):
        files = raises.read(ROOT)
        headers = {path: text for path, text in files.items() if path.startswith("include/")}
        table = {entry["identifier"]: entry for entry in json.loads(files[TABLE])["identifiers"]}
        for name, entry in table.items():
            with self.subTest(name):
                without = {path: re.sub(rf"\b{name}\b", "an error", text) for path, text in headers.items()}
                problems = []
                raises.check_headers(without, table, problems)
                for member in {member for members in entry["raised"].values() for member in members}:
                    sentence = f": {member} does not document {name}, which the table lists"
                    self.assertTrue(any(problem.endswith(sentence) for problem in problems), sentence)


if __name__ == "__main__":
    unittest.main()
