"""Reads the case files of cases/ (their form is told in cases/README.md)."""

import re
import shlex
from dataclasses import dataclass, field
from pathlib import Path

FOLDER = Path(__file__).parent / "cases"
ESCAPE = re.compile(r"\\(?:\{(\d+)\}|x([0-9a-f]{2})|([rtn\\]))")
LETTERS = {"r": b"\r", "t": b"\t", "n": b"\n", "\\": b"\\"}


@dataclass
class Case:
    name: str
    scenario: str = "none"
    arguments: list = field(default_factory=list)
    environment: dict = field(default_factory=dict)
    machine: str | None = None  # a recorded one, below machines/
    service: str = ""  # lines of section "storage" of service.ini
    config: str | None = None  # config.ini in the working folder, when there is one
    status: int = 0
    body: bytes | None = None  # standard output, when it is given whole
    report: bytes | None = None  # the report file, when there is one
    contained: list = field(default_factory=list)
    errors: list = field(default_factory=list)

    def add(self, text):
        """What stands behind "report" belongs to the report, all else to standard output."""
        if self.report is None:
            self.body = (self.body or b"") + text
        else:
            self.report += text


def unescape(text):
    """The bytes of a line's text with its escapes resolved."""
    out = b""
    place = 0
    for match in ESCAPE.finditer(text):
        out += text[place : match.start()].encode()
        blanks, byte, letter = match.groups()
        if blanks:
            out += b" " * int(blanks)
        elif byte:
            out += bytes([int(byte, 16)])
        else:
            out += LETTERS[letter]
        place = match.end()
    return out + text[place:].encode()


def line_bytes(text):
    """A `|` line: its bytes with the newline, unless it ends in \\c."""
    if text != text.rstrip(" "):
        raise ValueError(f"a blank at the end of {text!r} must be written \\{{1}}")
    if text.endswith("\\c"):
        return unescape(text[:-2])
    return unescape(text) + b"\n"


def sections(path):
    """(name, lines) of each "== name" section; comments and empty lines are dropped."""
    name, lines = None, []
    for line in path.read_text(encoding="utf-8").splitlines():
        if line.startswith("== "):
            if name is not None:
                yield name, lines
            name, lines = line[3:], []
        elif line and not line.startswith("#"):
            lines.append(line)
    if name is not None:
        yield name, lines


BLOCKS = {name: lines for name, lines in sections(FOLDER / "blocks.txt")}


def expand(name, words):
    """The bytes of a shared block with its $1, $2, ... filled in."""
    out = b""
    for line in BLOCKS[name]:
        if line[0] == "@":
            inner, _, rest = line[1:].partition(" ")
            out += expand(inner, shlex.split(rest))
            continue
        for number, word in enumerate(words, 1):
            line = line.replace(f"${number}", word)
        # A value may be empty at the end of its line.
        out += unescape(line[1:]) + b"\n" if words else line_bytes(line[1:])
        if words and line.endswith("\\c"):
            out = out[: -len(b"\\c\n")]
    return out


def parse_case(name, lines):
    case = Case(name)
    for line in lines:
        word, _, rest = line.partition(" ")
        if line[0] == "|":
            case.add(line_bytes(line[1:]))
        elif line[0] == "@":
            case.add(expand(word[1:], shlex.split(rest)))
        elif line[0] == "~":
            case.contained.append(unescape(line[1:]))
        elif line[0] == "!":
            case.errors.append(line[1:])
        elif word == "scenario":
            case.scenario = rest
        elif word == "args":
            case.arguments = shlex.split(rest)
        elif word == "report":
            case.add(b"")  # standard output is given whole, if only as nothing
            case.report = b""
        elif word == "env":
            key, _, value = rest.partition("=")
            case.environment[key] = value
        elif word == "machine":
            case.machine = rest
        elif word == "service":
            case.service += rest + "\n"
        elif word == "config":
            case.config = (case.config or "") + rest + "\n"
        elif word == "status":
            case.status = int(rest)
        else:
            raise ValueError(f"{name}: cannot read {line!r}")
    if (case.body is not None) == bool(case.contained):
        raise ValueError(f"{name}: either a whole output or contained texts")
    return case


def transcript_cases():
    """The cases of every file in which they are written out."""
    for path in sorted(FOLDER.glob("*.txt")):
        if path.stem not in ("blocks", "fatal"):
            for name, lines in sections(path):
                yield parse_case(f"{path.stem}: {name}", lines)


def fatal_cases():
    """The table of fatal errors."""
    for line in (FOLDER / "fatal.txt").read_text(encoding="utf-8").splitlines():
        if not line or line.startswith("#"):
            continue
        scenario, banner, status, arguments, text = line.split(" | ")
        modules = {"disks": "storage", "two_modules": "storage, pci"}[scenario]
        case = Case(f"fatal: {arguments} ({text.split(chr(92))[0]})")
        case.scenario = scenario + ".json"
        case.arguments = shlex.split(arguments)
        case.status = int(status)
        case.body = (
            expand({"banner": "banner", "plain": "plain_banner"}[banner], [])
            + expand("fatal", [text])
            + expand("help", [modules])
        )
        yield case
