"""Text of a stranger (a scenario, and through it a module and a device, and arguments that a script
passes on) steers no terminal and makes no line, on any channel."""

import json
import re
from pathlib import Path

import pytest
from program import World


def characters(*ranges):
    return [chr(code) for first, last in ranges for code in range(first, last + 1)]


STEERING = characters(
    (0x00, 0x1F),
    (0x7F, 0x9F),
    (0x61C, 0x61C),
    (0x200E, 0x200F),
    (0x2028, 0x2029),
    (0x202A, 0x202E),
    (0x2066, 0x2069),
)
# Each of them, a screen that is cleared, and what wants to stand in a line of its own. The zero byte
# has no place in an argument.
EACH = "".join("a" + character for character in STEERING)
HOSTILE = EACH + "\x1b[2J\x9b2J" + "\rINJECTED:::1\nINJECTED:::2\u2028INJECTED:::3\u202e"
ARGUMENT = HOSTILE.replace("\0", "")
ODD_ID = "b\n1\u202e"
SHOWN_ID = "b\ufffd1\ufffd"
REPLACEMENT = "\ufffd"


def hostile_test(number, option, status):
    return {
        "name": f"T{number}{HOSTILE}",
        "option": option,
        "longName": f"{option}{HOSTILE}",
        "key": {"identifier": number},
        "parameters": [
            {
                "name": "blocks",
                **{key: HOSTILE for key in ("label", "detail", "initialValue", "value", "extra")},
            }
        ],
        "outcome": {"status": status, "reports": [{"percent": 5, "message": HOSTILE}]},
    }


def hostile_device(name):
    return {
        "id": name,
        "name": HOSTILE,
        "entries": [
            {"label": HOSTILE, "value": HOSTILE},
            {"label": "MODEL", "value": "_" + HOSTILE},
            {"label": "SERIAL_NUMBER", "value": HOSTILE},
        ],
        "properties": {"NonRotatingMedia": "T", "OTHER": HOSTILE},
        "resources": [
            {
                "type": "PARTITION",
                "pairs": [
                    {"label": label, "value": HOSTILE}
                    for label in ("LABEL", "MOUNT_POINT", "FILE_SYSTEM", HOSTILE)
                ],
            },
            {"type": HOSTILE, "pairs": []},
        ],
        "udi": HOSTILE,
        "result": HOSTILE,
    }


def attributes():
    return "{" + ",".join(f'"{key}":"{HOSTILE}"' for key in "abcdef") + "}"


RECOVER = {
    "name": "recover_bad_sectors",
    "description": HOSTILE,
    "hint": "recover",
    "run": [
        {"event": "OnRecoverInit"},
        {"set": {"OperationInit": [HOSTILE]}, "event": "OnOperationInit"},
        {"set": {"DeviceInit": [ODD_ID]}, "event": "OnDeviceInit"},
        {
            "set": {
                "DeviceFinish": [ODD_ID, "12"],
                "SectorsInfo": [HOSTILE] * 4,
                "BadSectorsList": [HOSTILE] * 7,
                "Message": [HOSTILE],
            },
            "event": "OnDeviceFinish",
        },
        {"event": "OnOperationFinish"},
        {"event": "OnRecoverFinish"},
    ],
}
SMART = {
    "name": "smart_tool",
    "description": HOSTILE,
    "hint": "smart",
    "run": [
        {"event": "OnSmartToolInit"},
        {"set": {"DeviceInit": ["0"]}, "event": "OnDeviceInit"},
        {
            "set": {"DeviceFinish": ["0", "0", "ata", attributes(), attributes()]},
            "event": "OnDeviceFinish",
        },
        {"event": "OnSmartToolFinish"},
    ],
}
OTHER_TOOL = {"name": HOSTILE, "description": HOSTILE, "hint": "other" + HOSTILE}


def scenario():
    module = {
        "name": "storage",
        # A help text has lines and tabs of its own.
        "help": EACH + "\x1b[2J\n\tSECOND LINE",
        "diagnostics": [
            {
                "name": HOSTILE,
                "option": "Q",
                "longName": "quick" + HOSTILE,
                "key": {"minor": 1, "identifier": 1},
                "tests": [hostile_test(1, "p", 0), hostile_test(2, "f", 1)],
            }
        ],
        "devices": [hostile_device("0"), hostile_device(ODD_ID)],
        "tools": [RECOVER, SMART, OTHER_TOOL],
    }
    second = {**module, "name": HOSTILE, "tools": []}
    return {"service": {"finalResultCode": HOSTILE}, "modules": [module, second]}


@pytest.fixture
def world(tmp_path):
    path = tmp_path / "hostile.json"
    path.write_text(json.dumps(scenario()))
    world = World(tmp_path / "world", path)
    (world.work_dir / "config.ini").write_text("[STORAGE]\nENABLE_TARVEX_DRIVE_INFO=1\n")
    return world


def steering_in(data, layout):
    """What steers in what a channel got, but for the program's own layout."""
    return {character for character in data.decode() if character in STEERING} - set(layout)


def injected_lines(data):
    """The lines that begin with a stranger's text, whatever a terminal takes for a line's end."""
    lines = re.split("[\n\r\x0b\x0c\x85\u2028\u2029]", data.decode())
    return [line for line in lines if line.strip().casefold().startswith("injected")]


def assert_tame(data, layout):
    assert steering_in(data, layout) == set()
    assert injected_lines(data) == []


