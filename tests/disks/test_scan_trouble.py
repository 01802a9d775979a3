"""Disks that the search cannot look at: they keep their ids, and nothing is tested under a wrong one."""

import re
import subprocess

import pytest
from disk import SMALL, FaultyDisk, device_id, needs_devices
from pace import Stopwatch
from program import PROGRAM

pytestmark = needs_devices

NO_TEST = 23
INVALID = 24
NOT_AVAILABLE = 31
NOT_SEARCHED = (
    "TarvexDiagnosticsCLI: the devices of module Storage could not be searched: "
    "/sys/block: error 2 (no such file)\n"
)


@pytest.fixture
def disks(tmp_path):
    """Two neighbours, by their ids."""
    (tmp_path / "first").mkdir()
    (tmp_path / "second").mkdir()
    with FaultyDisk(tmp_path / "first", SMALL) as first:
        with FaultyDisk(tmp_path / "second", SMALL) as second:
            yield first, second


def run_behind(world, mounts, arguments):
    """Runs the program where these mounts, which nobody else sees, are in its way."""
    script = "".join(f"mount {mount} && " for mount in mounts) + 'exec "$0" "$@"'
    return subprocess.run(
        ["unshare", "--mount", "--propagation", "private", "sh", "-c", script, str(PROGRAM)]
        + arguments,
        env=world.environment,
        cwd=world.work_dir,
        stdin=subprocess.DEVNULL,
        capture_output=True,
        timeout=60,
        check=False,
    )


def log_of(world):
    return "".join(log.read_text() for log in sorted((world.state_dir / "log").iterdir()))


@pytest.mark.parametrize("attribute", ["dev", "size", "loop/backing_file"])
def test_disk_that_cannot_be_looked_at_keeps_its_id_and_is_not_tested(world, disks, attribute):
    first, second = disks
    ids = [device_id(world, disk.kernel_name) for disk in disks]
    # An attribute that is no file any more.
    hidden = [f"--bind /dev/null /sys/block/{first.kernel_name}/{attribute}"]
    reason = f"{attribute}: error 2 (no such file)"

    listing = run_behind(world, hidden, ["-Mstorage", "-D"]).stdout.decode()
    blocks = [block for block in listing.split("-" * 62) if f"Id                        {ids[0]}\n" in block]
    assert len(blocks) == 1, listing
    assert f"Could Not Be Read         {reason}\n" in blocks[0]
    assert re.search(rf"Kernel Name +{first.kernel_name}$", blocks[0], re.M)
    assert re.search(rf"^Id +{ids[1]}$(?:\n.+)*\nKernel Name +{second.kernel_name}$", listing, re.M)

    reads = [int(disk.command("reads")) for disk in disks]
    run = run_behind(world, hidden, ["-Mstorage", "-El", ids[0]])
    output = run.stdout.decode()
    assert "Test Status: Invalid!" in output
    assert run.returncode == INVALID
    # Neither it nor its neighbour: a whole read takes more, a look for file systems less.
    for disk, before in zip(disks, reads):
        assert int(disk.command("reads")) - before < 64
    assert f"device {ids[0]} cannot be tested: The disk could not be looked at:" in log_of(world)


@pytest.mark.parametrize("arguments", [["-D"], ["-Qf"], ["-Qf", "0"]])
def test_search_that_could_not_look_says_so(world, arguments):
    run = run_behind(world, ["-t tmpfs none /sys"], ["-Mstorage", *arguments])
    output = run.stdout.decode()
    assert "Display Name              Storage: the devices could not be searched\n" in output
    assert "Reason                    /sys/block: error 2 (no such file)\n" in output
    assert "No devices found" not in output
    assert "scan of module Storage ended: /sys/block: error 2 (no such file)" in log_of(world)
    assert NOT_SEARCHED in run.stderr.decode()
    if arguments != ["-D"]:
        assert "Test Status: Invalid!" in output
        assert run.returncode == INVALID


@pytest.mark.parametrize(
    "arguments,status", [(["-Qf", "1"], NOT_AVAILABLE), (["--HDK", "-Qf", "1"], NO_TEST)]
)
def test_search_that_could_not_look_says_so_to_who_names_another_device(world, arguments, status):
    run = run_behind(world, ["-t tmpfs none /sys"], ["-Mstorage", *arguments])
    assert NOT_SEARCHED in run.stderr.decode()
    assert run.returncode == status


def test_disk_that_hangs_costs_its_neighbour_nothing(world, disks):
    """Neither the search, nor the test of it, nor what both leave in the kernel."""
    first, second = disks
    ids = [device_id(world, disk.kernel_name) for disk in disks]
    first.command("hang", 0, SMALL)
    stopwatch = Stopwatch()
    found = world.run(["-Mstorage", "-Qf", *ids])
    # 2 s (timeout_seconds) in the test; none in the search, nor to find the disks again.
    assert stopwatch.seconds() < 4
    output = found.stdout.decode()
    assert output.count("Test Status: Passed!") == 1, output
    assert "did not come back within 2 seconds" in output
    log = log_of(world)
    assert "scan: " not in log
    assert "was left behind, for the system did not come back from" in log


def test_look_at_what_is_on_a_disk_that_hangs_leaves_it_out_and_the_neighbour_in(world, disks):
    disks[0].command("hang", 0, SMALL)
    stopwatch = Stopwatch()
    found = world.run(["-Mstorage", "-R"])
    # 2 s for the look.
    assert stopwatch.seconds() < 4
    output = found.stdout.decode()
    for disk in disks:
        assert f"Kernel Name               {disk.kernel_name}\n" in output
    assert found.returncode == 0
    left = "resources: in the worker of module Storage the system did not come back from 1 call"
    assert left in log_of(world)
