"""The page: what the template is given, and the template."""

import base64
import hashlib
import math
import os
import re
from dataclasses import dataclass
from datetime import datetime, timezone
from functools import cache
from pathlib import Path

from jinja2 import Environment, FileSystemLoader, StrictUndefined
from markupsafe import Markup

from . import charts, courses, limits, surface, texts, verdicts
from .advice import advice_of_machines
from .figure import Figure
from .room import FOR_COURSES, FOR_RUNS, Room, size_of
from .run import Device, Run, Test
from .verdicts import Verdict

TEMPLATES = Path(__file__).with_name("templates")
MOST_NAMED = 3  # devices in the headline
# What may be typed after "tarvex-report" as it stands; a log is called what its author likes.
TYPEABLE = re.compile(r"[A-Za-z0-9][A-Za-z0-9_.:+@-]*")
# Told about how a run ended; what is complete needs no words.
STATES = {
    "running": "The run still went on when this report was made.",
    "crashed": "The program did not come to its end: what it found until then is here.",
    "cut": "The log ends before the run does: what is in it is here.",
}


@dataclass(frozen=True)
class ShownTest:
    test: Test
    figures: list[Figure]
    is_brief: bool  # pictures and measurements are left to a report of this run


@dataclass(frozen=True)
class ShownDevice:
    device: Device | None  # none: tests that are of no device
    verdict: Verdict
    counts: list[tuple[Verdict, int]]
    tests: list[ShownTest]
    map: Figure | None  # none also where it has no room; the tests that it is made of are brief then


@dataclass(frozen=True)
class ShownModule:
    name: str
    version: str | None
    devices: list[ShownDevice]


@dataclass(frozen=True)
class ShownRun:
    run: Run
    headline: str
    named: list[str]  # behind it
    state: str | None
    modules: list[ShownModule]

    @property
    def argument(self) -> str:
        """What tarvex-report is given to make a report of it."""
        return self.run.name if TYPEABLE.fullmatch(self.run.name) else "RUN"

    @property
    def is_brief(self) -> bool:
        devices = (device for module in self.modules for device in module.devices)
        return any(test.is_brief for device in devices for test in device.tests)


def _shown_test(test: Test, room: Room) -> ShownTest:
    figures = [] if room.is_full else charts.figures_of(test.series)
    has_room = room.has(size_of(figures, len(test.measurements)))
    has_more = bool(test.measurements or test.series)
    return ShownTest(test, figures if has_room else [], has_more and not has_room)


def _shown_device(device: Device | None, tests: list[Test], room: Room) -> ShownDevice:
    got = [test.verdict for test in tests]
    found = surface.surface_map(tests)
    has_room = found is None or room.has(size_of([found]))
    order = sorted(range(len(tests)), key=lambda number: verdicts.place(tests[number].verdict))
    shown = {number: _shown_test(tests[number], room) for number in order}
    return ShownDevice(
        device,
        verdicts.worst(got),
        verdicts.counts(got),
        [shown[number] for number in range(len(tests))],
        found if has_room else None,
    )


def _shown_module(run: Run, name: str, room: Room) -> ShownModule:
    tests = [test for test in run.tests if test.module == name]
    order = list(dict.fromkeys(test.device for test in tests))
    return ShownModule(
        name,
        dict(run.modules).get(name),
        [
            _shown_device(
                None if number is None else run.devices[number],
                [test for test in tests if test.device == number],
                room,
            )
            for number in order
        ],
    )


def _untried(run: Run) -> str:
    """What a run leaves open that passed all the same."""
    got = verdicts.counts(test.verdict for test in run.tests)
    left = [(verdict, number) for verdict, number in got if verdicts.place(verdict) < verdicts.place(run.verdict)]
    return "".join(f", {number} {verdict.word.lower()}" for verdict, number in left)


def _headline(run: Run) -> tuple[str, list[str]]:
    """What the verdict is of, in a few words, and the names of the devices that they are about."""
    worst: dict[int, Verdict] = {}
    for test in run.tests:
        if test.device is not None:
            worst[test.device] = verdicts.worst(
                [test.verdict, worst.get(test.device, verdicts.NOT_APPLICABLE)]
            )
    tested = texts.counted(len(run.tests), "test")
    devices = texts.counted(len(worst), "device")
    named = [run.devices[one].name for one, verdict in worst.items() if verdict is run.verdict]
    if run.verdict not in (verdicts.FAILED, verdicts.WARNING) or not named:
        return (f"{tested} of {devices}" if worst else tested) + _untried(run), []
    return f"{len(named)} of {devices}", named


def _shown_run(run: Run, room: Room) -> ShownRun:
    names = list(dict.fromkeys(test.module for test in run.tests))
    return ShownRun(
        run,
        *_headline(run),
        STATES.get(run.state),
        [_shown_module(run, name, room) for name in names],
    )


def newest_of_machines(runs: list[Run]) -> list[Run]:
    """Of runs in order of time the last one of each machine."""
    return list({run.origin: run for run in runs}.values())


def _shown_runs(runs: list[Run], latest: list[Run]) -> list[ShownRun]:
    """The newest first. Room is for the newest of each machine first, and then for what is worst."""
    room = Room(FOR_RUNS if len(runs) > 1 else math.inf)
    newest = {(run.origin, run.name) for run in latest}

    def rank(number: int) -> tuple[bool, int, int]:
        run = runs[number]
        return (run.origin, run.name) not in newest, verdicts.place(run.verdict), -number

    shown = {number: _shown_run(runs[number], room) for number in sorted(range(len(runs)), key=rank)}
    return [shown[number] for number in reversed(range(len(runs)))]


def _now() -> datetime:
    """When the page is made; who makes the same page again may say so (SOURCE_DATE_EPOCH)."""
    given = os.environ.get("SOURCE_DATE_EPOCH", "")
    if given.isdigit():
        return datetime.fromtimestamp(int(given), timezone.utc).astimezone()
    return datetime.now(timezone.utc).astimezone()


@cache
def _environment() -> Environment:
    made = Environment(
        loader=FileSystemLoader(TEMPLATES),
        autoescape=True,
        undefined=StrictUndefined,
        trim_blocks=True,
        lstrip_blocks=True,
        auto_reload=False,
    )
    made.filters["time"] = texts.shown_time
    made.filters["duration"] = texts.duration
    made.filters["title_of"] = texts.title
    made.globals["quantity"] = texts.quantity
    made.globals["counted"] = texts.counted
    made.globals["judged"] = limits.judged
    return made


def _style() -> tuple[Markup, str]:
    """The page's style, and what its policy calls it."""
    text = (TEMPLATES / "style.css").read_text(encoding="utf-8").strip()
    digest = base64.b64encode(hashlib.sha256(text.encode("utf-8")).digest()).decode("ascii")
    return Markup(text), f"sha256-{digest}"


def page_of(runs: list[Run], version: str) -> str:
    """The whole page of one run or several, which are in order of time."""
    style, digest = _style()
    latest = newest_of_machines(runs)
    return _environment().get_template("page.html").render(
        runs=_shown_runs(runs, latest),
        latest=latest,
        most_named=MOST_NAMED,
        advice=advice_of_machines(list(reversed(latest))),
        verdict=verdicts.worst(run.verdict for run in latest),
        courses=courses.courses_of(runs, Room(FOR_COURSES)) if len(runs) > 1 else [],
        made=_now(),
        version=version,
        style=style,
        style_digest=digest,
    )
