"""The command-line tool: what it prints and with which status it ends.

    tool.py ROOT TOOL FAULTS TEST    runs one test
    tool.py --list SYSTEM            prints the names of the tests for posix or windows

TOOL is a command line; that of a program for Windows begins with Wine. FAULTS is the library built from
posix/kelFaults.cpp, or "-".
"""

import json
import os
import pathlib
import random
import re
import shlex
import shutil
import signal
import stat
import struct
import subprocess
import sys
import tempfile
import xml.etree.ElementTree

CLEAN, FOUND, FAILED = 0, 1, 2

CONTRACT = {
    "identifiers": [
        {
            "identifier": "ERR_FULL",
            "arguments": [{"name": "disk", "kind": "name"}, {"name": "pages", "kind": "size"}],
        },
        {"identifier": "ERR_PORT", "arguments": [{"name": "port", "kind": "port"}]},
    ]
}

# A catalogue that has the texts of both identifiers, and one text to be checked.
FULL = "{1,plural,one{# page}other{# pages}} on {0}"
PORT = "port {0}"


class Tool:
    def __init__(self, root, command, faults):
        self.faults = faults
        self.root, self.command = pathlib.Path(root), shlex.split(command)
        self.is_windows = self.command[-1].endswith(".exe")
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kelinfra-tool-"))
        (self.folder / "contract.json").write_text(json.dumps(CONTRACT))

    # Wine reads the names in its command line in the character set of the language.
    def run(self, *arguments, language="C.UTF-8", stdin=b"", **variables):
        environment = {
            name: value
            for name, value in os.environ.items()
            if not name.startswith("LC_") and name not in ("LANG", "NO_COLOR")
        }
        environment.update(LC_ALL=language, **variables)
        done = subprocess.run(
            [*self.command, *arguments],
            cwd=self.folder,
            env=environment,
            input=stdin,
            capture_output=True,
            timeout=120,
        )
        return done.returncode, done.stdout.decode(), done.stderr.decode()

    def can_pass(self, arguments):
        """A command line of Windows is in UTF-16, so it cannot contain any bytes."""
        return not self.is_windows or all(isinstance(argument, str) for argument in arguments)

    def expect_mode(self, file, mode):
        if not self.is_windows:
            expect((file, stat.S_IMODE(file.stat().st_mode)), (file, mode))

    def write(self, name, text):
        file = self.folder / name
        file.write_bytes(text if isinstance(text, bytes) else text.encode())
        return file

    def check_texts(self, texts, *options):
        """Checks a catalogue of these lines; returns the status and the printed lines."""
        (self.folder / "texts_en.properties").write_bytes(
            texts if isinstance(texts, bytes) else texts.encode()
        )
        status, printed, errors = self.run(
            "catalogue", "check", "--contract", "contract.json", *options, "texts_en.properties"
        )
        expect(errors, "")
        return status, printed.splitlines()


def expect(printed, expected):
    if printed != expected:
        sys.exit(f"printed:  {printed!r}\nexpected: {expected!r}")


def shows_help_and_an_example_without_arguments(tool):
    for command in ((), ("catalogue",), ("catalogue", "check", "--help")):
        status, printed, errors = tool.run(*command)
        expect((status, errors), (CLEAN, ""))
        if command != ("catalogue",) and "Example: kelinfra catalogue check" not in printed:
            sys.exit(f"no example for {command}: {printed}")


def suggests_what_was_probably_meant(tool):
    for arguments, said in (
        (("catlogue",), "unknown option or command: catlogue; did you mean catalogue?"),
        (("catalogue", "chekc"), "unknown option or command: chekc; did you mean check?"),
        (("catalogue", "check", "--STRICT"), "unknown option or command: --STRICT; did you mean --strict?"),
        (("catalogue", "check", "--jsno=1"), "unknown option or command: --jsno; did you mean --json?"),
        (("version", "--all-help"), "unknown option or command: --all-help; did you mean --help-all?"),
        (("nothing-like-it",), "unknown option or command: nothing-like-it"),
        (("version", "--" + "x" * 10000), "unknown option or command: --" + "x" * 10000),
    ):
        expect(tool.run(*arguments), (FAILED, "", f"kelinfra: {said}\n"))


def speaks_the_language_of_the_user(tool):
    german = "kelinfra: unbekannte Option oder unbekannter Befehl: catlogue; ist catalogue gemeint?\n"
    english = "kelinfra: unknown option or command: catlogue; did you mean catalogue?\n"
    for arguments, language, said in (
        (("catlogue",), "de_DE.UTF-8", german),
        (("catlogue",), "de", german),
        (("catlogue",), "C", english),
        (("catlogue",), "fr_FR.UTF-8", english),
        (("--language", "de", "catlogue"), "ja_JP.UTF-8", german),
        (("catlogue",), "ja_JP.UTF-8", "kelinfra: 不明なオプションまたはコマンドです: catlogue。" "catalogue のことですか\n"),
    ):
        expect(tool.run(*arguments, language=language), (FAILED, "", said))


def fails_for_a_file_that_cannot_be_read(tool):
    expect(
        tool.run("catalogue", "check", "none.properties"),
        (FAILED, "", "kelinfra: cannot read none.properties: No such file or directory\n"),
    )
    reason = "Permission denied" if tool.is_windows else "Is a directory"
    expect(
        tool.run("catalogue", "check", "--json", str(tool.folder)),
        (FAILED, "", f"kelinfra: cannot read {tool.folder}: {reason}\n"),
    )
    expect(
        tool.run("catalogue", "check"), (FAILED, "", "kelinfra: FILE is missing; --help shows an example\n")
    )


def fails_for_a_contract_that_is_none(tool):
    for text in ("", "[]", '{"identifiers": 1}', '{"identifiers": [{}]}', "[" * 100000):
        (tool.folder / "wrong.json").write_text(text)
        (tool.folder / "texts.properties").write_text("")
        status, printed, errors = tool.run(
            "catalogue", "check", "--contract", "wrong.json", "texts.properties"
        )
        expect((status, printed), (FAILED, ""))
        start = "kelinfra: wrong.json is not a table of identifiers in the form of catalogue.json: "
        expect(errors[: len(start)], start)


def finds_what_is_wrong_in_a_text(tool):
    for text, expected in (
        (FULL, []),
        (
            "{0} {1} {2}",
            [
                "1:20: error: the placeholder {2} has no argument: the message has 2 arguments "
                "[beyond-arguments]"
            ],
        ),
        (
            "{0} {1} {name}",
            [
                '1:20: error: the placeholder has the name "name"; arguments have numbers, '
                "from {0} on [named-placeholder]"
            ],
        ),
        (
            "{0} {1} '{0}'",
            [
                "1:20: error: the apostrophe quotes the placeholder, so its number is shown; "
                "write two apostrophes [quoted-placeholder]"
            ],
        ),
        ("{0} {1} ''{0}''", []),
        ("{0} {1} '{'{0}'}'", []),
        (
            "{1} {0,number}",
            [
                '1:16: error: argument 0 (disk) is of the kind "name", which is not used as a '
                "number [wrong-kind]"
            ],
        ),
        ("{1} {0,select,a{b}other{c}}", []),
        ("{0} {1,plural,one{#}}", ['1:12: error: the forms lack "other" [without-other]']),
        ("{0} {1", ["1:12: error: ICU does not accept the pattern: U_UNMATCHED_BRACES [syntax]"]),
        (
            "{0} {1,nunber}",
            ["1:12: error: a placeholder has a type or style that ICU does not know " "[unknown-type]"],
        ),
        ("{1}", ["1:12: warning: argument 0 (disk) is not shown [argument-not-shown]"]),
        (
            "ä\\u00e4\\\n  ä {1} {0,number}",
            [
                '2:9: error: argument 0 (disk) is of the kind "name", which is '
                "not used as a number [wrong-kind]"
            ],
        ),
    ):
        status, lines = tool.check_texts(f"ERR_FULL = {text}\nERR_PORT = {PORT}\n")
        expect((text, lines), (text, ["texts_en.properties:" + line for line in expected]))
        expect((text, status), (text, FOUND if any(" error: " in line for line in lines) else CLEAN))


