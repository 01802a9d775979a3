"""The map of a device's surface: where sectors cannot be read, and where answers were slow."""

from dataclasses import dataclass
from xml.etree import ElementTree

from markupsafe import Markup

from . import scale, svg, texts
from .figure import NARROW, WIDE, Figure, Size
from .run import Series, Test
from .thin import MOST_ROWS

RANGES = "RANGES"
SLOW_UNIT = "s"  # what is told in seconds was slow; all else is sectors that are bad
LEGEND = (("bad", "bad sectors"), ("slow", "slow answers"), ("calm", "nothing found"))
GRIDS = {WIDE.name: (48, 10), NARROW.name: (20, 24)}  # columns and rows
LABEL = 62  # pixels left of the cells
GAP = 1.5


@dataclass(frozen=True)
class Place:
    first: float
    behind: float
    kind: str  # "bad" or "slow"
    value: str
    found_by: str


def _places(test: Test, series: Series) -> list[Place]:
    found_by = f"{test.name}: {texts.title(series.name)}"
    points = [point for point in series.points if scale.is_drawable(*point)]
    if series.unit == SLOW_UNIT:
        return [
            Place(at, at + 1, "slow", texts.quantity(value, SLOW_UNIT), found_by)
            for at, value in points
        ]
    return [
        Place(at, at + max(1.0, count), "bad", texts.counted(int(count), "sector"), found_by)
        for at, count in points
    ]


def _measured(test: Test, name: str) -> float | None:
    return next(
        (
            m.value
            for m in test.measurements
            if m.name == name and m.value is not None and scale.is_drawable(m.value)
        ),
        None,
    )


def _extent(tests: list[Test], places: list[Place]) -> tuple[float, float]:
    """What was looked at: as it is told, or from zero to the furthest place that is known."""
    firsts = [value for test in tests if (value := _measured(test, "first-lba")) is not None]
    ends = [value + 1 for test in tests if (value := _measured(test, "last-lba")) is not None]
    ends += [place.behind for place in places]
    ends += [
        point[0]
        for test in tests
        for series in test.series
        if series.axis == "lba"
        for point in series.points[-1:]
        if scale.is_drawable(point[0])
    ]
    low = min((firsts or [0.0]) + [place.first for place in places])
    return low, max(ends)


def _cells(places: list[Place], low: float, high: float, number: int) -> list[str]:
    """The kind of each cell; what is bad counts before what is slow."""
    cells = ["calm"] * number
    wide = (high - low) / number
    for kind in ("slow", "bad"):
        for place in places:
            if place.kind == kind:
                first = min(int((place.first - low) / wide), number - 1)
                last = min(max(first, int((place.behind - low - 0.5) / wide)), number - 1)
                cells[first : last + 1] = [kind] * (last + 1 - first)
    return cells


def _mark(root: ElementTree.Element, kind: str, x: float, y: float, side: float) -> None:
    """A cell; bad ones have a cross and slow ones a bar, for who sees no colours."""
    svg.shape(
        root,
        "rect",
        {"class": f"cell {kind}", "x": x, "y": y, "width": side, "height": side, "rx": 1.5},
    )
    near, far = side * 0.28, side * 0.72
    if kind == "bad":
        cross = f"M{x + near} {y + near} L{x + far} {y + far} M{x + far} {y + near} L{x + near} {y + far}"
        svg.shape(root, "path", {"class": "mark", "d": cross})
    elif kind == "slow":
        bar = f"M{x + near} {y + side / 2} L{x + far} {y + side / 2}"
        svg.shape(root, "path", {"class": "mark", "d": bar})


def _picture(places: list[Place], low: float, high: float, size: Size, words: str) -> Markup:
    columns, rows = GRIDS[size.name]
    pitch = (size.width - LABEL) / columns
    side = pitch - GAP
    height = rows * pitch + 2
    root = ElementTree.Element("svg", {"viewBox": f"0 0 {size.width} {height}"})
    calm = []
    for index, kind in enumerate(_cells(places, low, high, columns * rows)):
        x, y = LABEL + index % columns * pitch, index // columns * pitch + 1
        if kind == "calm":
            calm.append(f"M{x:.1f} {y:.1f}h{side:.1f}v{side:.1f}h-{side:.1f}z")
        else:
            _mark(root, kind, x, y, side)
    # All in one, for there are hundreds, and hundreds of maps in a report of many disks.
    svg.shape(root, "path", {"class": "cell calm", "d": "".join(calm)})
    for row in range(rows):
        at = low + (high - low) * row / rows
        label = svg.shape(root, "text", {"class": "row", "x": LABEL - 8, "y": (row + 0.72) * pitch})
        label.text = scale.position(round(at))
    return svg.picture(root, f"chart map {size.name}", words)


def _firsts(places: list[Place], kind: str) -> list[float]:
    """Where each place begins; what several tests found at one place counts once."""
    firsts: list[float] = []
    end = -scale.MOST
    for place in places:
        if place.kind == kind:
            if place.first >= end:
                firsts.append(place.first)
            end = max(end, place.behind)
    return firsts


def _words(places: list[Place]) -> str:
    bad, slow = _firsts(places, "bad"), _firsts(places, "slow")
    parts = []
    if bad:
        parts.append(
            f"{texts.counted(len(bad), 'place')} with bad sectors, the first at LBA"
            f" {texts.grouped(bad[0])}"
        )
    if slow:
        parts.append(
            f"{texts.counted(len(slow), 'slow answer')}, the first at LBA"
            f" {texts.grouped(slow[0])}"
        )
    return "; ".join(parts) + "."


def _few(places: list[Place]) -> list[Place]:
    """As many as a table has room for, what is bad before what is slow; in their order."""
    if len(places) <= MOST_ROWS:
        return places
    order = sorted(range(len(places)), key=lambda number: places[number].kind)
    return [places[number] for number in sorted(order[:MOST_ROWS])]


def _left_out(shown: int, number: int) -> str:
    if shown == number:
        return ""
    return (
        f"{texts.grouped(shown)} of {texts.grouped(number)} places are here: the first ones with bad"
        " sectors, then the first slow ones."
    )


def surface_map(tests: list[Test]) -> Figure | None:
    """Of all tests of one device; None: nothing was found on its surface."""
    places = sorted(
        (
            place
            for test in tests
            for series in test.series
            if series.kind == RANGES
            for place in _places(test, series)
        ),
        key=lambda place: (place.first, place.kind),
    )
    if not places:
        return None
    low, high = _extent(tests, places)
    words = _words(places)
    rows = _few(places)
    title = "Map of the surface"
    return Figure(
        title,
        words,
        f"from LBA {texts.grouped(low)} at the top left to {texts.grouped(high - 1)} at the bottom right",
        tuple(_picture(places, low, high, size, f"{title}: {words}") for size in (WIDE, NARROW)),
        ("From LBA", "Found", "By"),
        tuple((texts.grouped(p.first), p.value, p.found_by) for p in rows),
        LEGEND,
        _left_out(len(rows), len(places)),
    )
