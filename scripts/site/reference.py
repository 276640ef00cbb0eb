"""Reads the public headers for the site's reference: each class and member with its comment.

The headers are written in one style, which clang-format keeps: a `///` comment, then the declarations that it
describes, up to an empty line or the next comment. A comment `// --- text` begins a section of a class.
"""

import re

TYPE = re.compile(r"(?:template <[^{;]*> )?(class|struct) (?:KELINFRA_\w+ )?(\w+)(?: final)?(?: : [^{;]*)? "
                  r"\{$")
NAMESPACE = re.compile(r"(?:inline )?namespace (\w+(?:::\w+)*) \{$")


class Declaration:
    """One declaration: its text, and its name and anchor if it can be looked up."""

    def __init__(self, text, name, anchor, remark):
        self.text, self.name, self.anchor, self.remark = text, name, anchor, remark


class Group:
    """Declarations that share a comment. `declarations` is empty for a comment that describes a namespace."""

    def __init__(self, comment):
        self.comment, self.declarations = comment, []


class Section:
    """The heading and the text of a comment `// --- heading`."""

    def __init__(self, heading):
        self.heading, self.comment = heading.rstrip(" -"), []


class Type:
    def __init__(self, kind, name, text, comment):
        self.kind, self.name, self.text, self.comment = kind, name, text, comment
        self.contents = []  # groups, sections and types, in the order of the header


class Header:
    def __init__(self, path):
        self.path, self.title = path, re.sub(r"^kel", "", path.rsplit("/")[-1].removesuffix(".hpp"))
        self.comment, self.contents = [], []

    def types(self, contents=None):
        for item in self.contents if contents is None else contents:
            if isinstance(item, Type):
                yield item
                yield from self.types(item.contents)

    def groups(self, contents=None):
        for item in self.contents if contents is None else contents:
            if isinstance(item, Group):
                yield item
            elif isinstance(item, Type):
                yield from self.groups(item.contents)


def depth(text):
    """How many brackets of the text are open."""
    text = re.sub(r"\"(\\.|[^\"\\])*\"|'(\\.|[^'\\])'", "", text)
    return sum((c in "({[") - (c in ")}]") for c in text)


def without_body(text):
    """A function's declaration, without its body and the initialisers before it."""
    if re.match(r"(template <.*?> )?(enum|using|friend)\b", text) or "(" not in text:
        return text
    level, after_parameters = 0, False
    for at, c in enumerate(text):
        if level == 0 and after_parameters and (c == "{" or re.match(r" : (?!:)", text[at:])):
            return text[:at].rstrip() + ";"
        level += (c in "({[") - (c in ")}]")
        after_parameters = after_parameters or (level == 0 and c == ")")
    return text


def without_template(text):
    """A declaration without the parameters of its template."""
    if not text.startswith("template <"):
        return text
    angles, brackets = 0, 0
    for at, c in enumerate(text):
        brackets += (c in "({") - (c in ")}")
        angles += ((c == "<") - (c == ">")) * (brackets == 0)
        if c == ">" and angles == 0 and brackets == 0:
            return without_template(text[at + 1:].lstrip())
    return text


def name_of(text):
    """The name that a declaration declares; None if it declares none that programs use."""
    text = without_template(re.sub(r"\[\[.*?\]\] ?|KELINFRA_\w+ ?", "", text))
    if re.match(r"friend\b|static_assert\b|(class|struct) [\w:]+;$", text):
        return None
    special = re.match(r"(?:enum(?: class| struct)?|using|class|struct) (\w+)(?!\w*::)", text)
    if special:
        return special[1]
    pointer = re.match(r"[^(=]*\(\*(\w+)\)\(", text)
    function = re.match(r"[^=(]*?(operator *(?:\(\)|[^\s(]+)|~?\w+)\(", text)
    variable = re.match(r"[^=({]*?\b(\w+)(?:\[[^\]]*\])*(?: = .*|\{.*\})?;", text, re.DOTALL)
    found = pointer or function or variable
    if not found:
        raise ValueError(f"no name in this declaration: {text}")
    return found[1]


