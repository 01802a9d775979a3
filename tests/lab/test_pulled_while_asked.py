"""Drives that are pulled while they are asked about themselves, or test themselves."""

import re

import pytest
from ata_drive import PASS_THROUGH_16, READ_LOG, READ_THRESHOLDS, RETURN_STATUS
from emulator import wait_for
from outcome import FAILED, PASSED, outcomes
from scsi_drive import LOG_SENSE

MACHINE = "told"
SECONDS_TO_VERDICT = 5
LEFT = ": the drive has left the machine"
TOOL = ("-Mstorage", "-Tsmart", "-i")
NOT_POSSIBLE = b"It is not possible to retrieve smart attributes for this device"


def ata(feature):
    return lambda cdb: cdb[0] == PASS_THROUGH_16 and cdb[4] == feature


def page(number):
    return lambda cdb: cdb[0] == LOG_SENSE and cdb[2] & 0x3F == number


def judged_in_time(machine, running, name, shown):
    """Pulls the drive; the program's Result, once it has said of the drive what it should say."""
    pulled_at = machine.guest.clock()
    machine.pull(name)
    _, judged_at = running.expect(shown)
    result = running.wait()
    assert judged_at - pulled_at <= SECONDS_TO_VERDICT
    return result


def expect_failure(result, name, others):
    assert result.returncode == FAILED
    found = outcomes(result.stdout)
    assert [test.verdict for test in found[name]] == ["Failed"]
    assert found[name][0].said[-1].endswith(LEFT)
    for other in others:
        assert [test.verdict for test in found[other]] == ["Passed"]


@pytest.fixture(autouse=True)
def put_back(machine, world):
    """The told drives are there again when the test is over."""
    yield
    gone = machine.adapter.gone_drives()
    for drive in gone:
        machine.put_in(drive.name)
    count = len(machine.told)
    script = f"test $(cat /sys/block/*/device/model | grep -c 'Told Drive') = {count}"
    wait_for("the drives", lambda: machine.guest.run("sh", "-c", script).returncode == 0, 30)


HELD = {
    ("sas", "-Qs"): page(0x2F),
    ("sas", "-Qe"): page(0x15),
    ("sas", "-Qt"): page(0x10),
    ("sata", "-Qs"): ata(RETURN_STATUS),
    ("sata", "-Qe"): ata(READ_LOG),
    ("sata", "-Qt"): ata(READ_LOG),
}


@pytest.mark.parametrize("name,option", HELD)
def test_drive_that_leaves_with_a_command_fails(machine, world, name, option):
    other = "sata" if name == "sas" else "sas"
    drive = machine.told[name]
    drive.holding = HELD[name, option]
    running = world.start(["-Mstorage", option, world.id_of(name), world.id_of(other)])
    wait_for("the command", lambda: machine.adapter.is_held(drive), 60)
    expect_failure(judged_in_time(machine, running, name, rb"Test Status: \w+!"), name, [other])


@pytest.mark.parametrize("option", ["-Qt", "-Ex"])
@pytest.mark.parametrize("name", ["sas", "sata"])
def test_drive_that_leaves_in_its_self_test_fails(machine, world, name, option):
    other = "sata" if name == "sas" else "sas"
    drive = machine.told[name]
    drive.self_tests.seconds = None
    running = world.start(["-Mstorage", option, world.id_of(name), world.id_of(other)])
    running.expect(rb"self-test started")
    wait_for("a look at it", lambda: drive.self_tests.percent() > 1, 60)
    expect_failure(judged_in_time(machine, running, name, rb"Test Status: \w+!"), name, [other])


@pytest.mark.parametrize("name,held", [("sas", page(0x0D)), ("sata", ata(READ_THRESHOLDS))])
def test_drive_that_leaves_shows_no_attributes_and_the_next_one_does(machine, world, name, held):
    other = "sata" if name == "sas" else "sas"
    drive = machine.told[name]
    drive.holding = held
    running = world.start([*TOOL, world.id_of(name), world.id_of(other)])
    wait_for("the command", lambda: machine.adapter.is_held(drive), 60)
    result = judged_in_time(machine, running, name, NOT_POSSIBLE)
    assert result.returncode == PASSED
    assert len(re.findall(rb"^Id   Description ", result.stdout, re.M)) == 1


IN_A_COMMAND = "grep -lE '^16 0x[0-9a-f]+ 0x(2285|c0484e41) ' /proc/[0-9]*/task/*/syscall | wc -l"


def commands_under_way(machine):
    """Threads that wait for the answer to a drive's command (SG_IO, NVME_IOCTL_ADMIN_CMD)."""
    return int(machine.guest.said("sh", "-c", f"{IN_A_COMMAND} 2>/dev/null"))


# The emulator's other controllers answer all but reads at once, whatever is done to them.
@pytest.mark.parametrize("option", ["-Qs", "-Qe", "-Qt"])
def test_nvme_drive_that_leaves_with_a_command_fails(machine, world, option):
    name = "nvme"
    gate = machine.told["sas"]
    gate.holding = page(0x00)
    running = world.start(["-Mstorage", option, *(world.id_of(one) for one in ("sas", name, "sata"))])
    wait_for("the first drive's command", lambda: machine.adapter.is_held(gate), 60)
    machine.keep_silent(name)
    gate.release()
    machine.adapter.release(gate)
    running.expect(rb"Serial Number +" + name.encode())
    wait_for("the drive's command", lambda: commands_under_way(machine), 20)
    result = judged_in_time(machine, running, name, rb"Test Status: Failed!")
    expect_failure(result, name, ["sas", "sata"])
    machine.put_in(name)
    wait_for("the drive", lambda: name in machine.kernel_names(), 30)
