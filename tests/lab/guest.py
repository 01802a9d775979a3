"""The line to the agent inside a machine, and the programs that it started there."""

import base64
import json
import re
import select
import time

from emulator import LabFault, connect

SECONDS = 120  # that anything may take, for an emulated machine is slow


class Result:
    """A program that has ended: its exit status, the bytes of both streams, and when it ended."""

    def __init__(self, status, output, errors, at):
        self.returncode = status
        self.stdout = output
        self.stderr = errors
        self.at = at


class Running:
    """A program inside the machine. Times (`at`) are seconds of the machine's own clock."""

    def __init__(self, guest, number):
        self.guest = guest
        self.number = number
        self.pid = None
        self.streams = {"out": b"", "err": b""}
        self.times = []  # (end of what had come by then, when), of the output
        self.seen = 0
        self.ended = None

    def take(self, message):
        if "status" in message:
            self.ended = message
            return
        self.streams[message["stream"]] += base64.b64decode(message["content"])
        if message["stream"] == "out":
            self.times.append((len(self.streams["out"]), message["at"]))

    def expect(self, pattern, seconds=SECONDS):
        """Waits until the pattern (a regular expression of bytes) is in what is not yet expected;
        the match, and the machine's clock when it was there."""
        expression = re.compile(pattern)

        def there():
            return expression.search(self.streams["out"], self.seen)

        self.guest.wait_until(lambda: there() or self.ended, seconds, f"{pattern} in the output")
        match = there()
        assert match, f"the program ended without {pattern}:\n{self.text()}"
        self.seen = match.end()
        return match, next(at for end, at in self.times if end >= match.end())

    def press(self, keys):
        self.guest.ask("keys", program=self.number, content=base64.b64encode(keys).decode())

    def kill(self, signal):
        return self.guest.kill(self.pid, signal)

    def terminal_settings(self):
        """The terminal's: "as_before" and "single_keys"; the last ones once the program ended."""
        if self.ended:
            return self.ended["settings"]
        return self.guest.ask("settings", program=self.number)

    def text(self):
        return self.streams["out"].decode(errors="replace")

    def wait(self, seconds=SECONDS):
        """The Result, once it has ended."""
        self.guest.wait_until(lambda: self.ended, seconds, f"the program's end\n{self.text()}")
        return Result(self.ended["status"], self.streams["out"], self.streams["err"],
                      self.ended["at"])  # fmt: skip


class Guest:
    """What runs inside the machine. One thread uses it."""

    def __init__(self, path):
        self.line = connect(path)
        self.rest = b""
        self.requests = 0
        self.answers = {}
        self.programs = {}
        self.kernel = None

    def take(self, seconds):
        """Takes in what the machine says, waiting at most so long for it."""
        if not select.select([self.line], [], [], max(seconds, 0))[0]:
            return
        content = self.line.recv(1 << 20)
        if not content:
            raise LabFault("the machine has ended")
        *lines, self.rest = (self.rest + content).split(b"\n")
        for line in lines:
            message = json.loads(line)
            if "ready" in message:
                self.kernel = message["kernel"]
            elif "re" in message:
                self.answers[message["re"]] = message
            else:
                self.programs[message["program"]].take(message)

    def wait_until(self, holds, seconds, what):
        deadline = time.monotonic() + seconds
        while not holds():
            left = deadline - time.monotonic()
            if left <= 0:
                raise LabFault(f"no answer within {seconds} s: {what}")
            self.take(left)

    def wait_until_ready(self, seconds=SECONDS):
        self.wait_until(lambda: self.kernel, seconds, "the machine's agent")

    def ask(self, what, **arguments):
        self.requests += 1
        number = self.requests
        request = {"do": what, "re": number, **arguments}
        self.line.sendall(json.dumps(request).encode() + b"\n")
        self.wait_until(lambda: number in self.answers, SECONDS, what)
        answer = self.answers.pop(number)
        if "error" in answer:
            raise LabFault(f"{what} in the machine: {answer['error']}")
        return answer["answer"]

    def start(self, words, environment=None, folder="/", terminal=None):
        """Starts a program, on a terminal of (rows, columns) or on pipes; a Running."""
        running = Running(self, self.requests + 1)
        self.programs[running.number] = running
        environment = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", **(environment or {})}
        running.pid = self.ask("start", program=running.number, words=[str(word) for word in words],
                               environment=environment, folder=folder,
                               terminal=terminal)  # fmt: skip
        return running

    def run(self, *words, seconds=SECONDS, **options):
        """Runs a program to its end; a Result."""
        return self.start(words, **options).wait(seconds)

    def said(self, *words, **options):
        """What a program prints that must end well."""
        done = self.run(*words, **options)
        assert done.returncode == 0, f"{words}: {done.stderr.decode()}"
        return done.stdout.decode(errors="replace")

    def kill(self, pid, signal):
        """Whether there was such a process."""
        return self.ask("kill", pid=pid, signal=int(signal))

    def read(self, path, offset=0, length=-1):
        answer = self.ask("read", path=str(path), offset=offset, length=length)
        return base64.b64decode(answer)

    def text(self, path):
        """What a file says, such as one of /sys, without the blanks around it."""
        return self.read(path).decode(errors="replace").strip()

    def write(self, path, content, mode=0o600):
        content = content.encode() if isinstance(content, str) else content
        self.ask("write", path=str(path), content=base64.b64encode(content).decode(), mode=mode)

    def list(self, path):
        return self.ask("list", path=str(path))

    def make_folder(self, path, mode=0o700):
        self.ask("make_folder", path=str(path), mode=mode)

    def processes(self, name):
        """The ids of the processes whose program has that name (its first 15 characters count)."""
        script = 'grep -lxF -- "$1" /proc/[0-9]*/comm | cut -d/ -f3'
        return [int(pid) for pid in self.said("sh", "-c", script, "sh", name[:15]).split()]

    def clock(self):
        """Seconds since the machine's start, on its own clock."""
        return self.ask("clock")

    def kernel_log(self):
        return self.said("dmesg")
