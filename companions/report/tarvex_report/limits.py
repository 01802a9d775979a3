"""The limits of measurements: how they are written, and whether a value keeps them."""

import operator
from dataclasses import dataclass

from .run import Measurement
from .texts import quantity

KINDS = {
    "EQUAL": ("=", operator.eq),
    "NOT_EQUAL": ("\N{NOT EQUAL TO}", operator.ne),
    "LESS_THAN": ("<", operator.lt),
    "LESS_THAN_OR_EQUAL": ("\N{LESS-THAN OR EQUAL TO}", operator.le),
    "GREATER_THAN": (">", operator.gt),
    "GREATER_THAN_OR_EQUAL": ("\N{GREATER-THAN OR EQUAL TO}", operator.ge),
}


@dataclass(frozen=True)
class Judged:
    text: str
    is_kept: bool | None  # none: nothing to compare


def judged(measurement: Measurement) -> list[Judged]:
    """Each limit of a measurement in the order of the log."""
    found = []
    for limit in measurement.limits:
        value = quantity(limit.value, measurement.unit)
        if limit.kind in KINDS:
            sign, compare = KINDS[limit.kind]
            kept = None if measurement.value is None else compare(measurement.value, limit.value)
            found.append(Judged(f"{sign} {value}", kept))
        else:
            found.append(Judged(f"{limit.kind.lower().replace('_', ' ')} {value}".strip(), None))
    return found
