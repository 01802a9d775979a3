"""Runs that are held up for longer than a transfer may take: never the disk's fault."""

import re
import signal
import subprocess
import time
from pathlib import Path

import pytest
from disk import device_id, needs_devices
from pace import Stopwatch

pytestmark = needs_devices

PASSED = 0
LIMIT = 3  # seconds that a transfer may take here
# Beyond what a reader that hangs itself is given, too.
PAUSE = LIMIT + 3


def children_of(pid, name):
    """The process ids of a process' children of that name."""
    found = []
    for entry in Path("/proc").iterdir():
        if not entry.name.isdigit():
            continue
        try:
            shown, rest = (entry / "stat").read_text().rsplit(") ", 1)
        except (FileNotFoundError, ProcessLookupError):
            continue
        if shown.endswith(f"({name[:15]}") and int(rest.split()[1]) == pid:
            found.append(int(entry.name))
    return found


def worker_of(pid):
    """The process id of the program's worker, which reads the disk."""
    (worker,) = children_of(pid, "orvan-worker")
    return worker


def turns(pid):
    """How often a process has come to wait for something."""
    status = Path(f"/proc/{pid}/task/{pid}/status").read_text()
    return int(re.search(r"^voluntary_ctxt_switches:\s+(\d+)", status, re.M)[1])


@pytest.mark.parametrize("who", ["worker", "program", "all"])
def test_pause_longer_than_the_limit_fails_no_healthy_disk(world, disk, who):
    (world.config_dir / "service.ini").write_text(
        f"[storage]\ninclude_loop=1\ntimeout_seconds={LIMIT}\n", encoding="utf-8"
    )
    identifier = device_id(world, disk.kernel_name)
    disk.command("hang", 20500, 1)  # a read that is slow; not where a search for partitions reads
    process = world.start(
        ["-Mstorage", "-El", identifier],
        start_new_session=True,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
    )
    paused = []
    try:
        disk.command("wait")
        worker = worker_of(process.pid)
        paused = {
            "worker": [worker],
            "program": [process.pid],
            "all": [process.pid, worker],
        }[who]
        for pid in paused:
            subprocess.run(["kill", "-STOP", str(pid)], check=True)
        if who == "program":
            # The disk answers meanwhile, for its reader is awake and counts.
            disk.command("resume")
        time.sleep(PAUSE)
        before = turns(paused[-1])
        for pid in paused:
            subprocess.run(["kill", "-CONT", str(pid)], check=True)
        if who in ("worker", "all"):
            # Awake again, and time to judge, before the disk answers.
            deadline = Stopwatch()
            while turns(paused[-1]) < before + 2:
                assert process.poll() is None and deadline.ticks < 6000
                time.sleep(0.01)
            disk.command("resume")
        output = process.communicate(timeout=60)[0].decode()
    finally:
        for pid in paused:
            subprocess.run(["kill", "-CONT", str(pid)], check=False, stderr=subprocess.DEVNULL)
        process.kill()
        process.wait()
    assert "Test Status: Passed!" in output
    assert process.returncode == PASSED


def test_disk_that_hangs_fails_within_its_limit_of_the_time_awake(world, disk):
    """A pause before the limit makes it no longer than the pause."""
    identifier = device_id(world, disk.kernel_name)
    disk.command("hang", 30000, 1)
    process = world.start(
        ["-Mstorage", "-El", identifier],
        start_new_session=True,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
    )
    try:
        disk.command("wait")
        process.send_signal(signal.SIGSTOP)
        time.sleep(1)
        process.send_signal(signal.SIGCONT)
        stopwatch = Stopwatch()
        output = process.communicate(timeout=60)[0].decode()
        assert stopwatch.seconds() < 4.0
    finally:
        process.kill()
        process.wait()
    assert re.search(r"\[Info\] A read at LBA \d+ did not come back within 2 seconds", output)
    assert process.returncode == 21
