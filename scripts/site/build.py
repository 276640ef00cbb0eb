#!/usr/bin/python3
"""Builds the documentation site.

    build.py ROOT OUTPUT      pages of ROOT and the reference from its headers, into the folder OUTPUT

docs/navigation.txt lists the pages in their order. Prints the numbers of pages, classes and members. Fails if
a page is in no navigation, a link or a picture leads nowhere, or a part of a header is lost. The result
depends on the files of ROOT only: not on the time, the folder or the locale.
"""

import collections
import fnmatch
import html
import json
import re
import shutil
import sys
from pathlib import Path

sys.dont_write_bytecode = True
import markup
import reference

HERE = Path(__file__).resolve().parent


def address_of(source):
    """The page of a Markdown file."""
    return re.sub(r"(^|/)README\.md$", r"\1index.html", source).replace(".md", ".html")


def sources(root):
    """All Markdown files that the site must show."""
    patterns = ["*.md", "docs/**/*.md", "examples/**/*.md"]
    return sorted({str(file.relative_to(root)) for pattern in patterns for file in root.glob(pattern)})


class Navigation:
    """docs/navigation.txt: a line "# SECTION" begins a section, "PAGE" is a page. A name with "*" means the
    pages that are not named, index.md first, the others in the order of their names. "reference" means the
    pages of the headers, and "not PAGE" a file that is no page."""

    def __init__(self, root, found, errors):
        self.sections = []  # (title, [source, or None for the reference])
        listed, self.left = set(), []
        lines = [line for line in (root / "docs/navigation.txt").read_text("utf-8").splitlines() if line]
        named = {line.removeprefix("not ") for line in lines}
        for line in lines:
            if line.startswith("# "):
                self.sections.append((line[2:], []))
            elif line.startswith("not "):
                self.left.append(line[4:])
            elif line == "reference":
                self.sections[-1][1].append(None)
            elif "*" in line:
                matching = [name for name in fnmatch.filter(found, line) if name not in named | listed]
                matching.sort(key=lambda name: (not name.endswith("/index.md"), name))
                self.sections[-1][1].extend(matching)
                listed.update(matching)
            else:
                self.sections[-1][1].append(line)
                listed.add(line)
        errors += [f"{name}: is in no section of docs/navigation.txt" for name in found
                   if name not in listed and name not in self.left]
        errors += [f"docs/navigation.txt: there is no page {name}" for name in [*listed, *self.left]
                   if name not in found]
        self.sections = [(title, names) for title, names in self.sections if names]
        self.pages = [name for _, names in self.sections for name in names if name in found]


