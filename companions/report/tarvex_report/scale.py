"""Round numbers for the axes of pictures."""

import math
import sys
from collections.abc import Iterable
from dataclasses import dataclass

from .texts import PREFIXES, SHORT_TIMES, THIN_SPACE, UNITS, grouped, three_digits

STEPS = (1, 2, 2.5, 5, 10)
MOST = 2.0**53  # what lies beyond is nothing that anybody measured, and floats are too coarse there
LEAST = sys.float_info.min  # what lies nearer to zero, but for zero, has no logarithm to count with
FINEST = 1e-12  # of its ends; the chart library needs forever for a narrower axis


def is_drawable(*values: float) -> bool:
    return all(value == 0 or LEAST <= abs(value) <= MOST for value in values)


def is_wide(values: Iterable[float]) -> bool:
    """Whether the values span an axis."""
    seen = list(values)
    return max(seen) - min(seen) > FINEST * max(abs(value) for value in seen)


@dataclass(frozen=True)
class Tick:
    value: float
    label: str


def ticks(low: float, high: float, most: int) -> list[float]:
    """At most so many round numbers with equal steps from low to high; high is above low."""
    rough = (high - low) / max(1, most - 1)
    power = 10.0 ** math.floor(math.log10(rough))
    for step in (factor * power for factor in (*STEPS, 20)):
        first, last = math.ceil(low / step - 1e-9), math.floor(high / step + 1e-9)
        if last - first < most:
            return [number * step for number in range(first, last + 1)]
    return [low, high]


def ceiling(value: float) -> float:
    """A round number not below a positive value, for the end of an axis."""
    step = 10.0 ** math.floor(math.log10(value)) / 2
    return math.ceil(value / step - 1e-9) * step


def unit_of(unit: str, most: float) -> tuple[float, str]:
    """Of an axis up to that value: what a number is divided by, and the unit that is left."""
    table = SHORT_TIMES if unit == "s" and most < 60 else PREFIXES if unit in ("B", "B/s") else ()
    for factor, name in table:
        if most >= factor:
            return factor, name if unit == "s" else name + unit
    return 1, UNITS.get(unit, unit)


def position(value: float) -> str:
    """A place on a surface, short enough for an axis: 1500000000 as "1.5 G"."""
    for factor, prefix in PREFIXES:
        if value >= factor:
            return f"{three_digits(value / factor)}{THIN_SPACE}{prefix}".rstrip(THIN_SPACE)
    return grouped(value)
