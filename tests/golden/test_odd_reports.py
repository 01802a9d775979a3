"""The interactive tools, with a service that reports anything at all."""

import json
import random
import re
import signal

import pytest
from program import World

EVENTS = (
    *("OnRecoverInit", "OnOperationInit", "OnDeviceInit", "OnProgress", "OnDeviceFinish"),
    *("OnOperationFinish", "OnRecoverFinish", "OnSmartToolInit", "OnSmartToolFinish"),
    *("OnUnknown", ""),
)
PROPERTIES = (
    *("OperationInit", "DeviceInit", "Progress", "DeviceFinish", "Message", "SectorsInfo"),
    *("Operation", "BadSectorsList", "ForcedAbort"),
)
TEXTS = (
    *("0", "1", "2", "8", "9", "13", "-1", "4294967296", "-9223372036854775809", "1e9", "0x1f"),
    *("", " ", "abc", "scan", "repair", "^$|_", "\n\r\x08\x1b[2J", "\u00e4\U0001f4be", "x" * 5000),
    *("ata", "scsi", "nvme", "{}", '{"a":"1","b":"2"}', '{"a":"1","b":', "}{"),
    '[{"a":"\0\u00e4"},{:}',
)
IDS = ("0", "1", "^$|_")
TOOLS = {
    "recover": ("recover_bad_sectors", "recover", ["-r", "-y", "-l"]),
    "recover-supervised": ("recover_bad_sectors", "recover", ["-r", "-y", "-l", "--HDK"]),
    "smart": ("smart_tool", "smart", ["-i"]),
}


def texts(numbers):
    """Some texts; as a rule the first one names a device."""
    length = numbers.choice((0, 1, 2, 4, 7))
    first = numbers.choice((IDS, IDS, TEXTS))
    return [numbers.choice(TEXTS if place else first) for place in range(length)]


def step(numbers):
    values = {
        numbers.choice(PROPERTIES): texts(numbers) for _ in range(numbers.randint(0, 4))
    }
    event = numbers.choice(EVENTS)
    return {"set": values, "event": event} if event else {"set": values}


# What an event needs at least: how many values of which property.
NEEDS = {"OnOperationInit": ("OperationInit", 1), "OnDeviceInit": ("DeviceInit", 1)}
NEEDS |= {"OnProgress": ("Progress", 1), "OnDeviceFinish": ("DeviceFinish", 2)}
SMART_NEEDS = {"OnDeviceInit": ("DeviceInit", 1), "OnProgress": ("Progress", 1)}
SMART_NEEDS |= {"OnDeviceFinish": ("DeviceFinish", 5)}
TOLD_STATUSES = {0, 2, 6, 7, 8, 9, 10, 12, 13, 14, 15}


def is_too_short(tool, event, properties):
    """Whether the event is told with less than it needs."""
    needs = SMART_NEEDS if tool == "smart" else NEEDS
    if event not in needs:
        return False
    name, count = needs[event]
    values = properties.get(name, [])
    if len(values) < count:
        return True
    if tool == "smart" or event != "OnDeviceFinish" or values[0] not in IDS:
        return False
    operation = properties.get("Operation", [])
    if not operation:
        return True
    number = re.match(r"\s*(-?\d+)", values[1])
    is_told = tool == "recover-supervised" and int(number[1] if number else 0) in TOLD_STATUSES
    is_counted = is_told or operation[0] == "scan"
    return is_counted and len(properties.get("SectorsInfo", [])) < 4


def tells_too_little(tool, run):
    properties = {"Operation": ["filterDevices" if tool == "smart" else "repair"]}
    for one in run:
        properties |= one["set"]
        if is_too_short(tool, one.get("event"), properties):
            return True
    return False


@pytest.mark.parametrize("seed", range(40))
@pytest.mark.parametrize("tool", TOOLS)
def test_any_report_ends_in_order(seed, tool, tmp_path):
    numbers = random.Random(seed)
    rotations = [{"NonRotatingMedia": numbers.choice(("T", "F", "", "TRUE"))} for _ in range(3)]
    devices = [
        {"id": number, "name": numbers.choice(TEXTS), "properties": rotation}
        for number, rotation in zip(IDS, rotations)
    ]
    run = [step(numbers) for _ in range(numbers.randint(1, 60))]
    name, hint, options = TOOLS[tool]
    module = {"name": "storage", "devices": devices}
    module["tools"] = [{"name": name, "hint": hint, "run": run}]
    scenario = tmp_path / "scenario.json"
    scenario.write_text(json.dumps({"modules": [module]}), encoding="utf-8")
    world = World(tmp_path, scenario)
    (world.work_dir / "config.ini").write_text("[STORAGE]\nENABLE_TARVEX_DRIVE_INFO=1\n")
    result = world.run(["-Mstorage", "-T" + hint, *options])
    if tells_too_little(tool, run):
        assert result.returncode == -signal.SIGABRT
        line = rb"TarvexDiagnosticsCLI: [^\n]*: tool %s, property \w+: \d of \d values\n"
        assert re.fullmatch(line % name.encode(), result.stderr), result.stderr
    else:
        assert result.returncode == 0
        assert result.stderr == b""
    assert result.stdout.startswith(b" " * 35 + b"\r\n")
    result.stdout.decode("utf-8")
