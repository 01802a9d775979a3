"""What a run of the program says, taken apart."""

import re

PASSED, FAILED, WARNING, NOT_APPLICABLE, CANCELED, NOT_AVAILABLE = 0, 21, 22, 23, 25, 31
INPUT_OUTPUT = "error 5 (input/output error)"
MEDIUM = "error 61 (critical medium error)"
VALUES = 26  # the column in which the values of a listing stand


class TestOutcome:
    """One test on one device: its name, its verdict, and what it said beside it."""

    def __init__(self, name):
        self.name = name
        self.verdict = None
        self.said = []

    def __repr__(self):
        return f"{self.name}: {self.verdict} {self.said}"


def lines_of(output):
    """The lines as a screen would show them at last."""
    for line in output.decode().split("\n"):
        yield line.rstrip("\r").split("\r")[-1]


def outcomes(output, key="Serial Number"):
    """The TestOutcomes of each device in their order, by what the program shows as `key`."""
    found, tests = {}, None
    for line in lines_of(output):
        if name := re.fullmatch(rf"{key} +(.+)", line):
            tests = found.setdefault(name[1], [])
        elif test := re.fullmatch(r"=> (.+)", line):
            tests.append(TestOutcome(test[1]))
        elif verdict := re.search(r" Test Status: (.+)!$", line):
            tests[-1].verdict = verdict[1]
        elif tests and (text := re.search(r"\[Info\] (.*)$", line)):
            tests[-1].said.append(text[1])
    return found


SELF_TESTS = ("Short Self Test", "Extended Self Test")


def reads(tests):
    """Those of them that read the disk, without what it tests itself."""
    return [test for test in tests if test.name not in SELF_TESTS]


def devices(output):
    """The rows of each device of a listing (-D), as dictionaries."""
    found = []
    for block in output.decode().split("-" * 62):
        rows = {line[:VALUES].strip(): line[VALUES:] for line in block.split("\n")}
        if "Id" in rows:
            found.append(rows)
    return found


def unreadable(first, count, error, ranges):
    """How the verdict names unreadable sectors."""
    return f"Unreadable sectors: first LBA {first}, count {count}, {error}, sectors {ranges}"
