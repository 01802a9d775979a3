"""A picture of the page, with all that makes it more than a picture."""

from dataclasses import dataclass

from markupsafe import Markup


@dataclass(frozen=True)
class Size:
    """What a picture has room for; there is one for wide and one for narrow pages."""

    name: str
    width: int
    height: int
    ticks: int  # at most, on the axis along the page


WIDE = Size("wide", 720, 250, 9)
NARROW = Size("narrow", 340, 230, 4)
SIZES = (WIDE, NARROW)


@dataclass(frozen=True)
class Figure:
    title: str
    summary: str  # in words what is to be seen
    axes: str  # what goes to the right, and what goes up
    pictures: tuple[Markup, ...]  # one for each size
    columns: tuple[str, ...]  # of the numbers behind it
    rows: tuple[tuple[str, ...], ...]
    legend: tuple[tuple[str, str], ...] = ()  # class and words
    left_out: str = ""  # of the numbers, in words
