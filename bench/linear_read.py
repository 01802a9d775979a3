#!/usr/bin/env python3
"""The linear read of a whole disk beside fio with the same block size and depth.

The disk is a loop device over a sparse file in memory, so that neither is held up by hardware.
Runs alternate, and the middle one counts. Ours is timed from the start of the process to its end,
with everything around the test; fio by its own figure for the reading alone.
"""

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


def own_seconds(device, identifier, values):
    before = bytes_read_from(device)
    start = time.monotonic()
    result = subprocess.run(
        [world.PROGRAM, "-Mstorage", f"-El(block_kib={BLOCK_KIB})", identifier],
        env=values,
        capture_output=True,
        check=False,
    )
    took = time.monotonic() - start
    assert result.returncode == 0, result.stdout.decode()
    assert b"Test Status: Passed!" in result.stdout
    assert bytes_read_from(device) - before >= SIZE_MIB * 1024 * 1024
    return took


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
                pairs = [
                    (own_seconds(device, identifier, values), fio_seconds(device))
                    for _ in range(ROUNDS)
                ]
            finally:
                subprocess.run(["losetup", "--detach", device], check=True)
        finally:
            image.unlink(missing_ok=True)
    own = sorted(pair[0] for pair in pairs)[ROUNDS // 2]
    fio = sorted(pair[1] for pair in pairs)[ROUNDS // 2]
    print(f"Linear read of {SIZE_MIB} MiB, {BLOCK_KIB} KiB blocks, {DEPTH} in flight")
    print(f"  ours {SIZE_MIB / own:8.0f} MiB/s   fio {SIZE_MIB / fio:8.0f} MiB/s")
    return 0 if world.verdict("ratio to fio", fio / own, 0.95, at_most=False) else 1


if __name__ == "__main__":
    sys.exit(main())
