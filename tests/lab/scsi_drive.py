"""A SCSI drive that says of itself what a test wants it to say.

Source: SPC-4 (commands, sense data, log pages), SBC-3 (capacity, reading and writing).
"""

import struct
import threading
import time
from dataclasses import dataclass

from drive import FLUSH, READ, WRITE, Request
from host_adapter import Answer

CHECK_CONDITION = 2
NO_SENSE, MEDIUM_ERROR, ILLEGAL_REQUEST, ABORTED_COMMAND = 0, 3, 5, 11
UNREADABLE, NO_SUCH_COMMAND, WRONG_FIELD = (0x11, 0), (0x20, 0), (0x24, 0)
SELF_TEST_IN_PROGRESS = (0x04, 0x09)
READS, WRITES = {0x28: 10, 0x88: 16}, {0x2A: 10, 0x8A: 16}
FLUSHES = (0x35, 0x91)
INQUIRY, LOG_SENSE, SEND_DIAGNOSTIC, REQUEST_SENSE = 0x12, 0x4D, 0x1D, 0x03
HOURS = 4711
SHORT, EXTENDED = 1, 2
PASSED, ABORTED, FAILED_SEGMENT, RUNNING = 0, 1, 7, 15


def sense(key, code, progress=None):
    """In fixed format."""
    content = bytearray(18)
    content[0], content[2], content[7] = 0x70, key, 10
    content[12:14] = code
    if progress is not None:
        content[15] = 0x80
        struct.pack_into(">H", content, 16, progress)
    return bytes(content)


def refused(code, key=ILLEGAL_REQUEST):
    return Answer(status=CHECK_CONDITION, sense=sense(key, code))


def parameter(code, value):
    return struct.pack(">HBB", code, 3, len(value)) + value


@dataclass
class Entry:
    """A self-test that has ended: its number, how, and the first bad sector."""

    number: int
    result: int
    lba: int = None


class SelfTests:
    """The self-tests of a drive, one at a time, and its log of them, newest first."""

    def __init__(self, places):
        self.places = places
        self.seconds = 0.0  # that one takes; None: it has no end
        self.result, self.lba = PASSED, None
        self.log = []
        self.running = self.begun = None
        self.count = 0

    def start(self, number):
        self.abort()
        self.running, self.begun = number, time.monotonic()

    def abort(self):
        if self.is_running():
            self.end(ABORTED, None)

    def end(self, result, lba):
        self.log.insert(0, Entry(self.running, result, lba))
        del self.log[self.places :]
        self.count += 1
        self.running = None

    def is_running(self):
        if self.running and self.seconds is not None and self.taken() >= self.seconds:
            self.end(self.result, self.lba)
        return self.running is not None

    def taken(self):
        return time.monotonic() - self.begun

    def percent(self):
        return min(int(self.taken()), 90) if self.seconds is None else int(
            100 * self.taken() / self.seconds)  # fmt: skip


