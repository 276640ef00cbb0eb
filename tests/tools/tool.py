"""The command-line tool: what it prints and with which status it ends.

    tool.py ROOT TOOL TEST      runs one test
    tool.py --list              prints the tests' names

TOOL is a command line.
"""

import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

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
    def __init__(self, root, command):
        self.root, self.command = pathlib.Path(root), shlex.split(command)
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kelinfra-tool-"))
        (self.folder / "contract.json").write_text(json.dumps(CONTRACT))

    def run(self, *arguments, language="C", stdin=b"", **variables):
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
    expect(
        tool.run("catalogue", "check", "--json", str(tool.folder)),
        (FAILED, "", f"kelinfra: cannot read {tool.folder}: Is a directory\n"),
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
            both + "# \\uD842\\uDFB7 \\\\uD842\n",
            FOUND,
            [
                f"{name}:3:{column}: error: the escape {escape} is not read: write the character "
                f"itself, in UTF-8 "
                "[surrogate-escape]"
                for column, escape in ((3, "\\uD842"), (9, "\\uDFB7"))
            ],
        ),
    ):
        printed = tool.check_texts(texts)
        expect((texts, printed), (texts, (status, expected)))


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
    expect(len(commands), 6)
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
        (["c"], "catalogue"),
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
    with open("/dev/full", "w") as full:
        done = subprocess.run(
            [*tool.command, "version"],
            stdout=full,
            stderr=subprocess.PIPE,
            timeout=120,
            env={**os.environ, "LC_ALL": "C"},
        )
    expect((done.returncode, done.stderr), (FAILED, b"kelinfra: cannot write to the standard output\n"))


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


TESTS = {
    "".join(word.capitalize() for word in name.split("_")): test
    for name, test in list(globals().items())
    if callable(test) and getattr(test, "__code__", None) and test.__code__.co_varnames[:1] == ("tool",)
}


def main():
    if sys.argv[1:] == ["--list"]:
        print("\n".join(TESTS))
        return
    root, command, test = sys.argv[1:]
    TESTS[test](Tool(root, command))


if __name__ == "__main__":
    main()
