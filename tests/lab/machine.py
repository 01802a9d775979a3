"""A machine of the laboratory: its drives, its boots, and the faults that are made while it runs."""

import re
import struct
import time

from ata_drive import AtaDrive
from drive import Drive, Shelf
from emulator import (
    FIRST_PORT,
    Commands,
    Debugger,
    Emulator,
    Folder,
    LabFault,
    device_names,
    drive_devices,
    drive_node,
    port_address,
    port_count,
)
from guest import Guest
from guest_world import GuestWorld
from host_adapter import HostAdapter
from kernel import kernel
from machines import KINDS, MACHINES, MIB
from scsi_drive import ScsiDrive

TOLD = {"scsi": ScsiDrive, "ata": AtaDrive}
PAGE = 4096
RECEIVER_ERROR = 1  # PCI Express 4.0, 7.8.4.5: corrected error status register
# Source: Linux, Documentation/admin-guide/mm/pagemap.rst
PAGEMAP_ENTRY = 8
PAGE_IS_PRESENT = 1 << 63
PAGE_FRAME = (1 << 55) - 1


class Machine:
    """Boots on entry, and is gone with all it had on exit.

    `drives` are its Drive objects by name, `told` those of our own making; they stay what they are
    over power cuts.
    """

    def __init__(self, row):
        self.row = MACHINES[row] if isinstance(row, str) else row
        self.kernel = kernel()
        self.boots = 0
        self.emulator = self.commands = self.guest = None
        self.folder = Folder()
        self.rows = {drive.name: drive for drive in self.row.drives}
        self.drives = {}
        for drive in self.row.drives:
            self.add_drive(drive)
        self.shelf = Shelf(self.folder.path / "drives", self.drives)
        self.told = {row.name: self.make_told(row) for row in self.row.told}
        self.adapter = HostAdapter(self.folder.path / "told", list(self.told.values()))

    def make_told(self, row):
        medium = Drive(self.folder.path / f"{row.name}.img", row.mib * MIB, 512)
        return TOLD[row.kind](row.name, medium)

    def add_drive(self, row):
        drive = Drive(self.folder.path / f"{row.name}.img", row.size, row.logical)
        drive.throttle(row.rate)
        self.drives[row.name] = drive
        self.rows[row.name] = row

    def __enter__(self):
        try:
            self.boot()
        except BaseException:
            self.close()
            raise
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self.cut_power()
        self.shelf.close()
        self.adapter.close()
        for drive in [*self.drives.values(), *(told.medium for told in self.told.values())]:
            drive.close()
        self.folder.close()

    # Power.

    def boot(self, row=None):
        """Starts it; with `row` as another machine over the same drives."""
        self.row = row or self.row
        self.boots += 1
        self.emulator = Emulator(self.row, self.kernel, self.folder.path)
        try:
            self.commands = Commands(self.folder.path / "qmp")
            self.guest = Guest(self.folder.path / "agent")
            self.guest.wait_until_ready()
        except LabFault as fault:
            raise LabFault(f"{fault}\n{self.last_words()}") from None

    def cut_power(self):
        """As if the plug were pulled: nothing is written any more."""
        if self.emulator:
            self.emulator.kill()
            self.shelf.wait_until_idle()
        for drive in self.drives.values():
            drive.lose_power()

    def last_words(self):
        return self.emulator.last_words() if self.emulator else "it was never switched on"

    def stand_still(self, seconds):
        """The whole machine stands still for that time; only the clock of its board goes on.

        Its drives answer first, so none may hang."""
        self.commands.do("stop")
        time.sleep(seconds)
        self.commands.do("cont")

    def restart(self):
        """Cuts the power and boots again over what is on the drives."""
        self.cut_power()
        self.boot()

    def mend(self):
        """Takes back all that was planted in the drives that are there."""
        for name, drive in self.drives.items():
            drive.mend(self.rows[name].rate)
        for drive in self.told.values():
            drive.medium.mend()
            drive.reset()
            self.adapter.release(drive)

    # The program under test.

    def id_of(self, name):
        """The program's id of a drive while all drives are there: by their places."""
        drives = sorted(self.row.drives, key=lambda row: row.slot)
        return str([row.name for row in (*drives, *self.row.told)].index(name))

    def world(self, name):
        """Folders of its own for runs of the program in this machine."""
        return GuestWorld(self.guest, name)

    # Drives.

    def pull(self, name):
        """The drive is gone, without a word to whom uses it."""
        if name in self.told:
            self.adapter.pull(self.told[name])
            return
        row = self.rows[name]
        device = device_names(row)[KINDS[row.kind].pulled]
        self.commands.do("device_del", id=device)
        self.commands.wait_for_event("DEVICE_DELETED", device=device)

    def put_in(self, row):
        """A drive is put in: one that was pulled, by its name, or a new one as a DriveRow."""
        if row in self.told:
            self.adapter.put_in(self.told[row])
            return
        if isinstance(row, str):
            row = self.rows[row]
        else:
            self.add_drive(row)
            self.commands.do("blockdev-add", **drive_node(row, self.folder.path / "drives"))
        for device in drive_devices(row):
            if not self.has_device(device["id"]):
                self.commands.do("device_add", **device)
        if row.kind == "usb":
            # Its bridge waits for the drive behind it before it shows itself.
            self.set_property(device_names(row)[1], "attached", True)

    def keep_silent(self, name):
        """The drive's controller hears nothing more of what it is asked, until it is pulled."""
        port = f"/sys/bus/pci/devices/{port_address(self.rows[name].slot)}"
        (place,) = re.findall(r"^0000:\w+:\w+\.\w$", "\n".join(self.guest.list(port)), re.M)
        # Source: PCI Local Bus 3.0, 6.2.2: without bit 2 of byte 4 a device does not reach memory.
        script = f"printf '\\002' | dd of={port}/{place}/config bs=1 seek=4 conv=notrunc status=none"
        self.guest.said("sh", "-c", script)

    def set_property(self, device, name, value):
        path = f"/machine/peripheral/{device}"
        self.commands.do("qom-set", path=path, property=name, value=value)

    def free_slot(self):
        """The port that nothing is in at the start."""
        return port_count(self.row)

    def has_device(self, name):
        return any(entry["name"] == name for entry in
                   self.commands.do("qom-list", path="/machine/peripheral"))  # fmt: skip

    def kernel_names(self):
        """The kernel's name of each drive that it has now, by the drive's name."""
        script = "for disk in /sys/block/*; do readlink -f $disk; done"
        ports = {port_address(row.slot): name for name, row in self.rows.items()}
        found = re.findall(r"/(0000:00:[^/]+)/.*/([^/\n]+)$", self.guest.said("sh", "-c", script), re.M)
        return {ports[port]: disk for port, disk in found if port in ports}

    # Faults of the machine.

    def flip_bit(self, physical_address, bit):
        """Changes one bit of memory, as a stray particle would."""
        debugger = Debugger(self.folder.path / "gdb")
        try:
            (byte,) = debugger.read(physical_address, 1)
            debugger.write(physical_address, bytes([byte ^ (1 << bit)]))
        finally:
            debugger.leave()

    def physical_address(self, pid, address):
        """Where a process inside the machine has that byte of its memory."""
        where = address // PAGE * PAGEMAP_ENTRY
        (entry,) = struct.unpack("<Q", self.guest.read(f"/proc/{pid}/pagemap", where, PAGEMAP_ENTRY))
        if not entry & PAGE_IS_PRESENT:
            raise LabFault(f"process {pid} has no memory at {address:#x}")
        return (entry & PAGE_FRAME) * PAGE + address % PAGE

    def machine_check(self, bank, status, address):
        """The processor reports an error of the hardware. Source: Intel SDM, volume 3, chapter 15."""
        self.commands.monitor(f"mce 0 {bank} {status:#x} 0x0 {address:#x} 0x8c")

    def link_error(self, name, error):
        """A device's link reports an error of PCI Express, such as POISON_TLP."""
        said = self.commands.monitor(f"pcie_aer_inject_error {name} {error}")
        if "OK" not in said:
            raise LabFault(f"pcie_aer_inject_error: {said}")

    def corrected_link_error(self, port):
        """A port of PCI Express reports a receiver error that its link got over. It comes from the
        kernel's own aer_inject, for the emulator's corrected errors do not arrive.

        Source: Linux, drivers/pci/pcie/aer_inject.c, struct aer_error_inj."""
        self.guest.said("modprobe", "aer_inject")
        place = int(port.removeprefix("port")) + FIRST_PORT
        error = struct.pack("<BBBxIIIIIII", 0, place, 0, 0, RECEIVER_ERROR, 0, 0, 0, 0, 0)
        self.guest.write("/dev/aer_inject", error, mode=None)

    def warn(self, name, warning):
        """An NVMe drive's critical warning. Source: NVM Express 1.4, figure 194."""
        self.set_property(name, "smart_critical_warning", warning)
