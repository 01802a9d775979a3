"""What a worker holds, when there is one, and what it carries to and fro."""

import errno
import os
import re
import shutil
import signal

import pytest
from conftest import verdicts
from deeds_table import OTHERWISE_SANITIZED, SEARCHES, matches
from program import SANITIZE
from terminal import Terminal

READ_SEARCH = 1 << 2  # cap_dac_read_search, which the module's descriptor names
PASSED, INVALID = 0, 24
FLOOD = 20000


def test_a_worker_holds_what_its_module_needs_and_nothing_else(world):
    run = world.run(["-Mselftest", "-Brights", "0"])
    assert run.returncode == PASSED
    lines = world.log_lines()

    def told(begin):
        (line,) = [line for line in lines if line.startswith(begin)]
        return line[len(begin) :].lstrip("\ufffd")

    for name in ("CapInh:", "CapPrm:", "CapEff:", "CapBnd:", "CapAmb:"):
        assert int(told(name), 16) & ~READ_SEARCH == 0, name
    assert int(told("CapEff:"), 16) == READ_SEARCH
    assert told("NoNewPrivs:") == "1"
    assert told("variables ") == "0"
    assert told("leads its session ") == "1"
    held = [line.split(" ", 2)[1:] for line in lines if line.startswith("descriptor ")]
    names = [re.sub(r"\d+", "N", target) for _, target in sorted(held, key=lambda pair: int(pair[0]))]
    modules, state = (re.sub(r"\d+", "N", str(path)) for path in (world.modules, world.state_dir))
    assert names == [
        "/dev/null",
        "/dev/null",
        "/dev/null",
        "socket:[N]",
        modules,
        f"{modules}/selftest.so",
        f"{state}/modules/selftest",
        "/proc/N/statm",
        "/proc/N/fd",
    ]
    # What a module starts all the same gets the standard streams alone.
    assert sorted(line for line in lines if line.startswith("passes on ")) == [
        f"passes on {number}" for number in range(3)
    ]


def test_floods_arrive_whole(world):
    world.run(["-Mselftest", "-Bflood-measurements,flood-log", "0"])
    found = world.measurements()
    values = [line["testStepArtifact"]["measurement"]["value"] for line in found]
    assert values == list(range(FLOOD))
    assert world.log_lines().count("flood") == FLOOD


def test_rows_tell_of_each_device_what_the_module_says(world):
    run = world.run(["-Mselftest", "-Bon-device-one,applies-throws", "0", "1"])
    wrong = "The test does not apply to the device"
    fault = "The test ended with an internal fault"
    assert [(row[1], row[2]) for row in verdicts(run.stdout.decode())] == [
        ("Not Applicable", wrong),
        ("Invalid", fault),
        ("Passed", ""),
        ("Invalid", fault),
    ]
    assert world.log_lines().count("cannot tell") == 2


def test_values_reach_the_test(world):
    run = world.run(["-Mselftest", "-Bparameters(number=7)", "0"])
    assert verdicts(run.stdout.decode()) == [("Parameters", "Passed", "Given number=7")]


def test_what_a_module_keeps_stays_from_run_to_run(world):
    assert not (world.state_dir / "modules").exists()
    for runs in range(3):
        run = world.run(["-Mselftest", "-Bremember", "0"])
        assert verdicts(run.stdout.decode())[0][2] == f"Runs {runs} error 0"
    kept = world.state_dir / "modules" / "selftest" / "runs"
    assert kept.read_bytes() == b"xxx"


def test_a_stranger_s_folder_keeps_nothing_for_a_module(world):
    (world.state_dir / "modules").mkdir(mode=0o777)
    (world.state_dir / "modules").chmod(0o777)
    run = world.run(["-Mselftest", "-Bremember", "0"])
    assert verdicts(run.stdout.decode())[0][2] == f"Runs 0 error {errno.EOPNOTSUPP}"
    assert "module selftest has no state: can be written by others" in world.log_lines()


def test_listings_leave_no_state(world):
    assert world.run(["-A"]).returncode == PASSED
    assert world.run(["-Mselftest", "-L"]).returncode == PASSED
    assert not (world.state_dir / "modules").exists()


DEEDS = ["throw", "segv", "abort", "overflow", "terminate", "kill", "exit", "grow", "close-all"]
SAID = ["garbage", "nothing", "forge", "no-memory", "leave-child"]


@pytest.mark.parametrize("deed", DEEDS + SAID)
def test_a_scan_that_misbehaves_ends_no_run(world, deed):
    world.set(scan=deed)
    run = world.run(["-Mselftest", "-Bpass,fail"])
    statuses = {row[1] for row in verdicts(run.stdout.decode())}
    if deed == "leave-child":
        assert statuses == {"Passed", "Failed"}
    else:
        assert run.returncode == INVALID
        assert statuses == {"Invalid"}
        assert b"the devices of module Selftest could not be searched: " in run.stderr
    world.expect_no_process()


