"""The inside of an emulated drive: what is on it, what is wrong with it, and what it was asked.

The emulator's controllers reach it over the NBD protocol, whatever they look like to the machine.
Source: https://github.com/NetworkBlockDevice/nbd/blob/master/doc/proto.md
"""

import errno
import hashlib
import os
import socket
import struct
import threading
import time

READ, WRITE, LEAVE, FLUSH, TRIM, WRITE_ZEROES = 0, 1, 2, 3, 4, 6
FORCE = 1
CHANGING = (WRITE, TRIM, WRITE_ZEROES)

OPTION_MAGIC = b"IHAVEOPT"
REPLY_MAGIC = 0x3E889045565A9
ABORT, INFO, GO = 2, 6, 7
ACK, SAY_INFO, UNSUPPORTED = 1, 3, 2**31 + 1
# Has flags, flushes, takes "force unit access", trims, writes zeroes.
FLAGS = 1 | 4 | 8 | 32 | 64


class Request:
    """What the drive was asked: `kind`, `offset` and `length` in bytes, `at` on the host's clock."""

    def __init__(self, kind, offset, length, flags=0):
        self.kind = kind
        self.offset = offset
        self.length = length
        self.is_forced = bool(flags & FORCE)  # has to have reached the medium when it is answered
        self.at = time.monotonic()