LISTINGS = [
    ["-A"],
    ["-v"],
    ["-h"],
    ["-Mstorage", "-D"],
    ["-Mstorage", "-R"],
    ["-Mstorage", "-L"],
    ["-Mstorage", "-S"],
    ["-Mstorage", "-P"],
    ["-Mstorage", "-Qp(blocks=1)", "-V"],
]
RUNS = [["-Mstorage"], ["-Mstorage", "-Q", "0"], ["-Mstorage", "-Q", SHOWN_ID], ["-U"]]
TOOLS = [
    ["-Mstorage", "-Trecover", "-l"],
    ["-Mstorage", "-Trecover", "-r", "-y"],
    ["-Mstorage", "-Trecover", "-r", "-y", ODD_ID],
    ["-Mstorage", "-Tsmart", "-l"],
    ["-Mstorage", "-Tsmart", "-i"],
]


@pytest.mark.parametrize("words", LISTINGS + RUNS + TOOLS, ids=" ".join)
def test_the_console_shows_it_tamed(words, world):
    finished = world.run(words)
    assert finished.returncode in (0, 21)
    assert_tame(finished.stdout, "\b\t\n\r")
    assert REPLACEMENT in finished.stdout.decode()
    assert "injected" in finished.stdout.decode().casefold()
    assert finished.stderr == b""


def test_a_help_text_keeps_its_lines_and_tabs_and_nothing_else(world):
    shown = world.run(["-Mstorage", "-h"]).stdout
    assert steering_in(shown, "\t\n") == set()
    assert shown.decode().endswith("2J\n\tSECOND LINE\n\n")


@pytest.mark.parametrize("words", LISTINGS + RUNS, ids=" ".join)
def test_a_report_can_be_looked_at(words, world):
    report = world.root / "report.txt"
    finished = world.run([*words, f"-o{report}"])
    assert_tame(report.read_bytes(), "\t\n\r")
    assert REPLACEMENT in report.read_text()
    assert_tame(finished.stdout, "\r")


def is_protocol(line):
    """A line of the protocol, or the blanks that clear a line."""
    return ":::" in line or line.strip(" \r") == ""


@pytest.mark.parametrize("words", LISTINGS + RUNS + TOOLS, ids=" ".join)
def test_it_makes_no_line_of_the_protocol(words, world):
    finished = world.run(["--HDK", *words])
    assert_tame(finished.stdout, "\n\r")
    lines = finished.stdout.decode().split("\n")
    assert [line for line in lines if not is_protocol(line)] == []


def texts(value):
    """All texts in a value that was JSON."""
    if isinstance(value, str):
        return [value]
    if isinstance(value, dict):
        return [*value, *texts(list(value.values()))]
    return [text for item in value for text in texts(item)] if isinstance(value, list) else []


def test_the_log_holds_it_tamed_also_for_who_decodes_it(world):
    world.run(["-Mstorage", "-Q"])
    (path,) = (world.state_dir / "log").iterdir()
    assert_tame(path.read_bytes(), "\n")
    found = [text for line in path.read_text().splitlines() for text in texts(json.loads(line))]
    assert any("INJECTED" in text for text in found)
    assert [text for text in found if set(text) & set(STEERING)] == []


ARGUMENTS = [
    ["-Mstorage", "-Q", ARGUMENT],
    ["-Mstorage", f"-Qp,{ARGUMENT}"],
    ["-Mstorage", f"-Qp({ARGUMENT}=1)", "-V"],
    ["-Mstorage", "-V", f"-Qp(blocks={ARGUMENT})", ARGUMENT],
    [ARGUMENT, "-Mstorage"],
    ["-Mstorage", f"-T{ARGUMENT}"],
    [f"-M{ARGUMENT}", "-D"],
    [f"-M{ARGUMENT}", "-Tsmart"],
    [f"-U{ARGUMENT}"],
    [f"--{ARGUMENT}"],
    [f"-o{ARGUMENT}", "-A"],
    ["-Mstorage", "-Trecover", "-r", ARGUMENT],
    ["-Mstorage", "-Trecover", "-l", ARGUMENT],
    ["-Mstorage", "-Tsmart", ARGUMENT],
]


@pytest.mark.parametrize("locale", ["C.UTF-8", "C"])
@pytest.mark.parametrize("words", ARGUMENTS, ids=lambda words: " ".join(words).split("a\x01")[0])
def test_what_arguments_say_is_shown_tamed(words, locale, tmp_path, world):
    world.environment["LC_ALL"] = locale
    finished = world.run(words)
    assert_tame(finished.stdout, "\b\t\n\r")
    assert_tame(finished.stderr, "\n")
    supervised = world.run(["--HDK", *words])
    assert_tame(supervised.stdout, "\n\r")


@pytest.mark.parametrize("name", [ODD_ID, SHOWN_ID])
def test_an_odd_id_is_named_as_it_is_and_as_it_is_shown(name, world):
    finished = world.run(["-Mstorage", "-Qp", name])
    assert finished.returncode == 0
    assert f"Id                        {SHOWN_ID}\n" in finished.stdout.decode()
    assert "Passed!" in finished.stdout.decode()


def test_a_widened_text_stays_widened(world):
    """A test's name is printed byte by byte: only bytes that widen to control characters go."""
    path = Path(world.environment["ORVAN_SCENARIO"])
    plain = scenario()
    plain["modules"][0]["diagnostics"][0]["tests"][0]["name"] = "\u00e9 \u009b \u202e \x1b ."
    path.write_text(json.dumps(plain))
    shown = world.run(["-Mstorage", "-Qp", "0"]).stdout.decode()
    assert "=> \u00c3\u00a9 \u00c2\ufffd \u00e2\ufffd\u00ae \ufffd .\n" in shown
