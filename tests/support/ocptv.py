"""The rules of the Open Compute Project's test and validation output format, version 2.0.

`faults` looks at a whole log and returns a readable line for each rule that it breaks; an empty list
is a good log. Only artifacts that this system writes are known: any other is a fault.
Source: Open Compute Project, Test and Validation Output Specification, version 2.0.
"""

import json
import re

# Of RFC 3339, what this system writes: UTC with milliseconds.
TIMESTAMP = re.compile(
    r"\d{4}-(0[1-9]|1[0-2])-(0[1-9]|[12]\d|3[01])T([01]\d|2[0-3]):[0-5]\d:[0-5]\d\.\d{3}Z"
)
STATUSES = ("COMPLETE", "ERROR", "SKIP")
# Of the end of a run: status -> the results that may stand beside it.
RESULTS = {"COMPLETE": ("PASS", "FAIL"), "ERROR": ("NOT_APPLICABLE",), "SKIP": ("NOT_APPLICABLE",)}
SEVERITIES = ("INFO", "DEBUG", "WARNING", "ERROR", "FATAL")
DIAGNOSES = ("PASS", "FAIL", "UNKNOWN")
SOFTWARE_TYPES = ("UNSPECIFIED", "FIRMWARE", "SYSTEM", "APPLICATION")
VALIDATORS = (
    *("EQUAL", "NOT_EQUAL", "LESS_THAN", "LESS_THAN_OR_EQUAL", "GREATER_THAN"),
    *("GREATER_THAN_OR_EQUAL", "REGEX_MATCH", "REGEX_NO_MATCH", "IN_SET", "NOT_IN_SET"),
)


def is_text(value):
    return isinstance(value, str)


def is_whole(value):
    return isinstance(value, int) and not isinstance(value, bool) and value >= 0


def is_value(value):
    return isinstance(value, (str, bool, int, float))


def is_timestamp(value):
    return is_text(value) and TIMESTAMP.fullmatch(value) is not None


def is_object(value):
    return isinstance(value, dict)


def one_of(words):
    return lambda value: value in words


def record(required, optional=None):
    """A test of an object: every required member, no unknown one, each of its kind."""
    known = {**required, **(optional or {})}

    def test(value):
        return (
            is_object(value)
            and set(required) <= set(value)
            and all(name in known and known[name](member) for name, member in value.items())
        )

    return test


def list_of(test):
    return lambda value: isinstance(value, list) and all(test(item) for item in value)


SOFTWARE = record(
    {"softwareInfoId": is_text, "name": is_text},
    {"version": is_text, "softwareType": one_of(SOFTWARE_TYPES)},
)
HARDWARE = record(
    {"hardwareInfoId": is_text, "name": is_text},
    {"location": is_text, "serialNumber": is_text, "partType": is_text},
)
MACHINE = record(
    {"dutInfoId": is_text},
    {"name": is_text, "softwareInfos": list_of(SOFTWARE), "hardwareInfos": list_of(HARDWARE)}
    | {"metadata": is_object},
)
VALIDATOR = record({"type": one_of(VALIDATORS), "value": is_value})
ERROR = record({"symptom": is_text}, {"message": is_text})
LOG = record({"severity": one_of(SEVERITIES), "message": is_text})
RUN_ARTIFACTS = {
    "testRunStart": record(
        {"name": is_text, "version": is_text, "commandLine": is_text}
        | {"parameters": is_object, "dutInfo": MACHINE}
    ),
    "testRunEnd": record({"status": one_of(STATUSES), "result": is_text}),
    "log": LOG,
    "error": ERROR,
}
STEP_ARTIFACTS = {
    "testStepStart": record({"name": is_text}),
    "testStepEnd": record({"status": one_of(STATUSES)}),
    "diagnosis": record(
        {"verdict": is_text, "type": one_of(DIAGNOSES)},
        {"message": is_text, "hardwareInfoId": is_text},
    ),
    "measurement": record(
        {"name": is_text, "value": is_value},
        {"unit": is_text, "validators": list_of(VALIDATOR), "hardwareInfoId": is_text},
    ),
    "measurementSeriesStart": record(
        {"name": is_text, "measurementSeriesId": is_text},
        {"unit": is_text, "validators": list_of(VALIDATOR), "hardwareInfoId": is_text}
        | {"metadata": is_object},
    ),
    "measurementSeriesElement": record(
        {"index": is_whole, "value": is_value, "timestamp": is_timestamp}
        | {"measurementSeriesId": is_text},
        {"metadata": is_object},
    ),
    "measurementSeriesEnd": record({"measurementSeriesId": is_text, "totalCount": is_whole}),
    "extension": record({"name": is_text, "content": is_object}),
    "log": LOG,
    "error": ERROR,
}


