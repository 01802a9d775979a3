"""The verdicts of tests: their words, their signs, and which of several counts."""

from collections.abc import Iterable
from dataclasses import dataclass


@dataclass(frozen=True)
class Verdict:
    key: str  # in documents
    word: str  # on the page
    sign: str  # the symbol of the page; also its class, so that colour is never alone
    meaning: str


# The first of several is the one of all.
ALL = (
    Verdict("failed", "Failed", "failed", "a fault was found"),
    Verdict("warning", "Warning", "warning", "something that sound hardware does not show"),
    Verdict("unfinished", "Unfinished", "open", "it did not come to its end"),
    Verdict("invalid", "Could not be tested", "open", "nothing is said of the hardware"),
    Verdict("canceled", "Canceled", "open", "it was stopped"),
    Verdict("passed", "Passed", "passed", "nothing was found"),
    Verdict("not applicable", "Not applicable", "none", "there is nothing to test"),
)
_BY_KEY = {verdict.key: verdict for verdict in ALL}
_PLACE = {verdict: place for place, verdict in enumerate(ALL)}

FAILED, WARNING, UNFINISHED, INVALID, CANCELED, PASSED, NOT_APPLICABLE = ALL


def of(key: str) -> Verdict | None:
    return _BY_KEY.get(key)


def place(verdict: Verdict) -> int:
    """The less, the worse."""
    return _PLACE[verdict]


def worst(verdicts: Iterable[Verdict]) -> Verdict:
    """The one that counts of several; of none, that there was nothing to test."""
    return min(verdicts, key=place, default=NOT_APPLICABLE)


def counts(verdicts: Iterable[Verdict]) -> list[tuple[Verdict, int]]:
    """How many there are of each that there is, the worst first."""
    given = list(verdicts)
    return [(verdict, given.count(verdict)) for verdict in ALL if verdict in given]
