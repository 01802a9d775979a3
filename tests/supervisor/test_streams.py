"""A supervising program that reads nothing, says too much, or goes away."""

import fcntl
import json
import os
import signal
import socket
import struct
import subprocess
import termios
import threading
import time

import pytest
from pace import Stopwatch
from program import PROGRAM, World
from short_tests import short_tests
from transcripts import SCENARIO

CANCELED = 25
SMALLEST_PIPE = 4096
QUICK = ["-Mstorage", "-Qr", "0", "--HDK"]
MANY_TESTS = 300


def diagnostic(option, number, tests):
    words = {"name": f"TEST_{option}", "option": option, "longName": f"option-{option}"}
    return {**words, "key": {"minor": number, "identifier": number}, "tests": tests}


def plain_test(number, **outcome):
    words = {"name": f"T_{number}", "option": f"t{number}", "longName": f"test-{number}"}
    return {**words, "key": {"identifier": 100 + number}, "outcome": {"status": 0, **outcome}}


@pytest.fixture
def world(tmp_path):
    """Diagnostic Q says more than a small pipe holds; the one test of E takes a minute."""
    quick = diagnostic("Q", 1, [plain_test(number) for number in range(MANY_TESTS)])
    extended = diagnostic("E", 2, [plain_test(MANY_TESTS, durationMs=60000)])
    devices = [{"id": "0", "name": "Disk A"}]
    module = {"name": "storage", "diagnostics": [quick, extended], "devices": devices}
    path = tmp_path / "scenario.json"
    path.write_text(json.dumps({"modules": [module]}), encoding="utf-8")
    return World(tmp_path, path)


class Supervised:
    """The program with both its streams in the hands of the test."""

    def __init__(self, world, arguments):
        self.reading, writing = os.pipe()
        fcntl.fcntl(writing, fcntl.F_SETPIPE_SZ, SMALLEST_PIPE)
        self.process = world.start(
            [*arguments, "--HDK"], stdin=subprocess.PIPE, stdout=writing, start_new_session=True
        )
        os.close(writing)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        self.process.stdin.close()
        if self.reading is not None:
            os.close(self.reading)

    def say(self, text):
        self.process.stdin.write(text)
        self.process.stdin.flush()

    def hang_up(self):
        os.close(self.reading)
        self.reading = None

    def await_output(self):
        """Until something can be read; it is left where it is."""
        deadline = time.monotonic() + 30
        waiting = b"\0" * 4
        while struct.unpack("i", fcntl.ioctl(self.reading, termios.FIONREAD, waiting))[0] == 0:
            assert time.monotonic() < deadline
            time.sleep(0.01)

    def read_until(self, text):
        said = b""
        while text not in said:
            chunk = os.read(self.reading, 65536)
            assert chunk, said
            said += chunk
        return said

    def rest(self):
        said = b""
        while chunk := os.read(self.reading, 65536):
            said += chunk
        return said


@pytest.mark.parametrize("how", ["byte", "signal"])
def test_a_reader_that_takes_nothing_does_not_keep_a_run_from_ending(world, how):
    with Supervised(world, ["-Mstorage", "-Q", "-E", "0"]) as run:
        run.await_output()
        stopwatch = Stopwatch()
        if how == "byte":
            run.say(b"a")
        else:
            run.process.send_signal(signal.SIGTERM)
        assert run.process.wait(20) == CANCELED
        # A second for the reader, and half a one until the next look at the abort byte.
        assert stopwatch.seconds() < 5
        assert b"FinishExecutionBlock" not in run.rest()


def test_a_person_that_reads_slowly_does_not_keep_an_ending_run_either(world):
    reading, writing = os.pipe()
    fcntl.fcntl(writing, fcntl.F_SETPIPE_SZ, SMALLEST_PIPE)
    process = world.start(["-Mstorage", "-Q", "-E", "0"], stdout=writing, start_new_session=True)
    os.close(writing)
    try:
        os.read(reading, 1)
        process.send_signal(signal.SIGTERM)
        assert process.wait(20) == CANCELED
    finally:
        process.kill()
        process.wait()
        os.close(reading)


def test_a_reader_that_comes_late_gets_every_line(world):
    with Supervised(world, ["-Mstorage", "-Q", "0"]) as run:
        run.await_output()
        lines = run.rest().decode().splitlines()
        assert run.process.wait(20) == 0
        assert sum(line == "EndDiag:::1|00000" for line in lines) == MANY_TESTS
        assert lines[-1] == "FinishExecutionBlock:::SCENARIO"


def test_a_reader_that_goes_away_does_not_end_the_run(world):
    with Supervised(world, ["-Mstorage", "-Q", "0"]) as run:
        run.await_output()
        run.hang_up()
        # 0, not 25: all the tests were made.
        assert run.process.wait(20) == 0


