#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares the manual pages in man/ with the programs, their help texts and their sources.

usage: man_pages.py ROOT BIN

Each check is a function that yields what is wrong, so that man_pages_test.py can show that it finds what it is for.
"""

import json
import re
import subprocess
import sys
from dataclasses import dataclass, field
from pathlib import Path

FOLDERS = ["runtime", "cbus", "config_client", "config_values", "events", "command_line", "src", "device", "tools"]
SECTIONS = ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "ENVIRONMENT", "EXIT STATUS", "EXAMPLES", "SEE ALSO"]

# Pages of others, and the Debian packages that they come with.
PAGES_OF_OTHERS = {"regex.7": "manpages"}

# What a function of the C library reads by itself.
READ_BY_THE_LIBRARY = {"TZ": "localtime_r", "PATH": "execvp"}

# Linked with what the programs of the unit share, yet never run: the broker connects to no bus.
NEVER_READ = {"cbusd": {"CBUS_DEBUG"}}


# --- the help texts -------------------------------------------------------------------------------------------------


@dataclass
class Option:
    names: list
    value: str = ""  # the name of its value, "" for a flag
    default: str = ""
    choices: list = field(default_factory=list)


@dataclass
class Help:
    options: list
    arguments: list  # as in a page: "KEY ...", "[DATA]"
    verbs: list

    def names(self):
        return {name for option in self.options for name in option.names}


def section_lines(text, title):
    found = re.search(rf"^{title}:\n((?:.+\n)*)", text, re.MULTILINE)
    return found.group(1).splitlines() if found else []


def parse_option(words):
    names, _, rest = words.partition(" ")
    found = re.match(r"(?P<value>[A-Z]+)?(?::\{(?P<choices>[^}]*)\})?(?:=(?P<default>\S+))?", rest)
    takes_value = not rest.startswith("Excludes:")
    return Option(
        names=names.split(","),
        value=(found["value"] or "") if takes_value else "",
        default=found["default"] or "",
        choices=found["choices"].split(",") if found["choices"] else [],
    )


def parse_argument(words):
    name = words.split()[0] + (" ..." if "..." in words else "")
    return name if "REQUIRED" in words else f"[{name}]"


def parse_help(text):
    """Of CommandLineParser: names and what belongs to them up to two blanks, or to the end of the line."""
    entries = {}
    for title in ("Options", "Positionals", "Subcommands"):
        lines = [line for line in section_lines(text, title) if re.match(r"  \S", line)]
        entries[title] = [line[2:].split("  ")[0] for line in lines]
    return Help(
        [parse_option(words) for words in entries["Options"]],
        [parse_argument(words) for words in entries["Positionals"]],
        [words.split()[0] for words in entries["Subcommands"]],
    )


def parse_usage(text):
    """Of the daemon, which has a form of its own: "-c <path>    what it is"."""
    found = re.findall(r"^(-\w)(?: <(.*?)>)?  ", text, re.MULTILINE)
    return Help([Option([name], value.upper()) for name, value in found], [], [])


# --- the pages ------------------------------------------------------------------------------------------------------


@dataclass
class Item:
    head: list  # words of the .It line
    body: list  # lines, nested lists included

    def text(self):
        return "\n".join(self.body)


def words_of(line):
    return line[1:].split() if line.startswith(".") else []


def following(words, macro):
    """The words behind each mention of a macro."""
    return [words[i + 1] for i, word in enumerate(words[:-1]) if word == macro]


def options_in(lines):
    return [f"-{name}" for line in lines for name in following(words_of(line), "Fl")]


def items_of(lines):
    """The items of the outer lists."""
    items, depth = [], 0
    for line in lines:
        macro = words_of(line)[:1]
        depth -= macro == ["El"]
        if macro == ["It"] and depth == 1:
            items.append(Item(words_of(line)[1:], []))
        elif depth >= 1 and items:
            items[-1].body.append(line)
        depth += macro == ["Bl"]
    return items


class Page:
    def __init__(self, file_name, text):
        self.file_name = file_name
        self.name, _, self.section = file_name.rpartition(".")
        self.text = text
        self.lines = text.splitlines()
        self.sections = {}
        lines = []
        for line in self.lines:
            if line.startswith(".Sh "):
                lines = self.sections.setdefault(line[4:], [])
            else:
                lines.append(line)

    def items(self, section, macro):
        return [item for item in items_of(self.sections.get(section, [])) if item.head[:1] == [macro]]


# --- everything that is compared ------------------------------------------------------------------------------------


class Tree:
    """Pages, programs with their help texts, and sources; what is read once may be changed by a test."""

    def __init__(self, root, programs):
        self.pages = {path.name: path.read_text() for path in sorted((root / "man").glob("*.[1-9]"))}
        self.programs = {path.name: path.read_bytes() for path in sorted(programs.iterdir()) if path.is_file()}
        self.help = {name: self.read_help(programs / name) for name in self.programs}
        self.sources = {
            str(path.relative_to(root)): path.read_text()
            for folder in FOLDERS
            for path in sorted((root / folder).rglob("*"))
            if path.suffix in (".cpp", ".h")
        }

    @staticmethod
    def read_help(program):
        """From the verb ("" for the program itself) to its help."""

        def ask(*arguments):
            # Without an environment, which could change defaults.
            return subprocess.run([program, *arguments], env={}, check=True, capture_output=True, text=True).stdout

        text = ask("-h")
        if "usage:" in text:
            return {"": parse_usage(text)}
        own = parse_help(text)
        return {"": own} | {verb: parse_help(ask(verb, "-h")) for verb in own.verbs}

    def all_pages(self):
        return [Page(name, text) for name, text in self.pages.items()]

    def program_pages(self):
        return [page for page in self.all_pages() if page.section in "18" and page.name in self.programs]


# --- the checks -----------------------------------------------------------------------------------------------------


def check_programs(tree):
    """Each program has a page and each page of a program its program."""
    of_programs = {page.name for page in tree.all_pages() if page.section in "18"}
    for name in sorted(set(tree.programs) - of_programs):
        yield f"{name}: the program has no page"
    for name in sorted(of_programs - set(tree.programs)):
        yield f"{name}: there is no such program"


def check_titles(tree):
    for page in tree.all_pages():
        if f".Dt {page.name.upper()} {page.section}" not in page.lines:
            yield f"{page.file_name}: another title in .Dt"
        if page.sections.get("NAME", [])[:1] != [f".Nm {page.name}"]:
            yield f"{page.file_name}: another name in NAME"


def check_sections(tree):
    for page in tree.program_pages():
        for section in SECTIONS:
            if not page.sections.get(section):
                yield f"{page.file_name}: nothing in {section}"


def compare_options(where, items, options):
    """Items of a page with options of a help text."""
    documented = {tuple(options_in([".It " + " ".join(item.head)])): item for item in items}
    for names in documented:
        if list(names) not in [option.names for option in options]:
            yield f"{where}: {', '.join(names)} is no option of the program"
    for option in options:
        item = documented.get(tuple(option.names))
        if item is None:
            yield f"{where}: {', '.join(option.names)} is missing"
            continue
        if bool(option.value) != ("Ar" in item.head):
            yield f"{where}: {option.names[0]} takes a value, or takes none"
        for word in [option.default, *option.choices]:
            if word and not re.search(rf"(?<![\w.]){re.escape(word)}(?![\w])", item.text()):
                yield f"{where}: {option.names[0]} does not tell of '{word}'"


def compare_value_names(where, items, options):
    for item in items:
        names = options_in([".It " + " ".join(item.head)])
        for option in options:
            if option.names == names and following(item.head, "Ar") != ([option.value] if option.value else []):
                yield f"{where}: the value of {names[0]} has another name: {option.value}"


def check_options(tree):
    for page in tree.program_pages():
        own = tree.help[page.name][""]
        items = page.items("OPTIONS", "Fl")
        yield from compare_options(page.file_name, items, own.options)
        # The words of the daemon's usage text are older than its page.
        if page.name != "web_app":
            yield from compare_value_names(page.file_name, items, own.options)
        if not own.verbs:
            in_synopsis = set(options_in(page.sections.get("SYNOPSIS", [])))
            for option in own.options:
                if not in_synopsis & set(option.names):
                    yield f"{page.file_name}: {option.names[0]} is not in SYNOPSIS"


def argument_words(head):
    """The arguments of an item's head as parse_argument() writes them: read Ar PATH Op Ar DATA."""
    text = re.sub(r"Ar (\S+( \.\.\.)?)", r"\1", " ".join(head[2:]))
    return re.findall(r"\[.*?\]|\S+(?: \.\.\.)?", re.sub(r"Op (\S+( \.\.\.)?)", r"[\1]", text))


