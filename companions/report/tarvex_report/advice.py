"""What to do next about what the tests found."""

import tomllib
from dataclasses import dataclass
from functools import cache
from pathlib import Path

from . import verdicts
from .run import Run, Test

TABLE = Path(__file__).with_name("advice.toml")

# For what no row is about.
OTHERWISE = {
    verdicts.FAILED: "Repeat the test. What fails again is repaired or replaced.",
    verdicts.WARNING: "Read the words of the test, and repeat it when little else goes on.",
    verdicts.INVALID: "The test could not be tried. See to what its words name, and repeat it.",
    verdicts.UNFINISHED: "The test did not end. Repeat it, and watch it.",
}
NOTHING_FOUND = (
    "Nothing needs to be done. Tests find many faults and not all: keep copies of what is dear to you."
)
STOPPED = "The run was stopped: what was not tested may be faulty. Repeat it when there is time."
NOTHING_TESTED = "Nothing was tested: choose tests that apply to this machine."


@dataclass(frozen=True)
class Row:
    module: str
    words: tuple[str, ...]
    next: str


@dataclass(frozen=True)
class Advice:
    device: str | None  # what it is about; none: all of it
    verdict: verdicts.Verdict
    text: str


@cache
def rows() -> tuple[Row, ...]:
    with TABLE.open("rb") as file:
        table = tomllib.load(file)["advice"]
    return tuple(Row(row["module"], tuple(row["words"]), row["next"]) for row in table)


def _said(test: Test) -> str:
    return "\n".join(word.text for word in test.words if word.severity != "PASS").lower()


def _text_of(test: Test) -> str:
    said = _said(test)
    for row in rows():
        if row.module == test.module.lower() and any(words in said for words in row.words):
            return row.next
    return OTHERWISE[test.verdict]


def advice_of(run: Run) -> list[Advice]:
    """Of one run: the worst first, each thing once for each device, and never nothing."""
    found: dict[tuple[str | None, str], Advice] = {}
    for verdict in OTHERWISE:
        for test in run.tests:
            if test.verdict is not verdict:
                continue
            device = None if test.device is None else run.devices[test.device].name
            text = _text_of(test)
            found.setdefault((device, text), Advice(device, verdict, text))
    if found:
        return list(found.values())
    got = [test.verdict for test in run.tests]
    if verdicts.CANCELED in got:
        return [Advice(None, verdicts.CANCELED, STOPPED)]
    if verdicts.PASSED in got:
        return [Advice(None, verdicts.PASSED, NOTHING_FOUND)]
    return [Advice(None, verdicts.NOT_APPLICABLE, NOTHING_TESTED)]


@dataclass(frozen=True)
class Shared:
    machines: tuple[str, ...]
    advice: Advice


def advice_of_machines(runs: list[Run]) -> list[Shared]:
    """Of one run for each machine: the worst first, and once for all that nothing was found in."""
    found: dict[tuple[object, ...], Shared] = {}
    for number, run in enumerate(runs):
        for one in advice_of(run):
            key = (one,) if one.verdict not in OTHERWISE else (one, number)
            before = found[key].machines if key in found else ()
            found[key] = Shared((*before, run.machine), one)
    return sorted(found.values(), key=lambda shared: verdicts.place(shared.advice.verdict))
