#!/usr/bin/env python3
"""Tests scripts/raises: a small project in which all agrees, and every defect that is put into it."""

import importlib.machinery
import importlib.util
import pathlib
import unittest

SCRIPT = str(pathlib.Path(__file__).resolve().parent.parent.parent / "scripts" / "raises")
loader = importlib.machinery.SourceFileLoader("raises", SCRIPT)
raises = importlib.util.module_from_spec(importlib.util.spec_from_loader("raises", loader))
loader.exec_module(raises)

HEADER = "include/infra/kelDoor.hpp"
SOURCE = "src/infra/kelDoor.cpp"
TABLE = "src/infra/kelSocketError.hpp"
MAPPING = "src/infra/kelSocketError.cpp"
TEST = "tests/infra/kelDoorTest.cpp"

PROJECT = {
    HEADER: """/// A door.
///
/// Errors: every failure is a DoorException.
///   10054 QN_ERR_RESET  (host, port)
///   other QN_ERR_SOCKET (code, host, port)
class Door {
  /// Opens it. An error ERR_JAMMED leaves it closed.
  ///   raises   ERR_LOCKED (key, number of
  ///            turns): it is locked
  ///            ERR_JAMMED (no arguments): it does not move
  ///            KeyException ERR_NO_KEY ("Door::open()", name): there is none
  void open();
};
""",
    SOURCE: """// raise<DoorException>("ERR_IN_A_COMMENT");
void Door::open() {
  raise<DoorException>("ERR_LOCKED", key_, std::max(turns(1, 2), 3));
  raise<DoorException>("ERR_JAMMED");
  raise<house::KeyException>("ERR_NO_KEY", NarrowArgument{"Door::open()", nullptr}, name);
}
""",
    TABLE: 'table = {{ {10054, "QN_ERR_RESET"}, }};\n',
    MAPPING: """
    auto error = makeError<DoorException>({generic ? "QN_ERR_SOCKET" : named->identifier, place});
    if (generic) message.addArgument(code);
    if (peer.host != nullptr) {
      message.addArgument(*peer.host);
      message.addArgument(peer.port);
    }
""",
    TEST: """const std::string file = "kelDoor.cpp";
  EXPECT_THAT(open, Raises<DoorException>("ERR_LOCKED", "k", 3).from(file));
  EXPECT_THAT(open, Raises<DoorException>("ERR_JAMMED").from("kelDoor.cpp"));
  EXPECT_THAT(open, Raises<house::KeyException>("ERR_NO_KEY", "Door::open()", name)
                        .from(file));
  EXPECT_THAT(open, Raises<DoorException>("QN_ERR_SOCKET", 10022));
  EXPECT_THAT(open, Raises<DoorException>(identifier, host, port)) << "QN_ERR_RESET";
  EXPECT_THAT([] { raise<DoorException>("ERR_OWN", 1); }, Raises<DoorException>("ERR_OWN", 1));
""",
}

NOT_IN_HEADER = f"raised, but not documented in {HEADER}"
NO_TEST = "raised, but expected by no test"
NOT_RAISED_SO = "documented, but not raised so"
NOT_EXPECTED_SO = "expected, but not raised so"

