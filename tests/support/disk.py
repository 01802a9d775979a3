"""A loop device on a file that fails on purpose (faulty_disk.cpp), for the real program to test."""

import os
import re
import subprocess
import time
from pathlib import Path

import pytest
from program import BINARY_DIR

LACKING = [path for path in ("/dev/fuse", "/dev/loop-control") if not os.path.exists(path)]
needs_devices = pytest.mark.skipif(
    bool(LACKING), reason=f"no block device can be made to fail here: {' '.join(LACKING)} is missing"
)

SECTOR = 512
SERVER = BINARY_DIR / "tests" / "faulty_disk"

# Errors as the block layer knows them.
EIO = 5
ENODEV = 19
ENODATA = 61  # a medium error
ETIMEDOUT = 110

DETACHMENT = 20  # seconds; what reads a disk on may hold it up

SECTORS = 32 * 1024 * 2  # 32 MiB
SMALL = 4 * 1024 * 2  # 4 MiB
ENDLESS = 4 * 1024 * 1024 * 1024 * 2  # 4 TiB, which no test reads to its end


class FaultyDisk:
    """`sectors` sectors of 512 bytes; `device` is the loop device's path."""

    def __init__(self, folder, sectors):
        self.folder = folder / "faulty"
        self.folder.mkdir()
        self.device = None
        self.server = subprocess.Popen(
            [str(SERVER), str(self.folder), str(sectors * SECTOR)],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
        )
        assert self.server.stdout.readline() == "ready\n"
        self.wait_for_mount()
        self.device = self.attach()

    def wait_for_mount(self):
        # The server says "ready" once it is mounted; the first look waits for its loop.
        assert (self.folder / "disk").stat().st_size > 0

    def attach(self):
        return subprocess.run(
            ["losetup", "--find", "--show", "--direct-io=on", str(self.folder / "disk")],
            check=True,
            capture_output=True,
            text=True,
        ).stdout.strip()

    def wait_for_detachment(self):
        """Up to the moment when the next disk gets this number, so that numbers go up."""
        bound = Path("/sys/block", self.kernel_name, "loop")
        deadline = time.monotonic() + DETACHMENT
        while bound.exists() and time.monotonic() < deadline:
            time.sleep(0.01)

    @property
    def kernel_name(self):
        return os.path.basename(self.device)

    def command(self, *words):
        """Gives the server a command (see faulty_disk.cpp) and returns what follows its "ok"."""
        self.server.stdin.write(" ".join(str(word) for word in words) + "\n")
        self.server.stdin.flush()
        answer = self.server.stdout.readline().strip()
        assert answer.split(" ")[0] == "ok", answer
        return answer[3:]

    def kill(self):
        """The server dies without a word; every read fails from now on."""
        self.server.kill()
        self.server.wait()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.server.poll() is None:
            self.command("resume")
            self.command("vanish", EIO)
        if self.device:
            subprocess.run(["losetup", "--detach", self.device], check=False)
            self.wait_for_detachment()
        if self.server.poll() is None:
            self.server.stdin.close()
            self.server.wait(20)
        subprocess.run(
            ["umount", "--lazy", str(self.folder)], check=False, stderr=subprocess.DEVNULL
        )


def device_id(world, kernel_name):
    """The id under which the module lists the device of that kernel name."""
    listing = world.run(["-Mstorage", "-D"]).stdout.decode()
    for block in listing.split("-" * 62):
        if re.search(rf"\b{kernel_name}$", block, re.M):
            return re.search(r"^Id +(\S+)$", block, re.M).group(1)
    raise AssertionError(f"{kernel_name} is not in the list:\n{listing}")
