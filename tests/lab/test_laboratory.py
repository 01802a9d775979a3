"""What the laboratory promises of itself."""

import os
import re
import signal
import subprocess
import sys
from pathlib import Path

from emulator import wait_for

MACHINE = "bare"
HERE = Path(__file__).parent


def python(*words, **options):
    environment = {**os.environ, "PYTHONPATH": str(HERE), **options.pop("environment", {})}
    return subprocess.Popen([sys.executable, "-B", *words], env=environment, text=True,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            **options)  # fmt: skip


def test_what_is_missing_is_named_and_nothing_is_skipped(tmp_path):
    lacking = {"PATH": str(tmp_path)}
    person = python(str(HERE / "run"), "bare", "--", "-v", environment=lacking)
    said = person.communicate()[0]
    assert "the laboratory lacks " in said and "qemu-system-x86" in said
    assert person.returncode == 3
    words = ["-m", "pytest", "-p", "no:cacheprovider", str(HERE / "test_faults.py")]
    tests = python(*words, environment=lacking)
    said = tests.communicate()[0]
    assert "the laboratory lacks " in said
    assert re.search(r"=+ \d+ errors? in ", said)
    assert tests.returncode == 1


BOOT = """
from machine import Machine
with Machine("bare") as machine:
    print(machine.folder.path, machine.emulator.process.pid, flush=True)
    machine.guest.run("sleep", "600", seconds=600)
"""


def test_killed_test_leaves_no_process_and_no_file_behind():
    with python("-c", BOOT) as process:
        folder, pid = process.stdout.readline().split()
        assert Path(folder).exists() and Path("/proc", pid).exists()
        process.send_signal(signal.SIGKILL)
    wait_for("the emulator's end", lambda: not Path("/proc", pid).exists(), 20)
    wait_for("the folder's end", lambda: not Path(folder).exists(), 20)


HANGING = """
import pytest
MACHINE = "bare"

def test_boots(machine):
    machine.guest.write("/dev/kmsg", "<0>last words of the machine\\n", mode=None)

@pytest.mark.seconds(2)
def test_hangs(machine):
    machine.guest.run("sleep", "600", seconds=600)

def test_goes_on(machine):
    assert machine.guest.said("echo", "here") == "here\\n"
"""


def test_hanging_test_is_ended_and_shows_the_console(tmp_path):
    file = tmp_path / "test_hanging.py"
    file.write_text(HANGING, encoding="utf-8")
    words = ["-m", "pytest", "-p", "no:cacheprovider", "-p", "conftest", str(file)]
    with python(*words) as process:
        said = process.communicate()[0]
    assert re.search(r"=+ 1 failed, 2 passed in ", said), said
    assert "the test did not end in time" in said
    assert "console of the machine" in said and "last words of the machine" in said


def test_nothing_inside_changes_the_host(machine):
    place = HERE / "written-inside"
    machine.guest.write(place, "inside")
    assert machine.guest.text(place) == "inside"
    assert not place.exists()


def test_processes_are_found_by_their_name(machine):
    sleeper = machine.guest.start(["sleep", "600"])
    assert machine.guest.processes("sleep") == [sleeper.pid]
    assert sleeper.kill(signal.SIGKILL)
    assert sleeper.wait().returncode == -signal.SIGKILL
    assert machine.guest.processes("sleep") == []


def test_program_inside_is_the_one_that_was_built(world):
    version = world.run(["-v"])
    assert version.returncode == 0
    assert re.search(rb"^  storage - version ", version.stdout, re.M)
