"""A program that was asked to end and hangs: it is ended, and leaves nothing behind."""

import json
import signal
import time

import pytest
from service_trace import calls, traced_world
from terminal import Terminal, eventually

PATIENCE_SECONDS = 10


def module(name, scan_ms, test_ms):
    return {
        "name": name,
        "scanMs": scan_ms,
        "diagnostics": [
            {
                "name": "QUICK_TEST",
                "option": "Q",
                "longName": "quick",
                "key": {"identifier": 1},
                "tests": [
                    {
                        "name": "READ_TEST",
                        "option": "r",
                        "longName": "read",
                        "key": {"identifier": 100},
                        "outcome": {"status": 0, "durationMs": test_ms},
                    }
                ],
            }
        ],
        "devices": [{"id": name, "name": "Disk A"}],
    }


@pytest.fixture
def world(tmp_path):
    """A machine whose second module looks for its devices for longer than anybody waits."""
    modules = [module("storage", 0, 1200), module("second", 600000, 0)]
    path = tmp_path / "hung.json"
    path.write_text(json.dumps({"modules": modules}), encoding="utf-8")
    return traced_world(path, tmp_path)


@pytest.mark.parametrize(
    "number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP], ids=lambda number: number.name
)
def test_a_request_that_nothing_honours_ends_the_program(world, number):
    with Terminal(world, ["-Mstorage", "-Msecond"]) as terminal:
        terminal.expect(rb"Scanning second")
        assert terminal.reads_single_keys()
        start = time.monotonic()
        terminal.signal(number)
        eventually(lambda: calls(world, "AbortExecution"))
        # Those that come behind it change nothing.
        for further in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            terminal.signal(further)
        assert terminal.wait(60) == -number
        assert time.monotonic() - start >= PATIENCE_SECONDS
        assert terminal.is_as_before()
    # The lock is free.
    assert world.run(["-Mstorage", "-L"]).returncode == 0
