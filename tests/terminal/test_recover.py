"""The tool that recovers bad sectors, on a pseudo terminal: its question, abort, and hang-up."""

import json
import os
import signal
import time
from pathlib import Path

import pytest
from pace import Stopwatch
from service_trace import calls, traced_world
from terminal import Terminal, eventually

SCENARIO = Path(__file__).parent / "recover.json"
ALREADY_RUNNING = 4
REPAIR = ["-Mstorage", "-Trecover", "-r"]
QUESTION = rb"Are you sure you want to proceed\? \(y/n\) "
PROGRESS = rb"   42% . \d+ seconds?  \r"
CANCELED = (
    rb"   Number of sectors read: 500\r\n   Number of bad sectors found: 0\r\n"
    rb"   Number of fixed sectors: 0\r\n   Number of non fixed sectors: 0\r\n"
    rb"   Operation status: Canceled\r\n   Elapsed time: \d+ seconds?\r\n\r\n\r\n"
)


@pytest.fixture
def world(tmp_path):
    return traced_world(SCENARIO, tmp_path)


def repairs(world):
    return [call["devices"] for call in calls(world, "RunTool") if call["listener"]]


def change_scenario(world, change):
    """Changes the module of the world's scenario."""
    path = Path(world.environment["ORVAN_SCENARIO"])
    tree = json.loads(path.read_text(encoding="utf-8"))
    change(tree["modules"][0])
    path.write_text(json.dumps(tree), encoding="utf-8")


def processor_seconds(process):
    fields = Path(f"/proc/{process.pid}/stat").read_text(encoding="ascii").rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def asking(world):
    """The program at its question, looking for keys."""
    terminal = Terminal(world, REPAIR)
    terminal.expect(QUESTION)
    assert terminal.reads_single_keys()
    return terminal


def repairing(world):
    """The program with a repair under way and its progress on the screen."""
    terminal = Terminal(world, [*REPAIR, "-y"])
    terminal.expect(rb"Started Operation: Repair\r\n=> Disk A \r\n")
    terminal.expect(PROGRESS)
    return terminal


def test_letter_and_enter_start_the_repair(world):
    with asking(world) as terminal:
        terminal.press(b"y")
        terminal.expect(rb"^y")
        assert repairs(world) == []
        terminal.press(b"\r")
        terminal.expect(rb"^\r\n\r\nStarted Operation: Repair\r\n")
        terminal.expect(PROGRESS)
        assert repairs(world) == [["0"]]
        terminal.press(b"\x1b")
        terminal.expect(CANCELED)
        assert terminal.wait(5) == 0


def test_no_ends_without_a_word(world):
    with asking(world) as terminal:
        terminal.press(b"n\r")
        assert terminal.wait() == 0
        assert terminal.rest() == b"n\r\n"
        assert repairs(world) == []
        assert terminal.is_as_before()


@pytest.mark.parametrize("key", [b"\x7f", b"\x08"], ids=["backspace", "ctrl-h"])
def test_backspace_takes_the_answer_back(world, key):
    with asking(world) as terminal:
        terminal.press(b"y" + key + key + b"\rN\r")
        assert terminal.wait() == 0
        assert terminal.rest() == b"y\x08n\r\n"
        assert repairs(world) == []


def test_other_keys_and_enter_alone_are_dropped(world):
    with asking(world) as terminal:
        terminal.press(b"\r\rq 1~\x00\x1b[A\x1bOP\n\xc3\xa4Yyn\r")
        assert terminal.wait() == 0
        assert terminal.rest() == b"y\x08y\x08n\r\n"
        assert repairs(world) == []


def test_waiting_for_the_answer_costs_almost_nothing(world):
    with asking(world) as terminal:
        before = processor_seconds(terminal.process)
        # Keys that are dropped, and none.
        for _ in range(20):
            terminal.press(b"x")
            time.sleep(0.05)
        assert processor_seconds(terminal.process) - before < 0.2
        terminal.press(b"n\r")
        assert terminal.wait() == 0