# what, file, text, replacement, problems: (file:line, the end of the sentence)
DEFECTS = [
    ("a header misspells an identifier", HEADER, "ERR_LOCKED", "ERR_LOKCED",
     [(f"{SOURCE}:3", NOT_IN_HEADER), (f"{HEADER}:8", NOT_RAISED_SO)]),
    ("a header mentions an identifier that does not exist", HEADER, "error ERR_JAMMED", "error ERR_JAM",
     [(f"{HEADER}:7", "documented, but raised nowhere")]),
    ("a header drops an argument", HEADER, "key, number of\n  ///            turns", "key",
     [(f"{SOURCE}:3", NOT_IN_HEADER), (f"{HEADER}:8", NOT_RAISED_SO)]),
    ("a header drops the list of arguments", HEADER, "ERR_JAMMED (no arguments)", "ERR_JAMMED",
     [(f"{SOURCE}:4", NOT_IN_HEADER), (f"{HEADER}:10", "documented without its arguments")]),
    ("a header adds an argument", HEADER, "(no arguments)", "(host)",
     [(f"{SOURCE}:4", NOT_IN_HEADER), (f"{HEADER}:10", NOT_RAISED_SO)]),
    ("a header swaps arguments", HEADER, "(code, host, port)", "(code, port, host)",
     [(f"{MAPPING}:2", "raised, but not documented in any header"), (f"{HEADER}:5", NOT_RAISED_SO)]),
    ("a header swaps a literal and a name", HEADER, '("Door::open()", name)', '(name, "Door::open()")',
     [(f"{SOURCE}:5", NOT_IN_HEADER), (f"{HEADER}:11", NOT_RAISED_SO)]),
    ("a header has another literal", HEADER, "Door::open()", "Door::close()",
     [(f"{SOURCE}:5", NOT_IN_HEADER), (f"{HEADER}:11", NOT_RAISED_SO)]),
    ("a header names another class", HEADER, "KeyException", "DoorException",
     [(f"{SOURCE}:5", NOT_IN_HEADER), (f"{HEADER}:11", NOT_RAISED_SO)]),
    ("a header names no class", HEADER, "every failure is a DoorException", "there are some",
     [(f"{HEADER}:10", "documented without its exception class"), (f"{SOURCE}:4", NOT_IN_HEADER)]),
    ("a header has another code", HEADER, "10054", "10055",
     [(f"{HEADER}:4", "documented for another code than {'10054'}")]),
    ("a raise is added", SOURCE, "}\n", '  raise<DoorException>("ERR_BURNT");\n}\n',
     [(f"{SOURCE}:6", NOT_IN_HEADER), (f"{SOURCE}:6", NO_TEST)]),
    ("a raise is removed", SOURCE, 'raise<DoorException>("ERR_JAMMED");', "",
     [(f"{HEADER}:7", "documented, but raised nowhere"), (f"{HEADER}:10", NOT_RAISED_SO),
      (f"{TEST}:3", NOT_EXPECTED_SO)]),
    ("a raise has another class", SOURCE, 'DoorException>("ERR_J', 'KeyException>("ERR_J',
     [(f"{SOURCE}:4", NOT_IN_HEADER), (f"{SOURCE}:4", NO_TEST), (f"{HEADER}:10", NOT_RAISED_SO),
      (f"{TEST}:3", NOT_EXPECTED_SO)]),
    ("a raise cannot be read", SOURCE, '"ERR_JAMMED"', "identifier",
     [(f"{SOURCE}:4", "the identifier of this error cannot be read")]),
    ("an entry is added to the table", TABLE, "}, }};", '}, {10061, "QN_ERR_REFUSED"}, }};',
     [(f"{TABLE}:1", "raised, but not documented in any header"), (f"{TABLE}:1", NO_TEST)]),
    ("the mapping adds its arguments in another way", MAPPING, "if (generic) message", "message",
     [(f"{MAPPING}:2", "the arguments of the mapped errors cannot be read")]),
    ("a test's expectation is removed", TEST, 'Raises<DoorException>("ERR_JAMMED")', "ThrowsSomething()",
     [(f"{SOURCE}:4", NO_TEST)]),
    ("an expectation through a variable is removed", TEST, '"QN_ERR_RESET"', '""',
     [(f"{TABLE}:1", NO_TEST)]),
    ("a test expects an argument less", TEST, '"k", 3', '"k"',
     [(f"{SOURCE}:3", NO_TEST), (f"{TEST}:2", NOT_EXPECTED_SO)]),
    ("a test expects arguments in another order", TEST, '"Door::open()", name', 'name, "Door::open()"',
     [(f"{SOURCE}:5", NO_TEST), (f"{TEST}:4", NOT_EXPECTED_SO)]),
    ("a test expects another class", TEST, "house::KeyException", "house::DoorException",
     [(f"{SOURCE}:5", NO_TEST), (f"{TEST}:4", NOT_EXPECTED_SO)]),
    ("a test expects another file", TEST, '("kelDoor.cpp")', '("kelGate.cpp")',
     [(f"{SOURCE}:4", NO_TEST), (f"{TEST}:3", NOT_EXPECTED_SO)]),
    ("a test misspells an identifier", TEST, "ERR_JAMMED", "ERR_JAMED",
     [(f"{SOURCE}:4", NO_TEST), (f"{TEST}:3", NOT_EXPECTED_SO)]),
]


class Raises(unittest.TestCase):
    def test_a_project_in_which_all_agrees_has_no_problems(self):
        problems, counts = raises.check(PROJECT)
        self.assertEqual(problems, [])
        self.assertEqual(counts, "5 raised, 5 documented, 5 expected")

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


if __name__ == "__main__":
    unittest.main()