def finds_what_is_wrong_in_a_file(tool):
    both = f"ERR_FULL = {FULL}\nERR_PORT = {PORT}\n"
    name = "texts_en.properties"
    for texts, status, expected in (
        (both, CLEAN, []),
        ("\ufeff" + both, CLEAN, []),
        (f"ERR_FULL={FULL}\n", CLEAN, [f"{name}: warning: there is no text for ERR_PORT [missing-text]"]),
        (
            both + "ERR_PROT = {0}\n",
            FOUND,
            [
                f"{name}:3:1: error: there is no identifier ERR_PROT; did you mean ERR_PORT? "
                f"[unknown-identifier]"
            ],
        ),
        (
            both + "OTHER = x\n",
            FOUND,
            [f"{name}:3:1: error: there is no identifier OTHER [unknown-identifier]"],
        ),
        (
            both + f"ERR_PORT = {PORT}!\n",
            CLEAN,
            [
                f"{name}:3:1: warning: ERR_PORT has a text already; this one replaces it "
                f"[duplicate-identifier]"
            ],
        ),
        (
            both.encode() + b"# \xe4\r\n",
            CLEAN,
            [
                f"{name}:3:3: warning: the file is not UTF-8 from here on, so all of it is read as "
                f"ISO-8859-1 "
                "[not-utf8]"
            ],
        ),
        (
            f"ERR_FULL = {FULL}\nERR_PORT = \\uD842\\uDFB7 \\\\uD842 {{0}}\n# \\uD842\n",
            FOUND,
            [
                f"{name}:2:{column}: error: the escape {escape} is not read: write the character "
                f"itself, in UTF-8 "
                "[surrogate-escape]"
                for column, escape in ((12, "\\uD842"), (18, "\\uDFB7"))
            ],
        ),
        (
            f"ERR_FULL = {FULL}\nERR_PORT = {{1}}\nERR_PORT = {{0}}\n",
            FOUND,
            [
                f"{name}:2:12: error: the placeholder {{1}} has no argument: the message has 1 arguments "
                "[beyond-arguments]",
                f"{name}:2:12: warning: argument 0 (port) is not shown [argument-not-shown]",
                f"{name}:3:1: warning: ERR_PORT has a text already; this one replaces it "
                f"[duplicate-identifier]",
            ],
        ),
        (
            f"ERR_FULL = {FULL}\nERR_PORT = {{0}}\nERR_PORT = {{0,nunber}}\n",
            FOUND,
            [
                f"{name}:3:1: warning: ERR_PORT has a text already; this one replaces it "
                f"[duplicate-identifier]",
                f'{name}:3:12: error: argument 0 (port) is of the kind "port", which is not used as a '
                "number [wrong-kind]",
                f"{name}:3:12: error: a placeholder has a type or style that ICU does not know "
                "[unknown-type]",
            ],
        ),
    ):
        printed = tool.check_texts(texts)
        expect((texts, printed), (texts, (status, expected)))


def reads_a_catalogue_in_utf8_as_the_library_does(tool):
    unknown = "error: there is no identifier"
    for start, texts in (("", "utf-8"), ("\ufeff", "utf-8"), ("# ÿ\n", "latin-1")):
        lines = f"ERR_FULL = {{0}} {{1,plural,one{{ä}}other{{ö}}}} {{0,select,größe{{x}}other{{y}}}}\n"
        lines += "ERR_PORT = \\ü{0,select,größe{x}other{y}}\\\n  \\u00fcü\\ü{7}\nÄ\\u00e4 = ü\n"
        status, printed = tool.check_texts((start + lines).encode(texts))
        first = 2 if texts == "latin-1" else 1
        expected = [
            f"texts_en.properties:{first + 2}:12: error: the placeholder {{7}} has no argument: "
            "the message has 1 arguments [beyond-arguments]",
            f"texts_en.properties:{first + 3}:1: {unknown} Ää [unknown-identifier]",
        ]
        expect((texts, status), (texts, FOUND))
        expect((texts, [line for line in printed if "not-utf8" not in line]), (texts, expected))


def refuses_patterns_that_are_nested_too_deeply(tool):
    for form, depth, accepted in (
        ("{0,select,other{", 16, True),
        ("{0,select,other{", 17, False),
        ("{0,choice,0#", 17, False),
        ("{0,select,other{", 30000, False),
    ):
        nested = form * depth + "{0}" + "}" * (form.count("{") * depth)
        status, printed = tool.check_texts(f"OTHER = {nested}\n")
        errors = [line.rsplit(": ", 1)[-1] for line in printed if "[syntax]" in line]
        expect((form, depth, status), (form, depth, FOUND))
        expected = [] if accepted else ["U_INDEX_OUTOFBOUNDS_ERROR [syntax]"]
        expect((form, depth, errors), (form, depth, expected))


def prints_no_control_characters_of_a_file(tool):
    name = "a\x1b[31m\n.properties"
    (tool.folder / name).write_bytes(b"A\\u001b[31mB\\n=x\n\x07\xc2\x9b\x7fC=\xc2\xa0\n")
    shown = "a\\u001B[31m\\u000A.properties"
    status, printed, errors = tool.run("catalogue", "check", name)
    expect(
        (status, printed.split("\n"), errors),
        (
            FOUND,
            [
                f"{shown}:1:1: error: there is no identifier A\\u001B[31mB\\u000A [unknown-identifier]",
                f"{shown}:2:1: error: there is no identifier \\u0007\\u009B\\u007FC [unknown-identifier]",
                "",
            ],
            "",
        ),
    )
    expect(
        tool.run("catalogue", "check", "none\x1b"),
        (FAILED, "", "kelinfra: cannot read none\\u001B: No such file or directory\n"),
    )


def instructions(program, texts):
    """The number of instructions that the check of a catalogue takes."""
    if not shutil.which("valgrind"):
        sys.exit(77)
    callgrind = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"]
    counted = Tool(program.root, shlex.join([*callgrind, *program.command]), program.faults)
    (counted.folder / "x.properties").write_text(texts)
    _, _, errors = counted.run("catalogue", "check", "x.properties")
    count = re.search(r"Collected *: (\d+)", errors)
    if count is None:  # valgrind cannot run the tool, for instance if it has sanitizers
        sys.exit(77)
    return int(count[1])


def checks_a_file_in_proportional_time(tool):
    for why, text in (
        ("many errors", lambda count: "ERR_SOCKET_CLOSED={0,nunber}\n" * (4 * count)),
        ("many errors in a line", lambda count: "ERR_SOCKET_CLOSED=" + ("x" * 300 + "{9}") * count + "\n"),
        ("many unknown identifiers", lambda count: "".join(f"k{i}=\n" for i in range(count))),
    ):
        start, once, twice = (instructions(tool, text(count)) for count in (1, 500, 1000))
        ratio = (twice - start) / (once - start)
        expect((why, round(ratio, 1), ratio < 2.2), (why, round(ratio, 1), True))


def reports_differences_between_languages(tool):
    for name, text in (
        ("en", "{0}: {1,number} pages"),
        ("de", "{0}: {1,number} Seiten"),
        ("fr", "{0}: pages"),
    ):
        (tool.folder / f"{name}.properties").write_text(f"ERR_FULL={text}\nERR_PORT={{0}}\n")
    status, printed, _ = tool.run(
        "catalogue",
        "check",
        "--contract",
        "contract.json",
        "en.properties",
        "de.properties",
        "fr.properties",
    )
    expect(
        (status, printed.splitlines()),
        (
            CLEAN,
            [
                "fr.properties: warning: the text of ERR_FULL shows {0}; the one in en.properties "
                "shows {0}, {1} "
                "[languages-differ]",
                "fr.properties:1:10: warning: argument 1 (pages) is not shown [argument-not-shown]",
            ],
        ),
    )


def counts_warnings_if_it_is_strict(tool):
    texts = f"ERR_FULL={FULL}\n"
    expect(tool.check_texts(texts)[0], CLEAN)
    expect(tool.check_texts(texts, "--strict")[0], FOUND)


def prints_the_same_findings_as_json_with_the_same_status(tool):
    (tool.folder / "de.properties").write_text("ERR_PORT={1}\nERR_FULL={0}{1}\n")
    status, printed, _ = tool.run(
        "catalogue",
        "check",
        "--contract",
        "contract.json",
        "--json",
        "de.properties",
        language="de_DE.UTF-8",
    )
    expect(status, FOUND)
    expect(
        json.loads(printed),
        [
            {
                "file": "de.properties",
                "line": 1,
                "column": 10,
                "level": "error",
                "rule": "beyond-arguments",
                "identifier": "KELINFRA_CATALOGUE_BEYOND",
                "arguments": ["1", "1"],
                "text": "für den Platzhalter {1} gibt es kein Argument: die Nachricht hat 1 Argument",
            },
            {
                "file": "de.properties",
                "line": 1,
                "column": 10,
                "level": "warning",
                "rule": "argument-not-shown",
                "identifier": "KELINFRA_CATALOGUE_NOT_SHOWN",
                "arguments": ["0", "port"],
                "text": "Argument 0 (port) wird nicht gezeigt",
            },
        ],
    )
    expect(tool.check_texts(f"ERR_FULL={FULL}\nERR_PORT={PORT}\n", "--json"), (CLEAN, ["[]"]))


def reads_the_standard_input(tool):
    status, printed, _ = tool.run("catalogue", "check", "-", stdin=b"ERR_SOCKET_CLOSD={0}\n")
    expect(
        (status, printed),
        (
            FOUND,
            "<stdin>:1:1: error: there is no identifier ERR_SOCKET_CLOSD; did you mean ERR_SOCKET_CLOSED? "
            "[unknown-identifier]\n",
        ),
    )


