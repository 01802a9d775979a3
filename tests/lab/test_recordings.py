"""That a run on a recorded machine says what the recorded run said, without the machine."""

import base64
import random

import pytest
from outcome import FAILED, PASSED
from program import World
from recorded import assert_alike, replay

MACHINE = "secret"
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


def forms(text):
    """How a text may stand on a tape: as it is, in pairs of bytes turned round, as numbers."""
    even = text + " " * (len(text) % 2)
    turned = "".join(even[i + 1] + even[i] for i in range(0, len(even), 2)).strip()
    for form in (text, turned):
        code = form.encode()
        yield from (form, code.hex(), "".join(rf"\x{byte:02x}" for byte in code))
        yield base64.b64encode(code).decode().rstrip("=")[:-2]


def secrets_of(row):
    yield from forms(row.serial)
    for name, value in row.extra:
        if name == "wwn":
            code = value.to_bytes(8, "big")
            yield from (code.hex(), "".join(rf"\x{byte:02x}" for byte in code))


@pytest.mark.parametrize("run", RUNS)
def test_a_replay_says_what_the_recorded_run_said(machine, tmp_path, run):
    for drive in machine.drives.values():
        drive.fill(0, random.Random(drive.path.name).randbytes(drive.size))
    text = assert_replayed(machine, tmp_path, run, PASSED)
    text = text.lower()
    for row in machine.row.drives:
        assert [form for form in secrets_of(row) if form.lower() in text] == [], row.name


@pytest.mark.parametrize("run", ["quick", "extended"])
def test_a_replay_fails_what_failed(machine, tmp_path, run):
    for drive in machine.drives.values():
        drive.fail(0, 8)
        drive.fail(1000, 3)
    assert_replayed(machine, tmp_path, run, FAILED)
