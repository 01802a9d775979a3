"""Tests, scans and tools that do not end: how long they are waited for, and what is left of them.

What is expected stands in docs/worker.md, in the tables of what has no end.
"""

import os
import re
import signal

import pytest
from conftest import verdicts
from deeds_table import ENDLESS, ENDLESS_SEARCHES, GOOD, ILL, matches
from disk import FaultyDisk, needs_devices
from pace import Stopwatch
from terminal import Terminal, eventually

CANCELED = 25
NEEDS_FILE = {"read-file"}
LOOKS = {"wait"}
FLOODS = {"flood-for-ever"}
ALONE = sorted(ENDLESS.keys() - NEEDS_FILE - LOOKS - FLOODS)


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


def expect_stopped_run(world, terminal, deed):
    """The deed and the test behind it end as the table says, and the log says what it says."""
    watch = Stopwatch()
    status, seconds, log, _ = ENDLESS[deed]
    terminal.expect(b"Test Status: " + status.encode() + b"!")
    terminal.expect(rb"Test Status: Canceled!")
    terminal.expect(rb"Final Result Code: \S+-CANCELED-\d+\r\n")
    assert terminal.wait() == CANCELED
    assert watch.seconds() < float(seconds)
    assert terminal.is_as_before()
    subject = f"test {deed} on device 0: the worker of module Selftest "
    told = [line for line in world.log_lines() if "worker of module" in line]
    assert told == ([subject + log] if log else [])


@BY
@pytest.mark.parametrize("deed", ALONE)
def test_one_that_never_looks_ends_with_its_worker(world, deed, stop):
    with started(world, deed) as terminal:
        stop(terminal)
        expect_stopped_run(world, terminal, deed)
    world.expect_no_process()


@BY
def test_one_that_looks_ends_at_once_and_knows_why(world, stop):
    with started(world, "wait", "B") as terminal:
        stop(terminal)
        expect_stopped_run(world, terminal, "wait")
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
        expect_stopped_run(world, terminal, "flood-for-ever")
    world.expect_no_process()


@needs_devices
def test_one_that_hangs_in_the_kernel_is_left_behind(world, hanging_file):
    world.set(file=hanging_file.folder / "disk")
    with started(world, "read-file") as terminal:
        hanging_file.command("wait")
        interrupt(terminal)
        expect_stopped_run(world, terminal, "read-file")
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
        watch = Stopwatch()
        interrupt(terminal)
        terminal.expect(rb"Test Status: Canceled!")
        terminal.expect(rb"Test Status: Canceled!")
        assert terminal.wait() == CANCELED
        assert watch.seconds() < float(ENDLESS["read-file"][1])
    assert world.processes() == [worker]
    hanging_file.command("resume")
    world.expect_no_process()


@needs_devices
def test_a_call_that_is_left_behind_costs_its_worker_and_not_its_test(world, hanging_file):
    world.set(file=hanging_file.folder / "disk")
    run = world.run(["-Mselftest", "-Bleave-call,pass", "0", "1"])
    assert [row[1:] for row in verdicts(run.stdout.decode())] == [
        tuple(GOOD["leave-call"][:2]),
        ("Passed", ""),
    ] * 2
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
        status, shown, log, _ = ILL["crash-amid-read"]
        assert [row[1:] for row in verdicts(output)] == [(status, shown), ("Passed", "")]
        subject = "test crash-amid-read on device 0: the worker of module Selftest "
        (line,) = [line for line in world.log_lines() if line.startswith("test crash-amid-read ")]
        assert line.startswith(subject) and matches(log, line[len(subject) :])
    finally:
        run.kill()
        hanging_file.command("resume")
    world.expect_no_process()


@BY
@pytest.mark.parametrize("deed", sorted(ENDLESS_SEARCHES))
def test_what_a_search_without_end_found_counts(world, deed, stop):
    devices, seconds, log, _ = ENDLESS_SEARCHES[deed]
    world.set(scan=deed, **{"scan-at": 2, "devices": 4}, begun=world.root / "begun")
    with Terminal(world, ["-Mselftest", "-Bpass"]) as terminal:
        terminal.expect(rb"Scanning selftest")
        eventually((world.root / "begun").exists)
        assert terminal.reads_single_keys()
        watch = Stopwatch()
        stop(terminal)
        terminal.expect(rb"(?s)(.*)Final Result Code: \S+-CANCELED-\d+\r\n")
        shown = terminal.screen.match.group(1).decode()
        assert terminal.wait() == CANCELED
        assert watch.seconds() < float(seconds)
    parts = [f"part-{number}" for number in range(int(devices))]
    assert re.findall(r"Part (part-\d)", shown) == parts
    assert [row[1] for row in verdicts(shown)] == ["Canceled"] * int(devices)
    assert "could not be searched" not in shown
    told = [line for line in world.log_lines() if "worker of module" in line]
    assert told == ([f"scan: the worker of module Selftest {log}"] if log else [])
    world.expect_no_process()


@BY
@pytest.mark.parametrize("deed", sorted(ENDLESS_SEARCHES.keys() - {"slow"}))
def test_a_search_that_hung_before_it_found_any_has_one_that_stands_for_all(world, deed, stop):
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
