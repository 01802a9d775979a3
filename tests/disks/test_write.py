"""The write test on real block devices: what it finds, and that nothing of anybody's is written."""

import hashlib
import os
import re
import subprocess

import pytest
from disk import device_id, needs_devices
from pace import Stopwatch
from program import BINARY_DIR
from terminal import Terminal

pytestmark = needs_devices

PASSED, FAILED, NOT_APPLICABLE, CANCELED = 0, 21, 23, 25
MIB = 1 << 20
ASKED = "w(destructive=yes)"


class PlainDisk:
    """A loop device over a file that can be looked at, and written, behind its back."""

    def __init__(self, path, size, sector=512):
        self.path = path
        with path.open("wb") as file:
            file.truncate(size)
        self.device = subprocess.run(
            ["losetup", "--find", "--show", "--direct-io=on", f"--sector-size={sector}", str(path)],
            check=True, capture_output=True, text=True,
        ).stdout.strip()  # fmt: skip
        self.name = os.path.basename(self.device)

    def put(self, offset, content):
        with self.path.open("r+b") as file:
            file.seek(offset)
            file.write(content)
            os.fsync(file.fileno())

    def hash(self):
        return hashlib.sha256(self.path.read_bytes()).hexdigest()

    def detach(self):
        subprocess.run(["losetup", "--detach", self.device], check=False)


@pytest.fixture
def make_disk(tmp_path):
    made = []

    def make(size=16 * MIB, sector=512):
        made.append(PlainDisk(tmp_path / f"plain-{len(made)}", size, sector))
        return made[-1]

    yield make
    for disk in made:
        disk.detach()


def write(world, disk, tests=ASKED):
    result = world.run(["-Mstorage", f"-E{tests}", device_id(world, disk.name)])
    output = result.stdout.decode()
    assert re.search(rf"^Kernel Name +{disk.name}$", output, re.M), "another disk was tested"
    return result.returncode, output


def expect_untouched(world, disk, reason, tests=ASKED):
    before = disk.hash()
    status, output = write(world, disk, tests)
    assert "Test Status: Not Applicable!" in output
    assert reason in output
    assert status == NOT_APPLICABLE
    assert disk.hash() == before


@pytest.mark.parametrize("sector", [512, 4096])
def test_an_empty_disk_passes_and_holds_the_pattern(world, make_disk, sector):
    disk = make_disk(sector=sector)
    status, output = write(world, disk)
    assert "Test Status: Passed!" in output
    assert status == PASSED
    content = disk.path.read_bytes()
    sectors = [content[at : at + sector] for at in range(0, len(content), sector)]
    # The second of two passes turns every bit round; the address begins 24 bytes on.
    for lba, found in enumerate(sectors):
        head = bytes(byte ^ 0xFF for byte in found[:32])
        assert head[:8] == b"TVXWRITE"
        assert int.from_bytes(head[24:32], "little") == lba
    assert len(set(sectors)) == len(sectors)
    # What it left is nobody's.
    assert write(world, disk)[0] == PASSED


def test_nothing_is_written_unless_it_is_asked_for(world, make_disk):
    disk = make_disk()
    for tests in ("w", "w(destructive=no)", "w(overwrite=yes)", "w(seed=1)"):
        expect_untouched(world, disk, "Ask for it with w(destructive=yes)", tests)


def test_a_value_that_is_neither_yes_nor_no_is_refused(world, make_disk):
    disk = make_disk()
    before = disk.hash()
    status, output = write(world, disk, "w(destructive=please)")
    assert "must be yes or no" in output.lower()
    assert status != PASSED
    assert disk.hash() == before


# A boot sector with one partition, and the first block of an encrypted volume.
MBR = {446: bytes([0, 0, 0, 0, 0x83, 0, 0, 0, 0, 8, 0, 0, 0, 8, 0, 0]), 510: b"\x55\xaa"}
LUKS = {0: b"LUKS\xba\xbe\x00\x01"}


@pytest.mark.parametrize("parts,what", [(MBR, "dos"), (LUKS, "a file system (crypto LUKS)")])
@pytest.mark.parametrize("tests", [ASKED, "w(destructive=yes,overwrite=yes)"])
def test_a_disk_with_a_signature_is_not_written(world, make_disk, parts, what, tests):
    disk = make_disk()
    for offset, content in parts.items():
        disk.put(offset, content)
    expect_untouched(
        world, disk, f"The disk is not empty, nothing was written: it holds {what}", tests
    )


def test_a_disk_with_a_file_system_is_not_written(world, make_disk):
    disk = make_disk()
    subprocess.run(["mkfs.ext4", "-q", str(disk.path)], check=True)
    expect_untouched(world, disk, "it holds a file system (ext4)", "w(destructive=yes,overwrite=yes)")


def test_a_mounted_disk_is_not_written(world, make_disk, tmp_path):
    disk = make_disk()
    subprocess.run(["mkfs.ext4", "-q", str(disk.path)], check=True)
    folder = tmp_path / "mounted"
    folder.mkdir()
    subprocess.run(["mount", "-o", "ro,noload", disk.device, str(folder)], check=True)
    try:
        expect_untouched(world, disk, "mounted at ", "w(destructive=yes,overwrite=yes)")
    finally:
        subprocess.run(["umount", str(folder)], check=True)


