"""Self-tests of drives, beside what smartctl says of the same drives' logs."""

import json
import re

import pytest
from outcome import PASSED, outcomes

MACHINE = "kinds"
NOT_AVAILABLE_ALONE = 23
TESTS = {"-Qt": ("Short Self Test", "Short offline"), "-Ex": ("Extended Self Test", "Extended offline")}


def listed(world):
    """The id and the kernel name of each disk, by its serial number."""
    text = world.run(["-Mstorage", "-D"]).stdout.decode()
    row = r"^Id +(\S+)\n(?:\S.*\n)*?Serial Number +(\S+)\n(?:\S.*\n)*?Kernel Name +(\S+)$"
    swapped = r"^Id +(\S+)\n(?:\S.*\n)*?Kernel Name +(\S+)\n(?:\S.*\n)*?Serial Number +(\S+)$"
    found = {serial: (id, name) for id, serial, name in re.findall(row, text, re.M)}
    found |= {serial: (id, name) for id, name, serial in re.findall(swapped, text, re.M)}
    return found


def remembered(world, name):
    """The self-tests in the drive's log, newest first, as smartctl reads it."""
    done = world.guest.run("smartctl", "-j", "-l", "selftest", f"/dev/{name}")
    table = json.loads(done.stdout)["ata_smart_self_test_log"]["standard"]
    return table.get("table", []), table["count"]


@pytest.mark.parametrize("option", TESTS)
def test_ata_drive_tests_itself_and_its_log_shows_it(machine, world, option):
    id, name = listed(world)["ahci-512"]
    before, count = remembered(world, name)
    result = world.run(["-Mstorage", option, id])
    (test,) = outcomes(result.stdout)["ahci-512"]
    assert (test.name, test.verdict) == (TESTS[option][0], "Passed"), result.stdout
    assert result.returncode == PASSED
    after, now = remembered(world, name)
    assert after[0]["type"]["string"] == TESTS[option][1]
    assert after[0]["status"]["passed"]
    # Twenty-one have a place there.
    assert now == min(count + 1, 21)
    assert machine.drives["ahci-512"].changes() == []


@pytest.mark.parametrize("drive", ["nvme-512", "scsi-512", "usb-512", "virtio-512"])
def test_drive_without_self_tests_is_not_applicable_and_says_why(machine, world, drive):
    id, _ = listed(world)[drive]
    result = world.run(["-Mstorage", "-Qt", id])
    (test,) = outcomes(result.stdout)[drive]
    assert test.verdict == "Not Applicable"
    assert len(test.said) == 1
    assert result.returncode == NOT_AVAILABLE_ALONE
    assert "error" not in machine.guest.said("dmesg", "--level=emerg,alert,crit,err")
