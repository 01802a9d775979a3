"""A repair for a supervising program that reads nothing, or goes away."""

import json
import signal
import subprocess
from pathlib import Path

import pytest
from pace import Stopwatch
from program import World
from service_trace import calls
from terminal import eventually
from test_streams import Supervised

REPAIR = ["-Mstorage", "-Trecover", "-r", "-y"]
REPORTS = 400


def step(event, after=0, **values):
    return {"afterMs": after, "set": values, "event": event}


@pytest.fixture
def world(tmp_path):
    """A repair that says more than a small pipe holds, and then takes a minute."""
    counts = ["1", "0", "0", "0"]
    run = [step("OnRecoverInit"), step("OnOperationInit", OperationInit=["repair"])]
    for _ in range(REPORTS):
        run.append(step("OnDeviceInit", DeviceInit=["0"]))
        run.append(step("OnDeviceFinish", DeviceFinish=["0", "9"], SectorsInfo=counts))
    run.append(step("OnDeviceInit", DeviceInit=["0"]))
    run.append(step("OnRecoverFinish", 60000))
    canceled = step("OnDeviceFinish", DeviceFinish=["0", "8"], SectorsInfo=counts)
    abort = [canceled, step("OnRecoverFinish")]
    tool = {"name": "recover_bad_sectors", "hint": "recover", "run": run, "abort": abort}
    device = {"id": "0", "name": "Disk A", "properties": {"NonRotatingMedia": "F"}}
    module = {"name": "storage", "devices": [device], "tools": [tool]}
    path = tmp_path / "scenario.json"
    path.write_text(json.dumps({"modules": [module]}), encoding="utf-8")
    return World(tmp_path, path)


def all_repairs(run):
    """What it says up to the minute of silence."""
    said = b""
    while said.count(b"EndRBS:::0|1|0|0|0|9|") < REPORTS:
        said += run.read_until(b"\n")
    return said


def test_a_reader_that_takes_nothing_does_not_keep_a_repair_from_ending(world):
    with Supervised(world, REPAIR) as run:
        run.await_output()
        stopwatch = Stopwatch()
        run.process.send_signal(signal.SIGTERM)
        assert run.process.wait(20) == 0
        assert stopwatch.seconds() < 5
        assert b"|8|00:00:0" not in run.rest()


def test_a_reader_that_comes_late_gets_every_line(world):
    with Supervised(world, REPAIR) as run:
        run.await_output()
        said = all_repairs(run)
        run.process.send_signal(signal.SIGTERM)
        said += run.rest()
        assert run.process.wait(20) == 0
        assert said.count(b"BeginRBS:::SCAN_AND_FIX_TOOL|0|Disk A\n") == REPORTS + 1
        assert said.endswith(b"\n\n")
        assert said.count(b"EndRBS:::0|1|0|0|0|8|") == 1


def test_a_reader_that_goes_away_does_not_end_the_repair(world):
    with Supervised(world, REPAIR) as run:
        run.await_output()
        run.hang_up()
        # It is still at work, and ends when it is told to.
        with pytest.raises(subprocess.TimeoutExpired):
            run.process.wait(1)
        run.process.send_signal(signal.SIGTERM)
        assert run.process.wait(5) == 0


def test_the_abort_byte_is_not_looked_at(world):
    with Supervised(world, REPAIR) as run:
        run.say(b"a")
        all_repairs(run)
        # The pipe is empty from here on, so that a slow reader is not taken for one that is gone.
        assert run.read_until(b"\n") == b"BeginRBS:::SCAN_AND_FIX_TOOL|0|Disk A\n"
        with pytest.raises(subprocess.TimeoutExpired):
            run.process.wait(1)
        run.process.send_signal(signal.SIGTERM)
        assert b"EndRBS:::0|1|0|0|0|8|" in run.rest()
        assert run.process.wait(5) == 0


@pytest.fixture
def short_world(tmp_path):
    """A repair whose first device ends with a list that is too short."""
    run = [step("OnRecoverInit"), step("OnDeviceInit", DeviceInit=["0"])]
    run += [step("OnDeviceFinish", DeviceFinish=["0"]), step("OnDeviceInit", DeviceInit=["0"])]
    tool = {"name": "recover_bad_sectors", "hint": "recover", "run": run}
    device = {"id": "0", "name": "Disk A", "properties": {"NonRotatingMedia": "F"}}
    module = {"name": "storage", "devices": [device], "tools": [tool]}
    path = tmp_path / "scenario.json"
    path.write_text(json.dumps({"modules": [module]}), encoding="utf-8")
    return World(tmp_path, path)


def test_an_error_of_the_tool_is_told_on_standard_error(short_world):
    result = short_world.run(REPAIR + ["--HDK"])
    assert result.returncode == -signal.SIGABRT
    assert result.stdout.endswith(b"\nBeginRBS:::SCAN_AND_FIX_TOOL|0|Disk A\n")
    assert result.stderr.startswith(b"TarvexDiagnosticsCLI: ")
    assert result.stderr.count(b"\n") == 1
    assert b"property DeviceFinish: 1 of 2 values\n" in result.stderr


def test_a_signal_during_the_search_means_no_repair(world):
    path = world.environment["ORVAN_SCENARIO"]
    tree = json.loads(Path(path).read_text(encoding="utf-8"))
    tree["modules"][0]["scanMs"] = 2000
    tree["modules"][0]["tools"][0]["abort"][0]["set"]["SectorsInfo"] = ["0"] * 4
    tree["trace"] = "trace.jsonl"
    Path(path).write_text(json.dumps(tree), encoding="utf-8")
    with Supervised(world, REPAIR) as run:
        eventually(lambda: calls(world, "ScanDevices"))
        run.process.send_signal(signal.SIGTERM)
        said = run.rest()
        assert run.process.wait(20) == 0
        assert said == b" " * 35 + b"\rEndRBS:::0|0|0|0|0|8|00:00:00\n\n"