def check_verbs(tree):
    for page in tree.program_pages():
        help_of = tree.help[page.name]
        items = {item.head[1]: item for item in page.items("COMMANDS", "Cm")}
        for verb in help_of[""].verbs:
            if verb not in items:
                yield f"{page.file_name}: the command {verb} is missing"
        for verb, item in items.items():
            if verb not in help_of[""].verbs:
                yield f"{page.file_name}: {verb} is no command of the program"
                continue
            where = f"{page.file_name}, {verb}"
            if argument_words(item.head) != help_of[verb].arguments:
                yield f"{where}: other arguments than {' '.join(help_of[verb].arguments) or 'none'}"
            own = [option for option in help_of[verb].options if "-h" not in option.names]
            nested = [nested for nested in items_of(item.body) if nested.head[:1] == ["Fl"]]
            yield from compare_options(where, nested, own)
            yield from compare_value_names(where, nested, own)
            known = help_of[verb].names() | help_of[""].names()
            for name in set(options_in(item.body)) - known:
                yield f"{where}: {name} is no option of the command"


def check_mentioned_options(tree):
    """An option of another program is written with .Ql, so that all others have to be the program's own."""
    for page in tree.all_pages():
        known = {name for help_ in tree.help.get(page.name, {}).values() for name in help_.names()}
        for name in sorted(set(options_in(page.lines)) - known):
            yield f"{page.file_name}: {name} is no option of the program"


