"""What the SMART tool shows, beside what smartctl and nvme say of the same drives."""

import json
import re

import pytest
from outcome import devices, outcomes

MACHINE = "logs"
NOT_POSSIBLE = "It is not possible to retrieve smart attributes for this device"
WIDTHS = {"ata": (5, 30, 10, 10, 10, 15), "scsi": (5, 30, 10, 10, 10, 15), "nvme": (5, 40, 40)}

# What our rows of an NVMe drive are for smartctl, and for nvme.
NVME_ROWS = {
    "Critical warnings": ("critical_warning", "critical_warning"),
    "Available spare": ("available_spare", "avail_spare"),
    "Available spare threshold": ("available_spare_threshold", "spare_thresh"),
    "Percentage used": ("percentage_used", "percent_used"),
    "Data units read": ("data_units_read", "data_units_read"),
    "Data units written": ("data_units_written", "data_units_written"),
    "Host read commands": ("host_reads", "host_read_commands"),
    "Host write commands": ("host_writes", "host_write_commands"),
    "Controller busy time": ("controller_busy_time", "controller_busy_time"),
    "Power cycles": ("power_cycles", "power_cycles"),
    "Power-on hours": ("power_on_hours", "power_on_hours"),
    "Unsafe shutdowns": ("unsafe_shutdowns", "unsafe_shutdowns"),
    "Media and data integrity errors": ("media_errors", "media_errors"),
    "Error log entries": ("num_err_log_entries", "num_err_log_entries"),
    "Time above warning temperature": ("warning_temp_time", "warning_temp_time"),
    "Time above critical temperature": ("critical_comp_time", "critical_comp_time"),
}


def cut(line, widths):
    cells = []
    for width in widths[:-1]:
        cells.append(line[:width].strip())
        line = line[width:]
    return [*cells, line.strip()]


class Shown:
    """What the tool says of one disk."""

    def __init__(self, text):
        name, *lines = text.rstrip("\n").split("\n")
        self.kernel_name = re.search(r"\((\w+)\) *$", name)[1]
        self.lines = lines

    def rows(self, kind):
        """Cells of the rows below the head, up to the first empty line."""
        rows = []
        for line in self.lines[1:]:
            if not line.strip():
                break
            rows.append(cut(line, WIDTHS[kind]))
        return rows

    def by_name(self, kind):
        return {row[1]: row for row in self.rows(kind)}


def shown(world, arguments=("-Mstorage", "-Tsmart", "-i")):
    """By kernel name; and all that the tool said."""
    result = world.run(list(arguments))
    assert result.returncode == 0
    text = re.sub(r"[^\n]*\r", "", result.stdout.decode())
    blocks = [Shown(block) for block in text.split("\n=> ")[1:]]
    return {block.kernel_name: block for block in blocks}, text


def said_by_smartctl(world, name):
    # Its exit status has bits for what it found; what it could not do is in the first three.
    done = world.guest.run("smartctl", "-j", "-A", f"/dev/{name}")
    return json.loads(done.stdout)


def listed(world, field, value):
    """The disk of which a field of the listing says this."""
    disks = devices(world.run(["-Mstorage", "-D"]).stdout)
    return next(disk for disk in disks if disk.get(field) == value)


def of_kind(world, kind):
    return listed(world, "Serial Number", kind)["Kernel Name"]


def id_of(world, kind):
    return listed(world, "Serial Number", kind)["Id"]


def first_number(text):
    return int(re.match(r"\d+", text)[0])


def test_an_ata_drive_has_the_attributes_that_smartctl_reads(world):
    name = of_kind(world, "ahci")
    ours = shown(world)[0][name].rows("ata")
    theirs = said_by_smartctl(world, name)["ata_smart_attributes"]["table"]
    assert len(theirs) >= 7
    assert [[row[0], *row[2:]] for row in ours] == [
        [str(row[key]) for key in ("id", "thresh", "value", "worst")] + [row["raw"]["string"]]
        for row in theirs
    ]


