"""The abort key while drives of every kind are read, also while they do not answer."""

import pytest
from emulator import wait_for
from machines import KINDS, MIB
from outcome import CANCELED, outcomes

MACHINE = "slow"
# The promise is one second; the rest is what the emulated machine is slower.
SECONDS_TO_END = 3


def reading(machine, world, kind):
    """The program with a linear read of that drive under way, on a terminal."""
    drive = machine.drives[kind]
    for other in machine.drives.values():
        other.throttle(None)  # the scan is none of the test
    drive.throttle(machine.rows[kind].rate)
    running = world.on_terminal(["-Mstorage", "-El", str(list(KINDS).index(kind))])
    running.expect(rb"=> Linear Read Test\r\n")
    running.expect(rb"   \d+% . \d+ seconds? ")
    before = drive.bytes_read()
    wait_for("reading", lambda: running.guest.clock() and drive.bytes_read() > before + MIB, 60)
    assert running.terminal_settings()["single_keys"]
    return running


def expect_end_in_time(running, kind):
    pressed_at = running.guest.clock()
    running.press(b"\x1b")
    result = running.wait()
    assert result.at - pressed_at < SECONDS_TO_END
    assert result.returncode == CANCELED
    assert [test.verdict for test in outcomes(result.stdout)[kind]] == ["Canceled"]
    assert running.terminal_settings()["as_before"]


@pytest.mark.parametrize("kind", KINDS)
def test_escape_ends_a_read(machine, world, kind):
    expect_end_in_time(reading(machine, world, kind), kind)
    assert machine.drives[kind].changes() == []


@pytest.mark.parametrize("kind", KINDS)
def test_escape_does_not_wait_for_a_drive_that_does_not_answer(machine, world, kind):
    drive = machine.drives[kind]
    running = reading(machine, world, kind)
    drive.hang(0, drive.size // drive.sector)
    wait_for("a read that hangs", drive.is_hanging, 30)
    expect_end_in_time(running, kind)
