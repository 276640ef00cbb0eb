"""A conversation of the example programs: compares the client's output with counts made here.

    conversation.py EXAMPLES SERVER CLIENT

EXAMPLES is the folder of the examples' sources; SERVER and CLIENT are command lines, so that either can be
run by another program.
"""

import collections
import difflib
import pathlib
import re
import shlex
import subprocess
import sys

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "support"))
from served import serving  # found by the line above

BUILD = "5.2.1.0-1.1-275"
DELIMITERS = (
    " \t\r\n.,;:!?\"'()[]<>/\u2013\u2014\u201C\u201D\u201E\u2018\u2019\u00AB\u00BB"
    "\u3000\u3001\u3002\u300C\u300D\uFF08\uFF09\uFF0C\uFF1A\uFF01\uFF1F"
)
DOCUMENTS = [
    ("documents/harbour.utf-8.txt", "UTF-8", "utf-8"),
    ("documents/bakery.windows-1252.txt", "windows-1252", "cp1252"),
    ("documents/garden.shift_jis.txt", "Shift_JIS", "shift_jis"),
    ("documents/tea.gb18030.txt", "GB18030", "gb18030"),
    ("documents/bakery.windows-1252.txt", "ibm-5348_P100-1997", "cp1252"),
]

# The answer to each hand-written request: sentence and message, or the lines of an answer.
REQUESTS = {
    "bad-reference": (
        'The property "ctor.config" refers to "default.top", which is not there.',
        "ERR_PROPERTIES_BAD_REFERENCE: [] - [ctor.config] [default.top]",
    ),
    "by-lines": [
        "    45 characters, 3 tokens, 2 terms; counted by build " + BUILD,
        "       2  première ligne",
    ],
    "cyclic-reference": (
        'The property "ctor.config" refers to itself.',
        "ERR_PROPERTIES_CYCLIC_REFERENCE: [] - [ctor.config]",
    ),
    "deep-references": (
        "References lead from one to the next more than 4 times.",
        "ERR_REFERENCES_TOO_DEEP: [] - [4]",
    ),
    "malformed-base64": (
        'The document is no Base64: it holds "*".',
        "ERR_BASE64_INVALID_DATA: [] - [*]",
    ),
    "malformed-utf-8": ("The document is not well-formed UTF-8.", "ERR_MALFORMED_UTF8_STRING: []"),
    "misaligned-base64": (
        "The document's Base64 is cut short or badly padded.",
        "ERR_BASE64_MISALIGNED_DATA: [] - [b25lIHR3bw=]",
    ),
    "missing-key": ('The property "ctor.doc.data" is missing.', "ERR_PROPERTY_MISSING: [] - [ctor.doc.data]"),
    "nul-in-document": (
        "The document holds a NUL at byte 3 of its UTF-8 form.",
        "ERR_DOCUMENT_HOLDS_NUL: [] - [3]",
    ),
    "percent-sign-alone": (
        'The property "ctor.config" holds a percent sign that begins no reference.',
        "ERR_PERCENT_SIGN_ALONE: [] - [ctor.config]",
    ),
    "reference-bomb": (
        "The properties hold 182 percent signs, and 16 are the limit.",
        "ERR_TOO_MANY_REFERENCES: [] - [182] [16]",
    ),
    "unknown-code-page": (
        'Text cannot be converted from "klingon-8" to "UTF-8".',
        "ERR_CONV_CONVERSION_ERROR: [] - [UTF-8] [klingon-8]",
    ),
    "unknown-constructor": (
        'There is no constructor "syllables".',
        "ERR_UNKNOWN_CONSTRUCTOR: [] - [syllables]",
    ),
    "wrong-type": (
        'The property "top" is "many", which is not of the type integer.',
        "ERR_PROPERTY_WRONG_TYPE: [] - [top] [many] [integer]",
    ),
}


def counted(name, text, delimiters, most):
    tokens = [token for token in re.split("[" + re.escape(delimiters) + "]+", text) if token]
    counts = collections.Counter(tokens)
    top = sorted(counts.items(), key=lambda item: (-item[1], item[0].encode()))[:most]
    head = f"    {len(text)} characters, {len(tokens)} tokens, {len(counts)} terms; counted by build {BUILD}"
    return [name, head] + [f"{count:8}  {term}" for term, count in top]


def requested(name, reply):
    if isinstance(reply, list):
        return [name] + reply
    return [name, "    refused: " + reply[0], "    message  " + reply[1]]


def converse(client, examples, port, arguments, status, expected):
    process = subprocess.run(
        shlex.split(client) + ["127.0.0.1", port] + arguments,
        cwd=examples, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, encoding="utf-8", timeout=240,
        check=False,
    )
    printed = process.stdout.splitlines()
    if process.returncode != status or printed != expected:
        print("\n".join(difflib.unified_diff(expected, printed, "expected", "printed", lineterm="")))
        sys.exit(f"the client {arguments} ended with status {process.returncode}; {status} was expected")
    print(f"{len(printed)} lines as expected from {' '.join(arguments)[:80]}...")


def main():
    examples, server, client = sys.argv[1:]
    root = pathlib.Path(examples)
    requests = sorted(path.stem for path in root.glob("requests/*.properties"))
    if requests != sorted(REQUESTS):
        sys.exit(f"there are other requests than expected: {requests}")
    command = shlex.split(server) + ["--clients", "3", "server.properties"]
    with serving(command, examples) as (port, process):
        arguments, expected = [], []
        for name, code_page, codec in DOCUMENTS:
            arguments += ["--codepage", code_page, name]
            expected += counted(name, root.joinpath(name).read_bytes().decode(codec), DELIMITERS, 5)
        converse(client, examples, port, arguments, 0, expected)

        readme = root.joinpath("README.md").read_text(encoding="utf-8")
        expected = counted("README.md", readme, "\r\n", 7)
        converse(client, examples, port, ["--lines", "--top", "7", "README.md"], 0, expected)

        # The server continues after each refusal: correct requests between wrong ones are answered.
        files = [f"requests/{name}.properties" for name in REQUESTS]
        expected = sum((requested(file, reply) for file, reply in zip(files, REQUESTS.values())), [])
        converse(client, examples, port, ["--request"] + files, 8, expected)

        rest = process.stdout.read().splitlines()
        if process.wait(60) != 0:
            sys.exit(f"the server ended with status {process.returncode}: {rest}")
    for line in ("client 1: done, 5 answered, 0 refused", "client 2: done, 1 answered, 0 refused",
                 f"client 3: done, 1 answered, {len(REQUESTS) - 1} refused", "served 3 clients"):
        if line not in rest:
            sys.exit(f"the server did not say '{line}': {rest}")


main()