class Site:
    def __init__(self, root, output):
        self.root, self.output = root, output
        self.book = markup.Book(root)
        self.errors = self.book.errors
        self.made = []
        names = sources(root)
        self.navigation = Navigation(root, names, self.errors)
        self.book.pages = {name: address_of(name) for name in self.navigation.pages}
        for name in self.navigation.pages:
            if name.startswith("docs/errors/"):
                self.book.names[Path(name).stem] = address_of(name)
        include = root / "include"
        paths = sorted(str(file.relative_to(include)) for file in include.rglob("*.hpp"))
        try:
            self.headers = [reference.read(path, (include / path).read_text("utf-8")) for path in paths]
        except ValueError as error:
            sys.exit(str(error))
        self.headers.sort(key=lambda header: (header.path.count("/") > 1, header.title.lower()))
        for header in self.headers:
            self.add_names(header)

    @staticmethod
    def page_of(header):
        return f"reference/{header.title}.html"

    def add_names(self, header):
        address = self.page_of(header)
        self.book.pages[f"include/{header.path}"] = address
        for item in header.types():
            self.book.names[item.anchor.replace(".", "::")] = f"{address}#{item.anchor}"
        for group in header.groups():
            for one in group.declarations:
                self.book.names.setdefault(one.anchor.replace(".", "::"), f"{address}#{one.anchor}")

    def build(self):
        markdown = markup.Markdown(self.book)
        for name in self.navigation.pages:
            text = (self.root / name).read_text("utf-8")
            self.made.append(markdown.page(name, address_of(name), text))
        self.made += [self.text_page(source) for source in sorted(self.book.texts)]
        self.made.append(self.list_of_headers())
        self.made += [self.header_page(header) for header in self.headers]
        self.check_links()
        if not self.errors:
            self.write()
            self.check_result()

    def check_links(self):
        anchors = {page.address: page.anchors for page in self.made}
        for page in self.made:
            for address, anchor in page.links:
                if anchor and anchor not in anchors[address]:
                    self.errors.append(f"{page.source}: {address} has no heading #{anchor}")
        shown = self.book.pictures
        for file in sorted((self.root / "docs/pictures").glob("*")):
            picture = str(file.relative_to(self.root))
            if picture not in shown:
                self.errors.append(f"{picture}: no page shows this picture")

    def text_page(self, source):
        """A file that is no page, to which a page leads."""
        page = markup.Page(self.book.texts[source], source)
        page.title = Path(source).name
        page.anchors.add("text")
        page.entries.append(("text", page.title, ""))
        text = (self.root / source).read_text("utf-8")
        page.body = (f'<h1 id="text">{markup.escape(page.title)}</h1>\n'
                     + markup.block(text, "cpp" if source.endswith("pp") else ""))
        return page

    # --- the reference

    def list_of_headers(self):
        page = markup.Page("reference/index.html", "the headers")
        page.title = "Reference"
        rows = []
        for header in self.headers:
            first = next((item for item in header.types() if item.name == header.title), None)
            lines = (first.comment if first else header.comment) or next(
                (group.comment for group in header.groups() if group.comment), [])
            text = " ".join(lines[:lines.index("") if "" in lines else len(lines)])
            sentence = re.match(r".*?[.](?= |$)", text)
            comment = markup.Comment(self.book, page.address, header.title)
            shown = comment.text(sentence[0] if sentence else text)
            rows.append(f'<tr><td><a href="{header.title}.html">{header.title}</a></td>'
                        f"<td><code>{header.path}</code></td><td>{shown}</td></tr>\n")
        page.anchors.add("reference")
        page.headings.append((1, "reference", page.title))
        page.entries.append(("reference", page.title, "headers classes"))
        page.body = ('<h1 id="reference">Reference</h1>\n<p>Each public header is one page. '
                     "The comments are those of the header.</p>\n" + markup.scrolling(
                         "<table><thead><tr><th>page</th><th>header</th><th>what for</th></tr></thead><tbody>"
                         + "".join(rows) + "</tbody></table>"))
        return page

    def header_page(self, header):
        page = markup.Page(self.page_of(header), f"include/{header.path}")
        page.title = header.title
        self.used = page.anchors
        anchor = markup.slug("header " + header.title, self.used)
        page.headings.append((1, anchor, header.title))
        page.entries.append((anchor, header.title, f"{header.path} {self.plain(header.comment)}"))
        comment = markup.Comment(self.book, page.address, header.title).html(header.comment)
        page.body = (f'<h1 id="{anchor}">{header.title}</h1>\n'
                     + markup.block(f"#include <{header.path}>", "cpp") + comment
                     + self.contents(page, header.contents, header.title, 2))
        return page

    @staticmethod
    def plain(comment):
        return re.sub(r"`", "", " ".join(line.strip() for line in comment))

    def contents(self, page, contents, scope, level):
        comment = markup.Comment(self.book, page.address, scope)
        out = []
        for item in contents:
            if isinstance(item, reference.Section):
                out.append(self.section(page, comment, item, level))
            elif isinstance(item, reference.Type):
                out.append(self.type(page, item, level))
            else:
                out.append(self.group(page, comment, item, scope))
        return "".join(out)

    def section(self, page, comment, item, level):
        anchor = markup.slug(item.heading, page.anchors)
        page.headings.append((level, anchor, item.heading))
        page.entries.append((anchor, f"{page.title}: {item.heading}", self.plain(item.comment)))
        return (f'<h{level} id="{anchor}">{comment.text(item.heading)}</h{level}>\n'
                + comment.html(item.comment))

    def type(self, page, item, level):
        page.anchors.add(item.anchor)
        page.headings.append((level, item.anchor, item.name))
        page.entries.append((item.anchor, f"{item.kind} {item.anchor}", self.plain(item.comment)))
        comment = markup.Comment(self.book, page.address, item.anchor.replace(".", "::"))
        text = re.sub(r"KELINFRA_\w+ ", "", item.text)
        title = f"{item.kind} {item.name}"
        return (f'<h{level} id="{item.anchor}">{title}</h{level}>\n'
                + (markup.block(text + ";", "cpp") if text != title else "") + comment.html(item.comment)
                + self.contents(page, item.contents, item.anchor.replace(".", "::"), level + 1))

    def group(self, page, comment, group, scope):
        plain, titles = self.plain(group.comment), set()
        lines = []
        for one in group.declarations:
            page.anchors.add(one.anchor)
            if one.name not in titles:
                titles.add(one.name)
                title = re.sub(r"-\d+$", "", one.anchor)
                text = f"{one.text} {one.remark} {plain}"
                page.entries.append((one.anchor, title.replace(".", "::"), text))
                if one.anchor == title:
                    page.headings.append((9, one.anchor, one.name))
            shown = markup.cpp(one.text + (f"  // {one.remark}" if one.remark else ""))
            lines.append(f'<code id="{html.escape(one.anchor)}">{shown}</code>')
        code = f'<pre class="declarations" tabindex="0">{"".join(lines)}</pre>\n' if lines else ""
        return f'<div class="member">\n{code}{comment.html(group.comment)}</div>\n'

    # --- the files

    def write(self):
        if self.output.exists():
            shutil.rmtree(self.output)
        template = (HERE / "page.html").read_text("utf-8")
        for page in self.made:
            self.put(page.address, self.filled(template, page))
        for picture in sorted(self.book.pictures):
            self.put(picture, (self.root / picture).read_text("utf-8"))
        for name in ("site.css", "site.js"):
            self.put(name, (HERE / name).read_text("utf-8"))
        entries = [[page.address, anchor, page.title, title, re.sub(r"\s+", " ", text)]
                   for page in self.made for anchor, title, text in page.entries]
        lines = ",\n".join(json.dumps(entry, ensure_ascii=False) for entry in entries)
        self.put("search.js", f"kelinfraSearch([\n{lines}\n]);\n")

    def put(self, name, text):
        path = self.output / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(text.encode("utf-8"))

    def filled(self, template, page):
        values = {"TITLE": markup.escape(page.title), "BODY": page.body, "SOURCE": markup.escape(page.source),
                  "TOP": self.book.relative("index.html", page.address).removesuffix("index.html"),
                  "NAVIGATION": self.links(page), "CONTENTS": self.table_of_contents(page)}
        return re.sub(r"@(\w+)@", lambda found: values[found[1]], template)

    def links(self, page):
        titles = {made.source: made.title for made in self.made}
        out = []
        for title, names in self.navigation.sections:
            pages = []
            for name in names:
                if name:
                    pages.append((address_of(name), titles.get(name, name)))
                else:
                    pages.append(("reference/index.html", "All headers"))
                    pages += [(self.page_of(header), header.title) for header in self.headers]
            here = any(address == page.address for address, _ in pages)
            items = "".join(self.item(page, *one) for one in pages)
            is_open = " open" if here or len(pages) <= 12 else ""
            out.append(f"<details{is_open}><summary>{markup.escape(title)}</summary>\n"
                       f"<ul>\n{items}</ul></details>\n")
        return "".join(out)

    def item(self, page, address, text):
        current = ' aria-current="page"' if address == page.address else ""
        link = self.book.relative(address, page.address)
        return f'<li><a href="{link}"{current}>{markup.escape(text)}</a></li>\n'

    @staticmethod
    def table_of_contents(page):
        shown = [heading for heading in page.headings if heading[0] in (2, 3, 9)]
        if len(shown) < 2:
            return ""
        items = []
        for level, anchor, text in shown:
            short = markup.escape(re.split("[;:] ", text)[0])
            items.append(f'<li class="level{level}"><a href="#{markup.quoted(anchor)}">{short}</a></li>\n')
        return ('<nav class="contents" aria-label="On this page"><p>On this page</p>\n<ul>\n'
                + "".join(items) + "</ul></nav>")

    # --- what must not be lost

    def check_result(self):
        """Compares the written files with the folders and headers, which are counted in another way."""
        pages = {str(file.relative_to(self.output)) for file in self.output.rglob("*.html")}
        headers = list((self.root / "include").rglob("*.hpp"))
        others = len(headers) + len(self.book.texts) + 1
        expected = len(sources(self.root)) - len(self.navigation.left) + others
        if len(pages) != expected:
            self.errors.append(f"the site has {len(pages)} pages and not {expected}")
        anchors = []
        for file in headers:
            page = (self.output / f"reference/{file.stem.removeprefix('kel')}.html").read_text("utf-8")
            found = [html.unescape(anchor) for anchor in re.findall(r' id="([^"]*)"', page)]
            anchors += found
            text = file.read_text("utf-8")
            for kind, name in (re.findall(r"^(class|struct) (?:KELINFRA_API )?(\w+)\b[^;]*?\{", text, re.M)
                               + re.findall(r"^#\s*(define) (\w+)", text, re.M)):
                if name not in found:
                    self.errors.append(f"{file.name}: {kind} {name} is not in the reference")
        self.check_identifiers()
        self.check_exports(collections.Counter(re.sub(r"-\d+$", "", anchor) for anchor in anchors))
        classes = sum(1 for header in self.headers for _ in header.types())
        members = sum(len(group.declarations) for header in self.headers for group in header.groups())
        identifiers = len(self.pages_of_errors())
        print(f"{len(pages)} pages, {len(headers)} headers, {classes} classes, {members} declarations, "
              f"{identifiers} pages of errors")

    def pages_of_errors(self):
        return {Path(name).stem for name in self.navigation.pages
                if re.match(r"docs/errors/(QN_)?ERR_", name)}

    def check_identifiers(self):
        """Each identifier of the table has a page, and each page of an error has an identifier."""
        table = json.loads((self.root / "errors/identifiers.json").read_text("utf-8"))
        identifiers = {entry["identifier"] for entry in table["identifiers"]}
        pages = self.pages_of_errors()
        self.errors += [f"docs/errors: {name} is no identifier or has no page"
                        for name in sorted(identifiers ^ pages)]

    def check_exports(self, shown):
        """Each name that the library exports has as many declarations in the reference as overloads."""
        exported = collections.Counter()
        for line in (self.root / "exports/linux.txt").read_text("utf-8").splitlines():
            found = re.match(r"tarvo::\w+::((?:\w+::)*(?:operator[^\w(][^(]*|~?\w+))(?![\w:])", line)
            if found:
                exported[found[1].replace("::", ".")] += 1
        for name, count in exported.items():
            if shown[name] < count:
                self.errors.append(f"exports/linux.txt has {count} of {name}, the reference {shown[name]}")


def main():
    root, output = Path(sys.argv[1]), Path(sys.argv[2])
    site = Site(root, output)
    site.build()
    if site.errors:
        sys.exit("\n".join(site.errors))


if __name__ == "__main__":
    main()
