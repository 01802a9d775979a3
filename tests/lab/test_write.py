"""The write test on every kind of drive, with every size of sectors."""

import re

import pytest
from drive import READ, WRITE
from emulator import wait_for
from machines import EVERY_KIND, MIB
from outcome import FAILED, NOT_APPLICABLE, PASSED, outcomes

MACHINE = "kinds"
SECONDS_TO_VERDICT = 5
IDS = [str(number) for number in range(len(EVERY_KIND))]
ASKED = "w(destructive=yes,block_kib=512)"
# The end of a boot sector, and in front of it one partition of 2047 sectors from the second on.
TABLE = bytes([0, 0, 0, 0, 0x83, 0, 0, 0, 1, 0, 0, 0, 0xFF, 7, 0, 0]) + bytes(48) + b"\x55\xaa"


@pytest.fixture
def empty(machine):
    """All drives as they were made."""
    for drive in machine.drives.values():
        drive.fill(0, bytes(drive.size))
    return machine


def run(world, *ids, test=ASKED):
    result = world.run(["-Mstorage", f"-E{test}", *ids])
    return result.returncode, {
        name: (tests[0].verdict, tests[0].said) for name, tests in outcomes(result.stdout).items()
    }


def content_of(drive):
    with drive.path.open("rb") as file:
        return file.read()


def test_empty_drives_pass_and_each_sector_names_its_address(empty, world):
    status, found = run(world, *IDS)
    for row in EVERY_KIND:
        verdict, said = found[row.name]
        assert verdict == "Passed", said
        content = content_of(empty.drives[row.name])
        # The last of two passes turns every bit round.
        heads = [
            bytes(byte ^ 0xFF for byte in content[at : at + 32])
            for at in range(0, len(content), row.logical)
        ]
        assert {head[:8] for head in heads} == {b"TVXWRITE"}, row.name
        addresses = [int.from_bytes(head[24:32], "little") for head in heads]
        assert addresses == list(range(row.size // row.logical)), row.name
    assert status == PASSED
    assert "error" not in empty.guest.said("dmesg", "--level=emerg,alert,crit,err")


def test_nothing_is_read_before_all_was_written(empty, world):
    drive = empty.drives["scsi-512"]
    before = len(drive.asked(READ, WRITE))
    number = [row.name for row in EVERY_KIND].index("scsi-512")
    assert run(world, str(number))[0] == PASSED
    kinds = [request.kind for request in drive.asked(READ, WRITE)[before:]]
    order = re.sub(r"(.)\1*", r"\1", "".join("w" if kind == WRITE else "r" for kind in kinds))
    assert order.endswith("rwrwr")
    assert order.count("w") == 2


def test_drives_with_a_table_are_not_written(empty, world):
    for drive in empty.drives.values():
        drive.fill(446, TABLE)
    hashes = {name: drive.content_hash() for name, drive in empty.drives.items()}
    status, found = run(world, *IDS, test="w(destructive=yes,overwrite=yes)")
    assert status == NOT_APPLICABLE
    assert {verdict for verdict, _ in found.values()} == {"Not Applicable"}
    for name, (_, said) in found.items():
        assert said[0].startswith("The disk is not empty, nothing was written: it holds "), name
    assert [name for name, drive in empty.drives.items() if drive.changes()] == []
    assert {name: drive.content_hash() for name, drive in empty.drives.items()} == hashes


def test_capacity_that_is_not_there_is_found(empty, world):
    for row in EVERY_KIND:
        empty.drives[row.name].real_size = 4 * MIB
    status, found = run(world, *IDS)
    assert status == FAILED
    for row in EVERY_KIND:
        verdict, said = found[row.name]
        half = 4 * MIB // row.logical
        assert verdict == "Failed"
        assert said[-1] == (
            f"Wrong sectors: first LBA 0, count {half}, sectors 0-{half - 1}; the first holds the "
            f"pattern of LBA {half} of pass 1. The disk repeats itself after {half} sectors, so its "
            "capacity is not what it says"
        )


# The last tests: what is pulled stays away.
@pytest.mark.parametrize("name", ["nvme-512", "scsi-512", "usb-512", "virtio-512", "ahci-512"])
def test_pulled_drive_fails_in_time(empty, world, name):
    drive = empty.drives[name]
    listing = world.run(["-Mstorage", "-D"]).stdout.decode()
    pattern = rf"^Id +(\S+)\n(?:\S.*\n)*?Serial Number +{name}$"
    drive.throttle(MIB)
    running = world.start(["-Mstorage", f"-E{ASKED}", re.search(pattern, listing, re.M)[1]])
    running.expect(rb"Writing over all data")
    wait_for("writing", lambda: running.guest.clock() and len(drive.asked(WRITE)) > 2, 60)
    pulled_at = empty.guest.clock()
    empty.pull(name)
    _, judged_at = running.expect(rb"Test Status: \w+!")
    result = running.wait()
    assert judged_at - pulled_at <= SECONDS_TO_VERDICT
    (outcome,) = outcomes(result.stdout)[name]
    assert outcome.verdict == "Failed"
    vanished = r"The disk vanished while writing at LBA \d+(, after \d+ sectors? had failed)?"
    assert re.fullmatch(vanished, outcome.said[-1]), outcome.said
    assert result.returncode == FAILED
