"""The prose of this repository: comments, docstrings and pages, as paragraphs with their places.
scripts/words and scripts/sentences import it."""

import ast
import bisect
import pathlib
import re
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent
COMMENT = {
    ".cpp": r"///?<?", ".hpp": r"///?<?", ".java": r"///?", "": r"#",
    ".py": r"#", ".sh": r"#", ".cmake": r"#", ".txt": r"#", ".supp": r"#", ".map": r"#",
}
# Data, generated pages and texts from elsewhere.
LEFT_OUT = re.compile(r"^(fuzz/corpus|docs/pictures|exports|examples/(documents|requests)|tests/data)\b"
                      r"|^LICENSES?\b"
                      r"|^docs/benchmarks\.md$|\.(json|in|properties|svg|dict)$|^\.git")


def files():
    """The files that hold prose in UTF-8: tracked ones, and new ones that git does not ignore."""
    listed = subprocess.run(["git", "-C", ROOT, "ls-files", "--cached", "--others", "--exclude-standard"],
                            capture_output=True, text=True, check=True).stdout.split("\n")
    return sorted(name for name in listed if name and not LEFT_OUT.search(name) and is_text(ROOT / name))


def is_text(path):
    try:
        path.read_text(encoding="utf-8")
    except (IsADirectoryError, FileNotFoundError, UnicodeDecodeError):
        return False
    return True


def page_lines(lines):
    """The lines of a Markdown page that are prose: no code, no tables."""
    fenced = False
    for number, line in enumerate(lines, 1):
        if line.lstrip().startswith("```"):
            fenced = not fenced
        elif not fenced and not line.startswith("    ") and not line.lstrip().startswith("|"):
            yield number, line
        else:
            yield number, ""


def comment_lines(lines, marker):
    """The comments of a source, with their indentation. A comment after code does not continue the comment of
    the line before, so it gets the mark of a list's item. The same holds for a comment below it in another
    column."""
    code = r"(?P<code>(?:[^\"'/#]|\"(?:\\.|[^\"\\])*\"|'(?:\\.|[^'\\])*'|/(?!/))*?)"
    comment = re.compile(f"^{code}(?:{marker})(?!!)(?P<text>(?: .*)?)$")
    column = None  # of the comment after code that the next line may continue
    for number, line in enumerate(lines, 1):
        found = comment.match(line)
        text = found.group("text")[1:] if found else ""
        after_code = bool(text and found.group("code").strip())
        begins = after_code or (text and column is not None and found.start("text") != column)
        yield number, "- " + text if begins else text
        column = found.start("text") if after_code else column if text and not begins else None


def python_lines(lines):
    """The comments and the docstrings of a Python program."""
    documented = (ast.Module, ast.ClassDef, ast.FunctionDef)
    docstrings = [node.body[0] for node in ast.walk(ast.parse("\n".join(lines)))
                  if isinstance(node, documented) and ast.get_docstring(node)]
    text = dict(comment_lines(lines, "#"))
    for docstring in docstrings:
        for number in range(docstring.lineno, docstring.end_lineno + 1):
            text[number] = lines[number - 1][docstring.col_offset:].replace('"""', "")
    return list(text.items())


def lines_of(name):
    """(number, prose) for each line of a file; a line without prose is empty."""
    path = ROOT / name
    lines = path.read_text(encoding="utf-8", errors="replace").split("\n")
    if path.suffix == ".md":
        return list(page_lines(lines))
    if path.suffix == "" and not lines[0].startswith("#!"):
        return []
    if path.suffix == ".py" or lines[0].endswith("python3"):
        return python_lines(lines)
    marker = COMMENT["" if lines[0].startswith("#!") else path.suffix] if path.suffix in COMMENT else None
    return list(comment_lines(lines, marker)) if marker else []


ITEM = re.compile(r"^([-*]|\d+\.) ")


def paragraphs(name):
    """(number of the first line, lines) for each paragraph, an item of a list included. An indented line of a
    comment is an example or a table, unless it belongs to an item."""
    start, words = 0, []
    for number, text in lines_of(name) + [(0, "")]:
        item = ITEM.match(text.strip())
        indented = text.startswith("  ") and not name.endswith(".md") and not item
        continues = words and ITEM.match(words[0])
        text = "" if indented and not continues else text.strip()
        if words and (not text or item or text.startswith("#")):
            yield start, words
            words = []
        if text and not words:
            start = number
        if text:
            words.append(text)


def end_of_sentence(text, start):
    """The position after the sentence that begins at `start`; a sentence in parentheses does not end one."""
    for found in re.finditer(r"[.!?][`*\")]* +(?=[A-Z`*\"(\[]|docs/)|$", text[start:]):
        sentence = re.sub(r"`[^`]*`|\"[^\"]*\"", "", text[start:start + found.end()])
        if sentence.count("(") <= sentence.count(")"):
            return start + found.end()
    return len(text)


def sentences(name):
    """(number of the sentence's first line, sentence), without headings, quotations, items that are no
    sentence, and fragments of a few words."""
    for first, lines in paragraphs(name):
        if re.match(r"(#|>|---)", lines[0]):
            continue
        first_line = lines[0]
        lines = [ITEM.sub("", first_line, count=1)] + lines[1:]
        begins = [sum(len(line) + 1 for line in lines[:number]) for number in range(len(lines))]
        text, start = " ".join(lines), 0
        while start < len(text):
            end = end_of_sentence(text, start)
            sentence = text[start:end].strip()
            whole = start > 0 or not ITEM.match(first_line) or not sentence[0].islower()
            if whole and len(sentence.split()) >= 5 and sentence.rstrip("*`\")")[-1:] in ".!?":
                yield first + bisect.bisect(begins, start) - 1, sentence
            start = end
