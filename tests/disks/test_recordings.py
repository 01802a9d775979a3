"""That a run on a recorded machine says what the recorded run said, without the machine."""

import os
import shutil

import pytest
from disk import EIO, ENODATA, SMALL, FaultyDisk, device_id, needs_devices
from recorded import assert_alike, record, replay

pytestmark = needs_devices

PASSED, FAILED = 0, 21

FAULTS = {
    "good": [],
    "bad": [("fail", 0, 1, EIO), ("fail", 4095, 3, ENODATA), ("fail", SMALL - 1, 1, EIO)],
    "hanging": [("hang", 5000, 1)],
    "gone": [("vanish", EIO)],
}


@pytest.mark.parametrize("fault", FAULTS)
@pytest.mark.parametrize("arguments", ["-D", "-R", "-Q", "-E"])
def test_a_replay_says_what_the_recorded_run_said(world, tmp_path, fault, arguments):
    tape = tmp_path / "tape"
    with FaultyDisk(tmp_path, SMALL) as disk:
        id = device_id(world, disk.kernel_name)
        for command in FAULTS[fault]:
            disk.command(*command)
        words = ["-Mstorage", arguments] + ([id] if arguments in ("-Q", "-E") else [])
        recorded = record(world, words, tape)
        disk.command("resume")
    if arguments in ("-Q", "-E"):
        assert recorded.returncode == (PASSED if fault == "good" else FAILED)
    # The disk is not there any more.
    assert_alike(recorded, replay(world, words, tape))


def test_a_recording_holds_nothing_of_the_disk(world, tmp_path):
    tape = tmp_path / "tape"
    with FaultyDisk(tmp_path, SMALL) as disk:
        id = device_id(world, disk.kernel_name)
        assert record(world, ["-Mstorage", "-E", id], tape).returncode == PASSED
    # Every byte of a sector is the low byte of its number.
    assert b"AAAAAAAA" not in tape.read_bytes()
    assert os.stat(tape).st_mode & 0o777 == 0o600


def test_a_test_that_was_not_recorded_is_invalid(world, tmp_path):
    tape = tmp_path / "tape"
    with FaultyDisk(tmp_path, SMALL) as disk:
        id = device_id(world, disk.kernel_name)
        record(world, ["-Mstorage", "-D"], tape)
    result = replay(world, ["-Mstorage", "-Q", id], tape)
    assert b"Test Status: Passed!" not in result.stdout
    assert b"not in the recording" in result.stdout.lower()


def test_a_full_disk_ends_the_recording_and_not_the_run(world, small_disk, tmp_path):
    id = device_id(world, small_disk.kernel_name)
    shutil.rmtree(world.state_dir / "log", ignore_errors=True)
    small = tmp_path / "small"
    small.mkdir()
    os.system(f"mount -t tmpfs -o size=16k none {small}")
    try:
        result = record(world, ["-Mstorage", "-E", id], small / "tape")
    finally:
        os.system(f"umount {small}")
    assert result.returncode == PASSED
    (log,) = (world.state_dir / "log").iterdir()
    assert "the recording of module Storage ends here: No space left on device" in log.read_text()
