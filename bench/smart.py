#!/usr/bin/env python3
"""SMART attributes of an ATA drive, from start to end, beside smartctl -A of the same drive: both in an
emulated machine (tests/lab), for here there may be no drive."""

import sys

import world

sys.path[:0] = [str(world.SOURCE / "tests" / folder) for folder in ("lab", "support")]

from guest_world import PROGRAM  # noqa: E402
from machine import Machine  # noqa: E402
from machines import DriveRow, MachineRow, in_slots  # noqa: E402
from outcome import devices  # noqa: E402

RUNS = 15
# Seconds of the wall clock, and of the processor.
SCRIPT = 'TIMEFORMAT="%R %U %S"; time "$@" >/dev/null 2>&1'


def seconds(guest, words, environment=None):
    done = guest.run("bash", "-c", SCRIPT, "bash", *map(str, words), environment=environment)
    assert done.returncode == 0, words
    wall, user, system = map(float, done.stderr.split())
    return wall, user + system


def measure(machine):
    place = machine.world("bench")
    (drive,) = devices(place.run(["-Mstorage", "-D"]).stdout)
    rows = {
        "ours": [PROGRAM, "-Mstorage", "-Tsmart", "-i", drive["Id"]],
        "smartctl": ["smartctl", "-A", f"/dev/{drive['Kernel Name']}"],
        "ours, -v": [PROGRAM, "-v"],
    }
    found = {name: [] for name in rows}
    for _ in range(RUNS):
        for name, words in rows.items():
            found[name].append(seconds(machine.guest, words, place.environment))
    return {name: [min(column) for column in zip(*times)] for name, times in found.items()}


def main():
    with Machine(MachineRow("one drive", in_slots(DriveRow("ahci", "ahci")))) as machine:
        found = measure(machine)
    print(f"SMART attributes of one ATA drive in an emulated machine (least of {RUNS} runs)")
    for name, (wall, processor) in found.items():
        print(f"  {name:10} {wall:6.2f} s, {processor:6.2f} s of the processor")
    ratio = found["ours"][0] / found["smartctl"][0]
    return 0 if world.verdict("ratio to smartctl -A", ratio, 1.5) else 1


if __name__ == "__main__":
    sys.exit(main())