def finds_no_error_in_the_catalogues_of_the_library_and_of_the_tool(tool):
    library = sorted(str(file) for file in (tool.root / "catalogues").glob("*.properties"))
    own = sorted(str(file) for file in (tool.root / "tools/kelinfra/messages").glob("*.properties"))
    expect((len(library), len(own)), (3, 3))
    status, printed, errors = tool.run("catalogue", "check", *library)
    expect((status, errors), (CLEAN, ""))
    for rule in ("missing-text", "languages-differ", "not-utf8"):
        expect([line for line in printed.splitlines() if f"[{rule}]" in line], [])
    contract = str(tool.root / "tools/kelinfra/identifiers.json")
    expect(tool.run("catalogue", "check", "--strict", "--contract", contract, *own), (CLEAN, "", ""))


def has_the_sentences_of_the_table_of_errors_in_english(tool):
    table = json.loads((tool.root / "errors/identifiers.json").read_text())["identifiers"]
    texts = [f"{entry['identifier']} = {entry['user'].replace(chr(39), chr(39) * 2)}" for entry in table]
    catalogue = (tool.root / "catalogues/en.properties").read_text().splitlines()
    expect(catalogue[1:], texts)


def begins_a_catalogue_that_passes(tool):
    status, printed, _ = tool.run("catalogue", "init", "fr", "--contract", "contract.json")
    expect(status, CLEAN)
    for line in (
        '# Texts in the language "fr". Translate the text after each "=".',
        "# {0} disk (name) {1} pages (size)",
        "ERR_FULL = ",
        "# {0} host {1} port",
        "ERR_SOCKET_CLOSED = {0} has closed the connection.",
    ):
        if line not in printed.splitlines():
            sys.exit(f"no line {line!r} in:\n{printed}")
    (tool.folder / "fr.properties").write_text(printed)
    status, printed, _ = tool.run("catalogue", "check", "--contract", "contract.json", "fr.properties")
    expect(
        (status, {line.rsplit("[")[-1] for line in printed.splitlines()}), (CLEAN, {"argument-not-shown]"})
    )


# --- convert


def converts_files_into_one_output(tool):
    (tool.folder / "one.txt").write_bytes("Grüße\n".encode("cp1252"))
    (tool.folder / "two.txt").write_bytes("5 €\n".encode("cp1252"))
    done = tool.run("convert", "--from", "windows-1252", "-o", "out.txt", "one.txt", "two.txt")
    expect(done, (CLEAN, "", ""))
    expect((tool.folder / "out.txt").read_text(encoding="utf-8"), "Grüße\n5 €\n")
    expect(
        tool.run("convert", "--from", "UTF-8", "--to", "UTF-16LE", "-o", "out.txt", "out.txt"),
        (CLEAN, "", ""),
    )
    expect((tool.folder / "out.txt").read_bytes(), "Grüße\n5 €\n".encode("utf-16-le"))


def converts_the_standard_input_to_the_standard_output(tool):
    for files in ((), ("-",)):
        done = tool.run("convert", "--from", "Shift_JIS", *files, stdin=b"\x93\xfa\x96\x7b\n")
        expect(done, (CLEAN, "日本\n", ""))


def lists_all_that_would_be_lost_and_writes_nothing(tool):
    (tool.folder / "out.txt").write_bytes(b"before")
    (tool.folder / "in.txt").write_bytes("a €\n".encode() + b"b \xff c\n\xe2\x82")
    listed = [
        "in.txt:1:3: error: ISO-8859-1 does not contain the character U+20AC (byte 2) [unmappable-character]",
        "in.txt:2:3: error: FF has no meaning in UTF-8 (byte 8) [illegal-bytes]",
        "in.txt:3:1: error: the file ends inside a character: E2 82 (byte 12) [truncated-character]",
    ]
    status, printed, errors = tool.run(
        "convert", "--from", "UTF-8", "--to", "ISO-8859-1", "-o", "out.txt", "in.txt"
    )
    expect((status, printed.splitlines(), errors), (FOUND, listed, ""))
    expect((tool.folder / "out.txt").read_bytes(), b"before")
    expect(sorted(file.name for file in tool.folder.iterdir()), ["contract.json", "in.txt", "out.txt"])
    # Bytes and findings are not mixed.
    status, printed, errors = tool.run("convert", "--from", "UTF-8", "--to", "ISO-8859-1", "in.txt")
    expect((status, printed, errors.splitlines()), (FOUND, "", listed))
    status, printed, errors = tool.run(
        "convert", "--from", "UTF-8", "--to", "ISO-8859-1", "--json", "-o", "out.txt", "in.txt"
    )
    found = [
        (entry["line"], entry["column"], entry["rule"], entry["arguments"]) for entry in json.loads(printed)
    ]
    expect(
        (status, found, errors),
        (
            FOUND,
            [
                (1, 3, "unmappable-character", ["U+20AC", "ISO-8859-1", "2"]),
                (2, 3, "illegal-bytes", ["FF", "UTF-8", "8"]),
                (3, 1, "truncated-character", ["E2 82", "12"]),
            ],
            "",
        ),
    )


def replaces_what_would_be_lost_if_it_is_lenient(tool):
    (tool.folder / "in.txt").write_bytes("a €".encode() + b"\xff\xe2\x82")
    for to, expected in (("ISO-8859-1", b"a ???"), ("UTF-8", "a €\ufffd\ufffd".encode())):
        status, printed, errors = tool.run(
            "convert", "--from", "UTF-8", "--to", to, "--lenient", "-o", "out.txt", "in.txt"
        )
        expect((status, printed.count(": warning: "), errors), (CLEAN, 3 if to != "UTF-8" else 2, ""))
        expect((tool.folder / "out.txt").read_bytes(), expected)


def counts_the_places_that_are_too_many_to_list(tool):
    (tool.folder / "in.txt").write_bytes(b"\xff" * 10_003)
    status, printed, errors = tool.run("convert", "--from", "UTF-8", "in.txt")
    lines = errors.splitlines()
    expect((status, printed, len(lines)), (FOUND, "", 10_001))
    expect(lines[0], "in.txt: error: 3 more places are not listed [more-faults]")


def keeps_the_mode_and_the_links_of_the_output(tool):
    target = tool.folder / "target.txt"
    target.write_bytes(b"before")
    target.chmod(0o640)
    (tool.folder / "link.txt").symlink_to("target.txt")
    expect(tool.run("convert", "--from", "ISO-8859-1", "-o", "link.txt", "-", stdin=b"\xfc"), (CLEAN, "", ""))
    expect((tool.folder / "link.txt").is_symlink(), True)
    expect((target.read_bytes(), target.stat().st_mode & 0o777), ("ü".encode(), 0o640))


def refuses_to_convert_without_what_it_needs(tool):
    (tool.folder / "in.txt").write_bytes(b"text")
    (tool.folder / "folder").mkdir()
    for arguments, said in (
        (("in.txt",), "--from is missing; --help shows an example"),
        (("--from", "UTF-8", "none.txt"), "cannot read none.txt: No such file or directory"),
        (("--from", "latin-99", "in.txt"), "The text cannot be converted from latin-99 to UTF-8."),
        (("--from", "UTF-8", "-o", "folder", "in.txt"), "is not a regular file"),
        (("--from", "UTF-8", "-o", "none/out.txt", "in.txt"), "No such file or directory"),
    ):
        status, printed, errors = tool.run("convert", *arguments)
        expect((arguments, status, printed, said in errors), (arguments, FAILED, "", True))


def asks_for_a_file_instead_of_reading_a_terminal(tool):
    import pty

    ours, theirs = pty.openpty()
    done = subprocess.run(
        [*tool.command, "convert", "--from", "UTF-8"], stdin=theirs, capture_output=True, timeout=120
    )
    os.close(theirs)
    os.close(ours)
    expect((done.returncode, b"FILE is missing" in done.stderr), (FAILED, True))


# --- address records


def address_entry(family=2, own_family=None, length=16, name_length=0):
    own = family if own_family is None else own_family
    address = struct.pack("<H", own) + struct.pack(">H", 4711) + bytes([127, 0, 0, 1]) + bytes(8)
    return struct.pack("<iiiiQ", 0, family, 1, 6, length) + address + struct.pack("<H", name_length)


def address_record(*entries, host=b"db.example\0", used=None):
    area = host + struct.pack("<H", 4711) + b"".join(entries)
    return (struct.pack("<H", len(area) if used is None else used) + area).ljust(3000, b"\0")


