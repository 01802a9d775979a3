"""The machines of the laboratory, as data. A test, or a person, boots one by its name."""

from dataclasses import dataclass, replace

MIB = 1 << 20

# What each kind of drive consists of for the emulator. Each drive has a port of PCI Express to
# itself; the first of its devices goes there, each other one on the one before. `pulled` is what
# goes when the drive is pulled: the emulator's ATA drives cannot go without their controller.
@dataclass(frozen=True)
class Kind:
    devices: tuple
    pulled: int = -1  # the place in `devices`
    serial: int = -1  # the place of the one that has the serial number


KINDS = {
    "ahci": Kind(("ahci", "ide-hd"), pulled=0),
    "nvme": Kind(("nvme",)),
    "scsi": Kind(("virtio-scsi-pci", "scsi-hd")),
    "usb": Kind(("qemu-xhci", "usb-bot", "scsi-hd"), pulled=1, serial=1),
    "virtio": Kind(("virtio-blk-pci",)),
}

# name -> sizes of a logical and a physical sector
SECTORS = {"512": (512, 512), "512e": (512, 4096), "4kn": (4096, 4096)}


@dataclass(frozen=True)
class DriveRow:
    """`serial` None: the name; "": none at all. `rate` is in bytes per second, `slot` its port."""

    name: str
    kind: str
    sectors: str = "512"
    mib: int = 8
    serial: str = None
    rate: int = None
    slot: int = 0
    extra: tuple = ()  # more of the emulator's properties, as (name, value)

    @property
    def logical(self):
        return SECTORS[self.sectors][0]

    @property
    def size(self):
        return self.mib * MIB


@dataclass(frozen=True)
class ToldRow:
    """A drive of our own making, behind a host adapter: `kind` is "scsi" or "ata". It says of
    itself what a test tells it to say."""

    name: str
    kind: str
    mib: int = 8


@dataclass(frozen=True)
class MachineRow:
    """`drivers` are loaded in their order, which decides about the kernel's names of disks."""

    about: str
    drives: tuple = ()
    drivers: tuple = ("sd_mod", "ahci", "nvme", "virtio_scsi", "xhci_pci", "usb_storage",
                      "virtio_blk")  # fmt: skip
    memory_mib: int = 512
    processors: int = 1
    # Behind ports of their own, as (name, emulator's device, driver, properties as (name, value)...).
    devices: tuple = ()
    told: tuple = ()  # all behind one host adapter
    first: str = "agent"  # the first program: "systemd" starts the agent as a service
    root: str = ""  # the folder of another Debian, in place of the host's own root


def in_slots(*drives):
    """Each drive behind a port of its own."""
    return tuple(replace(drive, slot=slot) for slot, drive in enumerate(drives, 1))


def one_of_each(**options):
    return in_slots(*(DriveRow(kind, kind, **options) for kind in KINDS))


# The emulator's ATA drive has sectors of 512 bytes only, its NVMe drive tells no physical ones.
NOT_MADE = (("ahci", "4kn"), ("nvme", "512e"))
EVERY_KIND = in_slots(
    *(
        DriveRow(f"{kind}-{sectors}", kind, sectors)
        for sectors in SECTORS
        for kind in KINDS
        if (kind, sectors) not in NOT_MADE
    )
)

STRANGE = in_slots(
    DriveRow("escape", "scsi", serial="\x1b[2J\x1b]0;x\x07"),
    DriveRow("lines", "ahci", serial="S1\nId\t99"),
    DriveRow("key", "nvme", serial="_FAILED|X"),
    DriveRow("format", "usb", serial="%s%n%99999d"),
    DriveRow("bidi", "virtio", serial="a\u202eb"),
    DriveRow("twin-1", "scsi", serial="TWIN"),
    DriveRow("twin-2", "scsi", serial="TWIN"),
    DriveRow("nameless", "scsi", serial=""),
)

# Serial numbers and names as real drives have them, which nobody finds anywhere by chance.
SECRET = in_slots(
    DriveRow("ahci", "ahci", serial="Z1D4QX7RK25W", extra=(("wwn", 0x5000C500A1B2C3D4),)),
    DriveRow("nvme", "nvme", serial="S5GXNX0W812345K"),
    DriveRow("scsi", "scsi", serial="WD-WX71A84KQ93T", extra=(("wwn", 0x50014EE2B3A7F9C6),)),
    DriveRow("usb", "usb", serial="4C530001230117119355"),
    DriveRow("virtio", "virtio", serial="vol-0f3e9b7c5d21"),
)

TOLD = (ToldRow("sas", "scsi"), ToldRow("sata", "ata"))



def namespace(number):
    """A namespace of the NVMe controller that a machine has among its devices."""
    return DriveRow(f"namespace-{number}", "nvme", serial="",
                    extra=(("driver", "nvme-ns"), ("bus", "controller"), ("nsid", number)))  # fmt: skip


MACHINES = {
    "bare": MachineRow("no drive at all", drivers=("sd_mod", "ahci")),
    "kinds": MachineRow("five kinds of drives, with sectors of 512, 512e and 4Kn each", EVERY_KIND),
    "five": MachineRow("one drive of each kind", one_of_each()),
    "logs": MachineRow("one drive of each kind, and a SCSI drive of the kernel's own that has log pages",
                       one_of_each(), drivers=(*MachineRow("").drivers, "scsi_debug")),
    "sound": MachineRow("these, and drives that test themselves and tell of their health", EVERY_KIND,
                        told=TOLD),
    "told": MachineRow("drives that say of their health what a test wants, and an NVMe drive",
                       in_slots(DriveRow("nvme", "nvme")), told=TOLD),
    "shared": MachineRow("two namespaces on one NVMe controller", (namespace(1), namespace(2)),
                         devices=(("controller", "nvme", "nvme", ("serial", "SHARED")),)),
    "slow": MachineRow("one drive of each kind, none faster than 2 MB/s",
                       one_of_each(mib=64, rate=2_000_000)),
    "pulls": MachineRow("for each kind of drive four to pull, and one that stays",
                        in_slots(DriveRow("stays", "virtio", mib=1),
                                 *(DriveRow(f"{kind}-{test}", kind, mib=64)
                                   for kind in KINDS for test in ("f", "r", "p", "l")))),
    "secret": MachineRow("one drive of each kind, with serial numbers like those of real ones", SECRET),
    "services": MachineRow("three drives in a machine that systemd runs",
                           in_slots(*(DriveRow(kind, kind) for kind in ("nvme", "ahci", "scsi"))),
                           first="systemd", memory_mib=768),
    "strange": MachineRow("drives that lie about themselves", STRANGE),
    "faults": MachineRow("one NVMe drive and one network card, for faults of the machine itself",
                         in_slots(DriveRow("nvme", "nvme")),
                         devices=(("card", "e1000e", "e1000e"),)),
}  # fmt: skip
