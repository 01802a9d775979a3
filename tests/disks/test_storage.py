"""The storage module's tests on real block devices that fail on purpose."""

import re
import signal
import subprocess
import time

import pytest
from disk import (
    EIO,
    ENODATA,
    ENODEV,
    ETIMEDOUT,
    SECTORS,
    SMALL,
    device_id,
    needs_devices,
)
from pace import Stopwatch
from program import World

pytestmark = needs_devices

PASSED, FAILED, WARNING, CANCELED = 0, 21, 22, 25
NAMES = {EIO: "input/output error", ENODATA: "critical medium error", ETIMEDOUT: "timeout"}


def read_whole_surface(world, disk, diagnostic="-El"):
    result = world.run(["-Mstorage", diagnostic, device_id(world, disk.kernel_name)])
    return result.returncode, result.stdout.decode()


def said(output, beginning):
    """The one line of the screen that says something beginning so, whole."""
    found = re.findall(rf"\[Info\] ({beginning}.*)$", output, re.M)
    assert len(found) == 1, output
    return found[0]


def unreadable(first, count, error, ranges):
    """How the verdict names unreadable sectors."""
    return (
        f"Unreadable sectors: first LBA {first}, count {count}, "
        f"error {error} ({NAMES[error]}), sectors {ranges}"
    )


def test_healthy_disk_passes(world, disk):
    status, output = read_whole_surface(world, disk)
    assert "Test Status: Passed!" in output
    assert status == PASSED
    assert int(disk.command("reads")) > 0


def test_loop_devices_are_no_disks_without_the_setting(tmp_path, disk):
    listing = World(tmp_path / "plain").run(["-Mstorage", "-D"]).stdout.decode()
    assert disk.kernel_name not in listing


@pytest.mark.parametrize(
    "first,count,error,ranges",
    [
        (0, 1, EIO, "0"),
        (1000, 1, EIO, "1000"),
        (1000, 3, EIO, "1000-1002"),
        (4095, 2, ENODATA, "4095-4096"),  # on both sides of a block's edge
        (20479, 130, EIO, "20479-20608"),
        (SECTORS - 1, 1, ENODATA, "65535"),
    ],
)
def test_unreadable_sectors_are_named_exactly(world, disk, first, count, error, ranges):
    disk.command("fail", first, count, error)
    status, output = read_whole_surface(world, disk)
    assert "Test Status: Failed!" in output
    assert status == FAILED
    assert said(output, "Unreadable sectors:") == unreadable(first, count, error, ranges)


def test_faults_in_two_places_are_counted_together_and_the_rest_is_read(world, disk):
    disk.command("fail", 2000, 5, EIO)
    disk.command("fail", 60000, 2, ENODATA)
    status, output = read_whole_surface(world, disk)
    assert status == FAILED
    assert said(output, "Unreadable sectors:") == unreadable(
        2000, 7, EIO, "2000-2004, 60000-60001"
    )


def test_eight_places_are_listed_and_more_are_hinted_at(world, disk):
    for place in range(1, 10):
        disk.command("fail", 5000 * place, 2 if place == 8 else 1, EIO)
    status, output = read_whole_surface(world, disk)
    assert status == FAILED
    listed = "5000, 10000, 15000, 20000, 25000, 30000, 35000, 40000-40001, ..."
    assert said(output, "Unreadable sectors:") == unreadable(5000, 10, EIO, listed)


def test_healed_disk_passes_again(world, disk):
    disk.command("fail", 1000, 3, EIO)
    assert read_whole_surface(world, disk)[0] == FAILED
    disk.command("heal", 1000, 3)
    assert read_whole_surface(world, disk)[0] == PASSED


@pytest.mark.parametrize("diagnostic", ["-Qf", "-Qr"])
def test_other_reads_of_a_dead_surface_fail_too(world, small_disk, diagnostic):
    small_disk.command("fail", 0, SMALL, EIO)
    status, output = read_whole_surface(world, small_disk, diagnostic)
    assert "Test Status: Failed!" in output
    assert status == FAILED


def test_transfer_that_hangs_fails_within_its_limit_and_the_program_ends(world, disk):
    identifier = device_id(world, disk.kernel_name)
    disk.command("hang", 30000, 1)
    start = time.monotonic()
    result = world.run(["-Mstorage", "-El", identifier], timeout=30)
    took = time.monotonic() - start
    output = result.stdout.decode()
    assert re.search(r"\[Info\] A read at LBA \d+ did not come back within 2 seconds", output)
    assert "Test Status: Failed!" in output
    assert result.returncode == FAILED
    # The limit of this test's setting, and one second to leave; the read itself still hangs.
    assert 2.0 <= took < 6.0


