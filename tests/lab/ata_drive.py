"""An ATA drive behind a host adapter, which says of itself what a test wants it to say.

Source: SAT-3 (ATA PASS-THROUGH), ATA8-ACS (IDENTIFY DEVICE, SMART and its logs), SFF-8035i.
"""

import struct
from dataclasses import dataclass

from host_adapter import Answer
from scsi_drive import (
    ABORTED_COMMAND,
    CHECK_CONDITION,
    FAILED_SEGMENT,
    HOURS,
    RUNNING,
    ScsiDrive,
    refused,
)

PASS_THROUGH_16, PASS_THROUGH_12 = 0x85, 0xA1
IDENTIFY, SMART = 0xEC, 0xB0
READ_DATA, READ_THRESHOLDS, EXECUTE, READ_LOG, RETURN_STATUS = 0xD0, 0xD1, 0xD4, 0xD5, 0xDA
SHORT, EXTENDED, ABORT = 0x01, 0x02, 0x7F
GOOD, EXCEEDED = (0x4F, 0xC2), (0xF4, 0x2C)
ERRORS, SELF_TESTS = 0x01, 0x06
# How a self-test ended, by the result of SCSI: the upper half of a status byte.
ENDS = {FAILED_SEGMENT: 7, RUNNING: 15}
BYTES_OF_ERROR, MOST_ERRORS = 90, 5


@dataclass
class Attribute:
    flags: int
    value: int
    worst: int
    threshold: int
    raw: int = 0


@dataclass
class Error:
    """A read that the drive could not do."""

    lba: int
    hour: int = 4000
    error: int = 0x40
    status: int = 0x51


@dataclass
class Shape:
    """A command's registers."""

    feature: int
    low: int
    command: int
    wants_registers: bool


def sealed(page):
    page[511] = -sum(page[:511]) & 0xFF
    return bytes(page)


def turned(text, size):
    content = text.encode().ljust(size)
    return bytes(byte for pair in zip(content[1::2], content[::2]) for byte in pair)


def registers(middle, high):
    """What a drive answers in registers, as sense data in descriptor format."""
    block = bytes([0x09, 12, 0, 0, 0, 0, 0, 0, 0, middle, 0, high, 0, 0x50])
    return Answer(status=CHECK_CONDITION, sense=bytes([0x72, 1, 0, 0x1D, 0, 0, 0, 14]) + block)


