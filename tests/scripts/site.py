#!/usr/bin/python3
"""Tests the builder of the documentation site and its reader in Chromium on a small site with seeded faults.

`scripts/docs test` runs it: it needs python3-markdown-it, python3-selenium and chromium.
"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPTS = pathlib.Path(__file__).resolve().parent.parent.parent / "scripts" / "site"
sys.dont_write_bytecode = True
sys.path.insert(0, str(SCRIPTS))
import browse  # pylint: disable=wrong-import-position

HEADER = """#pragma once

#ifdef __linux__
#define CONDITIONAL linux
#endif
#define SUM(a, b) \\
  ((a) + \\
   (b))

namespace tarvo::oss {

/// Counts things. See docs/more.md.
///
///     Counter counter;   // an example
class KELINFRA_API Counter {
 public:
  /// Counts up.
  ///   by       how much; a row that
  ///            continues
  ///   raises   ERR_TOO_MANY (limit): too many
  ///            std::bad_alloc: no memory
  template <class Number, std::enable_if_t<(sizeof(Number) > 1), int> = 0>
  void count(Number by) const {
    total_ += by;
  }
  /// Two that share a comment.
  void first();
  void second(void (*hook)(int value));
  explicit Counter(int start) : total_{start} {}
  static const char NAME[4];  ///< "abc"

  // --- ask; a heading

  int total() const { return total_; }

