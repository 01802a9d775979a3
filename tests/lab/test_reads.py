"""The read tests on every kind of drive, with every size of sectors."""

import random
import re
from dataclasses import dataclass

import pytest
from drive import READ
from machines import EVERY_KIND
from outcome import (
    FAILED,
    INPUT_OUTPUT,
    MEDIUM,
    PASSED,
    devices,
    outcomes,
    unreadable,
)

MACHINE = "kinds"
LONG_SECONDS = 500  # sectors of 13 drives are tried one by one
TESTS = ["Funnel Read Test", "Random Read Test", "Performance Read Test", "Linear Read Test"]
TRANSPORT = {"ahci": "SATA", "nvme": "NVMe", "scsi": "SCSI", "usb": "USB", "virtio": "virtio"}
by_name = pytest.mark.parametrize("row", EVERY_KIND, ids=lambda row: row.name)


@dataclass
class Run:
    """A run over all drives: its status, and by drive the outcomes, what was on it, its reads."""

    status: int
    outcomes: dict
    hashes: dict
    reads: dict


def run_extended(machine, name):
    for drive in machine.drives.values():
        drive.fill(0, random.Random(drive.path.name).randbytes(drive.size))
    hashes = {name: drive.content_hash() for name, drive in machine.drives.items()}
    before = {name: len(drive.asked(READ)) for name, drive in machine.drives.items()}
    ids = [str(number) for number in range(len(EVERY_KIND))]
    result = machine.world(name).run(["-Mstorage", "-Ef,r,p,l", *ids], seconds=LONG_SECONDS)
    reads = {name: drive.asked(READ)[before[name] :] for name, drive in machine.drives.items()}
    found = {
        drive: [test for test in tests if test.name in TESTS]
        for drive, tests in outcomes(result.stdout).items()
    }
    return Run(result.returncode, found, hashes, reads)


@pytest.fixture(scope="module")
def healthy(booted):
    booted.mend()
    return run_extended(booted, "healthy")


def physical_bytes(row):
    # Linux asks a USB bridge for its short capacity, which has no place for a physical sector.
    if row.kind == "usb":
        return f"{row.logical} bytes"
    return "512 bytes" if row.sectors == "512" else "4096 bytes"


def test_every_drive_is_listed_as_what_it_is(machine, world):
    listed = devices(world.run(["-Mstorage", "-D"]).stdout)
    shown = [
        (entry["Serial Number"], entry["Transport"], entry["Logical Sector Size"],
         entry["Physical Sector Size"], entry["Size"])
        for entry in listed
    ]  # fmt: skip
    assert shown == [
        (row.name, TRANSPORT[row.kind], f"{row.logical} bytes", physical_bytes(row),
         "8388608 bytes (8.3 MB)")
        for row in EVERY_KIND
    ]  # fmt: skip


@by_name
def test_sound_drive_passes_every_read_test(healthy, row):
    assert healthy.status == PASSED
    found = healthy.outcomes[row.name]
    assert [test.name for test in found] == TESTS
    assert [test.verdict for test in found] == ["Passed"] * len(TESTS)
    # Nothing to say of a sound drive, not even of a second try; a random order says its seed.
    funnel, order, speed, linear = (test.said for test in found)
    assert funnel == speed == linear == []
    assert len(order) == 1 and re.fullmatch(r"Reading in random order with seed \d+", order[0])


def least_reads(requests, size):
    """How often that part of a drive was read that was read least."""
    steps = {0: 0, size: 0}
    for request in requests:
        steps[request.offset] = steps.get(request.offset, 0) + 1
        end = request.offset + request.length
        steps[end] = steps.get(end, 0) - 1
    least = len(requests)
    depth = 0
    for place in sorted(steps):
        depth += steps[place]
        if place < size:
            least = min(least, depth)
    return least


@by_name
def test_each_read_test_reaches_every_sector_and_nothing_writes(booted, healthy, row):
    drive = booted.drives[row.name]
    # These drives are small enough for the funnel and the random order to take each block.
    assert least_reads(healthy.reads[row.name], row.size) >= len(TESTS)
    assert drive.changes() == []
    assert drive.content_hash() == healthy.hashes[row.name]


# Sectors that are bad, by the size of sectors: the first of some, how many (of 512e one physical
# sector, which fails as a whole), and the last sector of the drive. All are in its last MiB.
BAD = {"512": (15000, 3, 16383), "512e": (15000, 8, 16383), "4kn": (1800, 3, 2047)}
NAMED = {
    "512": (15000, 4, "15000-15002, 16383"),
    "512e": (15000, 9, "15000-15007, 16383"),
    "4kn": (1800, 4, "1800-1802, 2047"),
}


@pytest.fixture(scope="module")
def damaged(booted):
    booted.mend()
    for row in EVERY_KIND:
        first, count, last = BAD[row.sectors]
        booted.drives[row.name].fail(first, count)
        booted.drives[row.name].fail(last)
    return run_extended(booted, "damaged")


@pytest.mark.seconds(LONG_SECONDS)
@by_name
def test_bad_sectors_are_named_exactly_by_every_read_test(damaged, row):
    assert damaged.status == FAILED
    first, count, ranges = NAMED[row.sectors]
    expected = unreadable(first, count, MEDIUM if row.kind == "nvme" else INPUT_OUTPUT, ranges)
    found = damaged.outcomes[row.name]
    assert [test.name for test in found] == TESTS
    assert [test.verdict for test in found] == ["Failed"] * len(TESTS)
    for test in found:
        assert [text for text in test.said if text.startswith("Unreadable sectors")] == [expected]


def test_every_kind_of_drive_is_there():
    assert {row.kind for row in EVERY_KIND} == {"ahci", "nvme", "scsi", "usb", "virtio"}