def test_a_disk_that_somebody_holds_is_not_written(world, make_disk):
    disk = make_disk()
    holder = os.open(disk.device, os.O_RDONLY | os.O_EXCL)
    try:
        expect_untouched(world, disk, "The disk is in use, nothing was written: somebody holds it")
    finally:
        os.close(holder)


@pytest.mark.parametrize("offset", [0, 9 * MIB, 16 * MIB - 1])
def test_data_that_no_signature_names_is_written_over_only_when_that_is_asked_for(
    world, make_disk, offset
):
    disk = make_disk()
    disk.put(offset, b"x")
    expect_untouched(
        world, disk,
        f"Nothing was written: the disk holds data that no signature names, at LBA {offset // 512}. "
        "To have it written over ask for w(destructive=yes,overwrite=yes)",
    )  # fmt: skip
    assert write(world, disk, "w(destructive=yes,overwrite=yes)")[0] == PASSED


def test_what_comes_to_be_on_a_disk_after_the_search_is_seen(world, make_disk):
    """Another test of the same run goes before, and somebody encrypts the disk meanwhile."""
    disk = make_disk(size=4096 * MIB)
    identifier = device_id(world, disk.name)
    tests = "l,w(destructive=yes,overwrite=yes,last_lba=2047)"
    with Terminal(world, ["-Mstorage", f"-E{tests}", identifier]) as terminal:
        terminal.expect(rb"=> Linear Read Test\r\n")
        disk.put(0, LUKS[0])
        terminal.expect(rb"=> Write Test\r\n")
        terminal.expect(rb"nothing was written: it holds a file system \(crypto")
        terminal.expect(rb"Test Status: Not Applicable!\r\n")
        assert terminal.wait(20) == PASSED  # the linear read did
    with disk.path.open("rb") as file:
        assert file.read(MIB) == LUKS[0] + bytes(MIB - 8)


class ServedDisk:
    """A loop device over a file that a server holds in memory, and that can hang and fail."""

    def __init__(self, folder, size):
        self.folder = folder / "served"
        self.folder.mkdir()
        self.server = subprocess.Popen(
            [str(BINARY_DIR / "tests" / "written_disk"), str(self.folder), str(size)],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
        )  # fmt: skip
        assert self.server.stdout.readline() == "ready\n"
        assert (self.folder / "disk").stat().st_size == size
        self.device = subprocess.run(
            ["losetup", "--find", "--show", "--direct-io=on", str(self.folder / "disk")],
            check=True, capture_output=True, text=True,
        ).stdout.strip()  # fmt: skip
        self.name = os.path.basename(self.device)

    def command(self, line):
        self.server.stdin.write(line + "\n")
        self.server.stdin.flush()
        return self.server.stdout.readline().strip()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.server.poll() is None:
            self.command("resume")
        subprocess.run(["losetup", "--detach", self.device], check=False)
        if self.server.poll() is None:
            self.server.stdin.close()
            self.server.wait(20)
        subprocess.run(
            ["umount", "--lazy", str(self.folder)], check=False, stderr=subprocess.DEVNULL
        )


@pytest.fixture
def served_disk(tmp_path):
    with ServedDisk(tmp_path, 64 * MIB) as disk:
        yield disk


def writing(world, disk, passes=16):
    """The program with the write test under way."""
    identifier = device_id(world, disk.name)
    tests = f"w(destructive=yes,passes={passes})"
    terminal = Terminal(world, ["-Mstorage", f"-E{tests}", identifier])
    terminal.expect(rb"Writing over all data from LBA 0 to LBA 131071")
    return terminal


def test_escape_ends_it_within_a_second_though_a_transfer_hangs(world, served_disk):
    (world.config_dir / "service.ini").write_text(
        "[storage]\ninclude_loop=1\ntimeout_seconds=30\n", encoding="utf-8"
    )
    with writing(world, served_disk) as terminal:
        served_disk.command("hang")
        stopwatch = Stopwatch()
        terminal.press(b"\x1b")
        terminal.expect(rb"Stopped. The test pattern is on the disk from LBA 0 to LBA \d+")
        terminal.expect(rb"Test Status: Canceled!\r\n")
        assert terminal.wait(5) == CANCELED
        assert stopwatch.seconds() < 1.0


def test_a_transfer_that_hangs_is_a_failure_in_its_time(world, served_disk):
    with writing(world, served_disk) as terminal:
        served_disk.command("hang")
        terminal.expect(rb"did not come back within 2 seconds")
        terminal.expect(rb"Test Status: Failed!\r\n")
        assert terminal.wait(10) == FAILED


def test_a_disk_that_dies_is_a_failure(world, served_disk):
    with writing(world, served_disk) as terminal:
        served_disk.server.kill()
        served_disk.server.wait()
        terminal.expect(rb"(Unwritable|Unreadable) sectors: first LBA \d+")
        terminal.expect(rb"Test Status: Failed!\r\n")
        assert terminal.wait(20) == FAILED