 private:
  /// Not shown.
  int total_ = 0;
};

namespace detail {
void concealed();
}  // namespace detail

/// A function.
KELINFRA_API void install(const Counter& counter) noexcept;

}  // namespace tarvo::oss
"""

FILES = {
    "README.md": "# Small\n\nSee [more](docs/more.md#a-second-heading) and `Counter::count`.\n\n"
                 "![a picture](docs/pictures/a.svg)\n",
    "docs/more.md": "# More\n\n| a | b |\n|---|---|\n| 1 | 2 |\n\n## A second heading\n\nText.\n\n"
                    "```cpp\nint wide = 0;  // " + "wide " * 60 + "\n```\n",
    "docs/pictures/a.svg": '<svg xmlns="http://www.w3.org/2000/svg" width="10" height="10"></svg>\n',
    "docs/navigation.txt": "# All\nREADME.md\ndocs/more.md\nreference\n# Errors\ndocs/errors/*\n",
    "docs/errors/ERR_TOO_MANY.md": "# ERR_TOO_MANY\n\nToo many.\n",
    "docs/errors/index.md": "# Errors\n\nERR_TOO_MANY\n",
    "errors/identifiers.json": '{"identifiers": [{"identifier": "ERR_TOO_MANY"}]}',
    "exports/linux.txt": "aFunction\ntarvo::oss::Counter::Counter(int)\ntarvo::oss::Counter::first()\n"
                         "tarvo::oss::install(tarvo::oss::Counter const&)\n",
    "include/infra/oss/kelCounter.hpp": HEADER,
}

# (file of the project, text, its replacement, the message)
FAULTS_OF_SOURCES = [
    ("README.md", "docs/more.md#", "docs/less.md#",
     "README.md: the link docs/less.md#a-second-heading leads to no page"),
    ("README.md", "#a-second-heading", "#a-third", "README.md: docs/more.html has no heading #a-third"),
    ("README.md", "a.svg", "b.svg", "README.md: there is no picture docs/pictures/b.svg"),
    ("README.md", "![a picture]", "![]", "docs/pictures/a.svg has no text for people who cannot see it"),
    ("README.md", "![a picture](docs/pictures/a.svg)", "", "docs/pictures/a.svg: no page shows this picture"),
    ("README.md", "# Small", "Small", "README.md: does not begin with a title"),
    ("docs/navigation.txt", "docs/more.md\n", "", "docs/more.md: is in no section of docs/navigation.txt"),
    ("docs/navigation.txt", "reference\n", "docs/gone.md\n", "there is no page docs/gone.md"),
    ("docs/navigation.txt", "reference\n", "not docs/gone.md\n", "there is no page docs/gone.md"),
    ("errors/identifiers.json", "TOO_MANY", "TOO_FEW",
     "docs/errors: ERR_TOO_FEW is no identifier or has no page"),
    ("docs/navigation.txt", "docs/errors/*\n", "not docs/errors/ERR_TOO_MANY.md\ndocs/errors/index.md\n",
     "docs/errors: ERR_TOO_MANY is no identifier or has no page"),
    ("exports/linux.txt", "first()\n", "first()\ntarvo::oss::Counter::first(int)\n",
     "exports/linux.txt has 2 of Counter.first, the reference 1"),
    ("include/infra/oss/kelCounter.hpp", "  void first();\n", "",
     "exports/linux.txt has 1 of Counter.first, the reference 0"),
    ("include/infra/oss/kelCounter.hpp", "void first();", "++;", "no name in this declaration: ++;"),
    ("include/infra/oss/kelCounter.hpp", "void first();", "void first(;", "its brackets do not end:"),
    ("include/infra/oss/kelCounter.hpp", "namespace tarvo::oss {", "namespace tarvo::detail {",
     "kelCounter.hpp: class Counter is not in the reference"),
]

# By the part of the reader that finds them: (file of the site, text, its replacement, the message)
FAULTS_OF_SITES = {
    "pages": [
        ("index.html", "docs/more.html#a-second-heading", "docs/more.html#gone",
         "the link to docs/more.html#gone is dead: no such anchor"),
        ("index.html", "docs/more.html#a-second-heading", "docs/gone.html",
         "the link to docs/gone.html is dead: no such file"),
        ("docs/pictures/a.svg", None, None, "the picture docs/pictures/a.svg is missing"),
        ("docs/more.html", "</main>", '<img alt="x" src="http://127.0.0.1:9/x.png"></main>',
         "docs/more.html: requests http://127.0.0.1:9/x.png"),
        ("docs/more.html", "</head>", '<link rel="preconnect" href="https://fonts.example"></head>',
         "docs/more.html: refers to https://fonts.example"),
        ("site.css", ":root {", '@import "http://127.0.0.1:9/x.css"; :root {',
         "requests http://127.0.0.1:9/x.css"),
        ("docs/more.html", "</main>", "<script>console.error('seeded')</script></main>", "the console shows"),
        ("docs/more.html", "</main>", "<script>missing()</script></main>", "missing is not defined"),
        ("docs/more.html", 'class="scroll"', 'style="width: 2000px"', "at 360 pixels it scrolls sideways"),
        ("docs/more.html", "</main>", '<p style="width: 500px">wide</p></main>',
         "at 360 pixels it scrolls sideways"),
        ("docs/more.html", "</main>", '<p style="color: #999">faint</p></main>',
         "light: the contrast is 2.85"),
        ("site.css", "--faint: #9da7b3", "--faint: #57606a", "dark: the contrast is"),
        ("docs/more.html", "</main>", '<p id="main">again</p></main>', "the anchor #main is there twice"),
        ("docs/more.html", "</main>", "<button></button></main>", "a screen reader has no name for"),
    ],
    "search": [
        ("search.js", "Counter.count", "Counter.gone", "reference/Counter.html#Counter.gone does not exist"),
        ("site.css", "code { display: block", "code { display: none", "Counter.count is not shown"),
        ("search.js", '"Counter::count"', '"Counter::other"', "ter::cou does not find Counter.count"),
        ("site.js", "title.includes(word) || text.includes(word)", "title === word",
         "does not find Counter.count"),
    ],
    "keyboard": [
        ("index.html", '<a class="skip" href="#main">Skip to the text</a>', "",
         "the first stop is the link to the text, not"),
        ("site.css", ":focus-visible {", ":focus-visible { outline: none !important;", "is not seen"),
        ("site.js", "event.key === \"ArrowDown\"", "event.key === \"x\"", "the arrow key does not reach"),
        ("site.js", "event.key === \"Escape\"", "event.key === \"x\"", "Escape does not close the search"),
        ("site.js", "first.click()", "first.blur()", "Enter does not open the first hit"),
        ("site.js", "store(shownTheme())", "label()", "the next page does not keep the colours"),
        ("site.css", ":root[data-theme=\"dark\"]", ":root.dark", "the switch does not change the colours"),
        ("site.js", "classList.toggle(\"shown\")", "classList.toggle(\"x\")", "the menu does not open"),
        ("site.css", ".scripted #navigation:not(.shown) { display: none }", "", "the menu is open at first"),
    ],
}


class Site(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root, self.site = pathlib.Path(folder.name) / "project", pathlib.Path(folder.name) / "a site"
        self.write(FILES)

    def write(self, files):
        for name, text in files.items():
            path = self.root / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")

    def run_script(self, name, *arguments):
        command = [sys.executable, "-B", SCRIPTS / name, *arguments]
        return subprocess.run(command, capture_output=True, text=True)

    def build(self):
        return self.run_script("build.py", self.root, self.site)

    def replaced(self, file, old, new):
        """Writes the file with a replacement; without a text, removes it. Returns the former text."""
        text = file.read_text(encoding="utf-8")
        if old is None:
            file.unlink()
        else:
            self.assertIn(old, text)
            file.write_text(text.replace(old, new), encoding="utf-8")
        return text

    def reference(self):
        built = self.build()
        self.assertEqual((built.returncode, built.stderr), (0, ""))
        return (self.site / "reference/Counter.html").read_text(encoding="utf-8")

    def test_builds_a_page_for_each_file_and_header(self):
        built = self.build()
        self.assertEqual((built.returncode, built.stderr), (0, ""))
        self.assertEqual(built.stdout, "6 pages, 1 headers, 1 classes, 9 declarations, 1 pages of errors\n")

    def test_shows_each_public_declaration_with_its_anchor(self):
        page = self.reference()
        for name in ("Counter.count", "Counter.first", "Counter.second", "Counter.Counter", "Counter.NAME",
                     "Counter.total", "install", "CONDITIONAL", "SUM"):
            self.assertIn(f'<code id="{name}">', page)

    def test_shows_the_value_of_a_macro_unless_it_depends_on_a_condition(self):
        page = self.reference()
        self.assertIn('<span class="directive">#define</span> CONDITIONAL</code>', page)
        self.assertIn("SUM(a, b) \\\n  ((a) + \\\n   (b))</code>", page)

    def test_shows_nothing_private(self):
        page = self.reference()
        for name in ("total_", "Not shown", "concealed"):
            self.assertNotIn(name, page)

    def test_shows_rows_examples_headings_and_links_of_comments(self):
        page = self.reference()
        self.assertIn('<th scope="row" class="short"><code>by</code></th>'
                      "<td><div>how much; a row that continues</div></td>", page)
        self.assertIn(" (limit): too many</div><div>std::bad_alloc: no memory</div>", page)
        self.assertIn('<code>Counter counter;   <span class="comment">// an example</span></code>', page)
        self.assertIn('<h3 id="ask-a-heading">ask; a heading</h3>', page)
        self.assertIn('<a href="../docs/more.html">docs/more.md</a>', page)

    def test_links_code_to_the_reference(self):
        self.reference()
        self.assertIn('<a href="reference/Counter.html#Counter.count"><code>Counter::count</code></a>',
                      (self.site / "index.html").read_text(encoding="utf-8"))

    def test_links_identifiers_to_their_pages_and_lists_the_index_first(self):
        page = self.reference()
        self.assertIn('<a href="../docs/errors/ERR_TOO_MANY.html">ERR_TOO_MANY</a> (limit): too many', page)
        self.assertLess(page.index(">Errors</a>"), page.index(">ERR_TOO_MANY</a>"))

    def test_shows_a_file_that_is_no_page_as_text(self):
        self.write({"LICENSE": "Free & <open>\n",
                    "docs/more.md": "# More\n\n## A second heading\n\n[Licence](../LICENSE)\n"})
        self.reference()
        self.assertIn('href="../LICENSE.html"', (self.site / "docs/more.html").read_text(encoding="utf-8"))
        self.assertIn("Free &amp; &lt;open&gt;", (self.site / "LICENSE.html").read_text(encoding="utf-8"))

    def test_escapes_html_of_pages(self):
        self.write({"docs/more.md": "# More\n\n## A second heading\n\n<script>alert(1)</script> and `<b>`\n"})
        self.reference()
        page = (self.site / "docs/more.html").read_text(encoding="utf-8")
        self.assertIn("&lt;script&gt;alert(1)", page)
        self.assertIn("<code>&lt;b&gt;</code>", page)

    def test_the_builder_reports_each_fault(self):
        for name, old, new, message in FAULTS_OF_SOURCES:
            with self.subTest(message=message):
                text = self.replaced(self.root / name, old, new)
                built = self.build()
                self.assertEqual(built.returncode, 1, built.stdout)
                self.assertIn(message, built.stderr)
                self.write({name: text})

    def test_the_browser_reports_each_fault_and_nothing_else(self):
        self.build()
        browser = browse.Browser()
        self.addCleanup(browser.driver.quit)
        searches = [("ter::cou", "Counter.count"), ("TOO_MAN", "Counter.count")]
        self.assertEqual(browser.look(self.site, searches), [])
        for part, faults in FAULTS_OF_SITES.items():
            for name, old, new, message in faults:
                with self.subTest(message=message, old=old):
                    file = self.site / name
                    text = self.replaced(file, old, new)
                    found = "\n".join(browser.look(self.site, searches, [part]))
                    file.write_text(text, encoding="utf-8")
                    self.assertIn(message, found)

    def test_the_reader_fails_if_there_is_a_fault(self):
        self.build()
        self.replaced(self.site / "index.html", "docs/more.html#a-second-heading", "docs/more.html#gone")
        read = self.run_script("browse.py", self.site, "ter::cou>Counter.count")
        self.assertEqual(read.returncode, 1, read.stdout)
        self.assertEqual(read.stderr, "index.html: the link to docs/more.html#gone is dead: no such anchor\n")


if __name__ == "__main__":
    unittest.main()