def test_abort_byte_ends_a_running_test_within_a_second(world):
    with Supervised(world, ["-Mstorage", "-E", "0"]) as run:
        run.read_until(b"BeginDiag:::")
        stopwatch = Stopwatch()
        run.say(b"A")
        said = run.rest()
        assert stopwatch.seconds() < 1.5
        assert b"EndDiag:::4|0000" in said
        assert run.process.wait(20) == CANCELED


def test_abort_byte_ends_a_run_of_short_tests_within_a_second(tmp_path):
    with Supervised(World(tmp_path, short_tests(tmp_path)), ["-Mstorage", "-Q", "0"]) as run:
        for _ in range(5):
            run.read_until(b"EndDiag:::1|00000\n")
        stopwatch = Stopwatch()
        run.say(b"a")
        said = run.rest()
        assert stopwatch.seconds() < 1.5
        assert b"EndDiag:::4|00000\n" in said
        assert said.endswith(b"\nFinishExecutionBlock:::SCENARIO\n")
        assert run.process.wait(20) == CANCELED


def test_abort_byte_behind_garbage_ends_the_run(world):
    garbage = bytes(byte for byte in range(256) if byte not in b"aA") * 4096
    with Supervised(world, ["-Mstorage", "-E", "0"]) as run:
        run.read_until(b"BeginDiag:::")
        run.say(garbage)
        assert run.process.poll() is None
        run.say(b"a")
        assert run.process.wait(20) == CANCELED


def test_input_that_never_ends_costs_almost_nothing(world):
    with Supervised(world, ["-Mstorage", "-E", "0"]) as run:
        run.read_until(b"BeginDiag:::")
        before = processor_seconds(run.process.pid)
        taken = 0
        start = time.monotonic()
        while time.monotonic() - start < 1:
            run.say(b"x" * 65536)
            taken += 65536
        assert processor_seconds(run.process.pid) - before < 0.3
        assert taken < 4 << 20


def processor_seconds(process):
    with open(f"/proc/{process}/stat", encoding="ascii") as file:
        fields = file.read().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def run_quick(tmp_path, stdin):
    return subprocess.run(
        [str(PROGRAM), *QUICK],
        env=World(tmp_path, SCENARIO).environment,
        stdin=stdin,
        capture_output=True,
        start_new_session=True,
        timeout=60,
        check=False,
    )


def test_file_on_standard_input_is_not_read(tmp_path):
    path = tmp_path / "input"
    path.write_bytes(b"aaaa")
    with open(path, "rb") as file:
        result = run_quick(tmp_path, file)
        assert file.tell() == 0
    assert b"EndDiag:::1|00000\n" in result.stdout
    assert result.returncode == 0


def test_null_device_on_standard_input_aborts_nothing(tmp_path):
    assert run_quick(tmp_path, subprocess.DEVNULL).returncode == 0


def test_pipe_that_is_closed_at_once_aborts_nothing(tmp_path):
    reading, writing = os.pipe()
    os.close(writing)
    try:
        assert run_quick(tmp_path, reading).returncode == 0
    finally:
        os.close(reading)


def test_terminal_on_standard_input_is_not_read(tmp_path):
    master, slave = os.openpty()
    try:
        os.write(master, b"a\n")
        assert run_quick(tmp_path, slave).returncode == 0
    finally:
        os.close(master)
        os.close(slave)


def test_closed_standard_input_aborts_nothing(tmp_path):
    result = subprocess.run(
        ["sh", "-c", 'exec "$0" "$@" <&-', str(PROGRAM), *QUICK],
        env=World(tmp_path, SCENARIO).environment,
        capture_output=True,
        timeout=60,
        check=False,
    )
    assert b"EndDiag:::1|00000\n" in result.stdout
    assert result.returncode == 0


def test_socket_on_standard_input_can_abort(tmp_path):
    ours, theirs = socket.socketpair()
    with ours, theirs:
        ours.sendall(b"a")
        result = run_quick(tmp_path, theirs)
    assert b"EndDiag:::4|00000\n" in result.stdout
    assert result.returncode == CANCELED


def test_socket_on_standard_output_gets_the_lines(tmp_path):
    ours, theirs = socket.socketpair()
    received = []
    with ours, theirs:
        reader = threading.Thread(target=lambda: received.append(ours.makefile("rb").read()))
        reader.start()
        subprocess.run(
            [str(PROGRAM), *QUICK],
            env=World(tmp_path, SCENARIO).environment,
            stdin=subprocess.DEVNULL,
            stdout=theirs,
            timeout=60,
            check=True,
        )
        theirs.shutdown(socket.SHUT_WR)
        reader.join(20)
    assert received[0].endswith(b"\nFinishExecutionBlock:::SCENARIO\n")
