"""The SMART tool on a pseudo terminal: it asks nothing, draws no progress, and can be stopped."""

import json
import signal
from pathlib import Path

import pytest
from pace import Stopwatch
from service_trace import calls, traced_world
from terminal import Terminal, eventually

SCENARIO = Path(__file__).parent / "smart.json"
READ = ["-Mstorage", "-Tsmart", "-i"]
STARTED = rb"\r\n\r\n\r\n=> Disk A \r\n"


@pytest.fixture
def world(tmp_path):
    return traced_world(SCENARIO, tmp_path)


def reading(world):
    """The program with a run under way, looking for keys. It ends after a minute, or when stopped."""
    terminal = Terminal(world, READ)
    terminal.expect(STARTED)
    eventually(terminal.reads_single_keys)
    return terminal


def forced_aborts(world):
    return [c["values"] for c in calls(world, "SetToolProperty") if c["key"] == "ForcedAbort"]


@pytest.mark.parametrize(
    "key, forced", [(b"\x1b", []), (b"\x03", [["Forced to abort"]])], ids=["escape", "control-c"]
)
def test_abort_ends_the_run_within_a_second(world, key, forced):
    with reading(world) as terminal:
        stopwatch = Stopwatch()
        terminal.press(key)
        assert terminal.wait(5) == 0
        assert stopwatch.seconds() < 1.0
        # The status of a device that was given up shows as an empty line.
        assert terminal.rest() == b"\r\n"
        assert terminal.is_as_before()
        assert forced_aborts(world) == [[], *forced]
        assert len(calls(world, "AbortTool")) == 1


def test_escape_that_is_typed_before_the_run_stops_it(world):
    with Terminal(world, READ) as terminal:
        terminal.press(b"\x1b")
        terminal.expect(STARTED)
        assert terminal.wait(5) == 0
        # The terminal itself may have shown the key, before its echo was turned off.
        assert terminal.rest().replace(b"^[", b"") == b"\r\n"


@pytest.mark.parametrize(
    "keys", [b"\x1b[A", b"\x1bOP", b"q\r"], ids=["up", "F1", "letter and enter"]
)
def test_other_keys_do_not_end_the_run(world, keys):
    with reading(world) as terminal:
        # One key is read at each look, so the Escape behind these is the one that stops the run.
        terminal.press(keys)
        terminal.press(b"\x1b")
        assert terminal.wait(5) == 0
        assert len(calls(world, "AbortTool")) == 1


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP])
def test_termination_request_stops_the_run_in_order(world, number):
    with reading(world) as terminal:
        terminal.signal(number)
        assert terminal.wait(5) == 0
        assert terminal.rest() == b"\r\n"
        assert terminal.is_as_before()
        assert forced_aborts(world) == [[], ["Forced to abort"]]


def test_terminal_that_is_closed_ends_the_run(world):
    with reading(world) as terminal:
        terminal.hang_up()
        assert terminal.wait(5) == 0
        assert len(calls(world, "AbortTool")) >= 1


def test_no_progress_is_drawn(world):
    """The clock of the run is the machine's: a second and a half has room for five lines."""
    path = Path(world.environment["ORVAN_SCENARIO"])
    tree = json.loads(path.read_text(encoding="utf-8"))
    tree["modules"][0]["tools"][0]["run"][-2]["afterMs"] = 1500
    path.write_text(json.dumps(tree), encoding="utf-8")
    with reading(world) as terminal:
        assert terminal.wait() == 0
        assert terminal.rest() == b"Not enough privileges\r\n"


def test_list_beside_the_attributes_reads_nothing(world):
    with Terminal(world, ["-Mstorage", "-Tsmart", "-l", "-i"]) as terminal:
        terminal.expect(rb"> List of devices\r\n")
        assert terminal.wait() == 0
    assert calls(world, "RunTool") == []
