"""Runs inside an emulated machine, as its first process, and does what the host asks: starts
programs (on pipes or on a terminal), reads and writes files, tells its clock.

One line of JSON for each request, answer and event, over a virtio port. If it dies, so does the
machine, with the reason on the console.
"""

import base64
import errno
import fcntl
import json
import os
import pty
import selectors
import signal
import struct
import subprocess
import termios
import time
import traceback

PORTS = "/sys/class/virtio-ports"
PORT_NAME = "agent"
SECONDS_TO_APPEAR = 10
CHUNK = 65536


def encoded(content):
    return base64.b64encode(content).decode()


class Program:
    """A program that was started: `outputs` are descriptors by the name of their stream."""

    def __init__(self, request):
        self.terminal = None
        self.before = None
        self.slave = None
        environment = request["environment"]
        options = {"cwd": request["folder"], "env": environment, "start_new_session": True}
        if request["terminal"]:
            self.start_on_terminal(request, options)
        else:
            self.process = subprocess.Popen(
                request["words"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                stderr=subprocess.PIPE, **options
            )  # fmt: skip
            self.outputs = {"out": self.process.stdout.fileno(), "err": self.process.stderr.fileno()}
        for descriptor in self.outputs.values():
            os.set_blocking(descriptor, False)

    def start_on_terminal(self, request, options):
        self.terminal, self.slave = pty.openpty()
        rows, columns = request["terminal"]
        fcntl.ioctl(self.slave, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))
        self.before = termios.tcgetattr(self.slave)
        self.process = subprocess.Popen(
            request["words"], stdin=self.slave, stdout=self.slave, stderr=self.slave,
            preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0), **options
        )  # fmt: skip
        self.outputs = {"out": self.terminal}

    def settings(self):
        now = termios.tcgetattr(self.slave)
        return {"as_before": now == self.before, "single_keys": not now[3] & termios.ICANON}

    def close(self):
        if self.terminal is not None:
            os.close(self.terminal)
            os.close(self.slave)
        else:
            self.process.stdout.close()
            self.process.stderr.close()


class Agent:
    def __init__(self, port):
        self.port = port
        self.line = b""
        self.programs = {}
        self.waiting = selectors.DefaultSelector()
        self.waiting.register(port, selectors.EVENT_READ, self.take_requests)
        # A child's end is a byte here, so that nothing waits for it.
        wake, alarm = os.pipe()
        for end in (wake, alarm):
            os.set_blocking(end, False)
        signal.set_wakeup_fd(alarm)
        signal.signal(signal.SIGCHLD, lambda *_: None)
        self.waiting.register(wake, selectors.EVENT_READ, lambda: self.bury(wake))

    def tell(self, **message):
        content = json.dumps(message).encode() + b"\n"
        while content:
            content = content[os.write(self.port, content) :]

    def serve(self):
        self.tell(ready=True, kernel=os.uname().release)
        while True:
            for key, _ in self.waiting.select():
                key.data()

    def take_requests(self):
        self.line += os.read(self.port, CHUNK)
        while b"\n" in self.line:
            text, self.line = self.line.split(b"\n", 1)
            request = json.loads(text)
            try:
                answer = getattr(self, "do_" + request["do"])(request)
                self.tell(re=request["re"], answer=answer)
            except Exception as error:  # whatever it is, the host's test has to know
                self.tell(re=request["re"], error=f"{error}\n{traceback.format_exc()}")

    # Output and ends of programs.

    def watch(self, number, program):
        for stream, descriptor in program.outputs.items():
            self.waiting.register(
                descriptor,
                selectors.EVENT_READ,
                lambda stream=stream, descriptor=descriptor: self.forward(
                    number, stream, descriptor
                ),
            )

    def forward(self, number, stream, descriptor):
        """Whether there may be more."""
        try:
            content = os.read(descriptor, CHUNK)
        except BlockingIOError:
            return False
        except OSError as error:
            if error.errno != errno.EIO:
                raise
            content = b""
        if content:
            self.tell(program=number, stream=stream, content=encoded(content), at=time.monotonic())
            return True
        self.waiting.unregister(descriptor)
        return False

    def bury(self, wake):
        try:
            os.read(wake, CHUNK)
        except BlockingIOError:
            pass
        while True:
            try:
                pid, status = os.waitpid(-1, os.WNOHANG)
            except ChildProcessError:
                return
            if pid == 0:
                return
            for number, program in list(self.programs.items()):
                if program.process.pid == pid:
                    self.end(number, program, os.waitstatus_to_exitcode(status))

    def end(self, number, program, status):
        at = time.monotonic()
        program.process.returncode = status
        for stream, descriptor in program.outputs.items():
            while descriptor in self.waiting.get_map() and self.forward(number, stream, descriptor):
                pass
            if descriptor in self.waiting.get_map():
                self.waiting.unregister(descriptor)
        settings = program.settings() if program.terminal is not None else None
        program.close()
        del self.programs[number]
        self.tell(program=number, status=status, settings=settings, at=at)

    # What the host may ask.

    def do_start(self, request):
        program = Program(request)
        self.programs[request["program"]] = program
        self.watch(request["program"], program)
        return program.process.pid

    def do_keys(self, request):
        os.write(self.programs[request["program"]].terminal, base64.b64decode(request["content"]))

    def do_settings(self, request):
        return self.programs[request["program"]].settings()

    def do_kill(self, request):
        """Whether it was still there."""
        try:
            os.kill(request["pid"], request["signal"])
        except ProcessLookupError:
            return False
        return True

    def do_read(self, request):
        with open(request["path"], "rb", buffering=0) as file:
            file.seek(request["offset"])
            return encoded(file.read(request["length"]))

    def do_write(self, request):
        os.makedirs(os.path.dirname(request["path"]), exist_ok=True)
        with open(request["path"], "wb", buffering=0) as file:
            file.write(base64.b64decode(request["content"]))
            if request["mode"] is not None:
                os.fchmod(file.fileno(), request["mode"])

    def do_list(self, request):
        return sorted(os.listdir(request["path"]))

    def do_make_folder(self, request):
        os.makedirs(request["path"], mode=request["mode"], exist_ok=True)

    def do_clock(self, _):
        return time.monotonic()


def open_port():
    """The port to the host, which the kernel names when the host has."""
    deadline = time.monotonic() + SECONDS_TO_APPEAR
    while True:
        for port in os.listdir(PORTS):
            with open(f"{PORTS}/{port}/name", encoding="ascii") as file:
                if file.read().strip() == PORT_NAME:
                    return os.open(f"/dev/{port}", os.O_RDWR | os.O_CLOEXEC)
        if time.monotonic() > deadline:
            raise FileNotFoundError(f"no port named {PORT_NAME}")
        time.sleep(0.05)


if __name__ == "__main__":
    Agent(open_port()).serve()
