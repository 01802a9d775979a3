"""The emulator's process, and the two lines to it: its own commands (QMP) and its debugger."""

import ctypes
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time
from pathlib import Path

from kernel import HERE, LabFault
from machines import KINDS, SECTORS

SECONDS_TO_CONNECT = 20
FIRST_PORT = 3  # places on the root bus in front of it are taken by our own devices
DEATH_SIGNAL = 1  # prctl: PR_SET_PDEATHSIG


def wait_for(what, holds, seconds):
    """Looks until it holds; a LabFault that says what was waited for when it does not in time."""
    deadline = time.monotonic() + seconds
    while not (found := holds()):
        if time.monotonic() > deadline:
            raise LabFault(f"{what} did not come within {seconds} s")
        time.sleep(0.01)
    return found


class Folder:
    """A folder that is gone when this process is, whatever way it ends."""

    def __init__(self):
        self.path = Path(tempfile.mkdtemp(prefix="tarvex-lab-"))
        # Reads until the last holder of the pipe's other end, which is this process, is gone.
        self.caretaker = subprocess.Popen(
            ["/bin/sh", "-c", 'cat >/dev/null; rm -rf "$1"', "sh", str(self.path)],
            stdin=subprocess.PIPE,
            start_new_session=True,
        )

    def close(self):
        self.caretaker.stdin.close()
        self.caretaker.wait()


def die_with_parent():
    ctypes.CDLL(None).prctl(DEATH_SIGNAL, signal.SIGKILL)


def drive_node(row, shelf):
    """The emulator's way to a drive's content."""
    server = {"type": "unix", "path": str(shelf)}
    return {"driver": "nbd", "node-name": f"node-{row.name}", "server": server, "export": row.name}


def device_names(row):
    """The names of the devices that a drive consists of, the one that goes on the port first."""
    count = len(KINDS[row.kind].devices)
    return [f"{row.name}-{place}" for place in range(1, count)] + [row.name]


def drive_devices(row):
    """The devices that a drive consists of, in that order."""
    logical, physical = SECTORS[row.sectors]
    names = device_names(row)
    buses = [f"port{row.slot}", *(f"{name}.0" for name in names)]
    devices = [
        {"driver": driver, "id": name, "bus": bus}
        for driver, name, bus in zip(KINDS[row.kind].devices, names, buses)
    ]
    devices[-1].update(
        drive=f"node-{row.name}", logical_block_size=logical, physical_block_size=physical,
        **dict(row.extra)
    )  # fmt: skip
    serial = row.name if row.serial is None else row.serial
    if serial:
        devices[KINDS[row.kind].serial]["serial"] = serial
    return devices


def port_address(slot):
    """Where the machine finds the port, as it writes places on its PCI buses."""
    return f"0000:00:{FIRST_PORT + slot:02x}.0"


def ports(count):
    for number in range(1, count + 1):
        yield {"driver": "pcie-root-port", "id": f"port{number}", "chassis": number,
               "slot": number, "bus": "pcie.0", "addr": f"{FIRST_PORT + number:x}"}  # fmt: skip


def extra_devices(row):
    """Devices without drives, behind the ports that follow those of the drives."""
    first = max((drive.slot for drive in row.drives), default=0) + 1
    for slot, (name, device, _, *properties) in enumerate(row.devices, first):
        yield {"driver": device, "id": name, "bus": f"port{slot}", **dict(properties)}


def adapter_slot(row):
    """The port of the host adapter with drives of our own making, in a machine that has them."""
    return max((drive.slot for drive in row.drives), default=0) + len(row.devices) + 1


def port_count(row):
    """The last port is free, for what is put in while the machine runs."""
    return adapter_slot(row) + bool(row.told)


def adapter(row, folder):
    """Words and devices for that adapter, whose inside reads and writes the machine's memory."""
    if not row.told:
        return [], []
    words = ["-chardev", f"socket,id=told,path={folder}/told", "-machine", "memory-backend=memory",
             "-object", f"memory-backend-memfd,id=memory,size={row.memory_mib}M,share=on"]  # fmt: skip
    return words, [{"driver": "vhost-user-scsi-pci", "id": "adapter", "chardev": "told",
                    "bus": f"port{adapter_slot(row)}", "num_queues": 1}]  # fmt: skip


def command_line(row, kernel, folder):
    drivers = [*row.drivers, *(driver for _, _, driver, *_ in row.devices)]
    append = (
        "console=ttyS0 panic=-1 oops=panic loglevel=5 "
        f"lab.tree={kernel.tree} lab.agent={HERE / 'agent.py'} lab.drivers={','.join(drivers)} "
        f"lab.first={row.first} lab.root={row.root}"
    )
    devices = [
        {"driver": "virtio-9p-pci", "fsdev": "root", "mount_tag": "hostroot", "addr": "1"},
        {"driver": "virtio-serial-pci", "id": "serial", "addr": "2"},
        {"driver": "virtserialport", "chardev": "agent", "name": "agent", "bus": "serial.0"},
        *ports(port_count(row)),
        *extra_devices(row),
    ]
    words = [
        "qemu-system-x86_64", "-accel", "tcg", "-machine", "q35", "-cpu", "max", "-nodefaults",
        "-no-user-config", "-display", "none", "-no-reboot", "-smp", str(row.processors),
        "-m", str(row.memory_mib), "-kernel", kernel.image, "-initrd", kernel.initramfs,
        "-append", append, "-serial", f"file:{folder}/console",
        "-fsdev", "local,id=root,path=/,security_model=none,readonly=on,multidevs=remap",
    ]  # fmt: skip
    for name in ("agent", "qmp", "gdb"):
        words += ["-chardev", f"socket,id={name},path={folder}/{name},server=on,wait=off"]
    words += ["-mon", "chardev=qmp,mode=control", "-gdb", "chardev:gdb"]
    more_words, more_devices = adapter(row, folder)
    words += more_words
    devices += more_devices
    for drive in row.drives:
        words += ["-blockdev", json.dumps(drive_node(drive, folder / "drives"))]
        devices += drive_devices(drive)
    for device in devices:
        words += ["-device", json.dumps(device)]
    return [str(word) for word in words]


