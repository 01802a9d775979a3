"""Lines and bars by the chart library, in the house's sizes and without its own style."""

from collections.abc import Sequence
from dataclasses import dataclass, field
from xml.etree import ElementTree

import pygal
from markupsafe import Markup

from . import svg
from .figure import SIZES, Size
from .scale import Tick

Point = tuple[float, float]
LETTERS = 12  # pixels


@dataclass(frozen=True)
class Axis:
    low: float
    high: float
    ticks: tuple[Tick, ...]


@dataclass(frozen=True)
class Plot:
    """What is drawn: the same on each size, but with axes of its own."""

    points: Sequence[Point]
    words: str
    bars: Sequence[tuple[float, float, float]] = field(default=())  # height, from, to
    has_dots: bool = False


def _chart(kind: type, size: Size, across: Axis, up: Axis, **more: object) -> pygal.Graph:
    style = pygal.style.Style(label_font_size=LETTERS, major_label_font_size=LETTERS)
    return kind(
        style=style,
        js=[],
        no_prefix=True,
        show_legend=False,
        width=size.width,
        height=size.height,
        margin=6,
        margin_right=26,
        margin_top=10,
        truncate_label=40,
        xrange=(across.low, across.high),
        range=(up.low, up.high),
        x_labels=[{"label": tick.label, "value": tick.value} for tick in across.ticks],
        y_labels=[{"label": tick.label, "value": tick.value} for tick in up.ticks],
        **more,
    )


def _drawn(plot: Plot, size: Size, across: Axis, up: Axis) -> ElementTree.Element:
    if plot.bars:
        chart = _chart(pygal.Histogram, size, across, up)
        chart.add("", list(plot.bars))
    else:
        chart = _chart(pygal.XY, size, across, up, show_dots=plot.has_dots, dots_size=3)
        chart.add("", list(plot.points))
        if not plot.has_dots:
            chart.add("", list(plot.points), fill=True)  # what lies below the line
    drawn: ElementTree.Element = chart.render_tree()
    return drawn


def pictures(plot: Plot, axes: dict[str, tuple[Axis, Axis]]) -> tuple[Markup, ...]:
    """One for each size; `axes` has both axes of each by its name."""
    return tuple(
        svg.picture(_drawn(plot, size, *axes[size.name]), f"chart {size.name}", plot.words)
        for size in SIZES
    )
