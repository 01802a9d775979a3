"""The checker of the log's format fires on a log that breaks a rule, and only then."""

import copy
import json

import ocptv
import pytest

HARDWARE = {"hardwareInfoId": "0", "name": "Disk", "location": "storage 0"}
SOFTWARE = {"softwareInfoId": "0", "name": "Linux", "version": "6.1", "softwareType": "SYSTEM"}
MACHINE = {"dutInfoId": "0", "name": "host", "softwareInfos": [SOFTWARE]}
MACHINE["hardwareInfos"] = [HARDWARE]
START = {"name": "n", "version": "1", "commandLine": "c", "parameters": {}, "dutInfo": MACHINE}


def run(kind, content):
    return {"testRunArtifact": {kind: content}}


def step(number, kind, content):
    return {"testStepArtifact": {"testStepId": number, kind: content}}


GOOD = [
    {"schemaVersion": {"major": 2, "minor": 0}},
    run("testRunStart", START),
    run("error", {"symptom": "s", "message": "m"}),
    step("0", "testStepStart", {"name": "a"}),
    step("0", "extension", {"name": "e", "content": {"any": [1, None]}}),
    step("0", "measurement", {"name": "m", "value": 1.5, "unit": "s", "hardwareInfoId": "0"}),
    step("0", "log", {"severity": "INFO", "message": "m"}),
    step("0", "diagnosis", {"verdict": "v", "type": "PASS", "hardwareInfoId": "0"}),
    step("0", "testStepEnd", {"status": "COMPLETE"}),
    run("log", {"severity": "WARNING", "message": "m"}),
    run("testRunEnd", {"status": "COMPLETE", "result": "PASS"}),
]
MEASUREMENT, DIAGNOSIS, STEP_END, RUN_END = 5, 7, 8, 10


def numbered(artifacts):
    time = "2024-11-21T08:00:00.007Z"
    return [
        {"sequenceNumber": number, "timestamp": time, **artifact}
        for number, artifact in enumerate(copy.deepcopy(artifacts))
    ]


def encoded(lines):
    return b"".join(json.dumps(line).encode() + b"\n" for line in lines)


def inner(lines, place):
    """The content of the artifact in a line."""
    artifact = next(value for key, value in lines[place].items() if key.startswith("test"))
    return next(value for key, value in artifact.items() if key != "testStepId")


def test_a_good_log_has_no_fault():
    assert ocptv.faults(encoded(numbered(GOOD))) == []


def test_a_log_of_a_run_that_goes_on_needs_no_end():
    assert ocptv.faults(encoded(numbered(GOOD[:5])), ended=False) == []
    assert ocptv.faults(encoded(numbered(GOOD[:5]))) == ["the run has no end"]


def change(place, **members):
    return lambda lines: inner(lines, place).update(members)


def drop(place, member):
    return lambda lines: inner(lines, place).pop(member)


def hardware(lines):
    return lines[1]["testRunArtifact"]["testRunStart"]["dutInfo"]["hardwareInfos"]


BROKEN = {
    "a number left out": lambda lines: lines[3].update(sequenceNumber=4),
    "no number": lambda lines: lines[3].pop("sequenceNumber"),
    "no timestamp": lambda lines: lines[3].pop("timestamp"),
    "a time without its zone": lambda lines: lines[3].update(timestamp="2024-11-21T08:00:00.007"),
    "a month that is none": lambda lines: lines[3].update(timestamp="2024-13-21T08:00:00.007Z"),
    "an unknown member": lambda lines: lines[3].update(more=1),
    "another version": lambda lines: lines[0]["schemaVersion"].update(major=3),
    "the version twice": lambda lines: lines.__setitem__(
        4, {**lines[0], "sequenceNumber": 4}
    ),
    "an unknown run artifact": lambda lines: lines[2].update(testRunArtifact={"diagnosis": {}}),
    "an unknown step artifact": lambda lines: lines[6].update(
        testStepArtifact={"testStepId": "0", "testRunEnd": {}}
    ),
    "two artifacts in one": lambda lines: lines[2]["testRunArtifact"].update(
        log={"severity": "INFO", "message": "m"}
    ),
    "no step id": lambda lines: lines[6]["testStepArtifact"].pop("testStepId"),
    "a step id that is no text": lambda lines: lines[6]["testStepArtifact"].update(testStepId=0),
    "a step that never began": lambda lines: lines[6]["testStepArtifact"].update(testStepId="1"),
    "no name of a run": drop(1, "name"),
    "no version of a run": drop(1, "version"),
    "no command line": drop(1, "commandLine"),
    "no parameters": drop(1, "parameters"),
    "no machine": drop(1, "dutInfo"),
    "hardware without a name": lambda lines: hardware(lines)[0].pop("name"),
    "hardware without an id": lambda lines: hardware(lines)[0].pop("hardwareInfoId"),
    "hardware twice": lambda lines: hardware(lines).append(dict(HARDWARE)),
    "hardware that is not listed": change(DIAGNOSIS, hardwareInfoId="9"),
    "an error without a symptom": drop(2, "symptom"),
    "a severity that is none": change(6, severity="LOUD"),
    "a message that is no text": change(6, message=7),
    "a diagnosis without a verdict": drop(DIAGNOSIS, "verdict"),
    "a type that is none": change(DIAGNOSIS, type="WARNING"),
    "a measurement without a value": drop(MEASUREMENT, "value"),
    "a value that is none": change(MEASUREMENT, value=None),
    "a validator that is none": change(MEASUREMENT, validators=[{"type": "NEAR", "value": 1}]),
    "a validator without a value": change(MEASUREMENT, validators=[{"type": "EQUAL"}]),
    "an extension without content": drop(4, "content"),
    "a step's status that is none": change(STEP_END, status="PASSED"),
    "a run's status that is none": change(RUN_END, status="PASSED"),
    "a result that does not go with its status": change(RUN_END, status="SKIP"),
    "a run without a result": drop(RUN_END, "result"),
}