def test_control_c_at_the_question_is_passed_on_and_the_question_stays(world):
    with asking(world) as terminal:
        terminal.press(b"\x03")
        eventually(lambda: len(calls(world, "AbortTool")) == 1)
        forced = [call for call in calls(world, "SetToolProperty") if call["key"] == "ForcedAbort"]
        assert [call["values"] for call in forced] == [["Forced to abort"]]
        assert terminal.process.poll() is None
        terminal.press(b"n\r")
        assert terminal.wait() == 0
        assert repairs(world) == []


def test_repair_that_is_confirmed_after_control_c_writes_nothing(world):
    with asking(world) as terminal:
        terminal.press(b"\x03")
        eventually(lambda: len(calls(world, "AbortTool")) == 1)
        terminal.press(b"y\r")
        # The tool's abort alone, and none of its run.
        terminal.expect(rb"^y\r\n\r\n" + CANCELED)
        assert terminal.wait(5) == 0
        assert repairs(world) == [["0"]]


def test_repair_after_control_c_during_the_search_writes_nothing(world):
    change_scenario(world, lambda module: module.update({"scanMs": 3000}))
    with Terminal(world, [*REPAIR, "-y"]) as terminal:
        terminal.expect(rb"Scanning devices\.\.\. -\r")
        terminal.press(b"\x03")
        terminal.expect(rb"Press ESC To Abort Operations\r\n={58}\r\n\r\n" + CANCELED)
        assert terminal.wait(5) == 0
        assert terminal.is_as_before()
        forced = [call for call in calls(world, "SetToolProperty") if call["key"] == "ForcedAbort"]
        assert [call["values"] for call in forced] == [["Forced to abort"], []]


def test_error_of_the_tool_ends_the_program_in_order(world):
    def shorten(module):
        step = module["tools"][0]["run"][-2]
        step["afterMs"] = 500
        step["set"]["DeviceFinish"] = ["0"]

    change_scenario(world, shorten)
    with repairing(world) as terminal:
        eventually(terminal.reads_single_keys)
        assert terminal.wait() == -signal.SIGABRT
        assert terminal.is_as_before()
        said = terminal.rest()
        assert b"terminate" not in said
        lines = [line for line in said.split(b"\r\n") if b"TarvexDiagnosticsCLI" in line]
        assert len(lines) == 1
        assert lines[0].endswith(
            b": tool recover_bad_sectors, property DeviceFinish: 1 of 2 values"
        )
        # The service was given back, and so was the lock.
        assert len(calls(world, "Release")) == 1
        assert world.run(["-v"]).returncode == 0


@pytest.mark.parametrize("key", [b"\x1b", b"\x03"], ids=["escape", "control-c"])
def test_abort_ends_the_repair_within_a_second(world, key):
    with repairing(world) as terminal:
        stopwatch = Stopwatch()
        terminal.press(key)
        terminal.expect(CANCELED)
        assert terminal.wait(5) == 0
        assert stopwatch.seconds() < 1.0
        assert terminal.is_as_before()
        forced = [call for call in calls(world, "SetToolProperty") if call["key"] == "ForcedAbort"]
        words = [call["values"] for call in forced]
        assert words == ([[]] if key == b"\x1b" else [[], ["Forced to abort"]])


def test_escape_that_is_typed_before_the_repair_stops_it(world):
    with Terminal(world, ["-Mstorage", "-Trecover", "-r", "-y"]) as terminal:
        terminal.press(b"\x1b")
        terminal.expect(rb"Operation status: Canceled")
        assert terminal.wait() == 0


@pytest.mark.parametrize(
    "keys", [b"\x1b[A", b"\x1bOP", b"q", b"\r"], ids=["up", "F1", "letter", "enter"]
)
def test_other_keys_do_not_end_the_repair(world, keys):
    with repairing(world) as terminal:
        terminal.press(keys)
        for _ in range(3):
            terminal.expect(PROGRESS)
        assert calls(world, "AbortTool") == []
        terminal.press(b"\x1b")
        assert terminal.wait(5) == 0


@pytest.mark.parametrize("typed", [b"", b"y"], ids=["empty", "with-a-letter"])
def test_terminal_that_is_closed_at_the_question_ends_the_program(world, typed):
    with asking(world) as terminal:
        if typed:
            terminal.press(typed)
            terminal.expect(rb"^y")
        terminal.hang_up()
        assert terminal.wait(5) == 0
        assert repairs(world) == []


