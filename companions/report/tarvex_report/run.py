"""A run as the report knows it, and how one is made of the document of `tarvex-history run`."""

from dataclasses import dataclass
from datetime import datetime

from . import texts, verdicts
from .faults import ReportFault
from .fields import Fields, Json, number_of
from .verdicts import Verdict

SCHEMA = 1
MOST_OF_UNIT = 12  # characters; it stands behind each value


@dataclass(frozen=True)
class Limit:
    kind: str
    value: float


@dataclass(frozen=True)
class Measurement:
    name: str
    value: float | None  # none: no finite number
    unit: str
    limits: tuple[Limit, ...]


@dataclass(frozen=True)
class Series:
    name: str
    kind: str
    unit: str
    axis: str
    axis_unit: str
    points: tuple[tuple[float, float], ...]  # position and value


@dataclass(frozen=True)
class Word:
    severity: str
    text: str


@dataclass(frozen=True)
class Device:
    key: str  # the same in each run
    name: str
    serial: str | None
    place: str | None
    module: str


@dataclass(frozen=True)
class Test:
    module: str
    diagnostic: str
    key: str
    name: str
    device: int | None  # in the run's devices
    start: datetime | None
    seconds: float | None
    verdict: Verdict
    words: tuple[Word, ...]
    parameters: dict[str, str]
    measurements: tuple[Measurement, ...]
    series: tuple[Series, ...]


@dataclass(frozen=True)
class Run:
    name: str
    file: str
    state: str
    machine: str
    machine_id: str | None  # stays when the machine is renamed
    program: str
    kernel: str
    modules: tuple[tuple[str, str], ...]  # name and version
    start: datetime | None
    end: datetime | None
    is_simulated: bool
    verdict: Verdict
    devices: tuple[Device, ...]
    tests: tuple[Test, ...]
    errors: tuple[Word, ...]
    notes: tuple[Word, ...]
    faults: tuple[str, ...]  # what is wrong with the log itself

    @property
    def origin(self) -> str:
        """The same for all runs of one machine, and for no other's as far as is known."""
        return self.machine_id or self.machine

    @property
    def seconds(self) -> float | None:
        if self.start is None or self.end is None:
            return None
        return (self.end - self.start).total_seconds()


def _unit(fields: Fields, name: str) -> str:
    return fields.text_or(name, "")[:MOST_OF_UNIT]


def _measurement(fields: Fields) -> Measurement:
    return Measurement(
        fields.text("name"),
        fields.maybe_number("value"),
        _unit(fields, "unit"),
        tuple(
            Limit(limit.text_or("kind", ""), limit.number("value"))
            for limit in fields.objects("limits")
        ),
    )


def _point(value: Json, where: str) -> tuple[float, float]:
    if not isinstance(value, list) or len(value) != 2:
        raise ReportFault(f"{where} is no pair")
    return number_of(value[0], where), number_of(value[1], where)


def _series(fields: Fields) -> Series:
    where = f"a point of {fields.where}"
    return Series(
        fields.text("name"),
        fields.text_or("kind", ""),
        _unit(fields, "unit"),
        fields.text_or("axis", ""),
        _unit(fields, "axisUnit"),
        tuple(_point(value, where) for value in fields.items("points")),
    )


def _words(fields: list[Fields]) -> tuple[Word, ...]:
    return tuple(Word(word.text("severity"), word.text("text")) for word in fields)


def _verdict(fields: Fields) -> Verdict:
    word = fields.text("verdict")
    found = verdicts.of(word)
    if found is None:
        raise ReportFault(f"{fields.where} has the verdict \"{word}\", which is none")
    return found


def _device_of(fields: Fields, devices: int) -> int | None:
    number = fields.maybe_number("device")
    if number is None:
        return None
    if number != int(number) or not 0 <= number < devices:
        raise ReportFault(f"{fields.where} is of a device that the run does not have")
    return int(number)


def _test(fields: Fields, devices: int) -> Test:
    key = fields.text_or("test", "?")
    return Test(
        fields.text_or("module", "?"),
        fields.text_or("diagnosticName", fields.text_or("diagnostic", "?")),
        key,
        fields.text_or("testName", key),
        _device_of(fields, devices),
        texts.moment(fields.maybe_text("start")),
        fields.maybe_number("seconds"),
        _verdict(fields),
        _words(fields.objects("words")),
        fields.words("parameters"),
        tuple(map(_measurement, fields.objects("measurements"))),
        tuple(map(_series, fields.objects("series"))),
    )


def _device(fields: Fields) -> Device:
    name = fields.text_or("name", "Unnamed device")
    return Device(
        fields.text_or("key", name),
        name,
        fields.maybe_text("serial"),
        fields.maybe_text("place"),
        fields.text_or("module", "?"),
    )


def run_of(document: Json, where: str) -> Run:
    """The run of a document; ReportFault when it is none."""
    fields = Fields(document, where)
    if document.get("schema") != SCHEMA:
        raise ReportFault(
            f"{where} is a run of schema {clean_schema(document)}, and this program reads"
            f" {SCHEMA}: install tarvex-report and tarvex-history of one version"
        )
    devices = tuple(map(_device, fields.objects("devices")))
    return Run(
        fields.text("run"),
        fields.text("file"),
        fields.text("state"),
        fields.text_or("machine", "Unnamed machine"),
        fields.maybe_text("machineId"),
        fields.text_or("program", "?"),
        fields.text_or("kernel", "?"),
        tuple((m.text_or("name", "?"), m.text_or("version", "?")) for m in fields.objects("modules")),
        texts.moment(fields.maybe_text("start")),
        texts.moment(fields.maybe_text("end")),
        fields.flag("simulated"),
        _verdict(fields),
        devices,
        tuple(_test(test, len(devices)) for test in fields.objects("tests")),
        tuple(
            Word(error.text_or("symptom", "error"), error.text_or("text", ""))
            for error in fields.objects("errors")
        ),
        _words(fields.objects("notes")),
        fields.texts("faults"),
    )


def clean_schema(document: Json) -> str:
    return texts.clean(str(document.get("schema", "none")))[:40]
