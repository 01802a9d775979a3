"""The tool that recovers bad sectors, with a service that reports anything at all."""

import json
import random

import pytest
from program import World

EVENTS = (
    *("OnRecoverInit", "OnOperationInit", "OnDeviceInit", "OnProgress", "OnDeviceFinish"),
    *("OnOperationFinish", "OnRecoverFinish", "OnUnknown", ""),
)
PROPERTIES = (
    *("OperationInit", "DeviceInit", "Progress", "DeviceFinish", "Message", "SectorsInfo"),
    *("Operation", "BadSectorsList", "ForcedAbort"),
)
TEXTS = (
    *("0", "1", "2", "8", "9", "13", "-1", "4294967296", "-9223372036854775809", "1e9", "0x1f"),
    *("", " ", "abc", "scan", "repair", "^$|_", "\n\r\x08\x1b[2J", "\u00e4\U0001f4be", "x" * 5000),
)


def step(numbers):
    values = {
        numbers.choice(PROPERTIES): [
            numbers.choice(TEXTS) for _ in range(numbers.choice((0, 1, 2, 4, 7)))
        ]
        for _ in range(numbers.randint(0, 4))
    }
    event = numbers.choice(EVENTS)
    return {"set": values, "event": event} if event else {"set": values}


@pytest.mark.parametrize("seed", range(40))
@pytest.mark.parametrize("mode", ["console", "supervised"])
def test_any_report_ends_in_order(seed, mode, tmp_path):
    numbers = random.Random(seed)
    rotations = [{"NonRotatingMedia": numbers.choice(("T", "F", "", "TRUE"))} for _ in range(3)]
    devices = [
        {"id": number, "name": numbers.choice(TEXTS), "properties": rotation}
        for number, rotation in zip(("0", "1", "^$|_"), rotations)
    ]
    run = [step(numbers) for _ in range(numbers.randint(1, 60))]
    tool = {"name": "recover_bad_sectors", "hint": "recover", "run": run}
    module = {"name": "storage", "devices": devices, "tools": [tool]}
    scenario = tmp_path / "scenario.json"
    scenario.write_text(json.dumps({"modules": [module]}), encoding="utf-8")
    arguments = ["-Mstorage", "-Trecover", "-r", "-y", "-l"]
    if mode == "supervised":
        arguments.append("--HDK")
    result = World(tmp_path, scenario).run(arguments)
    assert result.returncode == 0
    assert result.stderr == b""
    assert result.stdout.startswith(b" " * 35 + b"\r\n")
    result.stdout.decode("utf-8")