class ScsiDrive:
    """`medium` (drive.py) is what is on it. Tests change the rest between commands."""

    VENDOR, PLACES = "TARVEX", 20

    def __init__(self, name, medium):
        self.name, self.model = name, "Told Drive"
        self.medium = medium
        self.lock = threading.Lock()  # guards self-tests and `asked`
        self.reset()

    def reset(self):
        """As it left its maker."""
        self.holding = lambda cdb: False
        with self.lock:
            self.asked = []
            self.self_tests = SelfTests(self.PLACES)
        self.exception = (0, 0)
        self.temperature, self.trip = 31, 65
        self.uncorrected = {0x02: 0, 0x03: 0, 0x05: 0}  # writes, reads, verifies
        self.used = 3  # percent
        self.scanned = []  # (hour, sense key, code, qualifier, lba), of the background scan

    def release(self):
        self.holding = lambda cdb: False
        self.medium.release()

    def holds(self, cdb):
        """Whether this command gets no answer for now."""
        return self.holding(cdb)

    def is_transfer(self, cdb):
        return cdb[0] in READS or cdb[0] in WRITES or cdb[0] in FLUSHES

    def log_of_self_tests(self):
        with self.lock:
            self.self_tests.is_running()
            return list(self.self_tests.log)

    # What the adapter asks.

    def execute(self, cdb, data):
        if self.is_transfer(cdb):
            return self.transfer(cdb, data)
        with self.lock:
            self.asked.append(bytes(cdb))
            command = self.COMMANDS.get(cdb[0])
            return command(self, cdb) if command else refused(NO_SUCH_COMMAND)

    def transfer(self, cdb, data):
        if cdb[0] in FLUSHES:
            self.medium.answer(Request(FLUSH, 0, 0), b"")
            return Answer()
        is_read = cdb[0] in READS
        lba, count = (struct.unpack_from(">IxH", cdb, 2) if (READS | WRITES)[cdb[0]] == 10
                      else struct.unpack_from(">QI", cdb, 2))  # fmt: skip
        request = Request(READ if is_read else WRITE, lba * self.medium.sector,
                          count * self.medium.sector)  # fmt: skip
        error, content = self.medium.answer(request, data)
        return refused(UNREADABLE, MEDIUM_ERROR) if error else Answer(content)

    def nothing(self, _):
        return Answer()

    def request_sense(self, _):
        if not self.self_tests.is_running():
            return Answer(sense(NO_SENSE, (0, 0)))
        done = self.self_tests.percent() * 65536 // 100
        return Answer(sense(2, SELF_TEST_IN_PROGRESS, done))

    def inquiry(self, cdb):
        if not cdb[1] & 1:
            head = struct.pack("BBBBBBBB", 0, 0, 6, 2, 31, 0, 0, 2)
            return Answer(head + self.VENDOR.encode().ljust(8) + self.model.encode().ljust(16) + b"1.0 ")
        serial = self.name.encode()
        name = b"\x01\x03\x00\x08" + struct.pack(">Q", 0x5000C50000000000 | sum(serial))
        pages = {0x00: b"\x00\x80\x83\xb1", 0x80: serial, 0x83: name,
                 0xB1: struct.pack(">HBB", 7200, 0, 2).ljust(60, b"\0")}  # fmt: skip
        if cdb[2] not in pages:
            return refused(WRONG_FIELD)
        return Answer(struct.pack(">BBH", 0, cdb[2], len(pages[cdb[2]])) + pages[cdb[2]])

    def mode_sense(self, cdb):
        control = bytearray(12)
        control[0:2] = 0x0A, 10
        struct.pack_into(">H", control, 10, 60)  # seconds of an extended self-test
        pages = bytes(control) if cdb[2] & 0x3F in (0x0A, 0x3F) else b""
        if cdb[0] == 0x1A:
            return Answer(struct.pack("BBBB", 3 + len(pages), 0, 0, 0) + pages)
        return Answer(struct.pack(">HBBBBH", 6 + len(pages), 0, 0, 0, 0, 0) + pages)

    def capacity(self, cdb):
        last, sector = self.medium.size // self.medium.sector - 1, self.medium.sector
        if cdb[0] == 0x25:
            return Answer(struct.pack(">II", last, sector))
        return Answer(struct.pack(">QI", last, sector).ljust(32, b"\0"))

    def report_luns(self, _):
        return Answer(struct.pack(">I4xQ", 8, 0))

    def diagnose(self, cdb):
        code = cdb[1] >> 5
        if code == 4:
            self.self_tests.abort()
        elif code in (SHORT, EXTENDED):
            self.self_tests.start(code)
        else:
            return refused(WRONG_FIELD)
        return Answer()

    def log_sense(self, cdb):
        pages = self.log_pages()
        page = cdb[2] & 0x3F
        content = bytes(sorted([0, *pages])) if page == 0 else pages.get(page)
        if content is None:
            return refused(WRONG_FIELD)
        return Answer(struct.pack(">BBH", page, 0, len(content)) + content)

    def log_pages(self):
        pages = {page: b"".join(parameter(code, struct.pack(">Q", count if code == 6 else 0))
                                for code in range(7))
                 for page, count in self.uncorrected.items()}  # fmt: skip
        pages[0x0D] = parameter(0, bytes([0, self.temperature])) + parameter(1, bytes([0, self.trip]))
        pages[0x10] = b"".join(parameter(place, self.self_test_result(place))
                               for place in range(1, self.PLACES + 1))  # fmt: skip
        pages[0x11] = parameter(1, bytes([0, 0, 0, self.used]))
        pages[0x15] = parameter(0, struct.pack(">IBBHHH", HOURS * 60, 0, 8, 1, 0, 1)) + b"".join(
            parameter(place, struct.pack(">IBBB5xQ", 60 * hour, 0x20 | key, code, qualifier, lba))
            for place, (hour, key, code, qualifier, lba) in enumerate(self.scanned, 1))  # fmt: skip
        pages[0x2F] = parameter(0, bytes([*self.exception, self.temperature, self.trip]))
        return pages

    def self_test_result(self, place):
        self.self_tests.is_running()
        if place > len(self.self_tests.log):
            return bytes(16)
        entry = self.self_tests.log[place - 1]
        lba = 0xFFFFFFFFFFFFFFFF if entry.lba is None else entry.lba
        found = (MEDIUM_ERROR, *UNREADABLE) if entry.lba is not None else (0, 0, 0)
        segment = 3 if entry.result == FAILED_SEGMENT else 0
        return struct.pack(">BBHQBBBx", entry.number << 5 | entry.result, segment, HOURS, lba, *found)

    COMMANDS = {
        0x00: nothing, REQUEST_SENSE: request_sense, INQUIRY: inquiry, 0x1A: mode_sense,
        0x5A: mode_sense, 0x1B: nothing, 0x1E: nothing, 0x25: capacity, 0x9E: capacity,
        0xA0: report_luns, SEND_DIAGNOSTIC: diagnose, LOG_SENSE: log_sense,
    }  # fmt: skip