def checks_address_records(tool):
    head, address = "host db.example port 4711", "; address 127.0.0.1 port 4711"
    good = address_entry()
    for record, text, found in (
        (address_record(good), head + address, ""),
        (address_record(good, good), head + 2 * address, ""),
        (
            address_record(good)[:2999],
            "",
            "error: 2999 bytes are not an address record, which has 3000 bytes [wrong-length]",
        ),
        (b"", "", "error: 0 bytes are not an address record, which has 3000 bytes [wrong-length]"),
        (
            bytes(3000),
            "",
            "warning: the record contains no addresses; the program that connects resolves its host "
            "itself (byte 0) [no-list]",
        ),
        (
            address_record(used=2999),
            "",
            "error: the record states more used bytes than fit into it (byte 0) [used-too-large]",
        ),
        (
            address_record(host=b"x" * 1025),
            "",
            "error: the host does not end with a NUL (byte 2) [host-not-terminated]",
        ),
        (
            address_record(good, address_entry(name_length=1000)),
            head + address,
            "error: a field extends beyond the used bytes (byte 99) [truncated]",
        ),
        (
            address_record(address_entry(length=15)),
            head,
            "error: the length of an address does not suit its family (byte 31) [wrong-address-length]",
        ),
        (address_record(), head, "error: the record ends before its first address (byte 15) [empty-list]"),
        (
            address_record(good, address_entry(family=99)),
            head + address + "; address of family 99",
            "warning: the family of an address is neither IPv4 nor IPv6 (byte 61) [unknown-family]",
        ),
        (
            address_record(address_entry(own_family=99)),
            head + "; address of family 2",
            "warning: the family in an address differs from the family of its entry (byte 39) "
            "[different-family]",
        ),
        (
            address_record(good, host=b"x fault \x1b\0"),
            "host x\\x20fault\\x20\\x1B port 4711" + address,
            "",
        ),
    ):
        tool.write("a.record", record)
        lines = ([f"a.record: {text}"] if text else []) + ([f"a.record: {found}"] if found else [])
        status, printed, errors = tool.run("address", "check", "a.record")
        expect((found, printed.splitlines(), errors), (found, lines, ""))
        expect((found, status), (found, FOUND if found.startswith("error") else CLEAN))
        expect((found, tool.run("address", "check", "--strict", "a.record")[0]), (found, int(found != "")))


def checks_address_records_as_json(tool):
    tool.write("a.record", address_record(address_entry(), address_entry(family=99)))
    status, printed, errors = tool.run("address", "check", "--json", "a.record", "-", stdin=b"x")
    expect((status, errors), (FOUND, ""))
    shown = json.loads(printed)
    text = "host db.example port 4711; address 127.0.0.1 port 4711; address of family 99"
    records = [
        {"file": "a.record", "record": text, "entries": 2},
        {"file": "<stdin>", "record": "", "entries": 0},
    ]
    expect(shown["records"], records)
    found = [(each["file"], each["level"], each["rule"], each["arguments"]) for each in shown["findings"]]
    expect(
        found,
        [("a.record", "warning", "unknown-family", ["61"]), ("<stdin>", "error", "wrong-length", ["1"])],
    )
    said = "kelinfra: none.record kann nicht gelesen werden: No such file or directory\n"
    expect(tool.run("address", "check", "--json", "none.record", language="de"), (FAILED, "", said))


def resolves_a_host(tool):
    text = "host 127.0.0.1 port 4711; address 127.0.0.1 port 4711"
    expect(tool.run("address", "resolve", "127.0.0.1", "4711"), (CLEAN, text + "\n", ""))
    status, printed, errors = tool.run("address", "resolve", "--json", "::1", "0")
    expect((status, errors), (CLEAN, ""))
    expect(json.loads(printed), {"record": "host ::1 port 0; address ::1 port 0", "entries": 1})
    expect(tool.run("address", "resolve", "-o", "a.record", "127.0.0.1", "4711"), (CLEAN, "", ""))
    expect(tool.run("address", "check", "a.record"), (CLEAN, f"a.record: {text}\n", ""))
    done = subprocess.run(
        [*tool.command, "address", "resolve", "-o", "-", "127.0.0.1", "4711"],
        cwd=tool.folder,
        stdout=subprocess.PIPE,
        timeout=120,
    )
    expect(done.stdout, (tool.folder / "a.record").read_bytes())


def resolves_nothing_without_a_host_and_a_port(tool):
    for arguments, status, said in (
        (("x" * 2000, "1"), FOUND, r"the host x+ cannot be resolved \(code [0-9]+\)"),
        ((), FAILED, "HOST is missing; --help shows an example"),
        (("127.0.0.1",), FAILED, "PORT is missing; --help shows an example"),
        (("127.0.0.1", "65536"), FAILED, ".*PORT.*65536.*"),
        (("127.0.0.1", "x"), FAILED, ".*PORT.*x.*"),
        (("127.0.0.1", "-1"), FAILED, ".*-1.*"),
        (("127.0.0.1", "4.5"), FAILED, ".*4.5.*"),
        (("127.0.0.1", "1", "--json", "-o", "a.record"), FAILED, ".*excludes.*"),
    ):
        ended, printed, errors = tool.run("address", "resolve", *arguments)
        matches = re.fullmatch(f"kelinfra: {said}\n", errors) is not None
        expect((arguments, ended, printed, errors, matches), (arguments, status, "", errors, True))
    expect(sorted(os.listdir(tool.folder)), ["contract.json"])


def terminal_output(program, *arguments, **variables):
    """Runs the tool with a terminal as its standard error, and returns what the terminal shows."""
    import pty

    ours, theirs = pty.openpty()
    subprocess.run(
        [*program.command, *arguments],
        cwd=program.folder,
        env={**os.environ, "LC_ALL": "C", **variables},
        stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL,
        stderr=theirs,
        timeout=120,
        check=True,
    )
    # A read returns what has arrived, which may be a part; a terminal that shows nothing would block it.
    os.write(theirs, b"end")
    printed = b""
    while not printed.endswith(b"end"):
        printed += os.read(ours, 10000)
    os.close(theirs)
    os.close(ours)
    return printed.decode().removesuffix("end")


