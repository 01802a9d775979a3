"""What became of a device from run to run: verdicts, and measurements over time."""

import re
from dataclasses import dataclass, replace
from datetime import datetime

from . import scale, texts, thin, verdicts
from .figure import SIZES, Figure, Size
from .plot import Axis, Plot, pictures
from .room import Room, size_of
from .run import Device, Measurement, Run, Test
from .scale import Tick
from .verdicts import Verdict

MOST_PICTURES = 8  # of one device; the table has all that changed
MOST_DOTS = 60  # of more runs the dots hide the line
UP_TICKS = 4
HOUR = 3600
DAY = 24 * HOUR
# Rates and times are a little different each time: a picture shows those that are much so.
WAVERING = re.compile(r"rate$|slowest|percent$|median|ratio|inner-to-outer")
MUCH = 0.25

# What is drawn first: the sooner a name fits, the more it says of a device.
INTERESTING = tuple(
    re.compile(pattern)
    for pattern in (
        r"^temperature$",
        r"realloc|pending|uncorrect|unreadable|media.*errors|grown",
        r"percentage-used|spare$|wear",
        r"crc",
        r"rate$",
        r"slow|percent$|median",
        r"errors",
        r"",
    )
)
# Normalized values and what only counts time or traffic are in the table, and in no picture.
NOT_DRAWN = re.compile(r"-value$|hours|bytes|units|commands|cycle|^first-lba$|^last-lba$|minutes|busy")


@dataclass(frozen=True)
class Seen:
    """One value of a measurement in one run."""

    run: Run
    value: float


@dataclass(frozen=True)
class Course:
    test: str
    name: str
    unit: str
    seen: tuple[Seen, ...]  # oldest first

    @property
    def first(self) -> str:
        return texts.quantity(self.seen[0].value, self.unit)

    @property
    def last(self) -> str:
        return texts.quantity(self.seen[-1].value, self.unit)

    @property
    def change(self) -> str:
        """How much more or less the last is."""
        by = self.seen[-1].value - self.seen[0].value
        sign = "+" if by > 0 else "\N{MINUS SIGN}" if by < 0 else ""
        return sign + texts.quantity(abs(by), self.unit) if by else "the same"

    @property
    def title(self) -> str:
        return texts.title(self.name)

    @property
    def has_changed(self) -> bool:
        return len({one.value for one in self.seen}) > 1


@dataclass(frozen=True)
class DeviceCourse:
    device: Device  # as the newest run knows it
    runs: tuple[tuple[Run, tuple[Verdict | None, ...]], ...]  # a verdict for each test
    tests: tuple[str, ...]  # their names
    changed: tuple[Course, ...]
    unchanged: int
    drawn: tuple[Course, ...]
    figures: tuple[Figure, ...] = ()
    is_brief: bool = False  # without its pictures

    @property
    def verdict(self) -> Verdict:
        """Of the newest run."""
        return verdicts.worst(one for one in self.runs[-1][1] if one is not None)


def _importance(course: Course) -> int:
    return next(place for place, rule in enumerate(INTERESTING) if rule.search(course.name))


def _is_drawn(course: Course) -> bool:
    has_times = len({one.run.start for one in course.seen if one.run.start}) > 1
    values = [one.value for one in course.seen]
    is_steady = max(values) - min(values) <= MUCH * max(abs(value) for value in values)
    if not has_times or not scale.is_drawable(*values) or not scale.is_wide(values):
        return False
    if NOT_DRAWN.search(course.name):
        return False
    return not (is_steady and WAVERING.search(course.name))


def _drawn(courses: list[Course]) -> list[Course]:
    """What matters most; what two names have in common is drawn once."""
    found: dict[tuple[object, ...], Course] = {}
    for course in filter(_is_drawn, courses):
        found.setdefault((course.test, course.unit, *(one.value for one in course.seen)), course)
    return list(found.values())[:MOST_PICTURES]


def _label(time: datetime, span: float) -> str:
    return time.strftime("%H:%M:%S" if span < HOUR else "%H:%M" if span < DAY else "%Y-%m-%d")


