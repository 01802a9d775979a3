"""Pictures of one test: rates over a surface, and how the times of answers spread."""

import math
from statistics import median

from . import scale, texts, thin
from .figure import SIZES, Figure
from .plot import Axis, Plot, pictures
from .run import Series
from .scale import Tick

CURVE = "CURVE"
HISTOGRAM = "HISTOGRAM"
UP_TICKS = 5
BELOW_ONE = 0.5  # where an axis of counts begins, so that one of them is seen
PICO = 1e-12  # so that no place on the axis is 0, which the library draws otherwise
TO_DECADE = 10 ** 0.1  # of a first bound that has none before it


def _up_axis(values: list[float], unit: str) -> tuple[Axis, str]:
    """From zero to above all values, and the unit of its numbers."""
    high = scale.ceiling(max(values)) if max(values) > 0 else 1.0
    low = -scale.ceiling(-min(values)) if min(values) < 0 else 0.0
    factor, shown = scale.unit_of(unit, max(high, -low))
    marks = scale.ticks(low, high, UP_TICKS)
    return Axis(low, high, tuple(Tick(v, texts.grouped(round(v / factor, 6))) for v in marks)), shown


def _surface_axis(low: float, high: float, most: int) -> Axis:
    marks = scale.ticks(low, high, most)
    return Axis(low, high, tuple(Tick(value, scale.position(value)) for value in marks))


def _curve_words(series: Series) -> str:
    def shown(value: float) -> str:
        return texts.quantity(value, series.unit)

    values = [value for _, value in series.points]
    lowest = min(series.points, key=lambda point: point[1])
    return (
        f"{shown(values[0])} at the begin, {shown(values[-1])} at the end;"
        f" median {shown(median(values))}, lowest {shown(lowest[1])}"
        f" at {series.axis.upper() or 'position'} {texts.grouped(lowest[0])}."
    )


def _left_out(shown: int, number: int, which: str) -> str:
    if shown == number:
        return ""
    return f"{texts.grouped(shown)} of {texts.grouped(number)} points are here: {which}."


def curve(series: Series) -> Figure | None:
    """None: too few points for a line."""
    if len(series.points) < 2:
        return None
    low, high = series.points[0][0], series.points[-1][0]
    if low >= high or not scale.is_wide((low, high)):
        return None
    up, unit = _up_axis([value for _, value in series.points], series.unit)
    axis = series.axis or "position"
    along = axis.upper() if len(axis) < 4 else texts.title(axis)
    words = _curve_words(series)
    title = texts.title(series.name)
    axes = {size.name: (_surface_axis(low, high, size.ticks), up) for size in SIZES}
    points = thin.line(series.points)
    return Figure(
        title,
        words,
        f"{unit or 'value'} over {along}",
        pictures(Plot(points, f"{title}: {words}"), axes),
        (along, f"{title}"),
        tuple((texts.grouped(at), texts.quantity(v, series.unit)) for at, v in points),
        left_out=_left_out(
            len(points), len(series.points), "the first, lowest, highest and last of each part"
        ),
    )


def _rank(points: list[tuple[float, float]], share: float) -> float:
    """The bound below which that share of all lies."""
    wanted = share * sum(count for _, count in points)
    seen = 0.0
    for bound, count in points:
        seen += count
        if seen >= wanted:
            return bound
    return points[-1][0]


def _place(value: float) -> float:
    """Where a value is on an axis of powers of ten."""
    return math.log10(value / PICO)


def _log_axis(low: float, high: float, unit: str, most: int) -> Axis:
    """Of powers of ten, with 2 and 5 between them where there is room."""
    decades = range(math.floor(math.log10(low)), math.ceil(math.log10(high)) + 1)
    for factors in ((1, 2, 5), (1, 3), (1,)):
        values = [factor * 10.0**power for power in decades for factor in factors]
        marks = [value for value in values if low / 1.001 <= value <= high * 1.001]
        if len(marks) <= most:
            break
    return Axis(
        _place(low),
        _place(high),
        tuple(Tick(_place(value), texts.quantity(value, unit)) for value in marks),
    )


def _counts_axis(most: float) -> Axis:
    high = 10.0 ** math.ceil(math.log10(most) + 0.05)
    marks = [10.0**power for power in range(round(math.log10(high)) + 1)]
    shown = tuple(Tick(math.log10(value / BELOW_ONE), texts.grouped(value)) for value in marks)
    return Axis(0, math.log10(high / BELOW_ONE), shown)


def _bars(points: list[tuple[float, float]]) -> list[tuple[float, float, float]]:
    bars = []
    before = points[0][0] / TO_DECADE
    for bound, count in points:
        if count > 0:
            bars.append((math.log10(count / BELOW_ONE), _place(before), _place(bound)))
        before = bound
    return bars


def histogram(series: Series) -> Figure | None:
    """None: nothing was counted, counts are none, or bounds do not rise from above zero."""
    points = list(series.points)
    bounds = [bound for bound, _ in points]
    total = sum(count for _, count in points)
    if any(count < 0 or count != int(count) for _, count in points):
        return None
    if total <= 0 or bounds[0] <= 0 or any(a >= b for a, b in zip(bounds, bounds[1:])):
        return None
    unit = series.axis_unit
    half, most, last = (texts.quantity(_rank(points, part), unit) for part in (0.5, 0.99, 1))
    words = (
        f"{texts.grouped(total)} answers: half within {half}, 99 of 100 within {most},"
        f" all within {last}."
    )
    title = texts.title(series.name)
    shown = thin.bars(points, _place)
    up = _counts_axis(max(count for _, count in shown))
    low = shown[0][0] / TO_DECADE
    axes = {s.name: (_log_axis(low, bounds[-1], unit, s.ticks - 1), up) for s in SIZES}
    return Figure(
        title,
        words,
        f"answers by {series.axis or 'value'}, both in powers of ten",
        pictures(Plot((), f"{title}: {words}", bars=_bars(shown)), axes),
        (f"{texts.title(series.axis or 'value')} up to", "Answers"),
        tuple((texts.quantity(bound, unit), texts.grouped(count)) for bound, count in shown),
        left_out=_left_out(len(shown), len(points), "near ones are counted together"),
    )


MAKERS = {CURVE: curve, HISTOGRAM: histogram}


def figures_of(series: tuple[Series, ...]) -> list[Figure]:
    """Of those that can be drawn; the rest is in the log."""
    drawable = (
        one
        for one in series
        if one.kind in MAKERS and one.points and all(scale.is_drawable(*point) for point in one.points)
    )
    made = (MAKERS[one.kind](one) for one in drawable)
    return [figure for figure in made if figure is not None]
