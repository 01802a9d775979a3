"""Fleets by chance, and their logs: machines of one name, devices that move, clocks that go back, runs that
were broken off.
"""

import json
import random
from dataclasses import dataclass, field
from datetime import UTC, datetime, timedelta

MACHINES, DEVICES, RUNS = 12, 16, 70
NAMES = ("debian", "debian", "alpha", "beta")
MODELS = ("Steady 4T", "Brittle 2T", "")
TESTS = (
    ("QUICK_TEST", "READ_TEST"),
    ("QUICK_TEST", "SMART_TEST"),
    ("EXTENDED_TEST", "READ_TEST"),
    ("EXTENDED_TEST", "LONG_TEST"),
)
VERDICTS = (*["passed"] * 6, "failed", "failed", "warning", "warning", "canceled", "invalid", "not applicable")
UNITS = {
    "read-rate": "B/s", "unreadable-sectors": "", "smart-5-value": "", "temperature": "C",
    "temperature-of-sensor-1": "C", "power-on-hours": "h", "slowest-answer": "s", "available-spare": "%",
    "reads-not-corrected": "", "random-read-median": "s", "smart--value": "", "wrong-sectors": "",
}  # fmt: skip
# The last is no finite number.
VALUES = (0, 1, 2, 3, 50, 80, 90, 100, 100.5, 0.1, 0.21, 0.004, 0.02, None)
DIAGNOSES = {"passed": "PASS", "failed": "FAIL", "warning": "UNKNOWN"}


@dataclass(frozen=True)
class Device:
    key: str  # as a log has it; empty for none
    model: str
    serial: str
    module: str
    is_known_everywhere: bool


@dataclass(frozen=True)
class Test:
    device: Device
    diagnostic: str
    name: str
    verdict: str
    measured: tuple  # of (name, value, unit)


@dataclass(eq=False)
class Run:
    name: str
    machine_id: str  # empty for none
    machine: str
    start: datetime
    simulated: bool
    clock_goes_back: bool
    devices: list
    tests: list = field(default_factory=list)


def stamp(time):
    return f"{time:%Y-%m-%dT%H:%M:%S}.{time.microsecond // 1000:03}Z"


def random_device(chance, number):
    model, module = chance.choice(MODELS), chance.choice(("storage", "memory"))
    kind = chance.choice(("world-wide", "world-wide without a serial", "named", "keyless", "place"))
    serial = "" if kind in ("world-wide without a serial", "place") else f"S{number}"
    key = {"named": f"{model}_{serial}", "keyless": "", "place": f"pci-0000:{number:02x}:00.0"}.get(
        kind, f"naa.5000c500{number:08x}"
    )
    return Device(key, model, serial, module, kind != "place")


def random_tests(chance, devices):
    found = []
    for device in devices:
        for diagnostic, name in TESTS:
            # Now and then a test is made twice in one run.
            for _ in range(chance.choice((0, 1, 1, 1, 2))):
                names = chance.sample(list(UNITS), chance.randint(0, 4))
                measured = tuple(
                    (each, chance.choice(VALUES), UNITS[each] if chance.random() < 0.93 else "x") for each in names
                )
                found.append(Test(device, diagnostic, name, chance.choice(VERDICTS), measured))
    chance.shuffle(found)
    return [] if chance.random() < 0.1 else found


def random_machines(chance):
    """[id, name] of each; one without an id has a name that no other one without has."""
    made = []
    for number in range(MACHINES):
        own_id = f"{chance.getrandbits(128):032x}" if number > 1 else ""
        made.append([own_id, chance.choice(NAMES) if own_id else NAMES[number + 1]])
    return made


def random_runs(chance):
    """All runs of a fleet, no two of which began at one time."""
    machines = random_machines(chance)
    devices = [random_device(chance, number) for number in range(DEVICES)]
    homes = {device: chance.randrange(MACHINES) for device in devices}
    now = datetime.now(UTC).replace(tzinfo=None, microsecond=0)
    time = now - timedelta(days=45)
    made = []
    for number in range(RUNS):
        time += timedelta(hours=chance.choice((1, 5, 60, -9)))
        at = chance.randrange(MACHINES)
        if machines[at][0] and chance.random() < 0.1:
            machines[at][1] = chance.choice((*NAMES, "gamma"))
        homes.update({device: at for device in devices if chance.random() < 0.2})
        start = min(time, now - timedelta(hours=1)) - timedelta(milliseconds=number)
        name = f"tarvex-{start:%Y%m%dT%H%M%S}.{start.microsecond // 1000:03}Z-{chance.randint(100, 102)}"
        here = [device for device in devices if homes[device] == at]
        run = Run(name, *machines[at], start, chance.random() < 0.15, chance.random() < 0.1, here)
        run.tests = random_tests(chance, run.devices)
        made.append(run)
    return made