class Commands:
    """The emulator's own commands. Source: QEMU, docs/interop/qmp-spec.txt."""

    def __init__(self, path):
        self.socket = connect(path)
        self.lines = self.socket.makefile("rw", encoding="utf-8")
        self.events = []
        json.loads(self.lines.readline())
        self.do("qmp_capabilities")

    def next_message(self):
        text = self.lines.readline()
        if not text:
            raise LabFault("the emulator has ended")
        return json.loads(text)

    def do(self, command, **arguments):
        """What the command returns; a LabFault with the emulator's words when it refuses."""
        self.lines.write(json.dumps({"execute": command, "arguments": arguments}) + "\n")
        self.lines.flush()
        while True:
            message = self.next_message()
            if "event" in message:
                self.events.append(message)
            elif "error" in message:
                raise LabFault(f"{command}: {message['error']['desc']}")
            else:
                return message["return"]

    def monitor(self, line):
        """A command for people, and what it says."""
        return self.do("human-monitor-command", **{"command-line": line})

    def wait_for_event(self, name, **data):
        def is_it(event):
            said = event.get("data", {})
            return event["event"] == name and all(said.get(key) == data[key] for key in data)

        while not (found := [event for event in self.events if is_it(event)]):
            message = self.next_message()
            if "event" in message:
                self.events.append(message)
        # The next one of its kind is another.
        self.events.remove(found[0])


class Debugger:
    """Memory of the machine as its memory bus sees it. Source: GDB, "Remote Serial Protocol"."""

    def __init__(self, path):
        self.socket = connect(path)
        self.rest = b""
        self.ask("?")  # stops the machine
        self.ask("Qqemu.PhyMemMode:1")

    def next_packet(self):
        while not (found := re.search(rb"\$([^#]*)#..", self.rest)):
            chunk = self.socket.recv(4096)
            if not chunk:
                raise LabFault("the emulator's debugger has ended")
            self.rest += chunk
        self.rest = self.rest[found.end() :]
        self.socket.sendall(b"+")
        return found[1].decode()

    def ask(self, text):
        packet = f"${text}#{sum(text.encode()) % 256:02x}".encode()
        self.socket.sendall(packet)
        answer = self.next_packet()
        # That the machine has stopped may be told once more, without being asked.
        while answer.startswith("T") and text != "?":
            answer = self.next_packet()
        return answer

    def read(self, address, length):
        return bytes.fromhex(self.ask(f"m{address:x},{length:x}"))

    def write(self, address, content):
        answer = self.ask(f"M{address:x},{len(content):x}:{content.hex()}")
        if answer != "OK":
            raise LabFault(f"writing to the machine's memory: {answer}")

    def leave(self):
        self.ask("D")  # lets the machine go on
        self.socket.close()


def connect(path):
    def attempt():
        line = socket.socket(socket.AF_UNIX)
        try:
            line.connect(str(path))
        except (FileNotFoundError, ConnectionRefusedError):
            line.close()
            return None
        return line

    return wait_for(f"the emulator's {path.name}", attempt, SECONDS_TO_CONNECT)


class Emulator:
    """One emulator's process; `folder` holds its sockets and its console."""

    def __init__(self, row, kernel, folder):
        self.folder = folder
        self.console = folder / "console"
        self.complaints = folder / "complaints"
        for name in ("agent", "qmp", "gdb"):
            (folder / name).unlink(missing_ok=True)
        if not shutil.which("qemu-system-x86_64"):
            raise LabFault("the laboratory lacks qemu-system-x86")
        with open(self.complaints, "wb") as complaints:
            self.process = subprocess.Popen(
                command_line(row, kernel, folder),
                stdin=subprocess.DEVNULL,
                stdout=complaints,
                stderr=complaints,
                env={"PATH": os.environ["PATH"]},
                preexec_fn=die_with_parent,
                start_new_session=True,
            )

    def has_ended(self):
        return self.process.poll() is not None

    def kill(self):
        self.process.kill()
        self.process.wait()

    def last_words(self, lines=60):
        """The end of the console, and what the emulator itself complained of, each line once."""
        texts = [path.read_text(errors="replace") for path in (self.console, self.complaints)
                 if path.exists()]  # fmt: skip
        return "\n".join("\n".join(list(dict.fromkeys(text.splitlines()))[-lines:]) for text in texts)