class Checker:
    """Follows a log line by line."""

    def __init__(self):
        self.faults = []
        self.place = 0
        self.run = "before"  # the run, or "open" or "over"
        self.hardware = set()
        self.open_steps = set()
        self.known_steps = set()
        self.open_series = {}  # id -> its step, and how many elements it has
        self.known_series = set()

    def fault(self, text):
        self.faults.append(f"line {self.place}: {text}")

    def line(self, text):
        try:
            value = json.loads(text, parse_constant=lambda word: self.fault(f"{word} is no JSON"))
        except ValueError as error:
            self.fault(f"no JSON: {error}")
            return
        if not is_object(value):
            self.fault("no object")
            return
        if value.pop("sequenceNumber", None) != self.place:
            self.fault("the sequence number does not follow")
        if not TIMESTAMP.fullmatch(str(value.pop("timestamp", None))):
            self.fault("no timestamp of RFC 3339")
        if len(value) != 1:
            self.fault(f"not one artifact: {sorted(value)}")
            return
        kind, content = value.popitem()
        if (kind == "schemaVersion") != (self.place == 0):
            self.fault("the version stands first, and only there")
        if kind == "schemaVersion":
            if content != {"major": 2, "minor": 0}:
                self.fault("another version")
        elif kind == "testRunArtifact":
            self.run_artifact(content)
        elif kind == "testStepArtifact":
            self.step_artifact(content)
        else:
            self.fault(f"unknown artifact {kind}")

    def artifact(self, content, known):
        """The name and the content of the one artifact in an object, or None."""
        if not is_object(content) or len(content) != 1:
            self.fault("not one artifact")
            return None
        ((kind, inner),) = content.items()
        if kind not in known:
            self.fault(f"unknown artifact {kind}")
            return None
        if not known[kind](inner):
            self.fault(f"{kind} has a wrong, missing or unknown member")
            return None
        return kind, inner

    def run_artifact(self, content):
        found = self.artifact(content, RUN_ARTIFACTS)
        if found is None:
            return
        kind, inner = found
        if (kind == "testRunStart") != (self.run == "before"):
            self.fault("the run starts once, before all else")
        if self.run == "over":
            self.fault("something after the run's end")
        if kind == "testRunStart":
            self.run = "open"
            self.start(inner)
        elif kind == "testRunEnd":
            self.run = "over"
            if self.open_steps:
                self.fault("the run ends within a step")
            if inner["result"] not in RESULTS[inner["status"]]:
                self.fault("this result does not go with the status")

    def start(self, inner):
        machine = inner["dutInfo"]
        for key, name in (("hardwareInfos", "hardwareInfoId"), ("softwareInfos", "softwareInfoId")):
            ids = [item[name] for item in machine.get(key, [])]
            if len(ids) != len(set(ids)):
                self.fault(f"{name} twice")
        self.hardware = {item["hardwareInfoId"] for item in machine.get("hardwareInfos", [])}

    def step_artifact(self, content):
        step = content.pop("testStepId", None) if is_object(content) else None
        if not is_text(step):
            self.fault("no step id")
            return
        found = self.artifact(content, STEP_ARTIFACTS)
        if found is None:
            return
        kind, inner = found
        if self.run != "open":
            self.fault("a step outside of the run")
        if kind == "testStepStart":
            if step in self.known_steps:
                self.fault("a step starts twice")
            self.known_steps.add(step)
            self.open_steps.add(step)
        elif step not in self.open_steps:
            self.fault("not between the start and the end of its step")
        if kind == "testStepEnd":
            self.open_steps.discard(step)
            if any(of == step for of, _ in self.open_series.values()):
                self.fault("the step ends within a series")
        if kind.startswith("measurementSeries"):
            self.series_artifact(step, kind, inner)
        if inner.get("hardwareInfoId", None) not in {None, *self.hardware}:
            self.fault("the run's start does not list this hardware")

    def series_artifact(self, step, kind, inner):
        series = inner["measurementSeriesId"]
        if kind == "measurementSeriesStart":
            if series in self.known_series:
                self.fault("a series starts twice")
            self.known_series.add(series)
            self.open_series[series] = (step, 0)
            return
        of, count = self.open_series.pop(series, (None, 0))
        if of != step:
            self.fault("not between the start and the end of its series")
        elif kind == "measurementSeriesEnd":
            if inner["totalCount"] != count:
                self.fault("the series has another number of elements")
        else:
            if inner["index"] != count:
                self.fault("the index does not follow")
            self.open_series[series] = (of, count + 1)


def faults(data, ended=True):
    """The broken rules of a log (bytes), which ends with its run unless `ended` is false."""
    checker = Checker()
    try:
        text = data.decode("utf-8")
    except UnicodeDecodeError as error:
        return [f"no UTF-8: {error}"]
    lines = text.split("\n")
    if lines.pop() != "":
        checker.faults.append("the last line has no end")
    for checker.place, line in enumerate(lines):
        checker.line(line)
    if ended and checker.run != "over":
        checker.faults.append("the run has no end")
    return checker.faults
