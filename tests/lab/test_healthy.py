"""Sound machines, many times over: no alarm, nothing to say, nothing written."""

import os

import pytest
from machines import EVERY_KIND, TOLD
from outcome import PASSED, outcomes, reads

MACHINE = "sound"
RUNS = int(os.environ.get("TARVEX_LAB_RUNS", "5"))
STATUS, ERRORS = "Smart Status Test", "Error Log Test"
READS = ["Funnel Read Test", "Random Read Test"]
ALL_TESTS = [STATUS, ERRORS, *READS, STATUS, *READS, "Performance Read Test", "Linear Read Test"]
ROWS = (*EVERY_KIND, *TOLD)
# Of the emulator's drives, the others have no log of their health, and only that of ATA tests itself.
TELLING = [row.name for row in ROWS if row in TOLD or row.kind in ("ahci", "nvme")]
SELF_TESTING = [row.name for row in ROWS if row in TOLD or row.kind == "ahci"]
NOT_ASKED_FOR = "Write Test"  # which says so, and no more


def expect_verdict(row, test):
    if test.name not in (STATUS, ERRORS) or row.name in TELLING:
        return test.verdict == "Passed"
    return test.verdict == "Not Applicable" and test.said != []


def expect_no_alarm(result, tests):
    assert result.stderr == b""
    found = outcomes(result.stdout)
    assert list(found) == [row.name for row in ROWS]
    for row in ROWS:
        done = found[row.name]
        said = reads(done)
        own = {test.verdict for test in done if test not in said}
        assert own == {"Passed" if row.name in SELF_TESTING else "Not Applicable"}, row.name
        # Without an operator nothing is written, but it is told.
        (write,) = (test for test in said if test.name == NOT_ASKED_FOR)
        assert write.verdict == "Not Applicable", row.name
        said.remove(write)
        assert [test.name for test in said] == tests, row.name
        assert all(expect_verdict(row, test) for test in said), said
        # What a test says of itself, and never of the drive.
        assert all(text.startswith("Reading in random order with seed ")
                   for test in said if test.verdict == "Passed" for text in test.said), said  # fmt: skip
    assert result.returncode == PASSED


@pytest.fixture
def unwritten(machine):
    """Nobody wrote to a drive, and the kernel has no complaint, when the test is over."""
    media = machine.drives | {name: drive.medium for name, drive in machine.told.items()}
    hashes = {name: drive.content_hash() for name, drive in media.items()}
    yield
    assert [name for name, drive in media.items() if drive.changes()] == []
    assert {name: drive.content_hash() for name, drive in media.items()} == hashes
    assert "error" not in machine.guest.said("dmesg", "--level=emerg,alert,crit,err")


@pytest.mark.parametrize("run", range(1, RUNS + 1))
def test_run_of_everything_passes(machine, world, unwritten, run):
    """Quick and extended diagnostics of all modules on all their devices."""
    expect_no_alarm(world.run(["-Uq,e"]), ALL_TESTS)
    (log,) = world.logs()
    assert log[-1]["testRunArtifact"]["testRunEnd"] == {"status": "COMPLETE", "result": "PASS"}


def test_machine_that_stood_still_is_no_fault_of_a_drive(machine, world, unwritten):
    world.configure(timeout_seconds=4)
    drive = machine.drives["nvme-512"]
    drive.throttle(2_000_000)
    running = world.start(["-Mstorage", "-El", "1"])
    running.expect(rb"=> Linear Read Test")
    machine.stand_still(seconds=6)
    result = running.wait()
    assert [test.verdict for test in outcomes(result.stdout)["nvme-512"]] == ["Passed"]
    assert result.returncode == PASSED
