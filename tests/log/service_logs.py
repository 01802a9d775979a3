"""Logs of the service as its tests look at them."""

import json
import re
import time
from pathlib import Path

SCENARIO = Path(__file__).parent / "scenario.json"
NAME = re.compile(r"tarvex-\d{8}T\d{6}\.\d{3}Z-\d+\.jsonl")

# A run without progress, whose output is the same each time.
PLAIN = ["-Msecond", "-Qo", "7"]


def logs(folder):
    return sorted(Path(folder).iterdir()) if Path(folder).exists() else []


def only_log(world, folder=None):
    (path,) = logs(folder or world.state_dir / "log")
    assert NAME.fullmatch(path.name)
    return path


def artifacts(path):
    """The artifacts of a log without their numbers and times, the two of the start left out."""
    lines = [json.loads(line) for line in path.read_bytes().splitlines()]
    for line in lines:
        del line["sequenceNumber"], line["timestamp"]
    return lines[2:]


def run(kind, **content):
    return {"testRunArtifact": {kind: content}}


def step(number, kind, **content):
    return {"testStepArtifact": {"testStepId": str(number), kind: content}}


def info(message):
    return {"severity": "INFO", "message": message}


def wait_for(test):
    """What `test` gives once it gives something."""
    deadline = time.monotonic() + 60
    while not (found := test()):
        assert time.monotonic() < deadline, "it never came"
        time.sleep(0.01)
    return found


def started_long_test(world):
    """The log of a run once its test without an end has begun."""

    def find():
        found = [path for path in logs(world.state_dir / "log") if NAME.fullmatch(path.name)]
        return [path for path in found if b"/LONG_TEST/" in path.read_bytes()]

    (path,) = wait_for(find)
    return path