READS_ENVIRONMENT = re.compile(r'\b\w*(?:getenv|nvironment)\w*\("([A-Z][A-Z0-9_]*)"')


def environment_names(tree):
    """Every name that the sources ask the environment for, in whatever program they end up."""
    return {name for text in tree.sources.values() for name in READS_ENVIRONMENT.findall(text)}


def has_literal(program, text):
    """Whether the bytes of a program have the text with its NUL, and not only as the end of a longer name or a path.

    Anything else may stand in front of it: the compiler keeps pieces of other texts there, without a NUL.
    """
    at = program.find(text)
    while at > 0 and re.match(rb"[A-Z0-9_/]", program[at - 1 : at]):
        at = program.find(text, at + 1)
    return at >= 0


def read_by(name, program, content):
    if name in READ_BY_THE_LIBRARY:
        return b"\0" + READ_BY_THE_LIBRARY[name].encode() + b"\0" in content
    return name not in NEVER_READ.get(program, set()) and has_literal(content, name.encode() + b"\0")


def check_environment(tree):
    names = environment_names(tree) | set(READ_BY_THE_LIBRARY)
    for page in tree.program_pages():
        documented = {item.head[1] for item in page.items("ENVIRONMENT", "Ev")}
        read = {name for name in names if read_by(name, page.name, tree.programs[page.name])}
        for name in sorted(read - documented):
            yield f"{page.file_name}: reads {name}, which is missing in ENVIRONMENT"
        for name in sorted(documented - read):
            yield f"{page.file_name}: does not read {name}"
        for name in sorted({name for line in page.lines for name in following(words_of(line), "Ev")} - documented):
            yield f"{page.file_name}: {name} is mentioned, but not in ENVIRONMENT"


def check_environment_sources(tree):
    """A name that is no literal where it is asked for has to be the argument of a function that is known by its own."""
    for path, text in tree.sources.items():
        for argument in re.findall(r"\bgetenv\((\w+)\)", text):
            if not re.search(rf"nvironment\w*\(const char\* {argument}\b", text):
                yield f"{path}: which variable getenv({argument}) reads cannot be told"


def check_references(tree):
    for page in tree.all_pages():
        for line in page.lines:
            words = words_of(line)
            for name in following(words, "Xr"):
                target = f"{name}.{words[words.index(name) + 1]}"
                if target not in tree.pages and target not in PAGES_OF_OTHERS:
                    yield f"{page.file_name}: there is no page {target}"
                if target == page.file_name:
                    yield f"{page.file_name}: refers to itself"


def check_lint(tree):
    for page in tree.all_pages():
        command = ["mandoc", "-T", "lint", "-W", "warning"]
        result = subprocess.run(command, input=page.text, capture_output=True, text=True)
        for line in result.stdout.splitlines():
            yield f"{page.file_name}: {line}"


SETTING = re.compile(r'readJson(String|Integer)\(cfg, "([^"]+)", (?:"([^"]*)"|(\d+))\)')


def check_settings(tree):
    """The members of configuration.json with type and default."""
    page = Page("orvale-configuration.json.5", tree.pages["orvale-configuration.json.5"])
    source = tree.sources["src/http/HabConfig.cpp"]
    read = {
        name: ("text" if kind == "String" else "integer", text or number or r"\(dq\(dq")
        for kind, name, text, number in SETTING.findall(source)
    }
    documented = {
        item.head[1]: (following(item.head, "Pq")[0], following(item.head, "Li")[-1])
        for item in page.items("MEMBERS", "Li")
    }
    for name in sorted(set(read) | set(documented)):
        if read.get(name) != documented.get(name):
            yield f"{page.file_name}: {name} is {documented.get(name)}, and to the daemon {read.get(name)}"


def check_methods(tree):
    page = Page("orvale-accessmap.json.5", tree.pages["orvale-accessmap.json.5"])
    known = re.findall(r'\{"([A-Z]+)", "[a-z]+"\}', tree.sources["src/http/AccessMap.cpp"])
    documented = [item.head[1] for item in page.items("MEMBERS", "Li")]
    if sorted(known) != sorted(documented):
        yield f"{page.file_name}: the methods are {', '.join(known)}"


def check_examples_of_files(tree):
    for page in tree.all_pages():
        text = "\n".join(page.sections.get("EXAMPLES", []))
        examples = re.findall(r"^\.Bd -literal.*?\n(.*?)\n\.Ed", text, re.MULTILINE | re.DOTALL)
        for example in examples if page.section == "5" else []:
            try:
                json.loads(example)
            except ValueError as error:
                yield f"{page.file_name}: an example is no JSON: {error}"


CHECKS = [value for name, value in list(globals().items()) if name.startswith("check_")]


def main():
    tree = Tree(Path(sys.argv[1]), Path(sys.argv[2]))
    problems = [problem for check in CHECKS for problem in check(tree)]
    print("\n".join(problems) or f"{len(tree.pages)} pages, {len(CHECKS)} checks")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
