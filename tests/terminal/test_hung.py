"""A program that was asked to end: slow scans end in order, what hangs is ended; nothing is left."""

import json
import shutil
import signal
import time
from pathlib import Path

import pytest
from pace import Stopwatch
from program import BINARY_DIR, World
from service_trace import calls, traced_world
from terminal import Terminal, eventually

PATIENCE_SECONDS = 10
NOT_APPLICABLE = 23
CANCELED = 25
NAMES = ["m0", "m1", "m2", "m3"]
REPAIR = ["-Mstorage", "-Trecover", "-r", "-y"]
SIGNALS = pytest.mark.parametrize(
    "number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP], ids=lambda number: number.name
)


def module(name):
    """One whose devices take 4.5 seconds to be found, and whose test is over at once."""
    test = {"name": "READ_TEST", "option": "r", "longName": "read", "key": {"identifier": 100}}
    quick = {"name": "QUICK_TEST", "option": "Q", "longName": "quick", "tests": [test]}
    quick["key"] = {"identifier": 1}
    device = {"id": "0", "name": f"Disk of {name}"}
    return {"name": name, "scanMs": 4500, "diagnostics": [quick], "devices": [device]}


@SIGNALS
def test_a_request_ends_all_slow_scans_and_cancels_every_test(tmp_path, number):
    path = tmp_path / "slow.json"
    path.write_text(json.dumps({"modules": [module(name) for name in NAMES]}), encoding="utf-8")
    world = traced_world(path, tmp_path)
    with Terminal(world, [f"-M{name}" for name in NAMES]) as terminal:
        eventually(lambda: calls(world, "ScanDevices"))
        watch = Stopwatch()
        terminal.signal(number)
        for name in NAMES:
            # The devices are there all the same.
            terminal.expect(rb"Disk of " + name.encode())
            terminal.expect(rb"Test Status: Canceled!")
        terminal.expect(rb"Final Result Code")
        assert terminal.wait() == CANCELED
        assert watch.seconds() < 4
        assert terminal.is_as_before()
    assert [call["module"] for call in calls(world, "ScanDevices")] == NAMES


@SIGNALS
def test_a_request_that_nothing_honours_ends_the_program(tmp_path, number):
    tree = json.loads((Path(__file__).parent / "recover.json").read_text(encoding="utf-8"))
    # Nothing cuts an abort short.
    tree["modules"][0]["tools"][0]["abort"].insert(0, {"afterMs": 600000})
    path = tmp_path / "hung.json"
    path.write_text(json.dumps(tree), encoding="utf-8")
    world = traced_world(path, tmp_path)
    with Terminal(world, REPAIR) as terminal:
        terminal.expect(rb"   42% ")
        eventually(terminal.reads_single_keys)
        start = time.monotonic()
        terminal.signal(number)
        eventually(lambda: calls(world, "AbortTool"))
        # Those that come behind it change nothing.
        for further in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            terminal.signal(further)
        assert terminal.wait(60) == -number
        assert time.monotonic() - start >= PATIENCE_SECONDS
        assert terminal.is_as_before()
    # The lock is free.
    assert world.run(["-Mstorage", "-L"]).returncode == 0


def test_a_scan_that_looks_at_no_request_ends_with_its_worker(tmp_path):
    world = World(tmp_path)
    folder = tmp_path / "modules"
    folder.mkdir(mode=0o755)
    shutil.copy(BINARY_DIR / "tests" / "plugins" / "hangs.so", folder)
    world.environment["ORVAN_MODULE_DIR"] = str(folder)
    begun = tmp_path / "begun"
    (world.config_dir / "service.ini").write_text(f"[small]\nbegun={begun}\n", encoding="utf-8")
    with Terminal(world, ["-U"]) as terminal:
        terminal.expect(rb"Scanning small")
        # A worker that is not ready yet would not begin the search any more.
        eventually(begun.exists)
        assert terminal.reads_single_keys()
        watch = Stopwatch()
        terminal.signal(signal.SIGTERM)
        terminal.expect(rb"could not be searched: the worker did not end in time")
        # Its one diagnostic has no tests.
        assert terminal.wait(60) == NOT_APPLICABLE
        assert watch.seconds() < 1.5
        assert terminal.is_as_before()
    assert world.run(["-A"]).returncode == 0