@pytest.mark.parametrize("deed", sorted(SEARCHES))
def test_what_a_search_found_before_it_broke_keeps_its_ids(world, deed):
    if SANITIZE and deed in OTHERWISE_SANITIZED:
        pytest.skip("the sanitizer has words of its own")
    (reason,) = SEARCHES[deed]
    world.set(scan=deed, **{"scan-at": 2, "devices": 4})
    listing = world.run(["-Mselftest", "-D"])
    shown = listing.stdout.decode()
    assert re.findall(r"Part part-\d|Selftest: further devices could not be searched", shown) == [
        "Part part-0",
        "Part part-1",
        "Selftest: further devices could not be searched",
    ]
    line = "TarvexDiagnosticsCLI: further devices of module Selftest could not be searched: "
    assert matches(line + reason, listing.stderr.decode().strip())
    run = world.run(["-Mselftest", "-Bpass", "2"])
    assert (run.returncode, verdicts(run.stdout.decode())[0][1:]) == (
        INVALID,
        ("Invalid", "The devices could not be searched"),
    )
    world.expect_no_process()


def test_ten_thousand_devices_are_told_one_by_one(world):
    world.set(devices=10000)
    shown = world.run(["-Mselftest", "-D"]).stdout.decode()
    assert re.findall(r"Part part-(\d+)", shown) == [str(number) for number in range(10000)]


REPAIR = ["-Mselftest", "-Trecover", "-r", "0", "-y"]


def test_a_tool_that_throws_ends_the_program_with_its_words(world):
    world.set(tool="throw")
    run = world.run(REPAIR)
    assert run.returncode == -signal.SIGABRT
    assert b"tool recover_bad_sectors ended: thrown on purpose" in run.stderr
    world.expect_no_process()


@pytest.mark.parametrize("deed", [*DEEDS[1:], *SAID[:-1]])
def test_a_tool_that_loses_its_worker_says_how_its_device_ended(world, deed):
    world.set(tool=f"in-device-{deed}")
    run = world.run(REPAIR)
    output = run.stdout.decode()
    assert (run.returncode, run.stderr) == (0, b""), output
    assert "Number of sectors read: 7" in output
    assert "Operation status: Unable to fix errors - the worker " in output
    world.expect_no_process()


@pytest.mark.parametrize("deed", ["segv", "exit"])
def test_a_tool_that_cannot_choose_its_devices_gets_none(world, deed):
    world.set(tool=deed)
    run = world.run(REPAIR)
    assert run.returncode == 0
    assert b"tool recover_bad_sectors: the worker " in run.stderr
    assert "Operation status" not in run.stdout.decode()
    world.expect_no_process()


@pytest.fixture
def without_worker(world):
    """Runs a copy of the program that lacks the worker."""
    program = world.copy_program()
    return lambda words: world.run(words, program=program)


@pytest.mark.parametrize(
    "words", [["-A"], ["-h"], ["-v"], *(["-Mselftest", f"-{letter}"] for letter in "hLS")]
)
def test_what_searches_no_device_needs_no_worker(world, without_worker, words):
    run = without_worker(words)
    assert (run.returncode, run.stderr) == (0, b"")
    assert run.stdout == world.run(words).stdout


def test_a_worker_that_is_not_there_makes_its_devices_untestable(world, without_worker):
    run = without_worker(["-Mselftest", "-Bpass"])
    assert run.returncode == INVALID
    assert (
        b"the devices of module Selftest could not be searched: "
        b"its worker could not be started: No such file or directory" in run.stderr
    )


def test_a_module_that_is_replaced_in_mid_run_is_not_taken_for_the_one_before(world):
    """The tables that the service holds are those of the file that it has looked at."""
    world.set(file=world.root / "none")
    with Terminal(world, ["-Mselftest", "-Bwait,pass", "0"]) as terminal:
        terminal.expect(rb"   1% . \d+ seconds? \r")
        other = world.root / "other.so"
        shutil.copy(world.modules / "selftest.so", other)
        other.replace(world.modules / "selftest.so")
        (worker,) = world.processes()
        os.kill(worker, signal.SIGKILL)
        assert terminal.wait() == INVALID
        output = terminal.rest().decode()
    assert [text for _, _, text in verdicts("=> Wait\r\n" + output)] == [
        "The test's worker was ended by signal 9 (SIGKILL)",
        "The test did not begin: its worker has no module: was replaced while the program runs",
    ]