class Reader:
    def __init__(self, path, text):
        self.header = Header(path)
        self.lines, self.at = text.split("\n"), 0
        self.scopes = []  # (contents, access, prefix of anchors, whether it is shown)
        self.comment, self.group, self.section, self.code = [], None, None, []
        self.macro, self.conditions = [], 0
        self.seen = {}

    def read(self):
        for line in self.lines:
            self.take(line)
        if self.code or self.scopes:
            raise ValueError(f"{self.header.path}: its brackets do not end: {' '.join(self.code)[:80]}")
        return self.header

    def contents(self):
        return next((scope[0] for scope in reversed(self.scopes) if scope[0] is not None),
                    self.header.contents)

    def shown(self):
        return all(scope[3] and scope[1] != "private" for scope in self.scopes)

    def take(self, line):
        text = line.strip()
        if self.code:
            self.take_code(line)
        elif self.macro or text.startswith("#"):
            self.directive(line.rstrip())
        elif text.startswith("///"):
            self.section = None
            if not self.comment:
                self.group = None
            self.comment.append(text[3:].removeprefix(" "))
        elif text.startswith("// ---"):
            self.end_group()
            if self.shown():
                self.section = Section(text[6:].strip())
                self.contents().append(self.section)
        elif text.startswith("//"):
            if self.section and not text.startswith("// NOLINT"):
                self.section.comment.append(text[2:].removeprefix(" "))
        elif not text:
            self.section = None
            self.end_group()
        elif text in ("public:", "protected:", "private:"):
            self.end_group()
            self.scopes[-1][1] = text[:-1]
        elif re.match(r"\}(;|  // namespace .*)?$", text):
            self.end_group()
            self.scopes.pop()
        else:
            self.take_code(line)

    def end_group(self):
        """An empty line ends the declarations of a comment. A comment without any is about the header."""
        if self.comment and self.shown():
            self.contents().append(Group(self.comment))
        self.comment, self.group = [], None

    def directive(self, line):
        """Macros are shown, without their value if it depends on a condition. Other directives are not."""
        self.macro.append(line)
        if line.endswith("\\"):
            return
        text, self.macro = "\n".join(self.macro), []
        self.conditions += bool(re.match(r"#\s*if", text)) - bool(re.match(r"#\s*endif", text))
        macro = re.match(r"#\s*define (\w+)", text)
        if macro and macro[1] not in self.seen:
            self.declare(macro[0] if self.conditions else text, macro[1], macro[1], "")

    def take_code(self, line):
        remark = re.search(r" +//(/<)? ?(.*)$", line)
        code = line[:remark.start()] if remark else line
        self.code.append(code)
        whole = "\n".join(self.code)
        flat = re.sub(r"\s+", " ", whole).strip()
        if self.scope_begins(flat, whole):
            self.code = []
        elif depth(flat) == 0 and re.search(r"[;}]$", flat):
            self.code = []
            if self.shown():
                self.declaration(whole, remark[2] if remark and remark[1] else "")
            else:
                self.comment = []

    def scope_begins(self, flat, whole):
        namespace, type_ = NAMESPACE.match(flat), TYPE.match(flat)
        if namespace:
            if self.comment:
                self.header.comment = self.comment
            self.comment = []
            shown = not re.search(r"\bdetail\b", namespace[1])
            self.scopes.append([None, "public", "", shown])
        elif type_:
            item = Type(type_[1], type_[2], self.unindented(whole).removesuffix(" {"), self.comment)
            prefix = "".join(scope[2] for scope in self.scopes[-1:])
            item.anchor = prefix + item.name
            if self.shown():
                self.contents().append(item)
            self.comment, self.group = [], None
            self.scopes.append([item.contents, "private" if item.kind == "class" else "public",
                                item.anchor + ".", True])
        return namespace or type_

    @staticmethod
    def unindented(whole):
        lines = [line for line in whole.split("\n") if line.strip()]
        margin = min(len(line) - len(line.lstrip()) for line in lines)
        return "\n".join(line[margin:] for line in lines)

    def declaration(self, whole, remark):
        text = without_body(self.unindented(whole))
        name = name_of(re.sub(r"\s+", " ", text))
        if name is None:
            self.comment = []
            return
        for macro in (r"KELINFRA_API ", r"KELINFRA_NOINLINE "):
            text = re.sub(macro, "", text)
        prefix = "".join(scope[2] for scope in self.scopes[-1:])
        self.declare(text, name, prefix + name, remark)

    def declare(self, text, name, anchor, remark):
        if self.group is None:
            self.group = Group(self.comment)
            self.comment = []
            self.contents().append(self.group)
        elif self.comment:
            raise ValueError(f"{self.header.path}: a comment inside a group: {self.comment[0]}")
        self.seen[anchor] = self.seen.get(anchor, 0) + 1
        number = self.seen[anchor]
        unique = anchor if number == 1 else f"{anchor}-{number}"
        self.group.declarations.append(Declaration(text, name, unique, remark))


def read(path, text):
    """The header, whose path is relative to the folder of includes."""
    return Reader(path, text).read()