def test_an_nvme_drive_has_the_values_that_smartctl_and_nvme_read(world):
    name = of_kind(world, "nvme")
    rows = {key: row[2] for key, row in shown(world)[0][name].by_name("nvme").items()}
    smartctl = said_by_smartctl(world, name)["nvme_smart_health_information_log"]
    nvme = json.loads(world.guest.said("nvme", "smart-log", "-o", "json", f"/dev/{name}"))
    ours = {key: first_number(rows[key]) for key in NVME_ROWS}
    assert ours == {key: smartctl[names[0]] for key, names in NVME_ROWS.items()}
    # It writes wide counters as texts.
    assert ours == {key: int(nvme[names[1]]) for key, names in NVME_ROWS.items()}
    assert rows["Temperature"] == f"{smartctl['temperature']} C ({nvme['temperature']} K)"


def test_a_warning_is_shown_when_it_comes(machine, world):
    name = of_kind(world, "nvme")
    assert shown(world)[0][name].by_name("nvme")["Critical warnings"][2] == "0"
    machine.warn("nvme", 0x04)
    assert shown(world)[0][name].by_name("nvme")["Critical warnings"][2] == "4"


@pytest.mark.parametrize("kind", ["scsi", "usb"])
def test_a_drive_without_logs_is_said_to_have_none(world, kind):
    name = of_kind(world, kind)
    theirs = said_by_smartctl(world, name)
    assert not {"ata_smart_attributes", "temperature"} & theirs.keys()
    assert shown(world)[0][name].lines[0] == NOT_POSSIBLE
    log = world.guest.said("sh", "-c", f"cat {world.state_dir}/log/*")
    reasons = re.findall(rf"device {id_of(world, kind)}: no attributes were read: ([^\"]*)", log)
    assert len(reasons) == 1
    assert reasons[0].startswith("LOG SENSE: ")


def test_a_scsi_drive_has_the_values_that_smartctl_reads(world):
    # The kernel's own drive calls itself so.
    name = listed(world, "Model", "ST380013AS")["Kernel Name"]
    rows = shown(world)[0][name].by_name("scsi")
    theirs = said_by_smartctl(world, name)["temperature"]
    trip, now = (f"{theirs[field]} C" for field in ("drive_trip", "current"))
    assert rows["Temperature"][2:] == [trip, "-", "-", now]
    assert rows["Pending exception"][5] == "none"


# Sets TEST in the mode page of informational exceptions by MODE SELECT (10).
# Source: SPC-4, mode page 1Ch; linux/scsi/sg.h.
TRIAL = """
import ctypes, fcntl, struct, sys
page = bytes(8) + bytes([0x1C, 10, int(sys.argv[2]), 6]) + bytes(8)
data, sense = ctypes.create_string_buffer(page, len(page)), ctypes.create_string_buffer(64)
cdb = ctypes.create_string_buffer(bytes([0x55, 0x10, 0, 0, 0, 0, 0, 0, len(page), 0]), 10)
head = struct.pack("iiBBHIPPPIIiP", ord("S"), -2, 10, 64, 0, len(page), ctypes.addressof(data),
                   ctypes.addressof(cdb), ctypes.addressof(sense), 10000, 0, 0, 0)
head = bytearray(head.ljust(88, bytes(1)))
with open(sys.argv[1], "rb") as drive:
    fcntl.ioctl(drive, 0x2285, head)
assert head[64] == 0, sense.raw.hex()
"""


def verdicts(world, disk):
    result = world.run(["-Mstorage", "-Qs,e,t", disk["Id"]])
    (tests,) = outcomes(result.stdout, "Kernel Name").values()
    return {test.name: (test.verdict, test.said) for test in tests}


