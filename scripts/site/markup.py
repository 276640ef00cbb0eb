"""Turns pages, comments and code into HTML. Links that lead nowhere are collected in a list of errors."""

import html
import posixpath
import re
import urllib.parse

from markdown_it import MarkdownIt

KEYWORDS = """alignas auto bool break case catch char class const constexpr continue decltype default delete
do double else enum explicit extern false final float for friend if inline int long mutable namespace new
noexcept nullptr operator override private protected public return short signed sizeof static static_assert
struct switch template this throw true try typename union unsigned using virtual void volatile
while""".split()
CPP = re.compile(r"(?P<comment>//[^\n]*|/\*.*?\*/)|(?P<string>u?8?\"(?:\\.|[^\"\\])*\"|'(?:\\.|[^'\\])+')"
                 r"|(?P<directive>^[ ]*#\w+)|(?P<keyword>\b(?:" + "|".join(KEYWORDS) + r")\b)", re.S | re.M)
# The beginning of another error in a row "raises".
ERROR_BEGINS = re.compile(r"\w+Exception |(QN_)?ERR_[A-Z]|the error of the code|as (the|`)|std::")
IDENTIFIER = re.compile(r"\b(?:QN_)?ERR_[A-Z0-9_]+\b")


def escape(text):
    return html.escape(text, quote=False)


def quoted(anchor):
    """An anchor as a part of an address."""
    return urllib.parse.quote(anchor, safe="~=.:")


def slug(text, taken):
    """The anchor of a heading, by the rule of the common code hosts."""
    base = re.sub(r"[^\w\- ]", "", text.lower()).replace(" ", "-")
    name, number = base, 0
    while name in taken:
        number += 1
        name = f"{base}-{number}"
    taken.add(name)
    return name


def cpp(text):
    """C++ with its comments, strings and keywords marked."""
    parts, at = [], 0
    for found in CPP.finditer(text):
        parts.append(escape(text[at:found.start()]))
        parts.append(f'<span class="{found.lastgroup}">{escape(found[0])}</span>')
        at = found.end()
    return "".join(parts) + escape(text[at:])


def block(text, language=""):
    shown = cpp(text) if language in ("cpp", "c++", "internal-cpp") else escape(text)
    return f'<pre tabindex="0"><code>{shown}</code></pre>\n'


def scrolling(table):
    """A wide table scrolls inside this element; the keyboard can reach it."""
    return f'<div class="scroll" tabindex="0" role="region" aria-label="table">{table}</div>\n'


class Book:
    """The targets that links can have: pages, files to be copied, and names of the reference."""

    def __init__(self, root):
        self.root = root
        self.pages = {}     # source -> address of its page in the site
        self.pictures = set()  # pictures that pages show
        self.names = {}     # Class or Class::member -> address
        self.errors = []    # "place: what is wrong"
        self.texts = {}     # other files that a page leads to -> address of the page that shows them

    def relative(self, target, page):
        """The address `target` as seen from the page."""
        path, _, anchor = target.partition("#")
        link = posixpath.relpath(path, posixpath.dirname(page) or ".")
        return link + ("#" + quoted(anchor) if anchor else "")

    def linked_code(self, text, page, scope=""):
        """Code inside a text, linked to the member, class or error that it names."""
        name = re.sub(r"\(.*\)$", "", text.replace("tarvo::oss::", "").replace("tarvo::util::", ""))
        for candidate in (f"{scope}::{name}", name):
            target = self.names.get(candidate)
            if target and target.partition("#")[0] != page or (target and "#" in target):
                return f'<a href="{self.relative(target, page)}"><code>{escape(text)}</code></a>'
        return f"<code>{escape(text)}</code>"

    def with_identifiers(self, escaped, page):
        """An escaped text, in which identifiers of errors and names of pages are links."""
        def linked(found):
            target = self.names.get(found[0]) or self.pages.get(found[0])
            return f'<a href="{self.relative(target, page)}">{found[0]}</a>' if target else found[0]
        return re.sub(IDENTIFIER.pattern + r"|\bdocs/[\w/-]+\.md\b", linked, escaped)


