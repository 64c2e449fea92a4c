#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Each check of man_pages.py finds what it is for: one thing is changed, and the check has to say so.

usage: man_pages_test.py ROOT BIN
"""

import copy
import sys
import unittest
from pathlib import Path

import man_pages
from man_pages import Option

TREE = man_pages.Tree(Path(sys.argv[1]), Path(sys.argv[2]))


def with_text(kind, name, old, new):
    """The tree with the first `old` of a page or a source replaced."""
    tree = copy.copy(TREE)
    texts = getattr(tree, kind)
    if old not in texts[name]:
        raise ValueError(f"{name} has no '{old}'")
    setattr(tree, kind, texts | {name: texts[name].replace(old, new, 1)})
    return tree


def with_page(name, old, new):
    return with_text("pages", name, old, new)


def with_source(name, old, new):
    return with_text("sources", name, old, new)


def with_help(program, verb, change):
    tree = copy.copy(TREE)
    tree.help = copy.deepcopy(tree.help)
    change(tree.help[program][verb])
    return tree


def with_program(name, old=b"", new=b""):
    tree = copy.copy(TREE)
    tree.programs = tree.programs | {name: tree.programs.get(name, b"").replace(old, new)}
    return tree


def without_page(name):
    tree = copy.copy(TREE)
    tree.pages = {page: text for page, text in tree.pages.items() if page != name}
    return tree


# What was changed, the check that has to find it, and what it has to say.
MUTATIONS = [
    ("a program without a page", without_page("eventd.8"), "check_programs", "eventd: the program has no page"),
    ("a new program", with_program("newd"), "check_programs", "newd: the program has no page"),
    ("a title of another page", with_page("eventd.8", ".Dt EVENTD", ".Dt DIAGD"), "check_titles", "another title"),
    ("a name of another page", with_page("eventd.8", ".Nm eventd", ".Nm diagd"), "check_titles", "another name"),
    ("no EXIT STATUS", with_page("diagd.8", ".Sh EXIT STATUS", ".Sh ENDS"), "check_sections", "nothing in EXIT STATUS"),
    (
        "an option that the page lacks",
        with_page("diagd.8", ".It Fl -retry Ar SECONDS", ".It Fl -again Ar SECONDS"),
        "check_options",
        "diagd.8: --retry is missing",
    ),
    (
        "an option that the program lacks",
        with_page("diagd.8", ".It Fl -retry Ar SECONDS", ".It Fl -again Ar SECONDS"),
        "check_options",
        "diagd.8: --again is no option of the program",
    ),
    (
        "a long name that the page lacks",
        with_page("configctl.1", ".It Fl a , Fl -address Ar", ".It Fl a Ar"),
        "check_options",
        "-a, --address is missing",
    ),
    (
        "a value that is not taken",
        with_page("configctl.1", ".It Fl -json", ".It Fl -json Ar N"),
        "check_options",
        "--json takes a value, or takes none",
    ),
    (
        "another default",
        with_page("diagd.8", "by default 60.", "by default 90."),
        "check_options",
        "--retry does not tell of '60'",
    ),
    (
        "another name of a value",
        with_page("diagd.8", ".It Fl o Ar DIRECTORY", ".It Fl o Ar FILE"),
        "check_options",
        "the value of -o has another name: DIRECTORY",
    ),
    (
        "an option that SYNOPSIS lacks",
        with_page("diagd.8", ".Op Fl -retry Ar SECONDS", ".Op Ar SECONDS"),
        "check_options",
        "--retry is not in SYNOPSIS",
    ),
    (
        "an option of the daemon that the page lacks",
        with_page("web_app.8", ".It Fl d Ar PIDFILE", ".It Fl D Ar PIDFILE"),
        "check_options",
        "web_app.8: -d is missing",
    ),
    (
        "a new option of the program",
        with_help("eventd", "", lambda help_: help_.options.append(Option(["--new"]))),
        "check_options",
        "eventd.8: --new is missing",
    ),
    (
        "a command that the page lacks",
        with_page("cbusctl.1", ".It Cm wait-for", ".It Cm await"),
        "check_verbs",
        "the command wait-for is missing",
    ),
    (
        "a command that the program lacks",
        with_page("cbusctl.1", ".It Cm wait-for", ".It Cm await"),
        "check_verbs",
        "await is no command of the program",
    ),
    (
        "an argument that the command lacks",
        with_page("configctl.1", ".It Cm sync", ".It Cm sync Ar KEY"),
        "check_verbs",
        "configctl.1, sync: other arguments than none",
    ),
    (
        "an argument that may be left out",
        with_page("cbusctl.1", ".It Cm monitor Op Ar PREFIX", ".It Cm monitor Ar PREFIX"),
        "check_verbs",
        "cbusctl.1, monitor: other arguments than [PREFIX]",
    ),
    (
        "an argument that may be given once",
        with_page("apictl.1", ".It Cm watch Ar PATH ...", ".It Cm watch Ar PATH"),
        "check_verbs",
        "apictl.1, watch: other arguments than PATH ...",
    ),
    (
        "an option of a command that the page lacks",
        with_page("configctl.1", ".It Fl y , Fl -yes", ".It Sy y"),
        "check_verbs",
        "configctl.1, factory-reset: -y, --yes is missing",
    ),
    (
        "an option of another command",
        with_page("configctl.1", "Delete keys, all", "Delete keys\n.Fl -yes , all"),
        "check_verbs",
        "configctl.1, delete: --yes is no option of the command",
    ),
    (
        "a choice that the page lacks",
        with_page("configctl.1", ".Cm int ,", ".Cm number ,"),
        "check_verbs",
        "--type does not tell of 'int'",
    ),
    (
        "a new choice",
        with_help("configctl", "set", lambda help_: help_.options[-1].choices.append("double")),
        "check_verbs",
        "--type does not tell of 'double'",
    ),
    (
        "another name of the value of a command's option",
        with_page("cbusctl.1", ".It Fl n , Fl -count Ar N", ".It Fl n , Fl -count Ar M"),
        "check_verbs",
        "the value of -n has another name: N",
    ),
    (
        "an option that is mentioned and not there",
        with_page("eventd.8", "It stays in", "With\n.Fl b\nit stays in"),
        "check_mentioned_options",
        "eventd.8: -b is no option of the program",
    ),
    (
        "a variable that the page lacks",
        with_page("apictl.1", ".It Ev NO_COLOR", ".It Sy NO_COLOR"),
        "check_environment",
        "apictl.1: reads NO_COLOR",
    ),
    (
        "a variable that is not read",
        with_page("cbusd.8", ".It Ev WATCHDOG_PID", ".It Ev CBUS_DEBUG"),
        "check_environment",
        "cbusd.8: does not read CBUS_DEBUG",
    ),
    (
        "a variable that nobody reads any more",
        with_program("apictl", b"ORVALE_API\0", b"ORVALE_APJ\0"),
        "check_environment",
        "apictl.1: does not read ORVALE_API",
    ),
    (
        "a variable that is mentioned alone",
        with_page("eventd.8", "It stays in", "With\n.Ev ORVALE_API\nit stays in"),
        "check_environment",
        "eventd.8: ORVALE_API is mentioned, but not in ENVIRONMENT",
    ),
    (
        "a zone that the page lacks",
        with_page("web_app.8", ".It Ev TZ", ".It Sy TZ"),
        "check_environment",
        "web_app.8: reads TZ",
    ),
    (
        "a new variable in the sources",
        with_source("tools/common/Output.cpp", 'getenv("NO_COLOR")', 'getenv("ORVALE_API")'),
        "check_environment",
        "cbusctl.1: does not read NO_COLOR",
    ),
    (
        "a variable that cannot be told",
        with_source("tools/common/Output.cpp", 'getenv("NO_COLOR")', "getenv(name)"),
        "check_environment_sources",
        "which variable getenv(name) reads",
    ),
    (
        "a reference to nowhere",
        with_page("eventd.8", ".Xr web_app 8", ".Xr web_app 1"),
        "check_references",
        "eventd.8: there is no page web_app.1",
    ),
    (
        "a reference to itself",
        with_page("eventd.8", ".Xr web_app 8", ".Xr eventd 8"),
        "check_references",
        "eventd.8: refers to itself",
    ),
    ("a list without an end", with_page("eventd.8", ".El\n", ""), "check_lint", "eventd.8: mandoc:"),
    (
        "a macro that is none",
        with_page("eventd.8", ".Ev CBUS_ADDR\n", ".Eu CBUS_ADDR\n"),
        "check_lint",
        "eventd.8: mandoc:",
    ),
    (
        "a default of a setting",
        with_page("orvale-configuration.json.5", "No default Li 300", "No default Li 600"),
        "check_settings",
        "hab.session.timeout is ('integer', '600'), and to the daemon ('integer', '300')",
    ),
    (
        "a type of a setting",
        with_source("src/http/HabConfig.cpp", 'Integer(cfg, "hab.log.level"', 'String(cfg, "hab.log.level"'),
        "check_settings",
        "hab.log.level is ('integer', '0'), and to the daemon ('text', '0')",
    ),
    (
        "a setting that the page lacks",
        with_page("orvale-configuration.json.5", ".It Li hab.path", ".It Sy hab.path"),
        "check_settings",
        "hab.path is None",
    ),
    (
        "a method that the page lacks",
        with_page("orvale-accessmap.json.5", ".It Li DELETE", ".It Li PATCH"),
        "check_methods",
        "the methods are GET, PUT, POST, DELETE",
    ),
    (
        "an example that is no JSON",
        with_page("orvale-factory.json.5", '"ram.status.system": 6,', '"ram.status.system": 6'),
        "check_examples_of_files",
        "orvale-factory.json.5: an example is no JSON",
    ),
]


class ManPages(unittest.TestCase):
    def test_nothing_is_said_of_the_pages_as_they_are(self):
        for check in man_pages.CHECKS:
            with self.subTest(check.__name__):
                self.assertEqual(list(check(TREE)), [])

    def test_every_check_has_a_change_that_it_finds(self):
        self.assertEqual({check.__name__ for check in man_pages.CHECKS}, {check for _, _, check, _ in MUTATIONS})

    def test_a_change_is_found(self):
        for what, tree, check, problem in MUTATIONS:
            with self.subTest(what):
                self.assertIn(problem, "\n".join(getattr(man_pages, check)(tree)))


class Literal(unittest.TestCase):
    def test_is_found_behind_a_piece_of_another_text(self):
        self.assertTrue(man_pages.has_literal(b"reach theTERM\0dumb\0", b"TERM\0"))

    def test_is_not_found_at_the_end_of_a_longer_name_or_a_path(self):
        self.assertFalse(man_pages.has_literal(b"\0SIGTERM\0/run/TERM\0", b"TERM\0"))

    def test_is_found_behind_a_longer_name(self):
        self.assertTrue(man_pages.has_literal(b"\0SIGTERM\0TERM\0", b"TERM\0"))


class HelpText(unittest.TestCase):
    def test_is_read_with_values_defaults_and_choices(self):
        help_ = man_pages.parse_help(
            "Options:\n"
            "  -h,--help                   Print this help message and exit\n"
            "  --raw Excludes: --json      print whole messages\n"
            "  -i,--include WHAT:{all,none}\n"
            "                              what comes with a change\n"
            "  -s FILE=/var/lib/a.db       the store\n"
            "  --allow-user USER ...       repeatable\n"
        )

        self.assertEqual(
            help_.options,
            [
                Option(["-h", "--help"]),
                Option(["--raw"]),
                Option(["-i", "--include"], "WHAT", "", ["all", "none"]),
                Option(["-s"], "FILE", "/var/lib/a.db"),
                Option(["--allow-user"], "USER"),
            ],
        )

    def test_is_read_with_commands_and_arguments(self):
        help_ = man_pages.parse_help(
            "Positionals:\n"
            "  KEY ... REQUIRED            the keys\n"
            "  DATA                        the data\n"
            "\n"
            "Subcommands:\n"
            "  get                         Print values\n"
        )

        self.assertEqual(help_.arguments, ["KEY ...", "[DATA]"])
        self.assertEqual(help_.verbs, ["get"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
