"""Axes and marks of pictures: that what they say is where they say it."""

import re
from datetime import datetime, timedelta, timezone
from xml.etree import ElementTree

import pytest
import sample_runs
from tarvex_report import charts, courses, scale, surface
from tarvex_report.figure import NARROW, WIDE
from tarvex_report.room import FOR_COURSES, Room
from tarvex_report.run import run_of

SPACE = "\N{NARROW NO-BREAK SPACE}"


def labels_of(picture):
    return [one.text.replace(SPACE, " ") for one in ElementTree.fromstring(picture).iter("text") if one.text]


@pytest.mark.parametrize(
    "low, high, most, wanted",
    [
        (0, 10, 5, [0, 2.5, 5, 7.5, 10]),
        (0, 36, 5, [0, 10, 20, 30]),
        (0, 4, 5, [0, 1, 2, 3, 4]),
        (0, 19, 5, [0, 5, 10, 15]),
        (0, 7, 2, [0, 5]),
    ],
)
def test_the_step_is_the_least_round_one_that_is_wide_enough(low, high, most, wanted):
    assert scale.ticks(low, high, most) == pytest.approx(wanted)


@pytest.mark.parametrize("value, end", [(1, 1), (5, 5), (2e8, 2e8), (181.6e6, 2e8), (0.31, 0.35), (1.01, 1.5)])
def test_an_axis_of_round_values_ends_at_the_highest(value, end):
    assert scale.ceiling(value) == pytest.approx(end, rel=1e-12)


@pytest.mark.parametrize(
    "unit, most, wanted",
    [
        ("B/s", 2e8, (1e6, "MB/s")),
        ("B/s", 1e6, (1e6, "MB/s")),
        ("B", 999, (1, "B")),
        ("B", 0, (1, "B")),
        ("s", 0.004, (1e-3, "ms")),
        ("s", 59, (1, "s")),
        ("s", 3600, (1, "s")),
        ("C", 47, (1, "°C")),
        ("", 5000, (1, "")),
    ],
)
def test_the_numbers_of_an_axis_have_the_unit_of_its_end(unit, most, wanted):
    assert scale.unit_of(unit, most) == wanted


@pytest.mark.parametrize(
    "value, shown", [(0, "0"), (999, "999"), (1000, "1 k"), (1.5e9, "1.5 G"), (500118191, "500 M")]
)
def test_a_place_is_short(value, shown):
    assert scale.position(value).replace(SPACE, " ") == shown


@pytest.mark.parametrize(
    "values, low, high",
    [
        ([40, 44], 39.52, 44.48),  # near to the values
        ([0, 16], 0, 17.92),  # from zero on
        ([5, 11], 0, 11.72),
        ([6, 11], 5.4, 11.6),
        ([-8, 2], -9.2, 3.2),
        ([7, 7], 6.3, 7.7),
        ([0, 0], -1, 1),
    ],
)
def test_values_over_time_have_room_and_zero_where_it_is_near(values, low, high):
    axis, _ = courses._value_axis(values, "")
    assert (axis.low, axis.high) == pytest.approx((low, high))


@pytest.mark.parametrize("size, marks", [(WIDE, 4), (NARROW, 2)])
def test_the_axis_of_time_has_each_run_and_is_marked_at_both_ends(size, marks):
    first = datetime(2026, 11, 1, 8, tzinfo=timezone.utc)
    times = [first + timedelta(days=day) for day in (0, 3, 10)]
    axis = courses._time_axis(times, size)
    day = 24 * 3600
    assert (axis.low, axis.high) == pytest.approx(
        (times[0].timestamp() - 0.4 * day, times[-1].timestamp() + 0.4 * day)
    )
    assert [tick.label for tick in axis.ticks][:: marks - 1] == ["2026-11-01", "2026-11-11"]
    assert len(axis.ticks) == marks


@pytest.mark.parametrize(
    "span, label",
    [
        (timedelta(minutes=59), "08:00:00"),
        (timedelta(hours=1), "08:00"),
        (timedelta(hours=23), "08:00"),
        (timedelta(days=1), "2026-11-01"),
    ],
)
def test_times_are_as_fine_as_what_lies_between_them(span, label):
    first = datetime(2026, 11, 1, 8, tzinfo=timezone.utc)
    assert courses._time_axis([first, first + span], WIDE).ticks[0].label == label


