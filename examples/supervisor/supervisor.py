#!/usr/bin/env python3
"""Runs TarvexDiagnosticsCLI, says in plain words what it reports, and can abort it.

    supervisor.py [--program PATH] -- -Mstorage -Q"f,r" 0 1

"a" and Enter, or Control-C, asks for the end of the run; asked once more, the program is told to
terminate, and then it is killed. The exit status is the program's, with these in addition:

    125  the program ended without an error, but it ran nothing
    126  the program cannot be started
    127  there is no such program
    128 and N  the program was ended by signal N

The protocol is told in docs/supervisor-protocol.md. Nothing but Python's standard library is needed.
"""

import argparse
import os
import re
import selectors
import signal
import subprocess
import sys

EXIT_NOTHING_RAN = 125
EXIT_CANNOT_START = 126
EXIT_NO_PROGRAM = 127
EXIT_BY_SIGNAL = 128

LONGEST_LINE = 65536
MOST_REMARKS = 100

# The words of the protocol, and what stands behind their ":::".
LINES = {
    word: re.compile(fields, re.ASCII)
    for word, fields in {
        "BeginDiagSuite": r"(?P<module>.*)",
        "BeginDiag": r"(?P<version>\d+\.\d+\.\d+)",
        "PrgDiag": r"(?P<percent>\d{3,9})",
        "EndDiag": r"(?P<digit>\d)\|(?P<seconds>\d{5,12})",
        "PrgDiagSuite": r"(?P<percent>\d{1,9})",
        # The text between the bars may hold bars of its own.
        "EndDiagSuite": r"00(?P<digit>[01])\|(?P<code>.*)\|(?P<seconds>\d{5,12})",
        "FinishExecutionBlock": r"(?P<code>.*)",
        # Of the tool that recovers bad sectors.
        "BeginRBS": r"SCAN_AND_FIX_TOOL\|(?P<device>[^|]*)\|(?P<name>.*)",
        "PrgRBS": r"(?P<percent>\d{3,10})",
        "EndRBS": r"(?P<device>.*)\|(?P<read>[^|]*)\|(?P<bad>[^|]*)\|(?P<fixed>[^|]*)\|(?P<left>[^|]*)"
        r"\|(?P<status>\d{1,2})\|(?P<time>\d{2,6}:\d\d:\d\d)",
    }.items()
}

RESULTS = {
    "0": "failed",
    "1": "passed",
    "2": "not applicable",
    "3": "passed with a warning",
    "4": "canceled",
    "5": "could not be tried",
}

REPAIRS = {
    "0": "no errors were found",
    "2": "the disk is locked",
    "6": "not supported on this device",
    "7": "not enough privileges",
    "8": "canceled",
    "9": "passed",
    "10": "errors could not be fixed",
    "12": "errors were found",
    "13": "canceled by an event of the system",
    "14": "a read took too long",
    "15": "a write took too long",
}

STATUSES = {
    0: "nothing worse than passed",
    1: "the program could not start",
    3: "not enough privileges",
    4: "another instance is running",
    5: "an option is not known",
    21: "a test failed",
    22: "a test ended with a warning",
    23: "nothing was applicable",
    24: "a test could not be tried",
    25: "a test was canceled",
    30: "no usable module",
    31: "no such device",
    32: "nothing to run",
}


class LineReader:
    """Cuts the bytes of a pipe into lines. What follows the last newline is no line."""

    def __init__(self):
        self.pending = b""
        self.overlong = False

    def feed(self, chunk):
        *lines, self.pending = (self.pending + chunk).split(b"\n")
        for line in lines:
            if not self.overlong:
                # The program blanks a screen line by writing over it: the text is behind that.
                yield line.rpartition(b"\r")[2].decode("utf-8", "replace")
            self.overlong = False
        if len(self.pending) > LONGEST_LINE:
            self.pending, self.overlong = b"", True


def parse(line):
    """(word, fields) of a line of the protocol; ("", {"text": ...}) of any other."""
    word, separator, rest = line.partition(":::")
    pattern = LINES.get(word) if separator else None
    match = pattern.fullmatch(rest) if pattern else None
    return (word, match.groupdict()) if match else ("", {"text": line})


def printable(text):
    """What came from outside, fit for a terminal."""
    return "".join(letter if letter.isprintable() else "?" for letter in text)