def test_a_scsi_drive_that_predicts_its_failure_on_trial_warns(world):
    disk = listed(world, "Model", "ST380013AS")
    node = f"/dev/{disk['Kernel Name']}"
    sound = verdicts(world, disk)
    assert sound["Smart Status Test"] == ("Passed", [])
    # It has neither counters of errors nor results of self-tests.
    assert [sound[name][0] for name in ("Error Log Test", "Short Self Test")] == ["Not Applicable"] * 2
    world.guest.said("/usr/bin/python3", "-I", "-c", TRIAL, node, "4")
    try:
        trial = verdicts(world, disk)
        rows = shown(world)[0][disk["Kernel Name"]].by_name("scsi")
    finally:
        world.guest.said("/usr/bin/python3", "-I", "-c", TRIAL, node, "0")
    words = "Pending exception: failure prediction threshold exceeded, as a trial (5Dh/FFh)"
    assert trial == {**sound, "Smart Status Test": ("Warning", [words])}
    assert rows["Pending exception"][5] != "none"


def test_disks_that_answer_no_commands_are_not_listed(world):
    text = shown(world, ["-Mstorage", "-Tsmart", "-l"])[1]
    assert text.count("Device Id") == 5
    assert "(vd" not in text


def test_the_drive_tells_more_when_it_is_wanted(world):
    world.guest.write(world.work_dir / "config.ini", "[STORAGE]\nENABLE_TARVEX_DRIVE_INFO=1\n")
    text = shown(world)[1]
    assert re.search(r"^Serial number {27}ahci *$", text, re.M)
    assert re.search(r"^NVMe version {28}1\.4 *$", text, re.M)
    assert re.search(r"^Interface, now {26}[\d.]+ GT/s x\d+ *$", text, re.M)


def told_by_smartctl(world, name):
    return json.loads(world.guest.run("smartctl", "-j", "-i", f"/dev/{name}").stdout)


def test_the_listing_of_an_ata_drive_says_what_smartctl_and_the_kernel_say(world):
    drive = listed(world, "Serial Number", "ahci")
    theirs = told_by_smartctl(world, drive["Kernel Name"])
    assert drive["Trim"] == ("Supported" if theirs["trim"]["supported"] else "Not supported")
    security = world.guest.run("smartctl", "-g", "security", f"/dev/{drive['Kernel Name']}")
    assert re.search(r"^ATA Security is: +Unavailable$", security.stdout.decode(), re.M)
    assert drive["Security"] == "Not supported"
    assert "rotation_rate" not in theirs and "Rotation Rate" not in drive
    assert "form_factor" not in theirs and "Form Factor" not in drive
    link = re.search(r"SATA link up ([\d.]+) Gbps", world.guest.kernel_log())
    assert drive["Interface Speed"] == f"{link[1]} Gb/s"


def test_the_listing_of_an_nvme_drive_says_what_nvme_and_its_port_say(world):
    drive = listed(world, "Serial Number", "nvme")
    controller = json.loads(
        world.guest.said("nvme", "id-ctrl", "-o", "json", f"/dev/{drive['Kernel Name']}")
    )
    assert drive["Trim"] == ("Supported" if controller["oncs"] & 4 else "Not supported")
    assert int(drive["Queue Depth"]) > 0
    # The emulator's ports are of the first generation, or tell more.
    assert re.fullmatch(r"[\d.]+ GT/s x\d+", drive["Interface Speed"])
    assert re.fullmatch(r"[\d.]+ GT/s x\d+", drive["Maximum Interface Speed"])


def test_the_listing_of_a_scsi_drive_says_what_smartctl_says(world):
    drive = listed(world, "Model", "ST380013AS")
    theirs = told_by_smartctl(world, drive["Kernel Name"])
    assert theirs["rotation_rate"] == 0
    assert drive["Media Type"] == "Solid state" and "Rotation Rate" not in drive
    assert drive["Form Factor"] == "less than 1.8 inches"
    assert theirs["form_factor"]["name"] == "< 1.8 inches"
    # A name of type 3 is the kernel's own, and no worldwide one.
    assert theirs["logical_unit_id"].startswith("0x3") and "World Wide Name" not in drive


def test_nothing_is_written(machine, world):
    shown(world)
    for drive in machine.drives.values():
        assert drive.changes() == []