class Page:
    """A page of the site while it is made."""

    def __init__(self, address, source):
        self.address, self.source = address, source
        self.title, self.body, self.anchors = "", "", set()
        self.headings = []  # (level, anchor, text)
        self.entries = []   # (anchor, title, text): what the search finds
        self.links = []     # (address, anchor) of other pages


class Markdown:
    def __init__(self, book):
        self.book = book
        self.parser = MarkdownIt("commonmark", {"html": False}).enable("table")

    def page(self, source, address, text):
        page = Page(address, source)
        tokens = self.parser.parse(text)
        self.add_headings(page, tokens)
        page.body = "".join(self.render(page, tokens))
        self.add_entries(page, tokens)
        return page

    def add_headings(self, page, tokens):
        for at, token in enumerate(tokens):
            if token.type == "heading_open":
                text = self.plain(tokens[at + 1])
                anchor = slug(text, page.anchors)
                token.attrSet("id", anchor)
                page.headings.append((int(token.tag[1]), anchor, text))
        page.title = page.headings[0][2] if page.headings else ""
        if not page.headings or page.headings[0][0] != 1:
            self.book.errors.append(f"{page.source}: does not begin with a title")

    @staticmethod
    def plain(token):
        return "".join(child.content if child.type in ("text", "code_inline") else " "
                       for child in token.children).strip()

    def add_entries(self, page, tokens):
        """One entry for each heading, with the text up to the next one."""
        anchor, title, text = None, "", []
        for at, token in enumerate(tokens):
            if token.type == "heading_open":
                if anchor:
                    page.entries.append((anchor, title, " ".join(text)))
                anchor, title, text = token.attrGet("id"), self.plain(tokens[at + 1]), []
            elif token.type == "inline" and tokens[at - 1].type != "heading_open":
                text.append(self.plain(token))
            elif token.type == "fence":
                text.append(token.content)
        page.entries.append((anchor, title, " ".join(text)))

    def render(self, page, tokens):
        table = None
        for token in tokens:
            out = "".join(self.inline(page, token.children)) if token.type == "inline" else \
                block(token.content, token.info) if token.type in ("fence", "code_block") else \
                self.tag(token)
            if token.type == "table_open":
                table = []
            if table is None:
                yield out
            else:
                table.append(out)
            if token.type == "table_close":
                yield scrolling("".join(table))
                table = None

    @staticmethod
    def tag(token):
        if token.hidden:
            return ""
        if token.nesting == -1:
            return f"</{token.tag}>\n"
        attributes = "".join(f' {name}="{html.escape(str(value))}"' for name, value in token.attrs.items())
        return f"<{token.tag}{attributes}>" + ("\n" if token.block and token.tag in ("ul", "hr") else "")

    def inline(self, page, children):
        inside = 0
        for child in children:
            if child.type == "text":
                shown = escape(child.content)
                yield shown if inside else self.book.with_identifiers(shown, page.address)
            elif child.type == "code_inline":
                yield f"<code>{escape(child.content)}</code>" if inside else \
                    self.book.linked_code(child.content, page.address)
            elif child.type == "softbreak":
                yield "\n"
            elif child.type == "image":
                yield self.image(page, child)
            elif child.type in ("link_open", "link_close"):
                inside += child.nesting
                if child.nesting == 1:
                    child.attrSet("href", self.target(page, child.attrGet("href")))
                yield self.tag(child).rstrip("\n")
            else:
                yield self.tag(child).rstrip("\n")

    def resolved(self, page, link):
        return posixpath.normpath(posixpath.join(posixpath.dirname(page.source), link))

    def image(self, page, child):
        picture = self.resolved(page, child.attrGet("src"))
        if not (self.book.root / picture).is_file():
            self.book.errors.append(f"{page.source}: there is no picture {picture}")
        if not child.content:
            self.book.errors.append(f"{page.source}: {picture} has no text for people who cannot see it")
        self.book.pictures.add(picture)
        address = self.book.relative(picture, page.address)
        return f'<img src="{address}" alt="{html.escape(child.content)}">'

    def target(self, page, link):
        """The address of a link in the site."""
        if re.match(r"[a-z]+:", link):
            return link
        path, _, anchor = link.partition("#")
        source = self.resolved(page, path) if path else page.source
        address = self.book.pages.get(source)
        if address is None and (self.book.root / source).is_file():
            address = self.book.texts.setdefault(source, source + ".html")
        if address is None:
            self.book.errors.append(f"{page.source}: the link {link} leads to no page")
            return link
        page.links.append((address, urllib.parse.unquote(anchor)))
        return self.book.relative(address + ("#" + anchor if anchor else ""), page.address) if path else link


