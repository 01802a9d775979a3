#!/usr/bin/python3
"""Records the machine of the tour: an ATA drive that gets worse from visit to visit, and a sound one.

    cmake --preset dev && cmake --build --preset dev
    examples/workshop/record.py [FOLDER]

Boots a machine of the laboratory (docs/laboratory.md) and writes one recording for each visit into
FOLDER, which is this one unless given. It takes about a minute.
"""

import os
import re
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent.parent
for folder in ("lab", "support"):
    sys.path.insert(0, str(ROOT / "tests" / folder))
os.environ.setdefault("TARVEX_BINARY_DIR", str(ROOT / "build" / "dev"))

from machine import Machine  # noqa: E402
from machines import DriveRow, MachineRow, ToldRow, in_slots  # noqa: E402

DISK = "DISK-0815"
MACHINE = MachineRow("the tour's", in_slots(DriveRow("nvme", "nvme", serial="NVME-4711", mib=16)),
                     told=(ToldRow(DISK, "ata", 64),))  # fmt: skip
SERIALS = ("NVME-4711", DISK)
WORLD_WIDE_NAME = "naa.5000c50000000815"
RUN = ["-Mstorage", "-Es,r(blocks=200,seed=7),l(block_kib=128)"]
LATE, LOST = 51_200, 98_304


def sound(drive):
    """As on the first visit: nothing is wrong."""


def worn(drive):
    """Some sectors were replaced, and one place answers late."""
    drive.attributes[5].raw, drive.attributes[5].value = 16, 98
    drive.attributes[9].raw += 700
    drive.attributes[194].raw = 38
    drive.medium.delay(LATE, 3.5)


def failing(drive):
    """Sectors cannot be read any more."""
    worn(drive)
    drive.attributes[5].raw, drive.attributes[5].value = 184, 71
    drive.attributes[9].raw += 700
    drive.attributes[194].raw = 47
    drive.attributes[197].raw = 13
    for lba, count in ((LOST, 8), (LOST + 2048, 1), (LOST + 9000, 4)):
        drive.medium.fail(lba, count)


VISITS = {"first_visit": sound, "second_visit": worn, "third_visit": failing}


def forms(text):
    """How drives write a text: as it is, and in words with their bytes turned round."""
    even = text + " " * (len(text) % 2)
    return text, "".join(even[i + 1] + even[i] for i in range(0, len(even), 2))


def with_the_drives_own_names(recording, listed):
    """Each recording has stand-ins of its own; a drive is to be the same one on each visit."""
    stand_ins = re.findall(r"^Serial Number +(\S+)$", listed, re.MULTILINE)
    for stand_in, serial in zip(stand_ins, SERIALS, strict=True):
        for seen, meant in zip(forms(stand_in), forms(serial), strict=True):
            recording = recording.replace(seen, meant)
    # Where this tree lies is nobody's business.
    recording = recording.replace(f"{ROOT}/", "/tarvex/")
    recording = re.sub(r"(nvme\.1b36-)[0-9a-f]+", rf"\g<1>{SERIALS[0].encode().hex()}", recording)
    return re.sub(r"naa\.[0-9a-f]{16}", WORLD_WIDE_NAME, recording)


def visit(machine, name, plant):
    drive = machine.told[DISK]
    drive.reset()
    plant(drive)
    drive.medium.throttle(24_000_000)
    world = machine.world(name)
    tape = world.root / "tape"
    world.environment["ORVAN_RECORD"] = str(tape)
    result = world.run(RUN)
    drive.medium.mend()
    print(f"{name}: status {result.returncode}", file=sys.stderr)
    recording = world.guest.read(tape).decode("ascii")
    return with_the_drives_own_names(recording, result.stdout.decode())


def main():
    folder = Path(sys.argv[1]) if len(sys.argv) > 1 else HERE
    machine = Machine(MACHINE)
    machine.told[DISK].model = "Workshop Disk"
    with machine:
        for name, plant in VISITS.items():
            (folder / f"{name}.recording").write_text(visit(machine, name, plant), "ascii")


if __name__ == "__main__":
    main()
