"""Tests, scans and tools that do not end: how long they are waited for, and what is left of them."""

import os
import signal

import pytest
from conftest import verdicts
from disk import FaultyDisk, needs_devices
from pace import Stopwatch
from terminal import Terminal, eventually

CANCELED = 25
GRACE = 2.0  # of a test that was told to stop
ALONE = ["hang", "spin", "stop", "hang-in-kernel"]


class FaultyFile(FaultyDisk):
    """The file alone, without a device on it."""

    def attach(self):
        return None


@pytest.fixture
def hanging_file(tmp_path):
    """A file whose first sector is never read to its end."""
    with FaultyFile(tmp_path, 8) as disk:
        disk.command("hang", 0, 1)
        yield disk


def started(world, deed, diagnostic="I"):
    """The program on a terminal with the deed under way, and another test behind it."""
    plan = ["-Bpass"] if diagnostic != "B" else []
    deeds = deed if plan else f"{deed},pass"
    terminal = Terminal(world, ["-Mselftest", f"-{diagnostic}{deeds}", *plan, "0"])
    terminal.expect(b"=> " + deed.capitalize().encode() + rb"\r\n")
    terminal.expect(rb"   1% . \d+ seconds? \r")
    assert terminal.reads_single_keys()
    return terminal


def escape(terminal):
    terminal.press(b"\x1b")


def interrupt(terminal):
    terminal.signal(signal.SIGINT)


BY = pytest.mark.parametrize("stop", [escape, interrupt], ids=lambda stop: stop.__name__)


def expect_canceled_run(terminal, at_most):
    watch = Stopwatch()
    terminal.expect(rb"Test Status: Canceled!")
    terminal.expect(rb"Test Status: Canceled!")
    terminal.expect(rb"Final Result Code: \S+-CANCELED-\d+\r\n")
    assert terminal.wait() == CANCELED
    took = watch.seconds()
    assert took < at_most
    assert terminal.is_as_before()


@BY
@pytest.mark.parametrize("deed", ALONE)
def test_one_that_never_looks_ends_with_its_worker(world, deed, stop):
    with started(world, deed) as terminal:
        stop(terminal)
        expect_canceled_run(terminal, GRACE + 1)
    world.expect_no_process()
    assert [line for line in world.log_lines() if "worker of module" in line] == [
        f"test {deed} on device 0: the worker of module Selftest did not end in time "
        "when it was to stop"
    ]


@BY
def test_one_that_looks_ends_at_once_and_knows_why(world, stop):
    with started(world, "wait", "B") as terminal:
        stop(terminal)
        expect_canceled_run(terminal, 1)
    world.expect_no_process()
    reason = {escape: 1, interrupt: 3}[stop]
    assert [line for line in world.log_lines() if "stopped for reason" in line] == [
        f"stopped for reason {reason}"
    ]


def test_a_flood_of_progress_holds_no_stop_up(world):
    with Terminal(world, ["-Mselftest", "-Bflood-for-ever,pass", "0"]) as terminal:
        terminal.expect(rb"\[Info\] Flood")
        assert terminal.reads_single_keys()
        escape(terminal)
        expect_canceled_run(terminal, GRACE + 2)
    world.expect_no_process()


@needs_devices
def test_one_that_hangs_in_the_kernel_is_left_behind(world, hanging_file):
    world.set(file=hanging_file.folder / "disk")
    with started(world, "read-file") as terminal:
        hanging_file.command("wait")
        interrupt(terminal)
        expect_canceled_run(terminal, GRACE + 1)
    # Nothing can end it before the file answers.
    assert world.processes()
    hanging_file.command("resume")
    world.expect_no_process()


@needs_devices
def test_one_that_was_killed_and_cannot_end_does_not_hold_the_end_up(world, hanging_file):
    world.set(file=hanging_file.folder / "disk")
    with started(world, "read-file") as terminal:
        hanging_file.command("wait")
        (worker,) = world.processes()
        os.kill(worker, signal.SIGKILL)
        interrupt(terminal)
        expect_canceled_run(terminal, GRACE + 1)
    assert world.processes() == [worker]
    hanging_file.command("resume")
    world.expect_no_process()


