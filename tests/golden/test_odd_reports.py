"""The interactive tools, with a service that reports anything at all."""

import json
import random

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
    assert result.returncode == 0
    assert result.stderr == b""
    assert result.stdout.startswith(b" " * 35 + b"\r\n")
    result.stdout.decode("utf-8")
