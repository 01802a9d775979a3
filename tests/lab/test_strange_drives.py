"""Drives that lie: serial numbers, labels and partition tables of somebody who means harm."""

import re
import struct

import pytest
from outcome import PASSED, devices, outcomes

MACHINE = "strange"
REPLACEMENT = "\ufffd"
TRIES = 10

# What is listed of each drive of machines.py's row: control characters, and those of writing
# direction, are shown as U+FFFD; a text that looks like a message key stays a text.
SERIALS = [
    f"{REPLACEMENT}[2J{REPLACEMENT}]0;x{REPLACEMENT}",
    f"S1{REPLACEMENT}Id{REPLACEMENT}99",
    " _FAILED|X",
    "%s%n%99999d",
    f"a{REPLACEMENT}b",
    "TWIN",
    "TWIN",
    None,
]


def swap_area(label):
    """A swap area with that label, from its page's start. Source: linux/swap.h, swap_header."""
    page = bytearray(4096)
    struct.pack_into("<III16s16s", page, 1024, 1, 100, 0, b"0123456789abcdef", label)
    page[-10:] = b"SWAPSPACE2"
    return bytes(page)


def table(*entries):
    """A sector with a DOS partition table of (type, first sector, sectors)."""
    sector = bytearray(512)
    for place, (kind, first, count) in enumerate(entries):
        struct.pack_into("<BxxxBxxxII", sector, 446 + 16 * place, 0, kind, first, count)
    sector[510:] = b"\x55\xaa"
    return bytes(sector)


def endless_chain():
    """An extended partition whose second table names itself as the next one."""
    content = bytearray(4096)
    content[:512] = table((0x05, 4, 1000))
    content[2048:2560] = table((0x83, 1, 10), (0x05, 0, 1000))
    return bytes(content)


def false_gpt():
    """A GPT that claims four thousand million partitions and has a wrong checksum."""
    header = struct.pack("<8sIIIIQQQQ16sQIII", b"EFI PART", 0x10000, 92, 0xDEADBEEF, 0, 1, 2**63,
                         34, 2**63, b"g" * 16, 2, 0xFFFFFFFF, 128, 0xDEADBEEF)  # fmt: skip
    return table((0xEE, 1, 0xFFFFFFFF)) + header.ljust(512, b"\0")


CONTENTS = {
    "lines": false_gpt(),
    # Behind the drive's end, over one another, and a label that ends a line.
    "key": table((0x83, 100, 0x7FFFFFFF), (0x83, 200, 100), (0x83, 250, 100)),
    "format": swap_area(b"\x1b[2J\x1b[31mred\x07"),
    "bidi": swap_area("a\nIndex  7\u202e".encode()),
    "twin-1": swap_area(b"_PASSED|X"),
    # The last one, for its hundred partitions may take all the time that a scan has for looks.
    "nameless": endless_chain(),
}


@pytest.fixture(scope="module")
def strange(booted):
    """The machine, booted once more, for the kernel to find what was put on its drives."""
    for name, content in CONTENTS.items():
        booted.drives[name].fill(0, content)
    booted.restart()
    return booted


def steering(text):
    """Characters that would steer a terminal, but for those with which the program lays out."""
    return re.findall(r"[\x00-\x07\x0b\x0c\x0e-\x1f\x7f-\x9f\u061c\u200e\u200f\u2028-\u202e"
                      r"\u2066-\u2069]", text)  # fmt: skip


def test_what_drives_tell_of_themselves_is_text(strange, world):
    world.guest.write(world.work_dir / "config.ini", "[STORAGE]\nENABLE_TARVEX_DRIVE_INFO=1\n")
    text = world.run(["-Mstorage", "-Tsmart", "-i"]).stdout.decode()
    assert steering(text) == []
    # Of the ATA drive and the NVMe drive; here no text is a key.
    shown = re.findall(r"^Serial number {27}(.*?) *$", text, re.M)
    assert shown == [SERIALS[1], SERIALS[2].strip()]


def test_listing_shows_each_serial_number_as_text(strange, world):
    result = world.run(["-Mstorage", "-D"])
    listed = devices(result.stdout)
    assert result.returncode == PASSED
    assert [entry["Id"] for entry in listed] == [str(number) for number in range(len(SERIALS))]
    assert [entry.get("Serial Number") for entry in listed] == SERIALS
    assert steering(result.stdout.decode()) == []


def labels_of(listing):
    return sorted(re.findall(r"^Label +(\S.*)$", listing, re.M))


def test_partitions_are_those_of_the_kernel_and_labels_are_text(strange, world):
    labels = sorted([f"{REPLACEMENT}[2J{REPLACEMENT}[31mred{REPLACEMENT}",
                     f"a{REPLACEMENT}Index  7{REPLACEMENT}", "_PASSED|X"])  # fmt: skip
    # A scan has 5 seconds to look for labels, which is little for a slow emulator's first try.
    for _ in range(TRIES):
        result = world.run(["-Mstorage", "-R"])
        text = result.stdout.decode()
        assert result.returncode == PASSED
        assert steering(text) == []
        if len(labels_of(text)) == len(labels):
            break
    assert labels_of(text) == labels
    count = strange.guest.said("sh", "-c", "cat /sys/block/*/*/partition | wc -l")
    whole = 3  # swap areas without a table
    assert len(re.findall(r"^Resource Type +PARTITION$", text, re.M)) == int(count) + whole


def test_every_strange_drive_is_tested_like_any_other(strange, world):
    result = world.run(["-W", "-Uq"])
    found = outcomes(result.stdout, key="Kernel Name")
    assert len(found) == len(SERIALS)
    verdicts = {(test.name, test.verdict) for tests in found.values() for test in tests}
    assert {verdict for name, verdict in verdicts if name.endswith("Read Test")} == {"Passed"}
    assert {verdict for _, verdict in verdicts} <= {"Passed", "Not Applicable"}
    assert result.returncode == PASSED
    assert steering(result.stdout.decode()) == []
    # Each drive is told from each other one, the twins with one serial number too.
    unique = {record["device_udi"] for record in world.records()}
    assert len(unique) == len(SERIALS)
    assert not any(steering(name) for name in unique)
    assert len(world.logs()) == 1
    assert all(drive.changes() == [] for drive in strange.drives.values())


def test_listing_reads_no_drive_through(strange, world):
    before = {name: drive.bytes_read() for name, drive in strange.drives.items()}
    world.run(["-Mstorage", "-R"])
    for name, drive in strange.drives.items():
        # Superblocks and tables, also where a chain of tables has no end.
        assert drive.bytes_read() - before[name] < drive.size / 2, name