def draws_a_bar_at_each_step(library, program):
    (program.folder / "in.txt").write_bytes(b"x" * (5 << 16))
    (program.folder / "long.txt").write_bytes(b"x" * (30 << 16))
    (program.folder / "empty.txt").write_bytes(b"")

    def bars(pieces, *done):
        drawn = [(40 * each // pieces, 100 * each // pieces) for each in done]
        return "".join(f"\r[{'#' * n}{'.' * (40 - n)}] {percent:3} %" for n, percent in drawn) + "\r\033[K"

    # The clock advances once when the work begins, after each piece, and at the end.
    for step, file, expected in (
        (600, "in.txt", bars(5, 2, 3, 4, 5, 5)),
        (250, "in.txt", bars(5, 4, 5, 5)),
        (100, "in.txt", ""),
        (40, "long.txt", bars(30, 25, 28, 30)),  # at most one bar in 100 ms
        (600, "empty.txt", ""),
    ):
        fault = {"LD_PRELOAD": library, "KELINFRA_FAULT": f"clock_gettime {step}"}
        printed = terminal_output(program, "convert", "--from", "UTF-8", "-o", "out.txt", file, **fault)
        expect((step, file, printed), (step, file, expected))


def shows_a_bar_on_a_terminal_if_the_work_takes_longer_than_a_second(tool):
    with_faults(draws_a_bar_at_each_step, tool)


def shows_no_bar_without_a_terminal(tool):
    def converts(library, program):
        (program.folder / "in.txt").write_bytes(b"x" * (5 << 16))
        fault = {"LD_PRELOAD": library, "KELINFRA_FAULT": "clock_gettime 600"}
        done = program.run("convert", "--from", "UTF-8", "-o", "out.txt", "in.txt", **fault)
        expect(done, (CLEAN, "", ""))

    with_faults(converts, tool)


def takes_names_in_any_script(tool):
    name, other = "grüße-日本-\U0001f600.properties", "новый.txt"
    utf8 = {"language": "C.UTF-8"}
    tool.write(name, "a=1\n")
    tool.write(other, "before")
    done = tool.run("properties", "set", "--backup", name, "schlüssel", "値", **utf8)
    expect(done, (CLEAN, f"{name} was written\n", ""))
    expect((tool.folder / (name + "~")).read_bytes(), b"a=1\n")
    expect(tool.run("properties", "get", name, "schlüssel", **utf8), (CLEAN, "値\n", ""))
    expect(tool.run("convert", "--from", "UTF-8", "-o", other, name, **utf8), (CLEAN, "", ""))
    expect((tool.folder / other).read_bytes(), (tool.folder / name).read_bytes())
    said = f"kelinfra: cannot read ö{other}: No such file or directory\n"
    expect(tool.run("properties", "list", "ö" + other, **utf8), (FAILED, "", said))
    expect(sorted(os.listdir(tool.folder)), sorted(["contract.json", name, name + "~", other]))


def commands_of(program, path=()):
    """Each command with the options and subcommands that its help names."""
    _, text, _ = program.run(*path, "--help")
    options = set(re.findall(r"(?:^|[ ,])(--[a-z-]+)", text.split("Options:")[1].split("Subcommands:")[0]))
    subcommands = set(re.findall(r"^  ([a-z]+) ", text.partition("Subcommands:")[2], re.M))
    commands = {" ".join(path): options | subcommands}
    for subcommand in subcommands:
        commands.update(commands_of(program, (*path, subcommand)))
    return commands


def completes_for_each_shell_what_the_help_names(tool):
    commands = commands_of(tool)
    for command in ("", "version", "address resolve", "catalogue check", "convert", "trace"):
        expect((command, command in commands), (command, True))
    for shell, line in (
        ("bash", r'^    "(.*)"\*\) words="(.*)" ;;$'),
        ("zsh", r'^  \("(.*)"\*\) compadd -- (.*) ;;$'),
        ("fish", r'^complete -c kelinfra -n "__kelinfra_after (.*)" -a "(.*)"$'),
        ("powershell", r"^    '(.*)\*' \{ '(.*)'; break \}$"),
    ):
        status, printed, errors = tool.run("generate", shell)
        expect((shell, status, errors), (shell, CLEAN, ""))
        found = {path: set(words.split()) for path, words in re.findall(line, printed, re.M)}
        expect((shell, found), (shell, commands))


def completes_in_bash(tool):
    if os.name != "posix":
        sys.exit(77)
    _, completion, _ = tool.run("generate", "bash")
    for words, expected in (
        (["c"], "catalogue convert"),
        (["catalogue", ""], "check init --help --help-all"),
        (["catalogue", "check", "a.properties", "--s"], "--strict"),
        (["--language", "version", "--j"], "--json"),
        (["catalogue", "check", "x"], ""),
    ):
        script = (
            completion
            + f'COMP_WORDS=(kelinfra "$@"); COMP_CWORD={len(words)}; _kelinfra; echo "${{COMPREPLY[*]}}"'
        )
        done = subprocess.run(["bash", "-c", script, "bash", *words], capture_output=True, timeout=120)
        expect((words, done.stdout.decode().strip(), done.stderr), (words, expected, b""))


def has_a_manual_page_with_what_the_help_names(tool):
    status, page, errors = tool.run("generate", "man")
    expect((status, errors), (CLEAN, ""))
    for path, words in commands_of(tool).items():
        for word in {path} | words:
            if word.replace("-", "\\-") not in page:
                sys.exit(f"the manual page lacks {word!r}")
    expect(
        tool.run("generate", "bahs"),
        (FAILED, "", "kelinfra: unknown option or command: bahs; did you mean bash?\n"),
    )


def prints_its_version(tool):
    status, printed, errors = tool.run("version", "--json")
    expect((status, errors, sorted(json.loads(printed))), (CLEAN, "", ["icu", "kelinfra"]))
    version = json.loads(printed)
    expect(tool.run("version"), (CLEAN, f"kelinfra {version['kelinfra']} (ICU {version['icu']})\n", ""))


def reports_an_output_that_cannot_be_written(tool):
    if not os.path.exists("/dev/full"):
        sys.exit(77)
    # More than the C library keeps in its buffer, so the write fails before the end.
    identifiers = [{"identifier": f"ERR_{i}", "arguments": []} for i in range(10000)]
    (tool.folder / "big.json").write_text(json.dumps({"identifiers": identifiers}))
    (tool.folder / "x.properties").write_text("")
    for arguments in (
        ("version",),
        ("catalogue", "init", "de", "--contract", "big.json"),
        ("catalogue", "check", "--json", "--contract", "big.json", "x.properties"),
    ):
        with open("/dev/full", "w") as full:
            done = subprocess.run(
                [*tool.command, *arguments],
                cwd=tool.folder,
                stdout=full,
                stderr=subprocess.PIPE,
                timeout=120,
                env={**os.environ, "LC_ALL": "C"},
            )
        expect(
            (arguments, done.returncode, done.stderr),
            (arguments, FAILED, b"kelinfra: cannot write to the standard output\n"),
        )


def prints_colours_only_to_a_terminal(tool):
    if os.name != "posix":
        sys.exit(77)
    import pty

    (tool.folder / "x.properties").write_text("X=\n")
    for variables, coloured in (
        ({"TERM": "xterm"}, True),
        ({"TERM": "dumb"}, False),
        ({"TERM": "xterm", "NO_COLOR": "1"}, False),
    ):
        ours, theirs = pty.openpty()
        environment = {
            **{k: v for k, v in os.environ.items() if k != "NO_COLOR"},
            "LC_ALL": "C",
            **variables,
        }
        subprocess.run(
            [*tool.command, "catalogue", "check", "x.properties"],
            cwd=tool.folder,
            stdout=theirs,
            env=environment,
            timeout=120,
        )
        os.close(theirs)
        printed = os.read(ours, 10000)
        os.close(ours)
        expect((variables, b"\x1b[31merror\x1b[0m" in printed), (variables, coloured))
        expect((variables, b"there is no identifier X" in printed), (variables, True))


# --- properties

SCHEMA = """port@type=uint32
port@range=1..65535
port@default=4711
port@meaning=The port of the server.
host@default=localhost
server@deprecated=host
old@deprecated=
level@values=low, high
log.*@type=boolean
"""
SETTINGS = "# ports\nport : 80\nhost=db1\nport = 8080\n"


def finds_what_is_wrong_in_properties(tool):
    tool.write("s.schema", SCHEMA)
    for text, expected in (
        ("port=80\nhost=%port%\n", []),
        (
            "port=1\nport=2\n",
            ['1:1: warning: line 2, column 1 has "port" again, and its value counts [duplicate-key]'],
        ),
        (
            "host=\\u00G9\n",
            ["1:6: error: \\u00 is not an escape: it needs four hexadecimal digits [escape-malformed]"],
        ),
        ("host=\\uD842\n", ["1:6: error: \\uD842 is not a character [escape-not-character]"]),
        (
            "host=\\u0041",
            [
                "1:6: error: \\u0041 at the end of the file is not read as an escape: "
                "end the line [escape-at-end]"
            ],
        ),
        (
            "host=90%\n",
            ['1:8: warning: a "%" in the value of "host" does not begin a reference [lone-percent]'],
        ),
        ("host=%a%\n", ['1:6: error: "host" refers to "a", which does not exist [reference-missing]']),
        (
            "host=%host%\n",
            ['1:6: error: the value of "host" leads to "host", which refers to itself [reference-cyclic]'],
        ),
        (
            "host=\\ a\n",
            ['1:6: warning: a program that saves "host" does not write this value back [value-not-saved]'],
        ),
        ("colour=red\n", ['1:1: warning: the schema has no property "colour" [unknown-key]']),
        (
            "prot=80\n",
            ['1:1: warning: the schema has no property "prot"; did you mean "port"? [misspelt-key]'],
        ),
        ("server=a\n", ['1:1: warning: "server" is deprecated; use "host" [deprecated-key]']),
        ("old=a\n", ['1:1: warning: "old" is deprecated; remove it [obsolete-key]']),
        ("port=x\n", ['1:6: error: "port" has the value "x", which is not of the type uint32 [wrong-type]']),
        (
            "port=70000\n",
            ['1:6: error: "port" has the value 70000, which is not in the range 1..65535 [out-of-range]'],
        ),
        (
            "level=mid\n",
            ['1:7: error: "level" has the value "mid"; allowed are: low, high [unlisted-value]'],
        ),
        (
            "# ä\nlog.ä=1\\\n 2\nhost=ä 9%\n",
            [
                '2:7: error: "log.ä" has the value "12", which is not of the type boolean [wrong-type]',
                '4:9: warning: a "%" in the value of "host" does not begin a reference [lone-percent]',
            ],
        ),
    ):
        tool.write("a.properties", text)
        status, printed, errors = tool.run("properties", "check", "a.properties", "--schema", "s.schema")
        printed = printed.replace("Ã¤", "ä")  # the bytes are ISO-8859-1 for the library
        expect((text, printed.splitlines()), (text, ["a.properties:" + line for line in expected]))
        is_wrong = any(" error: " in line for line in expected)
        expect((text, status, errors), (text, FOUND if is_wrong else CLEAN, ""))
        strict = tool.run("properties", "check", "--strict", "--schema", "s.schema", "a.properties")
        expect((text, strict[0]), (text, FOUND if expected else CLEAN))


def finds_what_is_wrong_in_a_schema(tool):
    tool.write("a.properties", "")
    for text, expected in (
        (
            "port@typ=int32\n",
            '"port@typ" does not end with a word of schemas, such as "@type" [schema-facet-unknown]',
        ),
        ("a*b*@type=text\n", 'the name "a*b*" contains more than one "*" [schema-name-malformed]'),
        ("a@type=int\n", 'the type "int" of "a" does not exist [schema-type-unknown]'),
        ("a@type=int32\na@range=1-2\n", '"1-2" is not a range for "a" [schema-range-malformed]'),
        (
            "a@type=int32\na@default=x\n",
            'the schema does not allow the default "x" of "a" [schema-default-refused]',
        ),
        ("a@deprecated=b\n", '"b", which replaces "a", is not in the schema [schema-successor-unknown]'),
        ("@unknown=never\n", '"never" is not a level: write error, warning or ignore [schema-level-unknown]'),
    ):
        tool.write("s.schema", text)
        status, printed, errors = tool.run("properties", "check", "a.properties", "--schema", "s.schema")
        expect((text, status, printed.partition(": error: ")[2], errors), (text, FOUND, expected + "\n", ""))
        status, printed, errors = tool.run("properties", "describe", "s.schema")
        expect((text, status, errors.partition(": error: ")[2]), (text, FOUND, expected + "\n"))


def has_a_text_for_each_rule_of_the_library(tool):
    rules = set()
    for header in ("kelPropertiesReport.hpp", "kelPropertiesSchema.hpp"):
        text = (tool.root / "include/infra/util" / header).read_text()
        rules |= set(re.findall(r"^/// \| ([a-z]+-[a-z-]+) +\|", text, re.M))
        rules |= set(re.findall(r"(schema-[a-z-]+) \(", text.replace("\n/// ", " ")))
    table = json.loads((tool.root / "tools/kelinfra/identifiers.json").read_text())["identifiers"]
    prefix = "KELINFRA_RULE_"
    texts = {entry["identifier"] for entry in table if entry["identifier"].startswith(prefix)}
    expect(len(rules), 23)
    expect(texts, {prefix + rule.upper().replace("-", "_") for rule in rules})


def prints_findings_in_properties_as_json(tool):
    tool.write("a.properties", "port=%a%\n")
    status, printed, _ = tool.run("properties", "check", "--json", "a.properties", language="de")
    expect(
        (status, json.loads(printed)),
        (
            FOUND,
            [
                {
                    "file": "a.properties",
                    "line": 1,
                    "column": 6,
                    "level": "error",
                    "rule": "reference-missing",
                    "identifier": "KELINFRA_RULE_REFERENCE_MISSING",
                    "arguments": ["port", "a"],
                    "text": "„port“ verweist auf „a“, das es nicht gibt",
                }
            ],
        ),
    )


def describes_a_schema(tool):
    tool.write("s.schema", SCHEMA)
    status, printed, errors = tool.run("properties", "describe", "s.schema")
    expect((status, errors), (CLEAN, ""))
    start = "# The port of the server.\n# Type: uint32, 1..65535\n#port=4711\n"
    expect(printed[: len(start)], start)
    status, table, errors = tool.run("properties", "describe", "--markdown", "-", stdin=SCHEMA.encode())
    expect((status, errors, table[:2], "4711" in table), (CLEAN, "", "| ", True))


def prints_properties(tool):
    tool.write("a.properties", "b=%c%\\\n x\nc=\\u30A2\\n\nb=%c%\nd:\\ e\n")
    for arguments, expected in (
        (("get", "a.properties", "b"), (CLEAN, "%c%\n", "")),
        (("get", "a.properties", "b", "--resolved"), (CLEAN, "ア\n\n", "")),
        (("get", "a.properties", "c", "--json"), (CLEAN, '"ア\\n"\n', "")),
        (("list", "a.properties"), (CLEAN, "c=\\u30A2\\n\nb=%c%\nd=\\ e\n", "")),
        (
            ("get", "a.properties", "B"),
            (FOUND, "", "kelinfra: a.properties has no property B; did you mean b?\n"),
        ),
        (("get", "a.properties", "xyz"), (FOUND, "", "kelinfra: a.properties has no property xyz\n")),
        (("get", "a.properties"), (FAILED, "", "kelinfra: KEY is missing; --help shows an example\n")),
        (("get", "a.properties", b"\xff"), (FAILED, "", "kelinfra: KEY is not UTF-8\n")),
    ):
        if not tool.can_pass(arguments):
            continue
        expect((arguments, tool.run("properties", *arguments)), (arguments, expected))
    status, printed, _ = tool.run("properties", "list", "--json", "-", stdin=b"a=%b%\n")
    expect((status, json.loads(printed)), (CLEAN, [{"key": "a", "value": "%b%", "line": 1, "column": 1}]))
    expect(
        tool.run("properties", "get", "--resolved", "-", "a", stdin=b"a=%b%\n"),
        (FOUND, "", "kelinfra: the references in the value of a cannot be resolved\n"),
    )


def prints_the_properties_that_differ(tool):
    tool.write("a.properties", "a=1\nb=1\nc=1\n")
    tool.write("b.properties", "d=\nc : 1\nb=1\nb=2\n")
    command = ("properties", "diff", "a.properties")
    expect(tool.run(*command, "b.properties"), (FOUND, "-a=1\n-b=1\n+b=2\n+d=\n", ""))
    expect(tool.run(*command, "-", stdin=b"c=1\nb=1\na=\\u0031\n"), (CLEAN, "", ""))
    status, printed, _ = tool.run(*command, "b.properties", "--json")
    expect(
        (status, json.loads(printed)),
        (
            FOUND,
            [
                {"key": "a", "left": "1", "right": None},
                {"key": "b", "left": "1", "right": "2"},
                {"key": "d", "left": None, "right": ""},
            ],
        ),
    )


def changes_only_the_lines_of_a_property(tool):
    for arguments, expected in (
        (("set", "-", "port", "4711"), SETTINGS.replace("8080", "4711")),
        (("set", "-", "user", "ア é"), SETTINGS + "user=\\u30A2 \\u00E9\n"),
        (("set", "-", "host", "db1"), SETTINGS),
        (("set", "-", "host", ""), SETTINGS.replace("db1", "")),
        (("set", "-", "host", "[a,b]"), SETTINGS.replace("db1", "[a,b]")),
        (("set", "-", "host", "--", "-5"), SETTINGS.replace("db1", "-5")),
        (("remove", "-", "port"), "# ports\nhost=db1\n"),
        (("format", "-"), "# ports\nport=80\nhost=db1\nport=8080\n"),
    ):
        printed = tool.run("properties", *arguments, stdin=SETTINGS.encode())
        expect((arguments, printed), (arguments, (CLEAN, expected, "")))
        file = tool.write("a.properties", SETTINGS)
        file.chmod(0o640)
        command = ["a.properties" if word == "-" else word for word in arguments]
        before = file.stat()
        status, said, errors = tool.run("properties", *command)
        expect((arguments, status, errors, file.read_text()), (arguments, CLEAN, "", expected))
        tool.expect_mode(file, 0o640)
        same = expected == SETTINGS
        expect((arguments, before.st_ino == file.stat().st_ino), (arguments, same))
        said_then = "stays as it is: there is nothing to change" if same else "was written"
        expect((arguments, said), (arguments, f"a.properties {said_then}\n"))
    expect(sorted(os.listdir(tool.folder)), ["a.properties", "contract.json"])


def refuses_changes_that_it_cannot_make(tool):
    file = tool.write("a.properties", SETTINGS)
    for arguments, status, said in (
        (
            ("set", "a.properties", "face", "😀"),
            FAILED,
            "a properties file cannot hold this key or value: face",
        ),
        (("set", "a.properties", "a"), FAILED, "VALUE is missing; --help shows an example"),
        (("set", "a.properties", "a", b"\xe4"), FAILED, "VALUE is not UTF-8"),
        (
            ("set", "none.properties", "a", "b"),
            FAILED,
            "cannot read none.properties: No such file or directory",
        ),
        (("remove", "a.properties", "prot"), FOUND, "a.properties has no property prot; did you mean port?"),
        (("format", "."), FAILED, None),
    ):
        if not tool.can_pass(arguments):
            continue
        printed = tool.run("properties", *arguments)
        expect((arguments, printed[:2]), (arguments, (status, "")))
        if said is not None:
            expect((arguments, printed[2]), (arguments, f"kelinfra: {said}\n"))
    expect((file.read_text(), sorted(os.listdir(tool.folder))), (SETTINGS, ["a.properties", "contract.json"]))


def replaces_the_file_to_which_a_link_points(tool):
    (tool.folder / "real").mkdir()
    file = tool.write("real/a.properties", SETTINGS)
    (tool.folder / "link").symlink_to("real/a.properties")
    if os.geteuid() == 0:
        os.chown(file, 12, 34)
    expect(tool.run("properties", "set", "link", "host", "db2")[0], CLEAN)
    expect(((tool.folder / "link").is_symlink(), file.read_text()), (True, SETTINGS.replace("db1", "db2")))
    if os.geteuid() == 0:
        expect((file.stat().st_uid, file.stat().st_gid), (12, 34))
    expect(os.listdir(tool.folder / "real"), ["a.properties"])


def keeps_the_former_file_as_a_backup(tool):
    file = tool.write("a.properties", SETTINGS)
    file.chmod(0o600)
    expect(tool.run("properties", "set", "--backup", "a.properties", "host", "db1")[0], CLEAN)
    backup = tool.folder / "a.properties~"
    expect(backup.exists(), False)
    expect(tool.run("properties", "set", "--backup", "a.properties", "host", "db2")[0], CLEAN)
    expect(tool.run("properties", "set", "--backup", "a.properties", "host", "db3")[0], CLEAN)
    expect(backup.read_text(), SETTINGS.replace("db1", "db2"))
    tool.expect_mode(backup, 0o600)


def prints_what_would_change(tool):
    for text, arguments, expected in (
        (SETTINGS, ("set", "host", "db2"), "@@ -3 +3 @@\n-host=db1\n+host=db2\n"),
        (SETTINGS, ("set", "user", "a"), "@@ -4,0 +5 @@\n+user=a\n"),
        (SETTINGS, ("remove", "port"), "@@ -2 +1,0 @@\n-port : 80\n@@ -4 +2,0 @@\n-port = 8080\n"),
        (
            "a=1",
            ("set", "a", "2"),
            "@@ -1 +1 @@\n-a=1\n\\ No newline at end of file\n" "+a=2\n\\ No newline at end of file\n",
        ),
        (SETTINGS, ("format",), "@@ -2 +2 @@\n-port : 80\n+port=80\n@@ -4 +4 @@\n-port = 8080\n+port=8080\n"),
        (SETTINGS, ("set", "host", "db1"), None),
    ):
        file = tool.write("a.properties", text)
        command, *operands = arguments
        head = "" if expected is None else "--- a.properties\n+++ a.properties\n"
        printed = tool.run("properties", command, "--dry-run", "--backup", "a.properties", *operands)
        expect((arguments, printed), (arguments, (CLEAN, head + (expected or ""), "")))
        expect((arguments, file.read_text()), (arguments, text))
    expect(sorted(os.listdir(tool.folder)), ["a.properties", "contract.json"])


def prints_a_patch_that_patch_applies(tool):
    if os.system("command -v patch >/dev/null") != 0:
        sys.exit(77)
    for seed in range(20):
        chance = random.Random(seed)
        text = "".join(
            f"{chance.choice('abcdef')}{chance.choice([' : ', '=', ' '])}{chance.randrange(9)}\n"
            for _ in range(30)
        )
        file = tool.write("a.properties", text)
        _, patch, _ = tool.run("properties", "format", "--dry-run", "a.properties")
        _, wanted, _ = tool.run("properties", "format", "-", stdin=text.encode())
        done = subprocess.run(
            ["patch", "--silent", file.name], cwd=tool.folder, input=patch.encode(), timeout=120
        )
        expect((seed, done.returncode, file.read_text()), (seed, 0, wanted))


def formats_any_file_without_changing_a_property(tool):
    pieces = [
        b"a",
        b"b",
        b"=",
        b":",
        b" ",
        b"\t",
        b"\\",
        b"\\\n",
        b"\\\r\n",
        b"\n",
        b"\r",
        b"\r\n",
        b"#",
        b"!",
        b"\\u00",
        b"e4",
        b"\\u0041",
        b"\xe4",
        b"%",
        b"\0",
        b"\x1a",
        b"\f",
    ]

    def properties(name):
        _, printed, _ = tool.run("properties", "list", "--json", name)
        return sorted((each["key"], each["value"]) for each in json.loads(printed))

    for seed in range(60):
        chance = random.Random(seed)
        text = b"".join(chance.choice(pieces) for _ in range(chance.randrange(200)))
        tool.write("a.properties", text)
        before = properties("a.properties")
        expect((seed, tool.run("properties", "format", "a.properties")[::2]), (seed, (CLEAN, "")))
        expect((seed, properties("a.properties")), (seed, before))
        again = tool.run("properties", "format", "a.properties")
        expect(
            (seed, again), (seed, (CLEAN, "a.properties stays as it is: there is nothing to change\n", ""))
        )


def fails_at_each_step(library, tool):
    folder = f"{tool.folder.resolve()}/"
    name = folder + "a.properties"
    for fault, said in (
        ("mkstemp 13", f"cannot write in the folder {folder}: Permission denied"),
        ("write 28", f"cannot write {name}: No space left on device"),
        ("fsync 5", f"cannot write {name}: Input/output error"),
        ("rename 30", f"cannot write {name}: Read-only file system"),
        (
            "fchown 1",
            f"the owner and the group of {name} cannot be kept, so it stays as it was: "
            "Operation not permitted",
        ),
        ("fsync 0", f"another program has changed {name} meanwhile; nothing was written"),
    ):
        file = tool.write("a.properties", SETTINGS)
        if fault.startswith("fchown"):
            if os.geteuid() != 0:
                continue
            os.chown(file, 12, 34)
        printed = tool.run(
            "properties",
            "set",
            "a.properties",
            "host",
            "db2",
            LD_PRELOAD=library,
            KELINFRA_FAULT=fault,
            KELINFRA_FAULT_FILE=name,
        )
        expect((fault, printed), (fault, (FAILED, "", f"kelinfra: {said}\n")))
        expect((fault, file.read_text()), (fault, SETTINGS + ("other=1\n" if fault == "fsync 0" else "")))
        expect((fault, sorted(os.listdir(tool.folder))), (fault, ["a.properties", "contract.json"]))
        file.unlink()


def with_faults(test, program):
    """Runs a test with the library that makes calls fail."""
    if program.faults == "-":
        sys.exit(77)
    # The loader splits LD_PRELOAD at blanks, which the path of the build may contain.
    with tempfile.TemporaryDirectory(prefix="kelinfra-faults-") as folder:
        test(shutil.copy(program.faults, folder), program)


def leaves_the_file_if_it_cannot_write_the_new_one(tool):
    with_faults(fails_at_each_step, tool)


def reports_a_file_above_the_limit_of_the_user(tool):
    file = tool.write("a.properties", "a=1\n" * 20000)
    words = shlex.join(tool.command)
    done = subprocess.run(
        ["bash", "-c", f"ulimit -f 4; {words} properties set a.properties b 2"],
        cwd=tool.folder,
        env={**os.environ, "LC_ALL": "C"},
        capture_output=True,
        timeout=120,
    )
    expect((done.returncode, done.stderr.decode().rpartition(": ")[2]), (FAILED, "File too large\n"))
    expect((file.stat().st_size, sorted(os.listdir(tool.folder))), (80000, ["a.properties", "contract.json"]))


def ends_quietly_if_nobody_reads_its_output(tool):
    if os.name != "posix":
        sys.exit(77)
    tool.write("a.properties", "".join(f"key{i}=value\n" for i in range(20000)))
    for restores, status in ((True, -signal.SIGPIPE), (False, CLEAN)):
        ours, theirs = os.pipe()
        os.close(ours)
        done = subprocess.run(
            [*tool.command, "properties", "list", "a.properties"],
            cwd=tool.folder,
            stdout=theirs,
            stderr=subprocess.PIPE,
            restore_signals=restores,
            timeout=120,
        )
        os.close(theirs)
        expect((restores, done.returncode, done.stderr), (restores, status, b""))


def prints_what_the_pages_show(tool):
    """Runs the blocks of the pages that are fenced as console: a line after "$ " is a command, the others are
    what it prints."""
    words = " ".join(map(shlex.quote, tool.command))
    count = 0
    for page in sorted((tool.root / "docs").rglob("*.md")):
        for block in re.findall(r"^```console\n(.*?)^```$", page.read_text(), re.M | re.S):
            count += 1
            commands = re.findall(r"^\$ (.*)$", block, re.M)
            printed = ""
            for command in commands:
                script = f'kelinfra() {{ {words} "$@"; }}\n{command}\n'
                done = subprocess.run(
                    ["bash", "-c", script],
                    cwd=tool.folder,
                    env={**os.environ, "LC_ALL": "C"},
                    stdout=subprocess.PIPE,
                    stderr=subprocess.STDOUT,
                    timeout=120,
                )
                status = f"[exit status {done.returncode}]\n" if done.returncode != 0 else ""
                printed += f"$ {command}\n{done.stdout.decode()}{status}"
            expect((page.name, printed), (page.name, block))
    expect(count, 6)


# --- traces

JOIN, ADD, LIST, CLEAR, NEXT = (0x1CD80000 + n for n in (0x63A, 0x638, 0x636, 0x63E, 0x63D))
BUFFER_CLEAR, OWN = 0x1CD805EB, 0xABCDEF


def trace_file(*threads, version=1, clock=1, ticks=1000000, nanoseconds=500000):
    """A trace file. A thread is a list of (time, probe), negative for an exit; two ticks are a nanosecond."""
    file = b"KELTRACE" + struct.pack(
        "<IIIIQQQQQII", version, 72, clock, 4711, 5000, 5000 + ticks, nanoseconds, 0, 3, len(threads), 0
    )
    for number, events in enumerate(threads, 1):
        file += struct.pack("<QQQII", number, 7, len(events), number % 2, 0)
        for time, probe in events:
            file += struct.pack("<QII", 5000 + time, abs(probe), 1 if probe < 0 else 0)
    return file


def timed(probes):
    return [(2000 * (i + 1), probe) for i, probe in enumerate(probes)]


def show_trace(program, file, *options):
    status, printed, errors = program.run("trace", *options, "-", stdin=file)
    expect((status, errors), (CLEAN, ""))
    return printed


def shows_the_calls_of_a_trace_as_a_tree_and_by_function(tool):
    calls = [(0, JOIN), (2000, ADD), (6000, -ADD), (10000, ADD), (12000, -ADD), (20000, -JOIN)]
    calls.append((30000, -NEXT))
    printed = show_trace(tool, trace_file(calls, [(0, OWN), (999999, -OWN)]))
    expect(
        printed.splitlines(),
        """process 4711, 500.000 us, 17 events lost

thread 1: 7 events, 7 lost
     calls  no exit     whole (us)       own (us)
         1        0         10.000          7.000  MessageList::join
         2        0          3.000          3.000    MessageList::addMessage
         1        0          0.000          0.000  MessageList::getNextMsg

thread 2: 2 events, 7 lost
     calls  no exit     whole (us)       own (us)
         1        0        499.999        499.999  00ABCDEF

all threads, by function
     calls  no exit     whole (us)       own (us)
         1        0        499.999        499.999  00ABCDEF
         1        0         10.000          7.000  MessageList::join
         2        0          3.000          3.000  MessageList::addMessage
         1        0          0.000          0.000  MessageList::getNextMsg""".splitlines(),
    )


def tree_of(program, events):
    tree = json.loads(show_trace(program, trace_file(events), "--json"))["threads"][0]["tree"]
    return [
        " " * line["depth"]
        + f"{line['function'].split('::')[-1]} {line['calls']} {line['noExit']} {line['whole']}"
        for line in tree
    ]


def pairs_the_events_of_a_trace(tool):
    for events, tree in (
        ([], []),
        # a function that reports only its exit
        ([JOIN, -LIST, -JOIN], ["join 1 0 2000", " MessageList 1 0 0"]),
        # the ring begins inside two calls
        ([-ADD, -JOIN, JOIN, -JOIN], ["join 2 0 1000", "addMessage 1 0 0"]),
        # entries only, exits only
        ([JOIN, ADD, ADD], ["join 1 0 0", "addMessage 2 0 0"]),
        ([-ADD, -ADD, -JOIN], ["addMessage 2 0 0", "join 1 0 0"]),
        # the call around it ends
        ([JOIN, ADD, -JOIN], ["join 1 0 2000", " addMessage 1 1 1000"]),
        # the function is entered again
        ([OWN, OWN, -OWN], ["00ABCDEF 2 1 2000"]),
        # an error is constructed, caught and destroyed
        ([OWN, -LIST, ADD, -ADD, CLEAR, -CLEAR],
         ["00ABCDEF 1 1 3000", " addMessage 1 0 1000", " MessageList 1 0 0", "clear 1 0 1000"]),
        # an error leaves two calls
        ([OWN, JOIN, -LIST, ADD, -ADD, CLEAR, -CLEAR],
         ["00ABCDEF 1 1 4000", " join 1 1 3000", "  addMessage 1 0 1000", "  MessageList 1 0 0",
          "clear 1 0 1000"]),
        # the destructor has the number of the member
        ([BUFFER_CLEAR, -BUFFER_CLEAR, -BUFFER_CLEAR], ["clear 2 0 1000"]),
        ([OWN, -BUFFER_CLEAR, -OWN], ["00ABCDEF 1 0 2000", " clear 1 0 0"]),
        # the recording ends inside a call
        ([JOIN, ADD, -ADD], ["join 1 1 2000", " addMessage 1 0 1000"]),
    ):
        expect((events, tree_of(tool, timed(events))), (events, tree))


def refuses_files_that_are_no_traces(tool):
    good = trace_file(timed([JOIN, -JOIN]), timed([OWN]))
    expect(json.loads(show_trace(tool, good, "--json"))["process"], 4711)
    for file, said in (
        (b"", "<stdin> is not a trace file"),
        (b"KELTRACX" + good[8:], "<stdin> is not a trace file"),
        (trace_file(version=2),
         "<stdin> has version 2 of the trace format; this program reads version 1"),
        (good[:71], "the trace file <stdin> is incomplete: it ends after 71 bytes"),
        (good[:72], "the trace file <stdin> is incomplete: it ends after 72 bytes"),
        (good[:-1], f"the trace file <stdin> is incomplete: it ends after {len(good) - 1} bytes"),
        (good + b"x", f"the trace file <stdin> is malformed at byte {len(good)}"),
        (good[:-4] + b"\2\0\0\0", f"the trace file <stdin> is malformed at byte {len(good) - 16}"),
        (trace_file(clock=3), "the trace file <stdin> is malformed at byte 12"),
        (good[:88] + b"\xff" * 8 + good[96:],
         f"the trace file <stdin> is incomplete: it ends after {len(good)} bytes"),
    ):
        expect(tool.run("trace", "-", stdin=file), (FAILED, "", f"kelinfra: {said}\n"))
    expect(
        tool.run("trace", "-", language="de", stdin=b"x"),
        (FAILED, "", "kelinfra: <stdin> ist keine Trace-Datei\n"),
    )


def busy_trace():
    """All calls at the same time, so that the nesting cannot come from the times."""
    events = [JOIN, ADD, -ADD, -LIST, ADD, -ADD, OWN, -OWN, -JOIN, -NEXT]
    events += [OWN, -LIST, ADD, -ADD, CLEAR, -CLEAR]
    return trace_file([(1000, probe) for probe in events], timed(events))


def prints_nested_calls_for_the_trace_viewer_of_chrome(tool):
    events = json.loads(show_trace(tool, busy_trace(), "--chrome"))["traceEvents"]
    expect(len(events), 20)
    expect({event["ph"] for event in events}, {"X"})
    for thread in (1, 2):
        open_ends, last = [], 0
        for event in (event for event in events if event["tid"] == thread):
            start = round(event["ts"] * 1000)
            length = round(event["dur"] * 1000)
            expect((event["pid"], length >= 1, start >= last), (4711, True, True))
            while open_ends and open_ends[-1] <= start:
                open_ends.pop()
            if open_ends and start + length > open_ends[-1]:
                sys.exit(f"overlaps the call around it: {event}")
            open_ends.append(start + length)
            last = start


def draws_a_flame_graph_that_needs_no_script(tool):
    calls = [(0, JOIN), (2000, ADD), (600000, -ADD), (800000, -JOIN), (900000, OWN), (900010, -OWN)]
    svg = show_trace(tool, trace_file(calls), "--flame")
    expect("script" in svg or "href" in svg, False)
    rows = []
    for group in xml.etree.ElementTree.fromstring(svg):
        parts = {part.tag.split("}")[-1]: part for part in group}
        if "rect" in parts:
            place = [float(parts["rect"].get(name)) for name in ("x", "y", "width")]
            rows.append((parts["text"].text if "text" in parts else "", *place))
    (join, x, y, width), (add, inner_x, inner_y, inner_width) = rows
    expect((join, add), ("MessageList::join", "MessageList::addMessage"))
    expect((x, inner_x, inner_y - y), (0.0, 0.0, 18.0))
    expect((abs(width - 1200) < 0.1, abs(inner_width / width - 598 / 800) < 0.001), (True, True))


def refuses_two_forms_of_a_trace_at_once(tool):
    for options in (("--chrome", "--flame"), ("--chrome", "--json"), ("--flame", "--json")):
        status, printed, errors = tool.run("trace", *options, "-", stdin=trace_file())
        expect((status, printed, "excludes" in errors), (FAILED, "", True))


# These need calls, names or programs that Windows does not have, or they start hundreds of processes, which
# takes Wine minutes.
POSIX_ONLY = (
    asks_for_a_file_instead_of_reading_a_terminal,
    checks_a_file_in_proportional_time,
    completes_in_bash,
    ends_quietly_if_nobody_reads_its_output,
    formats_any_file_without_changing_a_property,
    keeps_the_mode_and_the_links_of_the_output,
    leaves_the_file_if_it_cannot_write_the_new_one,
    prints_a_patch_that_patch_applies,
    prints_colours_only_to_a_terminal,
    prints_no_control_characters_of_a_file,
    replaces_the_file_to_which_a_link_points,
    reports_a_file_above_the_limit_of_the_user,
    reports_an_output_that_cannot_be_written,
    shows_a_bar_on_a_terminal_if_the_work_takes_longer_than_a_second,
    shows_no_bar_without_a_terminal,
)

TESTS = {
    "".join(word.capitalize() for word in name.split("_")): test
    for name, test in list(globals().items())
    if callable(test) and getattr(test, "__code__", None) and test.__code__.co_varnames[:1] == ("tool",)
}


def main():
    if sys.argv[1] == "--list":
        left_out = POSIX_ONLY if sys.argv[2] == "windows" else ()
        print("\n".join(name for name, test in TESTS.items() if test not in left_out))
        return
    root, command, faults, test = sys.argv[1:]
    TESTS[test](Tool(root, command, faults))


if __name__ == "__main__":
    main()
