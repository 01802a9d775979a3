"""The storage module on real block devices that fail on purpose."""

import os
import re
import signal
import subprocess
import time

import pytest
from disk import EIO, ENODATA, ENODEV, ETIMEDOUT, SERVER, FaultyDisk
from program import World

LACKING = [path for path in ("/dev/fuse", "/dev/loop-control") if not os.path.exists(path)]
pytestmark = pytest.mark.skipif(
    bool(LACKING), reason=f"no block device can be made to fail here: {' '.join(LACKING)} is missing"
)

PASSED, FAILED = 0, 21
SECTORS = 32 * 1024 * 2  # 32 MiB
SMALL = 4 * 1024 * 2  # 4 MiB


@pytest.fixture
def world(tmp_path):
    assert os.geteuid() == 0, "the lab needs root"
    world = World(tmp_path)
    (world.config_dir / "service.ini").write_text(
        "[storage]\ninclude_loop=1\ntimeout_seconds=2\n", encoding="utf-8"
    )
    return world


@pytest.fixture
def disk(tmp_path):
    assert SERVER.exists()
    with FaultyDisk(tmp_path, SECTORS) as disk:
        yield disk


@pytest.fixture
def small_disk(tmp_path):
    """For what makes every sector be tried on its own."""
    with FaultyDisk(tmp_path, SMALL) as disk:
        yield disk


def device_id(world, kernel_name):
    """The id under which the module lists the device of that kernel name."""
    listing = world.run(["-Mstorage", "-D"]).stdout.decode()
    for block in listing.split("-" * 62):
        if re.search(rf"\b{kernel_name}$", block, re.M):
            return re.search(r"^Id +(\S+)$", block, re.M).group(1)
    raise AssertionError(f"{kernel_name} is not in the list:\n{listing}")


def read_whole_surface(world, disk, diagnostic="-El"):
    result = world.run(["-Mstorage", diagnostic, device_id(world, disk.kernel_name)])
    return result.returncode, result.stdout.decode()


def named_fault(output):
    """(first sector, count, error) as the verdict's message on the screen names them."""
    found = re.findall(
        r"\[Info\] Unreadable sectors: first LBA (\d+), count (\d+), error (\d+) ", output
    )
    assert len(found) == 1, output
    return tuple(int(number) for number in found[0])


def test_healthy_disk_passes(world, disk):
    status, output = read_whole_surface(world, disk)
    assert "Test Status: Passed!" in output
    assert status == PASSED
    assert int(disk.command("reads")) > 0


def test_loop_devices_are_no_disks_without_the_setting(tmp_path, disk):
    listing = World(tmp_path / "plain").run(["-Mstorage", "-D"]).stdout.decode()
    assert disk.kernel_name not in listing


@pytest.mark.parametrize(
    "first,count,error",
    [
        (0, 1, EIO),
        (1000, 1, EIO),
        (1000, 3, EIO),
        (4095, 2, ENODATA),
        (20479, 130, EIO),
        (SECTORS - 1, 1, ENODATA),
    ],
)
def test_unreadable_sectors_are_named_exactly(world, disk, first, count, error):
    disk.command("fail", first, count, error)
    status, output = read_whole_surface(world, disk)
    assert "Test Status: Failed!" in output
    assert status == FAILED
    assert named_fault(output) == (first, count, error)


def test_faults_in_two_places_are_counted_together_and_the_rest_is_read(world, disk):
    disk.command("fail", 2000, 5, EIO)
    disk.command("fail", 60000, 2, ENODATA)
    status, output = read_whole_surface(world, disk)
    assert status == FAILED
    assert named_fault(output) == (2000, 7, EIO)


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
        start = time.monotonic()
        process.send_signal(signal.SIGTERM)
        assert process.wait(10) == 25
        assert time.monotonic() - start < 1.0
    finally:
        process.kill()
        process.wait()


@pytest.mark.parametrize("error", [ENODEV, ETIMEDOUT], ids=["no device", "timed out"])
def test_disk_that_vanishes_never_passes(world, small_disk, error):
    identifier = device_id(world, small_disk.kernel_name)
    small_disk.command("vanish", error)
    result = world.run(["-Mstorage", "-El", identifier])
    assert "Passed!" not in result.stdout.decode()
    assert result.returncode not in (PASSED, 23)


def test_disk_whose_server_is_killed_fails(world, small_disk):
    identifier = device_id(world, small_disk.kernel_name)
    small_disk.kill()
    result = world.run(["-Mstorage", "-El", identifier])
    assert "Passed!" not in result.stdout.decode()
    assert result.returncode not in (PASSED, 23)


def test_listing_does_not_wait_for_a_disk_that_hangs(world, disk):
    disk.command("hang", 0, SECTORS)
    start = time.monotonic()
    listing = world.run(["-Mstorage", "-D"], timeout=60).stdout.decode()
    # One look at what is on the disk is given 5 s, and no second one follows.
    assert time.monotonic() - start < 9.0
    assert disk.kernel_name in listing