class Drive:
    """One drive of a machine; lives longer than the machine, so it can be booted on again.

    Faults may be planted at any time, from any thread; places are sectors of `sector` bytes.
    """

    def __init__(self, path, size, sector):
        self.path = path
        self.size = size
        self.sector = sector
        self.lock = threading.Lock()  # guards all below
        self.released = threading.Condition(self.lock)
        self.bad = set()
        self.hanging = set()
        self.late = {}  # seconds, by sector
        self.waiting = 0
        self.bytes_per_second = None
        self.requests = []
        self.heals_on_write = False
        self.real_size = None  # how much of it is there; what lies beyond shares places with that
        self.unflushed = []  # (offset, what was there before) of each write since the last flush
        self.file = os.open(path, os.O_RDWR | os.O_CREAT | os.O_CLOEXEC, 0o600)
        os.ftruncate(self.file, size)

    def close(self):
        os.close(self.file)

    # What a test does to the drive.

    def fill(self, offset, content):
        """Puts bytes on the drive as its maker would; the drive does not count that."""
        os.pwrite(self.file, content, offset)

    def fail(self, lba, count=1):
        """These sectors cannot be read any more."""
        with self.lock:
            self.bad.update(range(lba, lba + count))

    def heal(self, lba, count=1):
        with self.lock:
            self.bad.difference_update(range(lba, lba + count))

    def hang(self, lba, count=1):
        """What reads these sectors gets no answer until `release`."""
        with self.lock:
            self.hanging.update(range(lba, lba + count))

    def delay(self, lba, seconds):
        """What reads this sector waits so long for its answer."""
        with self.lock:
            self.late[lba] = seconds

    def is_hanging(self):
        """Whether somebody waits for an answer that does not come."""
        with self.lock:
            return self.waiting > 0

    def release(self):
        with self.lock:
            self.hanging.clear()
            self.released.notify_all()

    def lose_power(self):
        """What was written and not flushed is as it was before, as the worst drive may have it."""
        with self.lock:
            for offset, content in reversed(self.unflushed):
                os.pwrite(self.file, content, offset)
            self.unflushed.clear()

    def throttle(self, bytes_per_second):
        """How much it gives at most; None for all it can."""
        with self.lock:
            self.bytes_per_second = bytes_per_second

    def mend(self, bytes_per_second=None):
        """Nothing is wrong with it any more, and it was never asked anything."""
        self.release()
        with self.lock:
            self.bad.clear()
            self.late.clear()
            self.requests.clear()
            self.heals_on_write = False
            self.real_size = None
            self.bytes_per_second = bytes_per_second

    # What a test asks the drive.

    def asked(self, *kinds):
        """The requests of these kinds so far, oldest first."""
        with self.lock:
            return [request for request in self.requests if request.kind in kinds]

    def bytes_read(self):
        return sum(request.length for request in self.asked(READ))

    def changes(self):
        """All that would have changed what is on the drive; empty when nobody wrote."""
        return self.asked(*CHANGING)

    def content_hash(self):
        digest = hashlib.sha256()
        for offset in range(0, self.size, 1 << 20):
            digest.update(os.pread(self.file, min(1 << 20, self.size - offset), offset))
        return digest.hexdigest()

    # What the machine asks of the drive.

    def answer(self, request, content):
        """(error number or 0, bytes read) for a request of the machine."""
        first = request.offset // self.sector
        end = -(-(request.offset + request.length) // self.sector)
        with self.lock:
            self.requests.append(request)
            self.waiting += 1
            while request.kind == READ and not self.hanging.isdisjoint(range(first, end)):
                self.released.wait()
            self.waiting -= 1
            if request.kind == READ and not self.bad.isdisjoint(range(first, end)):
                return errno.EIO, b""
            if request.kind in CHANGING and self.heals_on_write:
                self.bad.difference_update(range(first, end))
            seconds = request.length / self.bytes_per_second if self.bytes_per_second else 0
            if request.kind == READ:
                seconds += max((self.late[lba] for lba in self.late if first <= lba < end), default=0)
        if seconds:
            time.sleep(seconds)
        return self.transfer(request, content)

    def transfer(self, request, content):
        if request.offset + request.length > self.size:
            return errno.EINVAL, b""
        place = request.offset % (self.real_size or self.size)
        if request.kind == READ:
            return 0, os.pread(self.file, request.length, place)
        with self.lock:
            if request.kind in CHANGING:
                before = os.pread(self.file, request.length, place)
                self.unflushed.append((place, before))
                os.pwrite(self.file, content or bytes(request.length), place)
            if request.kind == FLUSH or request.is_forced:
                self.unflushed.clear()
        return 0, b""


class Line:
    """One connection of the emulator to a drive."""

    def __init__(self, connection, drives):
        self.connection = connection
        self.drives = drives

    def take(self, length):
        content = bytearray()
        while len(content) < length:
            chunk = self.connection.recv(min(length - len(content), 1 << 20))
            if not chunk:
                raise ConnectionError
            content += chunk
        return bytes(content)

    def tell(self, option, kind, content=b""):
        head = struct.pack(">QIII", REPLY_MAGIC, option, kind, len(content))
        self.connection.sendall(head + content)

    def agree(self):
        """The drive that the emulator names; None when it leaves."""
        self.connection.sendall(b"NBDMAGIC" + OPTION_MAGIC + struct.pack(">H", 3))
        self.take(4)
        while True:
            magic, option, length = struct.unpack(">8sII", self.take(16))
            content = self.take(length)
            if magic != OPTION_MAGIC or option == ABORT:
                return None
            if option not in (INFO, GO):
                self.tell(option, UNSUPPORTED)
                continue
            (name_length,) = struct.unpack(">I", content[:4])
            drive = self.drives[content[4 : 4 + name_length].decode()]
            self.tell(option, SAY_INFO, struct.pack(">HQH", 0, drive.size, FLAGS))
            self.tell(option, ACK)
            if option == GO:
                return drive

    def serve(self):
        try:
            drive = self.agree()
            while drive:
                _, flags, kind, handle, offset, length = struct.unpack(">IHHQQI", self.take(28))
                if kind == LEAVE:
                    return
                content = self.take(length) if kind == WRITE else b""
                error, answer = drive.answer(Request(kind, offset, length, flags), content)
                head = struct.pack(">IIQ", 0x67446698, error, handle)
                self.connection.sendall(head + answer)
        except ConnectionError:
            pass  # the machine was switched off, or died
        finally:
            self.connection.close()


class Shelf:
    """Gives the drives, by name, to whom connects to the socket at `path`."""

    def __init__(self, path, drives):
        self.drives = drives
        self.lines = []
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.bind(str(path))
        self.socket.listen()
        self.porter = threading.Thread(target=self.wait, daemon=True)
        self.porter.start()

    def wait(self):
        while True:
            try:
                connection, _ = self.socket.accept()
            except OSError:
                return  # closed
            line = threading.Thread(target=Line(connection, self.drives).serve, daemon=True)
            self.lines.append(line)
            line.start()

    def wait_until_idle(self):
        """Until nobody uses a drive any more, once the emulator has ended."""
        for drive in self.drives.values():
            drive.release()
        for line in self.lines:
            line.join()
        self.lines.clear()

    def close(self):
        self.socket.shutdown(socket.SHUT_RDWR)
        self.porter.join()
        self.wait_until_idle()
        self.socket.close()
