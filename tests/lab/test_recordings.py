"""That a run on a recorded machine says what the recorded run said, without the machine."""

import random

import pytest
from outcome import FAILED, PASSED
from program import World
from recorded import assert_alike, replay

MACHINE = "five"
RUNS = {
    "devices": ["-Mstorage", "-D"],
    "resources": ["-Mstorage", "-R"],
    "quick": ["-Mstorage", "-Q", "0", "1", "2", "3", "4"],
    "extended": ["-Mstorage", "-E", "0", "1", "2", "3", "4"],
}


def record(machine, name, arguments):
    """Runs the program in the machine and records it; its result, and the recording."""
    world = machine.world(name)
    tape = world.root / "tape"
    world.environment["ORVAN_RECORD"] = str(tape)
    return world.run(arguments), world.guest.read(tape)


def assert_replayed(machine, folder, run, status):
    recorded, tape = record(machine, f"{run}-{status}", RUNS[run])
    assert recorded.returncode == status
    path = folder / "tape"
    path.write_bytes(tape)
    # Here there is none of these drives.
    assert_alike(recorded, replay(World(folder), RUNS[run], path))
    return path.read_text(encoding="ascii")


@pytest.mark.parametrize("run", RUNS)
def test_a_replay_says_what_the_recorded_run_said(machine, tmp_path, run):
    for drive in machine.drives.values():
        drive.fill(0, random.Random(drive.path.name).randbytes(drive.size))
    text = assert_replayed(machine, tmp_path, run, PASSED)
    for row in machine.row.drives:
        assert f"serial 4096 = 0 1 {row.name}" not in text


@pytest.mark.parametrize("run", ["quick", "extended"])
def test_a_replay_fails_what_failed(machine, tmp_path, run):
    for drive in machine.drives.values():
        drive.fail(0, 8)
        drive.fail(1000, 3)
    assert_replayed(machine, tmp_path, run, FAILED)