def test_terminal_that_is_closed_during_the_repair_ends_it(world):
    with repairing(world) as terminal:
        terminal.hang_up()
        assert terminal.wait(5) == 0
        assert len(calls(world, "AbortTool")) >= 1


def test_hang_up_that_is_ignored_ends_the_question_all_the_same(world):
    script = 'trap "" HUP; exec "$@"'
    with Terminal(world, REPAIR, shell=script) as terminal:
        terminal.expect(QUESTION)
        terminal.hang_up()
        assert terminal.wait(5) == 0
        assert repairs(world) == []


def test_question_in_the_background_waits_and_ends_with_the_terminal(world):
    script = 'set -m; "$@" & read -r word; echo "word $word"; wait'
    with Terminal(world, REPAIR, shell=script) as terminal:
        terminal.expect(QUESTION)
        # The keys are the shell's, which has the terminal.
        terminal.press(b"y\r")
        terminal.expect(rb"word y\r\n")
        assert world.run(["-v"]).returncode == ALREADY_RUNNING
        terminal.hang_up()
        eventually(lambda: world.run(["-v"]).returncode == 0)
        assert repairs(world) == []


def test_stop_and_continue_at_the_question(world):
    script = 'set -m; "$@"; echo "stopped $?"; read -r word; fg; echo "ended $?"'
    with Terminal(world, REPAIR, shell=script) as terminal:
        terminal.expect(QUESTION)
        eventually(terminal.reads_single_keys)
        terminal.press(b"\x1a")
        terminal.expect(rb"stopped 148")
        assert terminal.is_as_before()
        terminal.press(b"go\r")
        eventually(terminal.reads_single_keys)
        terminal.press(b"n\r")
        terminal.expect(rb"n\r\n(?s:.*)ended 0")
        assert repairs(world) == []


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP])
def test_termination_request_stops_the_repair_in_order(world, number):
    with repairing(world) as terminal:
        terminal.signal(number)
        terminal.expect(CANCELED)
        assert terminal.wait(5) == 0
        assert terminal.is_as_before()


def test_search_for_devices_is_shown(world, tmp_path):
    tree = json.loads(SCENARIO.read_text(encoding="utf-8"))
    tree["modules"][0]["scanMs"] = 1500
    path = tmp_path / "slow.json"
    path.write_text(json.dumps(tree), encoding="utf-8")
    world.environment["ORVAN_SCENARIO"] = str(path)
    with Terminal(world, ["-Mstorage", "-Trecover", "-l"]) as terminal:
        for spinner in (rb"-", rb"\\", rb"\|", rb"/"):
            terminal.expect(rb"Scanning devices\.\.\. " + spinner + rb"\r")
        terminal.expect(rb"\r {35}\r\r\n={58}\r\n Tarvex Helm Desk")
        assert terminal.wait() == 0


def test_flood_of_progress_does_not_delay_escape(world, tmp_path):
    def step(event, **values):
        return {"set": values, "event": event}

    tree = json.loads(Path(world.environment["ORVAN_SCENARIO"]).read_text(encoding="utf-8"))
    tool = tree["modules"][0]["tools"][0]
    flood = [step("OnProgress", Progress=[str(number % 100)]) for number in range(100_000)]
    last = [step("OnDeviceInit", DeviceInit=["0"]), step("OnProgress", Progress=["100"])]
    tool["run"] = [*tool["run"][:3], *flood, *last, tool["run"][-2]]
    path = tmp_path / "flood.json"
    path.write_text(json.dumps(tree), encoding="utf-8")
    world.environment["ORVAN_SCENARIO"] = str(path)
    with Terminal(world, [*REPAIR, "-y"]) as terminal:
        terminal.expect(rb"=> Disk A \r\n")
        # The flood is on its way or over; the second start of the disk stands behind it.
        terminal.press(b"\x1b")
        stopwatch = Stopwatch()
        terminal.expect(CANCELED)
        assert stopwatch.seconds() < 1.0
        assert terminal.wait(5) == 0
        assert len(calls(world, "AbortTool")) == 1