@pytest.mark.parametrize("name", BROKEN)
def test_a_broken_line_is_found(name):
    lines = numbered(GOOD)
    BROKEN[name](lines)
    assert ocptv.faults(encoded(lines)) != []


MISPLACED = {
    "no version": GOOD[1:],
    "no run": [GOOD[0], *GOOD[3:9]],
    "something before the run": [GOOD[0], GOOD[9], *GOOD[1:]],
    "the run twice": [*GOOD[:2], GOOD[1], *GOOD[2:]],
    "something after the end": [*GOOD, GOOD[9]],
    "a step after the end": [*GOOD, *GOOD[3:9]],
    "the end twice": [*GOOD, GOOD[RUN_END]],
    "no end": GOOD[:-1],
    "a step without its end": [*GOOD[:STEP_END], GOOD[RUN_END]],
    "a step without its start": [*GOOD[:3], *GOOD[4:]],
    "a step's artifact after its end": [*GOOD[:9], GOOD[6], *GOOD[9:]],
    "a step twice": [*GOOD[:9], *GOOD[3:]],
}


@pytest.mark.parametrize("name", MISPLACED)
def test_a_line_in_the_wrong_place_is_found(name):
    assert ocptv.faults(encoded(numbered(MISPLACED[name]))) != []


def element(index, value, series="0-0"):
    time = "2024-11-21T08:00:00.007Z"
    content = {"index": index, "value": value, "measurementSeriesId": series, "timestamp": time}
    return step("0", "measurementSeriesElement", {**content, "metadata": {"position": index}})


SERIES_START = step(
    "0", "measurementSeriesStart", {"name": "n", "unit": "s", "measurementSeriesId": "0-0"}
)
SERIES_END = step("0", "measurementSeriesEnd", {"measurementSeriesId": "0-0", "totalCount": 2})
SERIES = [SERIES_START, element(0, 1.5), element(1, -2), SERIES_END]


def with_series(*lines):
    return encoded(numbered([*GOOD[:6], *lines, *GOOD[6:]]))


def test_a_good_series_has_no_fault():
    assert ocptv.faults(with_series(*SERIES)) == []


BROKEN_SERIES = {
    "no start": SERIES[1:],
    "no end": SERIES[:-1],
    "the start twice": [SERIES_START, *SERIES],
    "the series twice": [*SERIES, *SERIES],
    "an element too few": [*SERIES[:2], SERIES_END],
    "an index left out": [SERIES_START, element(0, 1.5), element(2, -2), SERIES_END],
    "an element of another series": [SERIES_START, element(0, 1), element(1, 1, "1"), SERIES_END],
    "an element behind its end": [*SERIES, element(2, 1)],
    "no value": [SERIES_START, element(0, None), element(1, 1), SERIES_END],
    "an unknown member": [
        *SERIES[:3],
        step("0", "measurementSeriesEnd", {"measurementSeriesId": "0-0", "totalCount": 2, "x": 1}),
    ],
}


@pytest.mark.parametrize("name", BROKEN_SERIES)
def test_a_broken_series_is_found(name):
    assert ocptv.faults(with_series(*BROKEN_SERIES[name])) != []


GOOD_BYTES = encoded(numbered(GOOD))


@pytest.mark.parametrize(
    "data",
    [
        b"",
        GOOD_BYTES[:-1],
        GOOD_BYTES + b"\n",
        GOOD_BYTES.replace(b'"a"', b'"\xff"'),
        GOOD_BYTES.replace(b'"a"', b'"\n"'),
        GOOD_BYTES.replace(b"1.5", b"NaN"),
        GOOD_BYTES.replace(b"1.5", b"'1'"),
        GOOD_BYTES + b"[]\n",
    ],
)
def test_bytes_that_are_no_log_are_found(data):
    assert ocptv.faults(data) != []
