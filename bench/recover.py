#!/usr/bin/env python3
"""The tool that recovers bad sectors: a list of many devices, and what a running repair costs."""

import sys

import idle_cpu
import world

DEVICES = 1000
PARTITIONS = 8
TOOL = {"name": "recover_bad_sectors", "hint": "recover"}
PROGRESS_MS = 250


def device(number):
    def partition(part):
        pairs = {"MOUNT_POINT": f"/mnt/{number}.{part}", "FILE_SYSTEM": "ext4", "INDEX": str(part)}
        pairs = [{"label": label, "value": value} for label, value in pairs.items()]
        return {"type": "PARTITION", "pairs": pairs}

    resources = [partition(part) for part in range(PARTITIONS)]
    properties = {"NonRotatingMedia": "F"}
    return {"id": str(number), "name": f"Disk {number}", "properties": properties,
            "resources": resources}  # fmt: skip


def steps():
    def step(event, after=0, **values):
        return {"afterMs": after, "set": values, "event": event}

    yield step("OnRecoverInit")
    yield step("OnOperationInit", OperationInit=["repair"])
    yield step("OnDeviceInit", DeviceInit=["0"])
    for number in range((idle_cpu.SECONDS + 10) * 1000 // PROGRESS_MS):
        yield step("OnProgress", PROGRESS_MS, Progress=[str(number % 101)])


def main():
    with world.folder() as folder:
        devices = [device(number) for number in range(DEVICES)]
        values = world.environment(folder, world.write_tool_scenario(folder, devices, TOOL))
        words = [world.PROGRAM, "-Mstorage", "-Trecover"]
        listing = world.measure(5, [*words, "-l"], values)
        # The same file without a look at a device.
        nothing = world.measure(5, [*words, "-h"], values)
    more = listing["least_processor_ms"] - nothing["least_processor_ms"]
    print(f"List of {DEVICES} devices with {PARTITIONS} partitions each")
    good = world.verdict("more processor time than the help takes, ms", more, 100)

    with world.folder() as folder:
        tool = {**TOOL, "run": list(steps())}
        scenario = world.write_tool_scenario(folder, [device(0)], tool)
        arguments = ["-Mstorage", "-Trecover", "-r", "-y"]
        share = idle_cpu.measure(folder, scenario, arguments, b"=> Disk 0")
    return 0 if world.verdict("front end, % of one core", share, 1.0) and good else 1


if __name__ == "__main__":
    sys.exit(main())
