#!/usr/bin/env python3
"""The linear read of a whole disk beside fio, badblocks and ddrescue.

The disk is a loop device over a sparse file in memory, so that none is held up by hardware. Runs
take turns, and the middle one counts. Ours is timed from the start of the process to its end, with
everything around the test, and so are badblocks and ddrescue; fio, with the same blocks and as many
in flight, by its own figure for the reading alone.
"""

import functools
import json
import os
import re
import subprocess
import sys
import time
from pathlib import Path

import world

SIZE_MIB = 12 * 1024
BLOCK_KIB = int(os.environ.get("BLOCK_KIB", "1024"))
DEPTH = int(os.environ.get("DEPTH", "4"))
ROUNDS = 5


def fio_seconds(device):
    output = subprocess.run(
        ["fio", "--name=read", "--rw=read", "--direct=1", "--ioengine=io_uring", "--readonly"]
        + [f"--bs={BLOCK_KIB}k", f"--iodepth={DEPTH}", f"--filename={device}"]
        + ["--output-format=json"],
        check=True,
        capture_output=True,
        text=True,
    ).stdout
    job = json.loads(output)["jobs"][0]["read"]
    assert job["io_bytes"] == SIZE_MIB * 1024 * 1024
    return job["runtime"] / 1000


def bytes_read_from(device):
    """What the kernel says the device has been read, in bytes."""
    fields = Path(f"/sys/block/{os.path.basename(device)}/stat").read_text().split()
    return int(fields[2]) * 512


def whole_run_seconds(device, words, values=None):
    """From the start of the process to its end, in which it has read the whole device; its output."""
    before = bytes_read_from(device)
    start = time.monotonic()
    result = subprocess.run(words, env=values, capture_output=True, check=False)
    took = time.monotonic() - start
    assert result.returncode == 0, (words, result.stdout.decode(), result.stderr.decode())
    assert bytes_read_from(device) - before >= SIZE_MIB * 1024 * 1024, words
    return took, result.stdout


def own_seconds(device, identifier, values):
    words = [world.PROGRAM, "-Mstorage", f"-El(block_kib={BLOCK_KIB})", identifier]
    took, shown = whole_run_seconds(device, words, values)
    assert b"Test Status: Passed!" in shown
    return took


def badblocks_seconds(device):
    # Read-only, and nothing shown; 4 MiB together, with which it is fastest.
    words = ["badblocks", "-b", "4096", "-c", "1024", device]
    return whole_run_seconds(device, words)[0]


def ddrescue_seconds(device):
    # Past the page cache, with as many of its sectors of 512 bytes together as make a block of ours.
    words = ["ddrescue", "--idirect", "--force", f"--cluster-size={BLOCK_KIB * 2}"]
    return whole_run_seconds(device, [*words, device, "/dev/null"])[0]


def identifier_of(name, values):
    listing = subprocess.run(
        [world.PROGRAM, "-Mstorage", "-D"], env=values, capture_output=True, check=True, text=True
    ).stdout
    for block in listing.split("-" * 62):
        if re.search(rf"\b{name}$", block, re.M):
            return re.search(r"^Id +(\S+)$", block, re.M).group(1)
    raise SystemExit(f"{name} is not in the list of devices:\n{listing}")


def main():
    image = Path(f"/dev/shm/tarvex-bench-{os.getpid()}.img")
    with world.folder() as folder:
        values = world.environment(folder)
        (Path(folder) / "config/service.ini").write_text("[storage]\ninclude_loop=1\n")
        try:
            with open(image, "wb") as file:
                file.truncate(SIZE_MIB * 1024 * 1024)
            device = subprocess.run(
                ["losetup", "--find", "--show", image], check=True, capture_output=True, text=True
            ).stdout.strip()
            try:
                identifier = identifier_of(os.path.basename(device), values)
                readers = {
                    "ours": functools.partial(own_seconds, device, identifier, values),
                    "fio": functools.partial(fio_seconds, device),
                    "badblocks": functools.partial(badblocks_seconds, device),
                    "ddrescue": functools.partial(ddrescue_seconds, device),
                }
                rounds = [{name: read() for name, read in readers.items()} for _ in range(ROUNDS)]
            finally:
                subprocess.run(["losetup", "--detach", device], check=True)
        finally:
            image.unlink(missing_ok=True)
    middle = {name: sorted(one[name] for one in rounds)[ROUNDS // 2] for name in readers}
    print(f"Linear read of {SIZE_MIB} MiB, {BLOCK_KIB} KiB blocks, {DEPTH} in flight")
    for name, seconds in middle.items():
        print(f"  {name:10} {SIZE_MIB / seconds:8.0f} MiB/s")
    fastest = min((name for name in middle if name != "ours"), key=middle.get)
    ratio = middle[fastest] / middle["ours"]
    good = world.verdict(f"ratio to the fastest of them, {fastest}", ratio, 1.0, at_most=False)
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
