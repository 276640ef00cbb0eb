#!/usr/bin/env python3
"""Tests how scripts/mutate changes a line, draws changes, and matches the known ones."""

import importlib.machinery
import importlib.util
import pathlib
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
SCRIPT = pathlib.Path(__file__).resolve().parent.parent.parent / "scripts" / "mutate"
loader = importlib.machinery.SourceFileLoader("mutate", str(SCRIPT))
mutate = importlib.util.module_from_spec(importlib.util.spec_from_loader("mutate", loader))
loader.exec_module(mutate)

# (line, kind, every change of that kind)
CHANGES = [
    ('  raise<E>("ERR_A", host_, port_.load());', "raise",
     ['raise<E>("XERR_A", host_, port_.load());', 'raise<E>("ERR_A", port_.load());',
      'raise<E>("ERR_A", host_);', 'raise<E>("ERR_A", port_.load(), host_);']),
    ('  if (a) raise<E>("ERR_A", f(b, "(,"), c[1, 2],', "raise",
     ['if (a) raise<E>("XERR_A", f(b, "(,"), c[1, 2],', 'if (a) raise<E>("ERR_A", c[1, 2],',
      'if (a) raise<E>("ERR_A", f(b, "(,"),', 'if (a) raise<E>("ERR_A", c[1, 2], f(b, "(,"),']),
    ('  raise<E>({"ERR_A", place}, host);', "raise",
     ['raise<E>({"XERR_A", place}, host);', 'raise<E>({"ERR_A", place});']),
    ('  raise<E>("ERR_A");', "literal", []),
    ('  if (count < 1) raise<E>("ERR_A");', "operator", ['if (count <= 1) raise<E>("ERR_A");']),
    ('  f("a", "", u"b");', "literal", ['f("ax", "", u"b");', 'f("a", "x", u"b");', 'f("a", "", u"bx");']),
    (r'''  f("\"", '"');  // "a" 'b' ''', "literal",
     [r'''f("\"x", '"');  // "a" 'b' ''', r'''f("\"", 'x');  // "a" 'b' ''']),
    (r"  c = u'\\' + '\0' + 'x';", "literal",
     [r"c = u'x' + '\0' + 'x';", r"c = u'\\' + 'x' + 'x';", r"c = u'\\' + '\0' + 'y';"]),
    ("  n = 1'000;", "literal", []),
    ('  traced<probe("Converter::convert")>([&] {', "trace",
     ['tracedExit<probe("Converter::convert")>([&] {', 'traced<probe("Converter::convertData")>([&] {']),
    ('  return trace::tracedExit<trace::probe("No::probe")>([&] {', "trace",
     ['return trace::traced<trace::probe("No::probe")>([&] {']),
    ('  traced<probe("Converter::convert")>([&] {', "literal", []),
    ("  f(a, b);", "swapped", ["f(b, a);"]),
    ("  f(a, b);", "dropped", [";"]),
    ("  if (a && b) return 2;", "negated", ["if (!(a && b)) return 2;"]),
    ("  return 0x0F;", "constant", ["return 0x10;"]),
    ("// f(a, b);", "dropped", []),
]

SOURCE = """\
namespace {

constexpr int limit = 3;

struct Peer {
  unsigned int port = 0;
  int twice() const { return 2 * port; }

  bool holds(int a,
             int b) {
    return a + b;
  }
};

}  // namespace

template <class T>
Buffer<T>::Buffer(int size)
    : size_(size) {
  if (size > 1 &&
      size < 9) {
    f(1);
  } else {
    g(2);
  }
}

bool operator==(const Peer& a, const Peer& b) { return a.port == b.port; }

__attribute__((cold)) void Buffer::clear() {
// text
  return [&] {
    h(3);
  };
}
"""

# (a part of the line, its function)
FUNCTIONS = [
    ("limit = 3", ""),
    ("port = 0", "Peer"),
    ("2 * port", "Peer::twice"),
    ("a + b", "Peer::holds"),
    ("size < 9", "Buffer<T>::Buffer"),
    ("f(1)", "Buffer<T>::Buffer"),
    ("g(2)", "Buffer<T>::Buffer"),
    ("a.port", "operator=="),
    ("h(3)", "Buffer::clear"),
]


def change(path="src/infra/oss/kelX.cpp", kind="operator", number=1):
    return mutate.Change(path, number, "f", "a < b", "a <= b", kind)


class Mutate(unittest.TestCase):
    def test_changes_each_line_in_every_way(self):
        for line, kind, expected in CHANGES:
            with self.subTest(line=line, kind=kind):
                found = [after for what, after in mutate.changes_of(line) if what == kind]
                self.assertEqual([after.lstrip() for after in found], expected)

    def test_finds_the_function_of_a_line(self):
        lines = SOURCE.splitlines()
        for part, function in FUNCTIONS:
            with self.subTest(line=part):
                index = next(index for index, line in enumerate(lines) if part in line)
                self.assertEqual(mutate.function_of(lines, index), function)

    def test_draws_from_each_folder_and_each_kind(self):
        counts = {"operator": 90, "raise": 2, "trace": 5}
        changes = [change(f"src/infra/{folder}/kelX.cpp", kind, number)
                   for folder in ("oss", "simd") for kind, count in counts.items() for number in range(count)]
        for seed in range(20):
            with self.subTest(seed=seed):
                drawn = mutate.draw(changes, 6, seed)
                self.assertEqual(sorted((c.folder()[-4:], c.kind) for c in drawn),
                                 sorted([("/oss", "operator"), ("/oss", "raise"), ("/oss", "trace"),
                                         ("simd", "operator"), ("simd", "raise"), ("simd", "trace")] * 2))
                self.assertEqual(list(map(str, drawn)), list(map(str, mutate.draw(changes, 6, seed))))

    def test_draws_all_when_the_count_is_zero_or_large(self):
        changes = [change(kind=kind, number=number) for kind in ("operator", "raise") for number in range(7)]
        for count in (0, 14, 99):
            with self.subTest(count=count):
                self.assertEqual(set(mutate.draw(changes, count, 1)), set(changes))

    def known(self, page):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "docs").mkdir()
            (pathlib.Path(folder) / "docs" / "mutation.md").write_text(page)
            root, mutate.ROOT = mutate.ROOT, pathlib.Path(folder)
            try:
                return mutate.known([change()])
            finally:
                mutate.ROOT = root

    def test_knows_a_change_by_file_function_and_line(self):
        self.assertEqual(self.known("- `src/infra/oss/kelX.cpp: f: a < b  ->  a <= b`\n"), {change().key()})

    def test_refuses_a_page_that_lists_no_change(self):
        for entry in ("src/infra/oss/kelX.cpp: g: a < b  ->  a <= b",
                      "src/infra/oss/kelX.cpp: f: a < c  ->  a <= c",
                      "src/infra/oss/kelY.cpp: f: a < b  ->  a <= b",
                      "src/infra/oss/kelX.cpp: a < b  ->  a <= b"):
            with self.subTest(entry=entry):
                with self.assertRaises(SystemExit) as raised:
                    self.known(f"- `{change().key()}`\n- `{entry}`\n")
                self.assertTrue(str(raised.exception).endswith(entry), raised.exception)


if __name__ == "__main__":
    unittest.main()
