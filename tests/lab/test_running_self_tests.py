"""Self-tests that take their time, on drives that tell how they ended."""

import re

import pytest
from outcome import CANCELED, PASSED, outcomes
from scsi_drive import ABORTED, EXTENDED, PASSED as COMPLETED, SHORT, Entry

MACHINE = "told"
TESTS = {"-Qt": SHORT, "-Ex": EXTENDED}
# The promise is one second; the rest is what the emulated machine is slower.
SECONDS_TO_END = 3


def remembered(world, name):
    """The newest self-test of the drive's log, as smartctl reads it."""
    kernel_name = world.entry_of(name)["Kernel Name"]
    said = world.guest.run("smartctl", "-l", "selftest", f"/dev/{kernel_name}").stdout.decode()
    return re.search(r"^# 1 .*$", said, re.M)[0]


def begin(machine, world, name, option, seconds):
    machine.told[name].self_tests.seconds = seconds
    running = world.on_terminal(["-Mstorage", option, machine.id_of(name)])
    running.expect(rb"self-test started")
    assert machine.told[name].self_tests.running == TESTS[option]
    return running


@pytest.mark.parametrize("option", TESTS)
@pytest.mark.parametrize("name", ["sas", "sata"])
def test_stop_ends_the_self_test_on_the_drive(machine, world, name, option):
    drive = machine.told[name]
    running = begin(machine, world, name, option, None)
    running.expect(rb" [1-9]\d*% ")
    pressed_at = running.guest.clock()
    running.press(b"\x1b")
    result = running.wait()
    assert result.at - pressed_at < SECONDS_TO_END
    assert result.returncode == CANCELED
    (test,) = outcomes(result.stdout)[name]
    assert (test.verdict, test.said[1:]) == ("Canceled", [])
    assert drive.log_of_self_tests() == [Entry(TESTS[option], ABORTED)]
    assert re.search("Aborted", remembered(world, name))


@pytest.mark.parametrize("name", ["sas", "sata"])
def test_end_is_waited_for(machine, world, name):
    result = begin(machine, world, name, "-Ex", 3).wait()
    assert result.returncode == PASSED
    assert machine.told[name].log_of_self_tests() == [Entry(EXTENDED, COMPLETED)]
    assert re.search("Completed", remembered(world, name))


@pytest.mark.parametrize("name", ["sas", "sata"])
def test_self_test_of_somebody_else_goes_on(machine, world, name):
    drive = machine.told[name]
    drive.self_tests.seconds = None
    drive.self_tests.start(EXTENDED)
    result = world.run(["-Mstorage", "-Qt", machine.id_of(name)])
    (test,) = outcomes(result.stdout)[name]
    assert test.verdict == "Invalid"
    said = (r"A self-test that was not begun here runs on the drive already, \d+ percent of it are done; "
            "none was started, and that one goes on")  # fmt: skip
    assert re.fullmatch(said, test.said[0])
    assert (drive.self_tests.running, drive.self_tests.log) == (EXTENDED, [])