def _time_axis(times: list[datetime], size: Size) -> Axis:
    low, high = times[0].timestamp(), times[-1].timestamp()
    span = high - low
    most = max(2, size.ticks // 2)
    marks = [low + span * number / (most - 1) for number in range(most)]
    margin = span * 0.04
    zone = times[0].tzinfo
    return Axis(
        low - margin,
        high + margin,
        tuple(Tick(at, _label(datetime.fromtimestamp(at, zone), span)) for at in marks),
    )


def _value_axis(values: list[float], unit: str) -> tuple[Axis, str]:
    """Near to the values, so that a course is seen; from zero where that is not far."""
    low, high = min(values), max(values)
    room = (high - low) * 0.12 or abs(high) * 0.1 or 1
    low = 0.0 if 0 <= low < high / 2 else low - room
    high += room
    marks = scale.ticks(low, high, UP_TICKS)
    factor, shown = scale.unit_of(unit, max(abs(low), abs(high)))
    return Axis(low, high, tuple(Tick(v, texts.grouped(round(v / factor, 6))) for v in marks)), shown


def _figure(course: Course) -> Figure:
    dated = [(one.run.start, one.value) for one in course.seen if one.run.start is not None]
    times = [time for time, _ in dated]
    up, unit = _value_axis([value for _, value in dated], course.unit)
    words = f"From {course.first} to {course.last} ({course.change}) over {len(dated)} runs."
    points = thin.line([(time.timestamp(), value) for time, value in dated])
    plot = Plot(points, f"{course.title}: {words}", has_dots=len(points) <= MOST_DOTS)
    return Figure(
        course.title,
        words,
        f"{unit + ' ' if unit else ''}over time, {course.test}",
        pictures(plot, {size.name: (_time_axis(times, size), up) for size in SIZES}),
        ("Run", course.title),
        tuple((texts.shown_time(time), texts.quantity(v, course.unit)) for time, v in dated),
    )


def _identity(run: Run, device: Device) -> tuple[object, ...]:
    """What makes it the same device in other runs: the machine, too, where there is no serial number."""
    machine = "" if device.serial else run.origin
    return device.module, device.key, machine, run.is_simulated


def _tests_of(run: Run, identity: tuple[object, ...]) -> list[Test]:
    return [
        test
        for test in run.tests
        if test.device is not None and _identity(run, run.devices[test.device]) == identity
    ]


def _courses(tests: list[tuple[Run, Test]]) -> list[Course]:
    seen: dict[tuple[str, str, str], dict[str, Seen]] = {}
    names: dict[str, str] = {}
    for run, test in tests:
        names[test.key] = test.name
        for measurement in test.measurements:
            _note(seen, run, test, measurement)
    return [
        Course(names[key], name, unit, tuple(values.values()))
        for (key, name, unit), values in seen.items()
        if len(values) > 1
    ]


def _note(
    seen: dict[tuple[str, str, str], dict[str, Seen]], run: Run, test: Test, one: Measurement
) -> None:
    """The last value counts where a run has several."""
    if one.value is not None:
        values = seen.setdefault((test.key, one.name, one.unit), {})
        values[run.name] = Seen(run, one.value)


def _verdicts_of(tests: list[Test], keys: list[str]) -> tuple[Verdict | None, ...]:
    """None: the test was not run."""
    found = []
    for key in keys:
        got = [test.verdict for test in tests if test.key == key]
        found.append(verdicts.worst(got) if got else None)
    return tuple(found)


def _device_course(device: Device, identity: tuple[object, ...], runs: list[Run]) -> DeviceCourse:
    by_run = [(run, _tests_of(run, identity)) for run in runs]
    by_run = [(run, tests) for run, tests in by_run if tests]
    every = [(run, test) for run, tests in by_run for test in tests]
    names = {test.key: test.name for _, test in every}
    courses = _courses(every)
    changed = sorted((one for one in courses if one.has_changed), key=_importance)
    return DeviceCourse(
        device,
        tuple((run, _verdicts_of(tests, list(names))) for run, tests in by_run),
        tuple(names.values()),
        tuple(changed),
        len(courses) - len(changed),
        tuple(_drawn(changed)),
    )


def _pictured(course: DeviceCourse, room: Room) -> DeviceCourse:
    figures = () if room.is_full else tuple(map(_figure, course.drawn))
    if room.has(size_of(figures)):
        return replace(course, figures=figures)
    return replace(course, is_brief=bool(course.drawn))


def courses_of(runs: list[Run], room: Room) -> list[DeviceCourse]:
    """Of each device that was tested in more than one of the runs, which are in order of time; that
    with the worst verdict first."""
    newest: dict[tuple[object, ...], Device] = {}
    times: dict[tuple[object, ...], int] = {}
    for run in runs:
        for one in dict.fromkeys(_identity(run, run.devices[test.device])
                                 for test in run.tests if test.device is not None):  # fmt: skip
            times[one] = times.get(one, 0) + 1
        for device in run.devices:
            newest[_identity(run, device)] = device
    found = [_device_course(newest[one], one, runs) for one, number in times.items() if number > 1]
    worst_first = sorted(found, key=lambda course: verdicts.place(course.verdict))
    return [_pictured(course, room) for course in worst_first]
