"""Standard streams that are closed, full or gone: an answer and an exit status, never a crash."""

import os
import subprocess
from pathlib import Path

import pytest
from program import PROGRAM, World

SCENARIO = Path(__file__).parent / "slow.json"


def run(world, arguments, **streams):
    return subprocess.run(
        [str(PROGRAM), *arguments],
        env=world.environment,
        cwd=world.work_dir,
        start_new_session=True,
        timeout=30,
        check=False,
        **streams,
    )


@pytest.fixture
def world(tmp_path):
    return World(tmp_path, SCENARIO)


def test_full_disk_under_standard_output(world):
    with open("/dev/full", "wb") as full:
        assert run(world, ["-Mstorage", "-Qz", "0"], stdout=full).returncode == 0


def test_reader_that_went_away(world):
    reading, writing = os.pipe()
    os.close(reading)
    try:
        assert run(world, ["-Mstorage", "-Qz", "0"], stdout=writing).returncode == 0
    finally:
        os.close(writing)


@pytest.mark.parametrize("closed", [(0,), (1,), (2,), (0, 1, 2)])
def test_closed_standard_streams(world, closed):
    words = " ".join(f"{number}<&-" if number == 0 else f"{number}>&-" for number in closed)
    command = f'exec "$0" -Mstorage -Qz 0 {words}'
    result = subprocess.run(
        ["sh", "-c", command, str(PROGRAM)],
        env=world.environment,
        cwd=world.work_dir,
        capture_output=True,
        start_new_session=True,
        timeout=30,
        check=False,
    )
    assert result.returncode == 0
    # Nothing of the console may land in a file that took a closed descriptor's number.
    for folder in (world.run_dir, world.state_dir, world.config_dir, world.work_dir):
        for path in folder.rglob("*"):
            if path.is_file():
                assert b"Tarvex Diagnostics - CLI" not in path.read_bytes()
    if 1 not in closed:
        assert b"Final Result Code: SCENARIO" in result.stdout
