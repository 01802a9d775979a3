"""The other end of an emulator's device whose inside is ours: its queues in the machine's memory.

Source: QEMU, docs/interop/vhost-user.rst; Virtual I/O Device 1.1, 2.6 (split virtqueues).
"""

import array
import contextlib
import mmap
import os
import selectors
import socket
import struct
import threading

GET_FEATURES, SET_FEATURES, SET_MEM_TABLE = 1, 2, 5
SET_VRING_NUM, SET_VRING_ADDR, SET_VRING_BASE, GET_VRING_BASE = 8, 9, 10, 11
SET_VRING_KICK, SET_VRING_CALL = 12, 13
GET_PROTOCOL_FEATURES = 15
VERSION, REPLY = 1, 4
HEAD = struct.Struct("<III")
MOST_FILES = 8
NO_FILE = 1 << 8

VERSION_1 = 1 << 32
INDIRECT_DESCRIPTORS = 1 << 28
PROTOCOL_FEATURES = 1 << 30  # of which there are none, but the emulator wants to ask
DESCRIPTOR = struct.Struct("<QIHH")
NEXT, WRITABLE, INDIRECT = 1, 2, 4


class Memory:
    """The machine's memory, as the emulator shares it."""

    def __init__(self, regions=()):
        self.regions = regions  # (in the machine, size, in the emulator, view)

    def part(self, address, length, column=0):
        for region in self.regions:
            place = address - region[column]
            if 0 <= place and place + length <= region[1]:
                return region[3][place : place + length]
        raise ValueError(f"no memory at {address:#x}")

    def in_emulator(self, address, length):
        return self.part(address, length, 2)


class Chain:
    """One request of the machine: what it says, and the places for the answer."""

    def __init__(self, queue, head, said, places):
        self.queue = queue
        self.head = head
        self.said = said
        self.places = places

    def room(self):
        return sum(len(place) for place in self.places)

    def answer(self, content):
        rest = content
        for place in self.places:
            part, rest = rest[: len(place)], rest[len(place) :]
            place[: len(part)] = part
        self.queue.give_back(self.head, len(content))


class Queue:
    """One split virtqueue; its lock guards the ring of what was answered."""

    def __init__(self):
        self.lock = threading.Lock()
        self.count = self.next = 0
        self.descriptors = self.offered = self.used = None
        self.kick = self.call = None

    def place(self, memory, descriptors, used, offered):
        self.memory = memory
        self.descriptors = memory.in_emulator(descriptors, 16 * self.count)
        self.offered = memory.in_emulator(offered, 4 + 2 * self.count)
        self.used = memory.in_emulator(used, 4 + 8 * self.count)

    def stop(self):
        with self.lock:
            self.used = None
            for file in (self.kick, self.call):
                if file is not None:
                    os.close(file)
            self.kick = self.call = None

    def chains(self):
        """The requests that were not taken yet; each is taken by that."""
        while self.next != struct.unpack_from("<H", self.offered, 2)[0]:
            (head,) = struct.unpack_from("<H", self.offered, 4 + 2 * (self.next % self.count))
            self.next = (self.next + 1) % 0x10000
            yield self.chain(head)

    def chain(self, head):
        said, places = [], []
        table, number = self.descriptors, head
        while True:
            address, length, flags, following = DESCRIPTOR.unpack_from(table, 16 * number)
            if flags & INDIRECT:
                table, number = self.memory.part(address, length), 0
                continue
            part = self.memory.part(address, length)
            if flags & WRITABLE:
                places.append(part)
            else:
                said.append(bytes(part))
            if not flags & NEXT:
                return Chain(self, head, b"".join(said), places)
            number = following

    def give_back(self, head, length):
        with self.lock:
            if self.used is None:
                return  # the machine has begun anew, and waits for nothing
            (index,) = struct.unpack_from("<H", self.used, 2)
            struct.pack_into("<II", self.used, 4 + 8 * (index % self.count), head, length)
            struct.pack_into("<H", self.used, 2, (index + 1) % 0x10000)
            self.ring()

    def ring(self):
        if self.call is not None:
            os.write(self.call, struct.pack("<Q", 1))

    def ring_at(self, file):
        """The machine is told there from now on, also of what was answered before."""
        with self.lock:
            if self.call is not None:
                os.close(self.call)
            self.call = file
            self.ring()


