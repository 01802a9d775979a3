"""Keys that are pressed before a run looks for any: none is shown, and Escape counts."""

import json

import pytest
from program import World
from terminal import Terminal

CANCELED = 25
SCAN_MS = 1500
TOOL = {"name": "recover_bad_sectors", "description": "REPAIRS", "hint": "recover"}
TEST = {"name": "READ_TEST", "option": "r", "longName": "read", "key": {"identifier": 100}}
RUN = ["-Mstorage", "-Q", "0"]
SCAN = rb"Scanning storage devices"
SEARCH = rb"Scanning devices\.\.\. "
FIRST_LINE = rb"=====\r\n"


@pytest.fixture
def world(tmp_path):
    """Devices take their time to be found, and the one test is over at once."""
    quick = {"name": "QUICK_TEST", "option": "Q", "longName": "quick", "tests": [TEST]}
    quick["key"] = {"minor": 1, "identifier": 1}
    module = {"name": "storage", "scanMs": SCAN_MS, "diagnostics": [quick], "tools": [TOOL]}
    module["devices"] = [{"id": "0", "name": "Disk A", "properties": {"NonRotatingMedia": "F"}}]
    path = tmp_path / "scenario.json"
    path.write_text(json.dumps({"modules": [module]}), encoding="utf-8")
    return World(tmp_path, path)


REPAIR = ["-Mstorage", "-Trecover", "-r"]


@pytest.mark.parametrize(
    "arguments,first,later",
    [
        (RUN, FIRST_LINE, rb"Disk A"),
        (["-U"], FIRST_LINE, rb"Disk A"),
        (REPAIR, SEARCH, rb"Are you sure"),
        ([*REPAIR, "-y"], SEARCH, FIRST_LINE),
    ],
    ids=["run", "run all", "question", "repair"],
)
def test_keyboard_is_ours_when_the_first_line_is_drawn(world, arguments, first, later):
    with Terminal(world, arguments) as terminal:
        terminal.expect(first)
        assert terminal.reads_single_keys()
        terminal.press(b"zxcv")
        terminal.expect(later)
        assert b"zxcv" not in terminal.screen.before
        terminal.press(b"n\r")
        terminal.wait()
        assert terminal.is_as_before()


def test_escape_before_the_first_line_aborts_the_run(world):
    with Terminal(world, RUN) as terminal:
        terminal.press(b"\x1b")
        terminal.expect(FIRST_LINE)
        terminal.expect(rb"Test Status: Canceled!")
        assert terminal.wait() == CANCELED
        assert terminal.is_as_before()


def test_escape_during_the_scan_is_not_shown_and_aborts_the_run(world):
    with Terminal(world, RUN) as terminal:
        terminal.expect(SCAN)
        terminal.press(b"\x1b")
        terminal.expect(rb"Test Status: Canceled!")
        assert b"^[" not in terminal.screen.before
        assert terminal.wait() == CANCELED


def test_control_c_during_the_scan_is_not_shown(world):
    with Terminal(world, RUN) as terminal:
        terminal.expect(SCAN)
        terminal.press(b"\x03")
        terminal.expect(rb"Final Result Code")
        assert b"^C" not in terminal.screen.before
        assert terminal.wait() == CANCELED
        assert terminal.is_as_before()


@pytest.mark.parametrize(
    "arguments,first",
    [
        (["-Mstorage", "-D"], SCAN),
        (["-Mstorage", "-Trecover", "-l"], SEARCH),
        (["-A"], FIRST_LINE),
        ([*RUN, "--HDK"], rb"BeginDiagSuite"),
    ],
    ids=["devices", "devices of a tool", "modules", "supervised"],
)
def test_terminal_is_left_alone_where_no_key_is_read(world, arguments, first):
    with Terminal(world, arguments) as terminal:
        terminal.expect(first)
        assert terminal.is_as_before()
        terminal.wait()
        assert terminal.is_as_before()
