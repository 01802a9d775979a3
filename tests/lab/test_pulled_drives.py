"""Drives of every kind that are pulled in the middle of each read test."""

import re

import pytest
from emulator import wait_for
from machines import KINDS, MIB
from outcome import FAILED, outcomes

MACHINE = "pulls"
SECONDS_TO_VERDICT = 5
SLOW = 4 * MIB  # bytes per second: a test of 64 MiB is under way for many seconds
FAR = 2 * MIB  # bytes into a test


@pytest.mark.parametrize("test", ["f", "r", "p", "l"])
@pytest.mark.parametrize("kind", KINDS)
def test_pulled_drive_fails_in_time_and_the_rest_of_the_run_goes_on(machine, world, kind, test):
    name = f"{kind}-{test}"
    drive = machine.drives[name]
    ids = [world.id_of(name), world.id_of("stays")]
    drive.throttle(SLOW)
    running = world.start(["-Mstorage", f"-E{test}", *ids])
    running.expect(rb"=> (Funnel|Random|Performance|Linear) Read Test")
    before = drive.bytes_read()
    wait_for("reading", lambda: running.guest.clock() and drive.bytes_read() > before + FAR, 60)
    pulled_at = machine.guest.clock()
    machine.pull(name)
    _, judged_at = running.expect(rb"Test Status: \w+!")
    result = running.wait()
    assert judged_at - pulled_at <= SECONDS_TO_VERDICT
    found = outcomes(result.stdout)
    assert [outcome.verdict for outcome in found[name]] == ["Failed"]
    assert [outcome.verdict for outcome in found["stays"]] == ["Passed"]
    said = [text for text in found[name][0].said if not text.startswith("Reading in random order")]
    vanished = r"The disk vanished while reading at LBA (\d+)(, after \d+ reads? had failed)?"
    assert len(said) == 1 and (end := re.fullmatch(vanished, said[0])), said
    assert int(end[1]) < drive.size // drive.sector
    assert result.returncode == FAILED


def test_drive_that_was_pulled_and_put_in_again_is_as_sound_as_before(machine, world):
    machine.pull("scsi-f") if "scsi-f" in machine.kernel_names() else None
    machine.put_in("scsi-f")
    wait_for("the drive", lambda: "scsi-f" in machine.kernel_names(), 30)
    result = world.run(["-Mstorage", "-El", world.id_of("scsi-f")])
    assert [outcome.verdict for outcome in outcomes(result.stdout)["scsi-f"]] == ["Passed"]