class Line:
    """One emulator's connection: sets up its queues, and hands each request to `device`."""

    def __init__(self, connection, device):
        self.connection = connection
        self.device = device
        self.memory = Memory()
        self.queues = {}
        self.waiting = selectors.DefaultSelector()
        self.waiting.register(connection, selectors.EVENT_READ, None)

    def serve(self):
        try:
            while True:
                for key, _ in self.waiting.select():
                    if key.data is None:
                        self.obey()
                    else:
                        self.take(key.data)
        except ConnectionError:
            pass  # the machine was switched off, or died
        finally:
            for number in list(self.queues):
                self.stop(number)
            self.waiting.close()
            self.connection.close()

    def take(self, number):
        queue = self.queues[number]
        os.read(queue.kick, 8)
        for chain in queue.chains():
            self.device.take(number, chain)

    def receive(self):
        files = array.array("i")
        head, extra, _, _ = self.connection.recvmsg(HEAD.size, socket.CMSG_SPACE(4 * MOST_FILES))
        if len(head) < HEAD.size:
            raise ConnectionError
        for _, _, content in extra:
            files.frombytes(content[: len(content) // 4 * 4])
        request, _, size = HEAD.unpack(head)
        content = b""
        while len(content) < size:
            part = self.connection.recv(size - len(content))
            if not part:
                raise ConnectionError
            content += part
        return request, content, files

    def reply(self, request, content):
        self.connection.sendall(HEAD.pack(request, VERSION | REPLY, len(content)) + content)

    def obey(self):
        request, content, files = self.receive()
        if request == GET_FEATURES:
            self.reply(request, struct.pack("<Q", self.device.FEATURES | VERSION_1
                                            | INDIRECT_DESCRIPTORS | PROTOCOL_FEATURES))  # fmt: skip
        elif request == GET_PROTOCOL_FEATURES:
            self.reply(request, struct.pack("<Q", 0))
        elif request == SET_MEM_TABLE:
            self.share(content, files)
        elif request in (SET_VRING_KICK, SET_VRING_CALL):
            self.take_file(request, content, files)
        elif SET_VRING_NUM <= request <= GET_VRING_BASE:
            self.arrange(request, content)

    def share(self, content, files):
        regions = []
        for number, file in enumerate(files):
            guest, size, user, offset = struct.unpack_from("<QQQQ", content, 8 + 32 * number)
            whole = mmap.mmap(file, size + offset)
            os.close(file)
            regions.append((guest, size, user, memoryview(whole)[offset:]))
        self.memory = Memory(regions)

    def arrange(self, request, content):
        number, value = struct.unpack_from("<II", content)
        queue = self.queues.setdefault(number, Queue())
        if request == SET_VRING_NUM:
            queue.count = value
        elif request == SET_VRING_BASE:
            queue.next = value
        elif request == SET_VRING_ADDR:
            queue.place(self.memory, *struct.unpack_from("<QQQ", content, 8))
        else:
            self.stop(number)
            self.reply(request, struct.pack("<II", number, queue.next))

    def take_file(self, request, content, files):
        (value,) = struct.unpack_from("<Q", content)
        queue = self.queues.setdefault(value & 0xFF, Queue())
        file = None if value & NO_FILE else files[0]
        if request == SET_VRING_CALL:
            queue.ring_at(file)
        else:
            queue.kick = file
            self.waiting.register(file, selectors.EVENT_READ, value & 0xFF)

    def stop(self, number):
        queue = self.queues.pop(number)
        if queue.kick is not None:
            self.waiting.unregister(queue.kick)
        self.device.forget(queue)
        queue.stop()


class Socket:
    """Where an emulator finds the device, as often as it is started."""

    def __init__(self, path, device):
        self.device = device
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.bind(str(path))
        self.socket.listen()
        self.porter = threading.Thread(target=self.wait, daemon=True)
        self.porter.start()

    def wait(self):
        with contextlib.suppress(OSError):  # closed
            while True:
                connection, _ = self.socket.accept()
                Line(connection, self.device).serve()

    def close(self):
        self.socket.shutdown(socket.SHUT_RDWR)
        self.porter.join()
        self.socket.close()
