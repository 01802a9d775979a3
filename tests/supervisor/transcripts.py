"""Reads the transcripts of docs/supervisor-protocol.md."""

import re
import shlex
from dataclasses import dataclass, field

from program import SOURCE_DIR

DOCUMENT = SOURCE_DIR / "docs" / "supervisor-protocol.md"
SCENARIO = SOURCE_DIR / "examples" / "supervisor" / "two_disks.json"
FENCED = re.compile(r"^```transcript\n\$ (?P<command>.*)\n(?P<lines>(?:.*\n)*?)```$", re.M)
STATUS = re.compile(r"exit status (\d+)")
# What a reader sees of a blanked screen line.
BLANKS = " " * 79 + "\r"
SEARCH_BLANKS = " " * 35 + "\r"
PROGRESS = ("PrgDiag:::", "PrgRBS:::")


@dataclass
class Transcript:
    command: str
    arguments: list
    status: int
    lines: list = field(default_factory=list)  # of standard output, without progress
    typed: bytes = b""  # on standard input


def without_progress(lines):
    return [line for line in lines if not line.startswith(PROGRESS)]


def transcripts():
    """Every transcript of the document, in its order."""
    for match in FENCED.finditer(DOCUMENT.read_text(encoding="utf-8")):
        command = match["command"]
        typed, pipe, program = command.rpartition(" | ")
        words = shlex.split(program)
        if words.pop(0) != "TarvexDiagnosticsCLI" or (pipe and typed != "printf a"):
            raise ValueError(f"cannot run {command!r}")
        *lines, last = match["lines"].splitlines()
        yield Transcript(
            command=command,
            arguments=words,
            status=int(STATUS.fullmatch(last)[1]),
            lines=without_progress(
                line.replace("<blanks>", BLANKS).replace("<35 blanks>", SEARCH_BLANKS)
                for line in lines
            ),
            typed=b"a" if pipe else b"",
        )
