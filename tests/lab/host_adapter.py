"""A host adapter of which each drive is a program of ours, so that it may say whatever drives say.

To the machine it is a virtio-scsi adapter. Source: Virtual I/O Device 1.1, 5.6.
"""

import struct
import threading
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass

from vhost import Socket

HOTPLUG = 1 << 1
CONTROL, EVENTS = 0, 1
HEAD_BYTES, COMMAND_AT, COMMAND_BYTES = 51, 19, 32
ANSWER = struct.Struct("<IIHBB96s")
DONE, ABORTED, NO_TARGET = 0, 2, 3
TRANSPORT_RESET, RESCAN, REMOVED = 1, 1, 2
MOST_TRANSFERS = 8


@dataclass
class Answer:
    data: bytes = b""
    status: int = 0
    sense: bytes = b""


class Command:
    """One command that the machine gives a drive."""

    def __init__(self, chain):
        self.chain = chain
        self.target = chain.said[1]
        self.unit = (chain.said[2] & 0x3F) << 8 | chain.said[3]
        self.tag = struct.unpack_from("<Q", chain.said, 8)[0]
        self.cdb = chain.said[COMMAND_AT : COMMAND_AT + COMMAND_BYTES]
        self.data = chain.said[HEAD_BYTES:]

    def end(self, response, answer=Answer()):
        room = self.chain.room() - ANSWER.size
        data = answer.data[:room]
        head = ANSWER.pack(len(answer.sense), room - len(data), 0, answer.status, response,
                           answer.sense)  # fmt: skip
        self.chain.answer(head + data)


class HostAdapter:
    """The drives, by target. Its lock guards which are there and which commands wait."""

    FEATURES = HOTPLUG

    def __init__(self, path, drives):
        self.drives = drives
        self.lock = threading.Lock()
        self.gone = set()
        self.waiting = []
        self.rooms = []  # for what the adapter itself has to say
        self.transfers = ThreadPoolExecutor(MOST_TRANSFERS)
        self.socket = Socket(path, self)

    def close(self):
        for drive in self.drives:
            drive.release()
        self.socket.close()
        self.transfers.shutdown()

    # What a test does.

    def pull(self, drive):
        """The drive is gone, and with it all that it was at."""
        target = self.drives.index(drive)
        with self.lock:
            self.gone.add(target)
            lost = [command for command in self.waiting if command.target == target]
            self.waiting = [command for command in self.waiting if command not in lost]
        for command in lost:
            command.end(NO_TARGET)
        self.tell(target, REMOVED)

    def put_in(self, drive):
        target = self.drives.index(drive)
        with self.lock:
            self.gone.discard(target)
        self.tell(target, RESCAN)

    def gone_drives(self):
        with self.lock:
            return [self.drives[target] for target in self.gone]

    def release(self, drive):
        """What the drive kept waiting is answered."""
        target = self.drives.index(drive)
        with self.lock:
            free = [command for command in self.waiting if command.target == target]
            self.waiting = [command for command in self.waiting if command not in free]
        for command in free:
            self.work(drive, command)

    def is_held(self, drive):
        """Whether the drive keeps a command waiting."""
        target = self.drives.index(drive)
        with self.lock:
            return any(command.target == target for command in self.waiting)

    def tell(self, target, reason):
        with self.lock:
            room = self.rooms.pop(0)
        room.answer(struct.pack("<IBBBBII", TRANSPORT_RESET, 1, target, 0, 0, 0, reason))

    # What the machine does.

    def take(self, queue, chain):
        if queue == CONTROL:
            self.manage(chain)
        elif queue == EVENTS:
            with self.lock:
                self.rooms.append(chain)
        else:
            self.begin(Command(chain))

    def forget(self, queue):
        """The machine has begun anew."""
        with self.lock:
            self.waiting = [one for one in self.waiting if one.chain.queue is not queue]
            self.rooms = [one for one in self.rooms if one.queue is not queue]

    def begin(self, command):
        with self.lock:
            is_there = (command.target < len(self.drives) and command.unit == 0
                        and command.target not in self.gone)  # fmt: skip
            is_held = is_there and self.drives[command.target].holds(command.cdb)
            if is_held:
                self.waiting.append(command)
        if not is_there:
            command.end(NO_TARGET)
        elif not is_held:
            self.work(self.drives[command.target], command)

    def work(self, drive, command):
        if drive.is_transfer(command.cdb):
            self.transfers.submit(self.finish, drive, command)
        else:
            self.finish(drive, command)

    def finish(self, drive, command):
        answer = drive.execute(command.cdb, command.data)
        with self.lock:
            is_gone = command.target in self.gone
        command.end(NO_TARGET if is_gone else DONE, answer)

    def manage(self, chain):
        """A command is given up, or all of a drive: whatever waits is."""
        kind, _, _, target = struct.unpack_from("<IIBB", chain.said)
        if kind == 0:
            with self.lock:
                lost = [command for command in self.waiting if command.target == target]
                self.waiting = [command for command in self.waiting if command not in lost]
            for command in lost:
                command.end(ABORTED)
        chain.answer(bytes(chain.room()))