def test_the_verdict_of_a_course_is_that_of_the_newest_run():
    for verdicts in (("failed", "warning", "passed"), ("passed", "warning", "failed")):
        runs = [
            run_of(sample_runs.weekly(week) | {"tests": [sample_runs.test_of("T", "Test", verdict)]}, "it")
            for week, verdict in enumerate(verdicts)
        ]
        (course,) = courses.courses_of(runs, Room(FOR_COURSES))
        assert course.verdict.key == verdicts[-1]


def test_a_change_says_whether_it_is_more_or_less():
    def course(*values):
        return courses.Course("Test", "temperature", "C", tuple(courses.Seen(None, value) for value in values))

    told = [course(*values).change.replace(SPACE, " ") for values in ((31, 47), (47, 31), (0, 0.5), (31, 40, 31))]
    assert told == ["+16 °C", "\N{MINUS SIGN}16 °C", "+0.5 °C", "the same"]
    assert [course(31, 40, 31).has_changed, course(31, 31).has_changed] == [True, False]


def histogram():
    points = [[10 ** (power / 2), 3] for power in range(-8, 3)]
    document = sample_runs.series("times", "HISTOGRAM", points, None, "time", "s")
    run = run_of(sample_runs.run([sample_runs.test_of("T", "Test", series=[document])]), "it")
    return charts.histogram(run.tests[0].series[0])


def test_times_have_round_labels_and_all_bars_are_within():
    figure = histogram()
    wide, narrow = map(labels_of, figure.pictures)
    assert [one for one in wide if one.endswith("s")] == ["100 µs", "1 ms", "10 ms", "100 ms", "1 s", "10 s"]
    assert set(one for one in narrow if one.endswith("s")) <= set(wide)
    assert {"1", "10"} <= set(wide)
    for picture, size in zip(figure.pictures, (WIDE, NARROW)):
        tree = ElementTree.fromstring(picture)
        bars = [one for one in tree.iter("rect") if "background" not in one.get("class", "")]
        assert len(bars) == 11
        assert all(0 <= float(one.get("x")) <= size.width - float(one.get("width")) for one in bars)
        assert len({one.get("width") for one in bars[1:]}) <= 2  # half a decade each


def surface_of(points, **measured):
    ranges = sample_runs.series("bad", "RANGES", points)
    values = [sample_runs.measurement("other", 77)]
    values += [sample_runs.measurement(name.replace("_", "-"), value) for name, value in measured.items()]
    test = sample_runs.test_of("T", "Test", measurements=values, series=[ranges])
    return surface.surface_map(list(run_of(sample_runs.run([test]), "it").tests))


@pytest.mark.parametrize(
    "measured, axes",
    [
        ({"first_lba": 100, "last_lba": 999}, "from LBA 100 at the top left to 999 at the bottom right"),
        ({"last_lba": 999}, "from LBA 0 at the top left to 999 at the bottom right"),
        ({}, "from LBA 0 at the top left to 503 at the bottom right"),
        ({"first_lba": 900, "last_lba": 999}, "from LBA 500 at the top left to 999 at the bottom right"),
    ],
)
def test_a_map_shows_what_was_looked_at_and_all_that_was_found(measured, axes):
    assert surface_of([[500, 4]], **measured).axes == axes


def test_a_bad_sector_has_a_cross_and_a_slow_one_a_bar():
    figure = surface.surface_map(list(run_of(sample_runs.failing(), "it").tests))
    for picture in figure.pictures:
        cells, marks = [], []
        for one in ElementTree.fromstring(picture).iter():
            if one.get("class") in ("cell bad", "cell slow"):
                cells.append([float(one.get(name)) for name in ("x", "y", "width", "height")])
            elif one.get("class") == "mark":
                marks.append(one.get("d"))
        shapes = [re.sub("[^ML]", "", mark) for mark in marks]
        assert (shapes.count("ML"), shapes.count("MLML")) == (2, len(cells) - 2)
        for (left, top, wide, high), mark in zip(cells, marks, strict=True):
            for x, y in re.findall(r"([\d.-]+) ([\d.-]+)", mark):
                assert left < float(x) < left + wide and top < float(y) < top + high