def first_words(run):
    hardware = [
        {"hardwareInfoId": str(number), "name": device.model, "location": f"{device.module} {number}",
         "partType": device.module} | ({"serialNumber": device.serial} if device.serial else {})
        for number, device in enumerate(run.devices)
    ]  # fmt: skip
    keys = {str(number): device.key for number, device in enumerate(run.devices) if device.key}
    metadata = {"deviceKeys": keys} | ({"machineId": run.machine_id} if run.machine_id else {})
    under_test = {"dutInfoId": "0", "name": run.machine, "softwareInfos": [], "hardwareInfos": hardware}
    return {"name": "Tarvex Diagnostics", "version": "5.0.0.0", "commandLine": "x",
            "parameters": {"simulated": True} if run.simulated else {},
            "dutInfo": under_test | {"metadata": metadata}}  # fmt: skip


def step_artifacts(run, test):
    """What a log says of a test, and of what of it each line tells: None, "verdict", or a number of `measured`."""
    place = str(run.devices.index(test.device))
    yield None, {"testStepStart": {"name": f"{test.device.module}/{test.diagnostic}/{test.name}/{place}"}}
    for number, (name, value, unit) in enumerate(test.measured):
        said = {"name": name, "hardwareInfoId": place, "value": "NaN" if value is None else value}
        yield number, {"measurement": said | ({"unit": unit} if unit else {})}
    status = "COMPLETE"
    if test.verdict in DIAGNOSES:
        yield "verdict", {"diagnosis": {"verdict": "v", "type": DIAGNOSES[test.verdict], "hardwareInfoId": place}}
    elif test.verdict == "invalid":
        status = "ERROR"
        yield None, {"error": {"symptom": "e", "message": "no"}}
    else:
        status = "SKIP"
        yield None, {"extension": {"name": "verdict", "content": {"verdict": test.verdict}}}
    yield None, {"testStepEnd": {"status": status}}


def lines_of(run):
    """The lines of a run's log, each with the test that it tells of and what (of `step_artifacts`), or None."""
    artifacts = [(None, {"schemaVersion": {"major": 2, "minor": 0}})]
    artifacts.append((None, {"testRunArtifact": {"testRunStart": first_words(run)}}))
    for step, test in enumerate(run.tests):
        for told, said in step_artifacts(run, test):
            artifacts.append(((test, told), {"testStepArtifact": {"testStepId": str(step), **said}}))
    artifacts.append((None, {"testRunArtifact": {"testRunEnd": {"status": "COMPLETE", "result": "PASS"}}}))
    lines = []
    time = run.start
    for number, (told, said) in enumerate(artifacts):
        lines.append((json.dumps({"sequenceNumber": number, "timestamp": stamp(time), **said}) + "\n", told))
        if number > 0:
            time += timedelta(seconds=-7) if run.clock_goes_back else timedelta(milliseconds=250)
    return lines


class RandomFleet:
    """Runs, and what of each log came home so far: `known` has how many of its lines, by run."""

    def __init__(self, seed):
        self.chance = random.Random(seed)
        self.runs = random_runs(self.chance)
        self.known = {}

    def bring_home(self, folder, last):
        """Some of the logs, or all but some of their ends, into `folder`."""
        for number, run in enumerate(self.runs):
            if not last and self.chance.random() < 0.4:
                continue
            lines = [line for line, _ in lines_of(run)]
            count = len(lines) if self.chance.random() < 0.7 else self.chance.randint(3, len(lines))
            text = "".join(lines[:count])
            if count < len(lines) and self.chance.random() < 0.3:
                text += lines[count][: len(lines[count]) // 2]
            ending = ".jsonl" if count == len(lines) else ".crashed.jsonl"
            copies = 2 if self.chance.random() < 0.2 else 1
            for copy in range(copies):
                place = folder / f"copy-{copy}" / f"machine-{number}"
                place.mkdir(parents=True)
                (place / (run.name + ending)).write_text(text, encoding="utf-8")
            self.known[run] = max(count, self.known.get(run, 0))

    def told(self):
        """Of each run that is known what its lines told: (run, [(test, verdict or None, measured)])."""
        for run, count in self.known.items():
            tests = {}
            for _, told in lines_of(run)[:count]:
                if told is None:
                    continue
                test, what = told
                verdict, measured = tests.get(id(test), (test, None, []))[1:]
                verdict = test.verdict if what == "verdict" else verdict
                measured = measured + [test.measured[what]] if isinstance(what, int) else measured
                tests[id(test)] = (test, verdict, measured)
            yield run, list(tests.values())
