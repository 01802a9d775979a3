"""Faults of the machine itself: each is seen from inside, by who reads what the kernel tells."""

import re

import pytest
from drive import WRITE
from emulator import LabFault, wait_for
from machines import MIB, DriveRow

MACHINE = "faults"
PATTERN = 0x55

# Keeps a page of memory and tells where it is; says what has become of it once it is told to look.
KEEPER = f"""
import ctypes, mmap, sys
memory = mmap.mmap(-1, 4096)
memory[:] = bytes([{PATTERN}]) * 4096
ctypes.CDLL(None).mlockall(3)
print(ctypes.addressof(ctypes.c_char.from_buffer(memory)), flush=True)
sys.stdin.readline()
print([(place, byte) for place, byte in enumerate(memory[:]) if byte != {PATTERN}], flush=True)
"""

# Reads the SMART log of an NVMe drive. Source: NVM Express 1.4, 5.14.1.2; linux/nvme_ioctl.h.
WARNING_READER = """
import ctypes, fcntl, struct
log = ctypes.create_string_buffer(512)
command = struct.pack("<BBHIIIQQIIIIIIIIII", 0x02, 0, 0, 0xFFFFFFFF, 0, 0, 0, ctypes.addressof(log),
                      0, 512, 0x7F << 16 | 2, 0, 0, 0, 0, 0, 0, 0)
with open("/dev/nvme0", "rb") as drive:
    fcntl.ioctl(drive, 0xC0484E41, bytearray(command))
print(log.raw[0])
"""

# Writes a page that the drive is told to keep, one that is only in the drive's own memory, and one
# that is only in the machine's.
WRITER = """
import mmap, os, time
disk = os.open("{disk}", os.O_RDWR)
os.pwrite(disk, b"reached " * 512, 4096)
os.fsync(disk)
page = mmap.mmap(-1, 4096)
page[:] = b"resting " * 512
os.pwrite(os.open("{disk}", os.O_RDWR | os.O_DIRECT), page, 8192)
os.pwrite(disk, b"waiting " * 512, 1 << 20)
print("written", flush=True)
time.sleep(600)
"""


def python(machine, script, **options):
    return machine.guest.start(["/usr/bin/python3", "-I", "-c", script], **options)


def test_one_bit_of_a_programs_memory_changes(machine):
    keeper = python(machine, KEEPER, terminal=(24, 80))
    address = int(keeper.expect(rb"(\d+)\r\n")[0][1])
    machine.flip_bit(machine.physical_address(keeper.pid, address + 1000), 3)
    keeper.press(b"\n")
    found = keeper.expect(rb"\[.*\]")[0][0].decode()
    assert found == f"[(1000, {PATTERN ^ 8})]"
    assert keeper.wait().returncode == 0


def test_corrected_machine_check_is_told_by_the_kernel(machine):
    # The kernel asks the processor every so many seconds.
    machine.guest.write("/sys/devices/system/machinecheck/machinecheck0/check_interval", "1", mode=None)
    machine.machine_check(bank=1, status=0x9C00000000000134, address=0x1234000)
    told = r"\[Hardware Error\]: .*Bank 1: 9c00000000000134"
    wait_for("the machine check", lambda: re.search(told, machine.guest.kernel_log()), 60)


def test_uncorrected_machine_check_ends_the_machine_and_its_console_tells_why(machine):
    with pytest.raises(LabFault, match="the machine has ended"):
        machine.machine_check(bank=1, status=0xBD80000000000134, address=0x1234000)
        machine.guest.wait_until(lambda: False, 60, "its end")
    wait_for("the emulator's end", machine.emulator.has_ended, 20)
    assert "Fatal local machine check" in machine.last_words()


def test_link_error_is_counted_by_the_kernel(machine):
    counters = "/sys/bus/pci/devices/0000:00:05.0/aer_dev_nonfatal"  # the card's port
    before = machine.guest.text(counters)
    machine.link_error("port2", "POISON_TLP")
    wait_for("the link's error", lambda: machine.guest.text(counters) != before, 60)
    assert re.search(r"^TLP 1$", machine.guest.text(counters), re.M)  # a poisoned one


def test_corrected_link_error_is_counted_by_the_kernel(machine):
    counters = "/sys/bus/pci/devices/0000:00:05.0/aer_dev_correctable"
    assert "\nRxErr 0\n" in f"\n{machine.guest.text(counters)}\n"
    machine.corrected_link_error("port2")
    wait_for("the link's error", lambda: "RxErr 1" in machine.guest.text(counters), 60)


def test_drive_warns(machine):
    assert python(machine, WARNING_READER).wait().stdout == b"0\n"
    machine.warn("nvme", 4)
    assert python(machine, WARNING_READER).wait().stdout == b"4\n"


def test_machine_stands_still_and_does_not_know(machine):
    """Its clock stands, that of the board goes on."""
    board = "/sys/class/rtc/rtc0/since_epoch"
    clock, real = machine.guest.clock(), int(machine.guest.text(board))
    machine.stand_still(seconds=4)
    lost = int(machine.guest.text(board)) - real - (machine.guest.clock() - clock)
    assert lost >= 2.5  # the board counts whole seconds


@pytest.mark.seconds(240)
def test_power_cut_keeps_what_reached_the_drive_and_nothing_else(machine):
    disk = f"/dev/{machine.kernel_names()['nvme']}"
    python(machine, WRITER.format(disk=disk)).expect(b"written")
    assert {request.offset for request in machine.drives["nvme"].asked(WRITE)} == {4096, 8192}
    machine.restart()
    disk = f"/dev/{machine.kernel_names()['nvme']}"
    assert machine.guest.read(disk, 4096, 8) == b"reached "
    assert machine.guest.read(disk, 8192, 8) == bytes(8)
    assert machine.guest.read(disk, MIB, 8) == bytes(8)


def test_drive_counts_a_write_that_changes_nothing(machine):
    drive = machine.drives["nvme"]
    disk = f"/dev/{machine.kernel_names()['nvme']}"
    before = drive.content_hash()
    machine.guest.said("dd", f"if={disk}", f"of={disk}", "bs=4096", "count=1", "conv=notrunc,fsync",
                       "oflag=direct", "status=none")  # fmt: skip
    assert [(request.offset, request.length) for request in drive.changes()] == [(0, 4096)]
    assert drive.content_hash() == before


def test_new_drive_that_is_put_in_is_found(machine, world):
    slot = machine.free_slot()
    machine.put_in(DriveRow("new", "virtio", mib=1, slot=slot))
    wait_for("the drive", lambda: "new" in machine.kernel_names(), 30)
    listing = world.run(["-Mstorage", "-D"]).stdout.decode()
    assert re.search(rf"^Size +{MIB} bytes", listing, re.M)
    machine.pull("new")
    wait_for("its end", lambda: "new" not in machine.kernel_names(), 30)
