"""Thins series that have more points than a picture has room for; no dip, no peak and no late answer is lost."""

from collections.abc import Callable, Sequence

Point = tuple[float, float]

STRIPS = 240  # of a picture: three pixels of a wide one
MOST_POINTS = 4 * STRIPS
MOST_BARS = STRIPS
MOST_ROWS = 500  # of a table


def _strip(place: float, low: float, high: float) -> int:
    return max(0, min(int((place - low) / (high - low) * STRIPS), STRIPS - 1)) if low < high else 0


def line(points: Sequence[Point]) -> list[Point]:
    """Of each strip the first, the lowest, the highest and the last point; the ends are apart."""
    if len(points) <= MOST_POINTS:
        return list(points)
    low, high = points[0][0], points[-1][0]
    kept: dict[int, list[int]] = {}  # first, lowest, highest, last
    for number, (at, value) in enumerate(points):
        places = kept.setdefault(_strip(at, low, high), [number] * 4)
        if value < points[places[1]][1]:
            places[1] = number
        if value > points[places[2]][1]:
            places[2] = number
        places[3] = number
    numbers = {number for places in kept.values() for number in places}
    return [points[number] for number in sorted(numbers)]


def bars(points: Sequence[Point], place: Callable[[float], float]) -> list[Point]:
    """Bounds and counts, with those of one strip counted together; the bounds rise."""
    if len(points) <= MOST_BARS:
        return list(points)
    low, high = place(points[0][0]), place(points[-1][0])
    kept: dict[int, Point] = {}
    for bound, count in points:
        strip = _strip(place(bound), low, high)
        kept[strip] = (bound, kept.get(strip, (bound, 0.0))[1] + count)
    return list(kept.values())
