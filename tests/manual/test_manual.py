"""The manual pages: sound, and whole as the programs' own tables are."""

import os
import re
import subprocess
import sys
from pathlib import Path

import pytest
from program import BINARY_DIR, SANITIZE, SOURCE_DIR, World

PAGES = BINARY_DIR / "share" / "man"
NAMES = sorted(path.name for path in PAGES.glob("man*/*"))
PROGRAM_PAGE = "TarvexDiagnosticsCLI.8"
# What the program ends with, as README.md has it.
STATUSES = (0, 1, 3, 4, 5, 6, 21, 22, 23, 24, 25, 30, 31, 32, 34)

pytestmark = pytest.mark.skipif(bool(SANITIZE), reason="no pages are made with a sanitizer")


def path_of(name):
    return PAGES / f"man{name[-1]}" / name


def shown(name):
    """The page as text, its words in one row."""
    made = subprocess.run(
        ["mandoc", "-T", "utf8", "-O", "width=200", path_of(name)],
        check=True,
        capture_output=True,
        text=True,
    ).stdout
    return re.sub(r"\s+", " ", re.sub(".\b", "", made)).replace("\N{HYPHEN}", "-")


def section(text, title, following):
    return " " + text.split(f" {title} ", 1)[1].split(f" {following} ", 1)[0] + " "


def test_all_pages_are_there():
    modules = {
        f"tarvex-{path.parent.name}.7"
        for path in (SOURCE_DIR / "service/modules").glob("*/CMakeLists.txt")
    }
    others = {PROGRAM_PAGE, "tarvex-diagnostics.5", "tarvex-history.1", "tarvex-report.1"}
    assert set(NAMES) == modules | others
    assert "tarvex-storage.7" in modules


@pytest.mark.parametrize("name", NAMES)
def test_page_is_sound(name):
    lint = subprocess.run(
        ["mandoc", "-T", "lint", "-W", "warning", path_of(name)],
        capture_output=True,
        text=True,
        check=False,
    )
    assert (lint.stdout + lint.stderr, lint.returncode) == ("", 0)
    environment = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "MANROFFSEQ": ""}
    warnings = subprocess.run(
        ["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", path_of(name)],
        env=environment,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.PIPE,
        text=True,
        check=True,
    ).stderr
    assert warnings == ""


@pytest.mark.parametrize("name", NAMES)
def test_every_page_that_is_referred_to_is_there(name):
    text = path_of(name).read_text(encoding="utf-8")
    referred = {".".join(match) for match in re.findall(r"^\.Xr (\S+) (\d)", text, re.M)}
    assert referred
    assert referred <= set(NAMES)
    assert name not in referred


@pytest.mark.parametrize("name", [name for name in NAMES if name[-1] in "18"])
def test_page_of_a_program_says_what_one_looks_for(name):
    text = path_of(name).read_text(encoding="utf-8")
    headings = set(re.findall(r"^\.Sh (.*)$", text, re.M))
    wanted = {"SYNOPSIS", "OPTIONS", "FILES", "EXIT STATUS", "EXAMPLES", "SEE ALSO"}
    assert wanted <= headings


def test_each_option_of_the_program_is_explained():
    options = (SOURCE_DIR / "boundary/reserved_options.h").read_text(encoding="utf-8")
    rows = re.findall(r"ReservedOption\{'(.)', \"(.*?)\"\}", options)
    assert len(rows) > 20
    text = section(shown(PROGRAM_PAGE), "OPTIONS", "ENVIRONMENT")
    for letter, name in rows:
        assert re.search(rf" --{name}[ =]", text), name
        # These two nobody types by a letter.
        if letter not in "XY":
            assert re.search(rf" -{letter}\S*, --{name}", text), letter


def test_each_exit_status_is_explained():
    text = section(shown(PROGRAM_PAGE), "EXIT STATUS", "EXAMPLES")
    for status in STATUSES:
        assert re.search(rf"[.] {status} [A-Z]", text), status


def help_of_module(tmp_path, module):
    run = World(tmp_path).run([f"-M{module}", "-h"])
    return run.stdout.decode().split(f"> {module.capitalize()}: ")[1]


@pytest.mark.skipif(os.geteuid() != 0, reason="the program runs as root")
def test_each_test_and_parameter_of_the_module_is_explained(tmp_path):
    told = help_of_module(tmp_path, "storage")
    text = shown("tarvex-storage.7")
    tests = re.findall(r"^ {6}(\w), (\S+)  (.*)$", told, re.M)
    parameters = re.findall(r"^ {10}(\w+)=(\S*)  \((.*?)\)  (.*)$", told, re.M)
    assert len(tests) > 8 and len(parameters) > 20
    for letter, name, summary in tests:
        assert re.search(rf" {letter}, {name} [A-Z]", text), name
        assert summary[1:] in text
    for name, default, values, detail in parameters:
        assert f" {name}=value {detail}. Takes {values}. The default is " in text, name
        assert re.search(rf"The default is [^.]*\b{default}\b", text)


def test_each_tool_option_is_explained():
    text = section(shown("tarvex-storage.7"), "TOOLS", "EXAMPLES")
    for wanted in ("-Tsmart", "-h, --help", "-l, --list-devices", "-i, --info"):
        assert wanted in text


def test_the_history_is_explained_as_its_help_does(tmp_path):
    program = BINARY_DIR / "bin" / "tarvex-history"
    told = World(tmp_path).run(["--help"], program=program).stdout.decode()
    text = shown("tarvex-history.1")
    names = re.findall(r"--([a-z]+)", told)
    assert len(names) >= 5
    for name in names:
        assert f"--{name}" in text, name
    commands = section(text, "COMMANDS", "OPTIONS")
    rows = re.findall(r"^  ([a-z]+) .*? {2,}(\S.*)$", told, re.M)
    assert ("list" in dict(rows)) and ("run" in dict(rows))
    for command, summary in rows:
        assert f" {command} " in commands
        assert summary[1:] in commands


def test_the_report_is_explained_as_its_parser_does():
    sys.path.insert(0, str(SOURCE_DIR / "companions/report"))
    from tarvex_report import command_line

    text = section(shown("tarvex-report.1"), "OPTIONS", "FILES")
    actions = command_line.parser("1")._actions  # argparse has no other list of them
    strings = {string for action in actions for string in action.option_strings}
    assert "--output" in strings
    for string in strings:
        assert re.search(rf"(?<![\w-]){string}(?![\w-])", text), string
    told = set(re.findall(r"(?<![\w-])--?[a-z]+", text))
    assert told <= strings


def test_no_page_names_what_is_not_there():
    """Settings that the pages tell of are those that the sources read."""
    text = Path(path_of("tarvex-diagnostics.5")).read_text(encoding="utf-8")
    sources = "".join(
        path.read_text(encoding="utf-8")
        for folder in ("system", "service", "frontend")
        for path in (SOURCE_DIR / folder).rglob("*.cpp")
    )
    names = re.findall(r"^\.It (?:Cm|Ev) (\w+)", text, re.M)
    assert len(names) > 8
    for name in names:
        assert name in sources, name