@needs_devices
def test_a_call_that_is_left_behind_costs_its_worker_and_not_its_test(world, hanging_file):
    world.set(file=hanging_file.folder / "disk")
    run = world.run(["-Mselftest", "-Bleave-call,pass", "0", "1"])
    assert [row[1] for row in verdicts(run.stdout.decode())] == ["Passed"] * 4
    told = [line for line in world.log_lines() if "left behind" in line]
    assert told == [
        f"test leave-call on device {device}: the worker of module Selftest was left behind, "
        "for the system did not come back from 1 call"
        for device in (0, 1)
    ]
    hanging_file.command("resume")
    world.expect_no_process()


@needs_devices
def test_one_that_crashed_and_cannot_end_is_not_waited_for(world, hanging_file):
    world.set(file=hanging_file.folder / "disk")
    run = world.start(["-Mselftest", "-Icrash-amid-read", "-Bpass", "0"], stdout=-1, stdin=-3)
    try:
        output = run.communicate(timeout=20)[0].decode()
        assert [(row[1], row[2]) for row in verdicts(output)] == [
            ("Invalid", "The test's worker was ended by signal 11 (SIGSEGV)"),
            ("Passed", ""),
        ]
        (line,) = [line for line in world.log_lines() if line.startswith("test crash-amid-read ")]
        assert "selftest.so+" in line
    finally:
        run.kill()
        hanging_file.command("resume")
    world.expect_no_process()


@BY
def test_a_scan_that_looks_ends_at_once_with_its_devices(world, stop):
    world.set(scan="slow", begun=world.root / "begun")
    with Terminal(world, ["-Mselftest", "-Bpass", "0"]) as terminal:
        terminal.expect(rb"Scanning selftest")
        eventually((world.root / "begun").exists)
        assert terminal.reads_single_keys()
        watch = Stopwatch()
        stop(terminal)
        terminal.expect(rb"Part part-0")
        terminal.expect(rb"Test Status: Canceled!")
        assert terminal.wait() == CANCELED
        assert watch.seconds() < 1
    world.expect_no_process()


@BY
@pytest.mark.parametrize("deed", ALONE)
def test_what_a_scan_found_before_it_hung_counts(world, deed, stop):
    world.set(scan=deed, **{"scan-at": 2, "devices": 4}, begun=world.root / "begun")
    with Terminal(world, ["-Mselftest", "-Bpass"]) as terminal:
        terminal.expect(rb"Scanning selftest")
        eventually((world.root / "begun").exists)
        assert terminal.reads_single_keys()
        watch = Stopwatch()
        stop(terminal)
        before = terminal.expect(rb"(?s)(.*?)Part part-0").group(1)
        terminal.expect(rb"Test Status: Canceled!")
        terminal.expect(rb"Part part-1")
        terminal.expect(rb"Test Status: Canceled!")
        assert terminal.wait() == CANCELED
        assert watch.seconds() < 1.5
        assert b"could not be searched" not in before + terminal.rest()
    world.expect_no_process()
    assert "scan: the worker of module Selftest did not end in time when it was to stop" in (
        world.log_lines()
    )


@BY
@pytest.mark.parametrize("deed", ALONE)
def test_a_scan_that_never_looks_ends_with_its_worker(world, deed, stop):
    world.set(scan=deed, begun=world.root / "begun")
    with Terminal(world, ["-Mselftest", "-Bpass"]) as terminal:
        terminal.expect(rb"Scanning selftest")
        eventually((world.root / "begun").exists)
        assert terminal.reads_single_keys()
        watch = Stopwatch()
        stop(terminal)
        terminal.expect(rb"the devices of module Selftest could not be searched")
        terminal.expect(rb"Test Status: Canceled!")
        assert terminal.wait() == CANCELED
        assert watch.seconds() < 1.5
    world.expect_no_process()