class Comment:
    """A comment of a header. Its blocks, by their indentation: paragraphs; after an empty line four blanks
    are an example; two blanks are rows of a name and a text, or items after "-"; one blank is a drawing."""

    def __init__(self, book, page, scope):
        self.book, self.page, self.scope = book, page, scope

    def text(self, text):
        parts = re.split(r"(`[^`]+`)", text)
        return "".join(self.book.linked_code(part[1:-1], self.page, self.scope) if at % 2 else
                       re.sub(r"(?<![\w*])\*(\w[^*]*\w)\*(?![\w*])", r"<em>\1</em>",
                              self.book.with_identifiers(escape(part), self.page))
                       for at, part in enumerate(parts))

    def html(self, lines):
        out, at = [], 0
        while at < len(lines):
            kind = self.kind(lines, at)
            end = at + 1
            while end < len(lines) and self.belongs(kind, lines, end):
                end += 1
            if kind:
                out.append(getattr(self, kind)(lines[at:end]))
            at = end
        return "".join(out)

    @staticmethod
    def kind(lines, at):
        line = lines[at]
        if not line:
            return ""
        indent = len(line) - len(line.lstrip())
        if indent >= 4 and (at == 0 or not lines[at - 1]):
            return "example"
        return "paragraph" if indent == 0 else "drawing" if indent == 1 else \
            "items" if line.startswith("  - ") else "rows"

    def belongs(self, kind, lines, at):
        line = lines[at]
        if kind == "example":
            rest = next((line for line in lines[at:] if line), "")
            return rest.startswith("    ")
        if kind in ("rows", "items"):
            return line.startswith("  ")
        if kind == "drawing":
            return bool(line)
        return bool(kind) and self.kind(lines, at) == kind

    def paragraph(self, lines):
        return f"<p>{self.text(' '.join(lines))}</p>\n"

    def example(self, lines):
        return block("\n".join(line[4:] for line in lines).rstrip(), "cpp")

    def drawing(self, lines):
        return block("\n".join(lines))

    def items(self, lines):
        items = []
        for line in lines:
            if line.startswith("  - "):
                items.append(line[4:])
            else:
                items[-1] += " " + line.strip()
        return "<ul>\n" + "".join(f"<li>{self.text(item)}</li>\n" for item in items) + "</ul>\n"

    def rows(self, lines):
        rows, column = [], 99
        for line in lines:
            indent = len(line) - len(line.lstrip())
            if rows and indent >= column:
                rows[-1][1].append(line.strip())
                continue
            found = re.match(r"( +)(\S.*?)(?:(  +)(\S.*))?$", line)
            column = len(line) - len(found[4]) if found[4] else indent + 1
            if rows and rows[-1][0].endswith(","):
                rows[-1][0] += " " + found[2]
                rows[-1][1].append(found[4] or "")
            else:
                rows.append([found[2], [found[4]] if found[4] else [], indent > 2])
        return scrolling("<table class=\"rows\">" + "".join(map(self.row, rows)) + "</table>")

    def row(self, row):
        term, texts, deeper = row
        # Each error begins a line.
        parts = []
        for text in texts:
            if parts and not (term == "raises" and ERROR_BEGINS.match(text)):
                parts[-1] += " " + text
            else:
                parts.append(text)
        name = "span" if term in ("raises", "returns", "waits") or re.search(r"[^\w, ]", term) else "code"
        cell = f"<{name}>{self.text(term)}</{name}>"
        if not parts:
            return f'<tr><td colspan="2">{self.text(term)}</td></tr>\n'
        inner = "".join(f"<div>{self.text(part)}</div>" for part in parts)
        kind = "deeper" if deeper else "long" if len(term) > 40 else "short"
        return f'<tr><th scope="row" class="{kind}">{cell}</th><td>{inner}</td></tr>\n'