def test_answer_that_comes_late_is_no_pass(world, disk):
    identifier = device_id(world, disk.kernel_name)
    disk.command("hang", 20000, 1)
    process = world.start(
        ["-Mstorage", "-El(slow_ms=500,block_kib=4096)", identifier], stdout=subprocess.PIPE
    )
    try:
        disk.command("wait")
        time.sleep(1)  # that late
        disk.command("resume")
        output = process.communicate(timeout=30)[0].decode()
    finally:
        process.kill()
        process.wait()
    assert "Test Status: Warning!" in output
    assert re.fullmatch(
        r"Slow answers: count 1, slowest 1\.\d seconds at LBA 16384, sectors 16384-24575",
        said(output, "Slow answers:"),
    )
    assert process.returncode == WARNING


def test_stopping_does_not_wait_for_a_transfer_that_hangs(world, disk):
    identifier = device_id(world, disk.kernel_name)
    (world.config_dir / "service.ini").write_text(
        "[storage]\ninclude_loop=1\ntimeout_seconds=30\n", encoding="utf-8"
    )
    # Not where a search for partitions reads too.
    disk.command("hang", 20000, 1000)
    process = world.start(
        ["-Mstorage", "-El", identifier], start_new_session=True, stdout=subprocess.DEVNULL
    )
    try:
        disk.command("wait")
        stopwatch = Stopwatch()
        process.send_signal(signal.SIGTERM)
        assert process.wait(10) == CANCELED
        assert stopwatch.seconds() < 1.0
    finally:
        process.kill()
        process.wait()


def test_disk_that_vanished_fails_and_is_said_to_have_vanished(world, small_disk):
    small_disk.command("vanish", ENODEV)
    status, output = read_whole_surface(world, small_disk)
    assert said(output, "The disk") == "The disk vanished while reading at LBA 0"
    assert "Test Status: Failed!" in output
    assert status == FAILED


def read_while_it_vanishes(world, disk):
    """A read from LBA 20480 on, with the disk gone once the read of LBA 20500 hangs; status, output."""
    identifier = device_id(world, disk.kernel_name)
    (world.config_dir / "service.ini").write_text(
        "[storage]\ninclude_loop=1\ntimeout_seconds=30\n", encoding="utf-8"
    )
    disk.command("hang", 20500, 1)
    process = world.start(
        ["-Mstorage", "-El(first_lba=20480)", identifier],
        start_new_session=True,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
    )
    try:
        disk.command("wait")
        disk.command("vanish", ENODEV)
        disk.command("resume")
        output = process.communicate(timeout=20)[0].decode()
    finally:
        process.kill()
        process.wait()
    return process.returncode, output


def test_disk_that_vanishes_during_a_read_fails_at_the_oldest_read(world, disk):
    # It begins with the block that hangs, so that no slow read can be an older one.
    status, output = read_while_it_vanishes(world, disk)
    assert said(output, "The disk") == "The disk vanished while reading at LBA 20480"
    assert "Test Status: Failed!" in output
    assert status == FAILED


def test_reads_that_fail_right_before_the_disk_vanishes_are_told_as_part_of_that(world, disk):
    # Pulled out: errors first, and gone a moment later. It begins there, for an answer that came late
    # would vouch for the disk.
    disk.command("fail", 20480, SECTORS - 20480, EIO)
    status, output = read_while_it_vanishes(world, disk)
    end = re.fullmatch(
        r"The disk vanished while reading at LBA 20480, after (\d+) reads had failed",
        said(output, "The disk"),
    )
    assert end and int(end[1]) >= 21  # the block and its first twenty sectors
    assert "nreadable" not in output
    assert status == FAILED


@pytest.mark.parametrize("error", [ETIMEDOUT, ENODATA], ids=["timed out", "medium"])
def test_disk_that_answers_every_read_with_an_error_fails(world, small_disk, error):
    small_disk.command("vanish", error)
    status, output = read_whole_surface(world, small_disk)
    assert said(output, "Unreadable sectors:") == unreadable(0, SMALL, error, f"0-{SMALL - 1}")
    assert "Test Status: Failed!" in output
    assert status == FAILED


def test_disk_whose_server_is_killed_fails(world, small_disk):
    identifier = device_id(world, small_disk.kernel_name)
    small_disk.kill()
    result = world.run(["-Mstorage", "-El", identifier])
    output = result.stdout.decode()
    # The loop device has one word for all that it does not know.
    assert said(output, "Unreadable sectors:") == unreadable(0, SMALL, EIO, f"0-{SMALL - 1}")
    assert "Test Status: Failed!" in output
    assert result.returncode == FAILED


def test_listing_does_not_wait_for_a_disk_that_hangs(world, disk):
    disk.command("hang", 0, SECTORS)
    stopwatch = Stopwatch()
    listing = world.run(["-Mstorage", "-D"], timeout=60).stdout.decode()
    # One look at what is on the disk is given 5 s, and no second one follows.
    assert stopwatch.seconds() < 9.0
    assert disk.kernel_name in listing