class AtaDrive(ScsiDrive):
    """`attributes` by number; `errors` and the log of self-tests newest first."""

    VENDOR, PLACES = "ATA", 21

    def reset(self):
        super().reset()
        self.attributes = {
            1: Attribute(0x0F, 114, 99, 6, 74027368),
            5: Attribute(0x33, 100, 100, 36),
            9: Attribute(0x32, 95, 95, 0, HOURS),
            187: Attribute(0x32, 100, 100, 0),
            194: Attribute(0x22, 31, 45, 0, 31),
            197: Attribute(0x12, 100, 100, 0),
            198: Attribute(0x10, 100, 100, 0),
            199: Attribute(0x3E, 200, 200, 0),
        }
        self.is_exceeded = False
        self.errors = []

    def pass_through(self, cdb):
        if cdb[0] == PASS_THROUGH_16:
            shape = Shape(cdb[4], cdb[8], cdb[14], bool(cdb[2] & 0x20))
        else:
            shape = Shape(cdb[3], cdb[5], cdb[9], bool(cdb[2] & 0x20))
        page = self.page_of(shape)
        if page is not None:
            return Answer(page)
        if shape.command == SMART and shape.feature == RETURN_STATUS:
            return registers(*(EXCEEDED if self.is_exceeded else GOOD))
        if shape.command == SMART and shape.feature == EXECUTE and shape.low == ABORT:
            self.self_tests.abort()
        elif shape.command == SMART and shape.feature == EXECUTE and shape.low in (SHORT, EXTENDED):
            self.self_tests.start(shape.low)
        else:
            return refused((0, 0), ABORTED_COMMAND)
        return registers(*GOOD) if shape.wants_registers else Answer()

    def page_of(self, shape):
        if shape.command == IDENTIFY:
            return self.identity()
        pages = {(READ_DATA, 0): self.smart_data, (READ_THRESHOLDS, 0): self.thresholds,
                 (READ_LOG, ERRORS): self.error_log,
                 (READ_LOG, SELF_TESTS): self.self_test_log}  # fmt: skip
        make = pages.get((shape.feature, shape.low)) if shape.command == SMART else None
        return make() if make else None

    def identity(self):
        page = bytearray(512)
        words = {0: 0x0040, 82: 1, 83: 0x4000, 84: 0x4003, 85: 1, 87: 0x4003, 217: 7200}
        for word, value in words.items():
            struct.pack_into("<H", page, 2 * word, value)
        page[20:40] = turned(self.name, 20)
        page[46:54] = turned("1.0", 8)
        page[54:94] = turned(self.model, 40)
        struct.pack_into("<I", page, 120, self.medium.size // self.medium.sector)
        page[510] = 0xA5
        return sealed(page)

    def smart_data(self):
        page = bytearray(512)
        page[0] = 16
        for place, (number, one) in enumerate(self.attributes.items()):
            struct.pack_into("<BHBB6s", page, 2 + 12 * place, number, one.flags, one.value,
                             one.worst, one.raw.to_bytes(6, "little"))  # fmt: skip
        page[363] = self.self_test_status()
        page[367], page[370], page[372], page[373] = 0x11, 1, 1, 1  # minutes of each
        return sealed(page)

    def self_test_status(self):
        tests = self.self_tests
        if tests.is_running():
            # Source: ACS-4, self-test execution status: tenths that are left, 9 at the most
            return 0xF0 | min((100 - tests.percent()) // 10, 9)
        return self.end_of(tests.log[0]) << 4 if tests.log else 0

    def end_of(self, entry):
        return ENDS.get(entry.result, entry.result)

    def thresholds(self):
        page = bytearray(512)
        page[0] = 16
        for place, (number, one) in enumerate(self.attributes.items()):
            struct.pack_into("<BB", page, 2 + 12 * place, number, one.threshold)
        return sealed(page)

    def error_log(self):
        page = bytearray(512)
        page[0] = 1
        count = len(self.errors)
        kept = self.errors[:MOST_ERRORS]
        page[1] = (count - 1) % MOST_ERRORS + 1 if count else 0
        for back, error in enumerate(kept):
            at = 2 + (page[1] - 1 - back) % MOST_ERRORS * BYTES_OF_ERROR
            place = struct.pack("<I", error.lba)
            struct.pack_into("<BBB3sBBI", page, at + 48, 0, 0, 8, place[:3], 0x40 | place[3], 0x25,
                             error.hour)  # fmt: skip
            struct.pack_into("<BBB3sBB19xBH", page, at + 60, 0, error.error, 8, place[:3],
                             0x40 | place[3], error.status, 0, error.hour)  # fmt: skip
        struct.pack_into("<H", page, 452, count)
        return sealed(page)

    def self_test_log(self):
        self.self_tests.is_running()
        page = bytearray(512)
        page[0] = 1
        count = self.self_tests.count
        page[508] = (count - 1) % self.PLACES + 1 if count else 0
        for back, entry in enumerate(self.self_tests.log):
            at = 2 + (page[508] - 1 - back) % self.PLACES * 24
            lba = 0xFFFFFFFF if entry.lba is None else entry.lba
            struct.pack_into("<BBHBI", page, at, entry.number, self.end_of(entry) << 4, HOURS, 0,
                             lba)  # fmt: skip
        return sealed(page)

    COMMANDS = {**ScsiDrive.COMMANDS, PASS_THROUGH_16: pass_through, PASS_THROUGH_12: pass_through}
    # Of SCSI it has what a translation layer has.
    del COMMANDS[0x4D], COMMANDS[0x1D]