class Report:
    """What the program said so far. Every line of it is passed on in plain words."""

    def __init__(self, say):
        self.say = say
        self.suites = 0
        self.running = None  # version of the running test
        self.is_finished = False
        self.repairs = 0
        self.repairing = None  # id of the device under repair
        self.listed = 0
        self.remarks = []  # lines that are not of the protocol: for people

    def take(self, line):
        """True when the line belongs to the protocol."""
        word, fields = parse(line)
        if not word:
            self.take_other(fields["text"])
        else:
            getattr(self, "on_" + word)(**fields)
        return bool(word)

    def take_other(self, text):
        name, separator, value = text.partition(":::")
        if separator and name.isprintable():
            # An entry of a listing; Run All describes each device so.
            self.listed += 1
            self.say(f"  {name}: {value}")
        elif text.strip() and len(self.remarks) < MOST_REMARKS:
            self.remarks.append(text)

    def on_BeginDiagSuite(self, module):
        self.suites += 1
        self.say(f"Device {self.suites} of this run, module {module}")

    def on_BeginDiag(self, version):
        self.running = version
        self.say(f"  Test started, version {version}")

    def on_PrgDiag(self, percent):
        self.say(f"    {int(percent)} %")

    def on_EndDiag(self, digit, seconds):
        self.running = None
        self.say(f"  Test {RESULTS.get(digit, RESULTS['5'])} after {int(seconds)} s")

    def on_PrgDiagSuite(self, percent):
        self.say(f"  Device: {int(percent)} % of the planned tests")

    def on_EndDiagSuite(self, digit, code, seconds):
        verdict = "no test failed" if digit == "1" else "a test failed"
        self.say(f"Device done after {int(seconds)} s: {verdict}, result code {code}")

    def on_FinishExecutionBlock(self, code):
        self.is_finished = True
        self.say(f"Run done, final result code {code}")

    def on_BeginRBS(self, device, name):
        self.repairs += 1
        self.repairing = device
        self.say(f"Repair of device {device}, {name}")

    def on_PrgRBS(self, percent):
        self.say(f"    {int(percent)} %")

    def on_EndRBS(self, device, read, bad, fixed, left, status, time):
        self.repairing = None
        self.say(f"  {REPAIRS.get(status, 'ended')} after {time}")
        self.say(f"  {read} sectors read, {bad} bad, {fixed} fixed, {left} not fixed")

    def conclude(self, status):
        """Says how it ended; the exit status of this program."""
        if self.repairing is not None:
            self.say(f"Repair of device {self.repairing} has no result")
        elif self.repairs and status == 0:
            # A tool sends no closing line, and its status does not tell what it found.
            self.is_finished = True
        if not self.is_finished:
            for remark in self.remarks:
                self.say(f"The program says: {remark}")
            if self.running:
                self.say(f"Test {self.running} was not finished; its result is not known")
        if status < 0:
            self.say(f"The program was ended by signal {-status} ({signal.strsignal(-status)})")
            return EXIT_BY_SIGNAL - status
        is_listing = self.listed and not self.suites and not self.repairs
        if status == 0 and not self.is_finished and not is_listing:
            self.say("Exit status 0, but nothing ran to its end")
            return EXIT_NOTHING_RAN
        self.say(f"Exit status {status}: {STATUSES.get(status, 'not known')}")
        return status


class Run:
    """One run of the program, from its start to its end."""

    def __init__(self, program, arguments):
        # A session of its own: Control-C at this terminal is for this program to pass on.
        self.process = subprocess.Popen(
            [program, *arguments, "--HDK"],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            bufsize=0,
            start_new_session=True,
        )
        self.requests = 0
        self.ways_to_end = [self.send_abort_byte, self.process.terminate, self.process.kill]
        if any(word.startswith(("-T", "--tool")) for word in arguments):
            # A tool does not look at its standard input.
            del self.ways_to_end[0]

    def send_abort_byte(self):
        try:
            self.process.stdin.write(b"a")
        except BrokenPipeError:
            pass  # it has ended already

    def ask_to_end(self):
        """Asks more firmly each time. The first way lets the program finish its report."""
        self.ways_to_end[min(self.requests, len(self.ways_to_end) - 1)]()
        self.requests += 1

    def follow(self, report, abort_after_lines):
        """Reads until the program closes its output. It must not be kept waiting."""
        reader = LineReader()
        lines = 0
        with selectors.DefaultSelector() as selector:
            selector.register(self.process.stdout, selectors.EVENT_READ)
            watch_keyboard(selector)
            while True:
                for key, _ in selector.select():
                    chunk = os.read(key.fd, 65536)
                    if key.fileobj is not self.process.stdout:
                        if not chunk:
                            selector.unregister(key.fileobj)
                        elif chunk.strip().lower() == b"a":
                            self.ask_to_end()
                        continue
                    if not chunk:
                        return
                    for line in reader.feed(chunk):
                        lines += report.take(line)
                        if lines == abort_after_lines and not self.requests:
                            self.ask_to_end()

    def close(self):
        """Waits for the program's end; its status, negative for a signal."""
        self.process.stdin.close()
        self.process.stdout.close()
        return self.process.wait()


def watch_keyboard(selector):
    try:
        selector.register(sys.stdin, selectors.EVENT_READ)
    except (ValueError, PermissionError):
        pass  # closed, or a file: nobody is there


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    parser.add_argument("--program", default="TarvexDiagnosticsCLI", help="what is run")
    parser.add_argument(
        "--abort-after-lines", type=int, default=-1, metavar="N",
        help="asks for the end of the run after N lines of the protocol",
    )  # fmt: skip
    parser.add_argument("arguments", nargs="*", help="the program's, behind --")
    options = parser.parse_args()
    sys.stdout.reconfigure(errors="replace")

    try:
        run = Run(options.program, options.arguments)
    except FileNotFoundError:
        print(f"There is no program {options.program}", file=sys.stderr)
        return EXIT_NO_PROGRAM
    except OSError as error:
        print(f"{options.program} cannot be started: {error.strerror}", file=sys.stderr)
        return EXIT_CANNOT_START
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, lambda *_: run.ask_to_end())
    report = Report(lambda text: print(printable(text), flush=True))
    try:
        run.follow(report, options.abort_after_lines)
    except BaseException:
        # Nobody hears the rest, so the machine is not kept busy for it.
        run.process.terminate()
        run.close()
        raise
    return report.conclude(run.close())


if __name__ == "__main__":
    sys.exit(main())
