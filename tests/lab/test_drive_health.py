"""What a drive says of its own health, and what the tests make of it."""

import pytest
from machines import EVERY_KIND
from outcome import FAILED, PASSED, outcomes

MACHINE = "kinds"
NVME = "nvme-512"
# Source: NVM Express Base 2.0, 5.16.1.3, critical warning.
WARNINGS = {
    0x01: "Critical warning: the available spare has fallen below its threshold",
    0x04: "Critical warning: its reliability is degraded by errors",
    0x08: "Critical warning: the media can only be read",
}


def id_of(name):
    return str([row.name for row in EVERY_KIND].index(name))


def status_of(world, name):
    result = world.run(["-Mstorage", "-Qs", id_of(name)])
    (test,) = outcomes(result.stdout)[name]
    return result.returncode, test.verdict, test.said


@pytest.mark.parametrize("warning", WARNINGS)
def test_critical_warning_fails_the_drive_in_its_words_as_long_as_it_is_there(
    machine, world, warning
):
    assert status_of(world, NVME) == (PASSED, "Passed", [])
    machine.warn(NVME, warning)
    try:
        assert status_of(world, NVME) == (FAILED, "Failed", [WARNINGS[warning]])
    finally:
        machine.warn(NVME, 0)
    assert status_of(world, NVME) == (PASSED, "Passed", [])


@pytest.mark.parametrize("name", [row.name for row in EVERY_KIND if row.kind in ("scsi", "usb")])
def test_drive_without_logs_says_why_nothing_can_be_said(machine, world, name):
    status, verdict, said = status_of(world, name)
    assert verdict == "Not Applicable"
    assert said[0].startswith("LOG SENSE: ")
