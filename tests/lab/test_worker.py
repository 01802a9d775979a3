"""The worker process on real hardware: what becomes of a run when it, or the program, is killed."""

import signal

import pytest
from emulator import wait_for
from machines import KINDS, MIB
from outcome import PASSED, outcomes

MACHINE = "slow"
WORKER = "orvan-worker"
SECONDS_TO_GO = 4  # the promise is one; looking takes the emulated machine the rest


def reading(machine, world, kind, *others):
    """The program with a linear read of that drive under way."""
    for name, drive in machine.drives.items():
        drive.throttle(machine.rows[name].rate if name == kind else None)
    places = [str(list(KINDS).index(name)) for name in (kind, *others)]
    running = world.start(["-Mstorage", "-El", *places])
    running.expect(rb"=> Linear Read Test")
    before = machine.drives[kind].bytes_read()
    wait_for("reading", lambda: machine.drives[kind].bytes_read() > before + MIB, 60)
    return running


@pytest.mark.parametrize("kind", KINDS)
def test_killed_program_leaves_no_worker_that_reads_on(machine, world, kind):
    running = reading(machine, world, kind)
    assert len(machine.guest.processes(WORKER)) == 1
    running.kill(signal.SIGKILL)
    killed_at = running.wait().at
    wait_for("the worker's end", lambda: not machine.guest.processes(WORKER), 60)
    assert machine.guest.clock() - killed_at < SECONDS_TO_GO


@pytest.mark.parametrize("kind", KINDS)
def test_killed_worker_costs_one_test_and_the_run_goes_on(machine, world, kind):
    other = next(name for name in KINDS if name != kind)
    running = reading(machine, world, kind, other)
    (worker,) = machine.guest.processes(WORKER)
    assert machine.guest.kill(worker, signal.SIGKILL)
    result = running.wait()
    found = outcomes(result.stdout)
    assert [test.verdict for test in found[kind]] == ["Invalid"]
    assert found[kind][0].said == ["The test's worker was ended by signal 9 (SIGKILL)"]
    assert [test.verdict for test in found[other]] == ["Passed"]
    assert result.returncode == PASSED  # an invalid test ranks below a passed one
    assert machine.guest.processes(WORKER) == []
