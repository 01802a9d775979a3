"""Keys, progress, abort and the state of the terminal, on a pseudo terminal."""

import signal
import time
from pathlib import Path

import pytest
from pace import Stopwatch
from program import World
from short_tests import short_tests
from terminal import FATAL_SIGNALS, Terminal, eventually

SCENARIO = Path(__file__).parent / "slow.json"
CANCELED = 25
ALREADY_RUNNING = 4
FINAL = rb"Final Result Code: SCENARIO"


@pytest.fixture
def world(tmp_path):
    return World(tmp_path, SCENARIO)


def running(world, tests="l,z"):
    """The program with a long test under way and its progress on the screen."""
    terminal = Terminal(world, ["-Mstorage", "-Q" + tests, "0"])
    terminal.expect(rb"Press ESC To Abort The Diagnostics")
    terminal.expect(rb"   \d+% . \d+ seconds? \r")
    return terminal


def test_progress_line_shows_message_percent_spinner_and_time(world):
    with Terminal(world, ["-Mstorage", "-Ql", "0"]) as terminal:
        terminal.expect(rb"=> Long Test\r\n")
        terminal.expect(rb" {79}\r   \[Info\] Warming up\r\n")
        steps = [terminal.expect(rb"   10% (.) \d+ seconds? \r").group(1) for _ in range(5)]
        # The spinner goes round one step at a time.
        circle = [b"-", b"\\", b"|", b"/"]
        first = circle.index(steps[0])
        assert steps == [circle[(first + step) % 4] for step in range(5)]


def test_escape_ends_the_run_within_a_second(world):
    with running(world) as terminal:
        stopwatch = Stopwatch()
        terminal.press(b"\x1b")
        terminal.expect(FINAL)
        assert terminal.wait(5) == CANCELED
        assert stopwatch.seconds() < 1.0
        assert terminal.is_as_before()


def test_escape_cancels_the_running_test_and_those_behind_it(world):
    with running(world) as terminal:
        terminal.press(b"\x1b")
        terminal.expect(rb"Test Status: Canceled!")
        terminal.expect(rb"=> Last Test")
        terminal.expect(rb"Test Status: Canceled!\r\n   Elapsed time: \d+ seconds? \r\n")
        terminal.expect(FINAL)
        assert terminal.wait() == CANCELED


def test_escape_ends_a_run_of_short_tests_within_a_second(tmp_path):
    with Terminal(World(tmp_path, short_tests(tmp_path)), ["-Mstorage", "-Q", "0"]) as terminal:
        for _ in range(5):
            terminal.expect(rb"Test Status: Passed!")
        stopwatch = Stopwatch()
        terminal.press(b"\x1b")
        terminal.expect(rb"Test Status: Canceled!")
        terminal.expect(FINAL)
        assert terminal.wait(5) == CANCELED
        assert stopwatch.seconds() < 1.0
        assert terminal.is_as_before()


@pytest.mark.parametrize(
    "keys",
    [b"\x1b[A", b"\x1b[D", b"\x1bOP", b"\x1b[15~", b"\x1b[1;5C", b"q", b"\r", b"\x00"],
    ids=["up", "left", "F1", "F5", "ctrl-right", "letter", "enter", "nul"],
)
def test_other_keys_do_not_abort(world, keys):
    with running(world, "s") as terminal:
        terminal.press(keys)
        terminal.expect(rb"Test Status: Passed!")
        terminal.expect(FINAL)
        assert terminal.wait() == 0
        assert terminal.is_as_before()


def test_keys_are_not_echoed_during_a_run(world):
    with running(world, "s") as terminal:
        terminal.press(b"zxcv")
        terminal.expect(rb"Test Status: Passed!")
        assert b"zxcv" not in terminal.screen.before
        assert terminal.wait() == 0


def test_control_c_stops_the_run(world):
    with running(world) as terminal:
        stopwatch = Stopwatch()
        terminal.press(b"\x03")
        terminal.expect(FINAL)
        assert terminal.wait(5) == CANCELED
        assert stopwatch.seconds() < 1.0
        assert terminal.is_as_before()


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP, signal.SIGINT])
def test_termination_request_stops_the_run_in_order(world, number):
    with running(world) as terminal:
        assert terminal.reads_single_keys()
        terminal.signal(number)
        terminal.expect(FINAL)
        assert terminal.wait(5) == CANCELED
        assert terminal.is_as_before()


@pytest.mark.parametrize("number", FATAL_SIGNALS, ids=lambda number: number.name)
def test_crash_puts_the_terminal_back(world, number):
    with running(world) as terminal:
        assert terminal.reads_single_keys()
        terminal.signal(number)
        assert terminal.wait(10) == -number
        assert terminal.is_as_before()


@pytest.mark.parametrize("arguments", [["-h"], ["-Mstorage", "-D"], ["-z"]])
def test_terminal_is_as_before_after_a_normal_end(world, arguments):
    with Terminal(world, arguments) as terminal:
        terminal.wait()
        assert terminal.is_as_before()


def test_stop_and_continue_from_a_shell(world):
    # Job control: the program is the foreground job of a shell, is stopped by Control-Z, and goes
    # on when the shell brings it back.
    script = 'set -m; "$@"; echo "stopped $?"; read -r word; fg; echo "ended $?"'
    with Terminal(world, ["-Mstorage", "-Ql", "0"], shell=script) as terminal:
        terminal.expect(rb"   \d+% . \d+ seconds? \r")
        assert terminal.reads_single_keys()
        terminal.press(b"\x1a")
        terminal.expect(rb"stopped 148")
        assert terminal.is_as_before()
        terminal.press(b"go\r")
        terminal.expect(rb"   \d+% . \d+ seconds? \r")
        # The thread that draws need not be the one that takes the terminal again.
        eventually(terminal.reads_single_keys)
        terminal.press(b"\x1b")
        terminal.expect(FINAL)
        terminal.expect(rb"ended 25")
        terminal.wait()
        assert terminal.is_as_before()


def test_background_job_leaves_the_terminal_alone(world):
    # A job in the terminal's background neither reads keys nor changes the terminal.
    script = 'set -m; "$@" & wait; echo "ended $?"'
    with Terminal(world, ["-Mstorage", "-Qs", "0"], shell=script) as terminal:
        terminal.expect(rb"   \d+% . \d+ seconds? \r")
        assert terminal.is_as_before()
        terminal.press(b"\x1b")
        terminal.expect(FINAL)
        terminal.expect(rb"ended 0")


MOMENTS = [
    b"Tarvex Diagnostics",
    b"Scanning storage",
    b"Started diagnostic",
    b"=> Long Test",
    rb"   \d+% ",
]


@pytest.mark.parametrize("moment", MOMENTS)
def test_kill_leaves_no_lock_behind(world, moment):
    with Terminal(world, ["-Mstorage", "-Ql", "0"]) as terminal:
        terminal.expect(moment)
        terminal.process.kill()
        terminal.wait()
    assert world.run(["-v"]).returncode == 0


def test_second_start_is_refused_while_the_first_runs(world):
    with running(world) as terminal:
        second = world.run(["-v"])
        assert second.stdout == b"A Tarvex Diagnostics Tool is already running\n"
        assert second.returncode == ALREADY_RUNNING
        terminal.press(b"\x1b")
        assert terminal.wait() == CANCELED
    assert world.run(["-v"]).returncode == 0


