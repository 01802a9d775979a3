"""The reference client in examples/supervisor, with the real program and with odd ones."""

import importlib.util
import os
import signal
import stat
import subprocess
import sys

import pytest
from program import PROGRAM, SOURCE_DIR, World
from transcripts import SCENARIO

CLIENT = SOURCE_DIR / "examples" / "supervisor" / "supervisor.py"
FAILED, CANCELED = 21, 25


def load_client():
    spec = importlib.util.spec_from_file_location("supervisor", CLIENT)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


client = load_client()


@pytest.fixture
def world(tmp_path):
    return World(tmp_path, SCENARIO)


def start(world, arguments, program=PROGRAM, options=()):
    return subprocess.Popen(
        [sys.executable, str(CLIENT), "--program", str(program), *options, "--", *arguments],
        env=world.environment,
        cwd=world.work_dir,
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        start_new_session=True,
    )


def run(world, arguments, program=PROGRAM, options=(), status=0):
    """The lines that the client says, without those of a test's percent."""
    process = start(world, arguments, program, options)
    said, errors = process.communicate(timeout=60)
    assert process.returncode == status, errors
    assert b"Traceback" not in errors
    return [line for line in said.decode().splitlines() if not is_progress(line)]


def is_progress(line):
    return line.startswith("    ") and line.endswith(" %")


def fake(world, script):
    """A program that does what the Python script says."""
    path = world.work_dir / "fake"
    path.write_text(f"#!{sys.executable}\nimport os, signal, sys\n{script}", encoding="utf-8")
    path.chmod(stat.S_IRWXU)
    return path


def test_normal_run(world):
    assert run(world, ["-Mstorage", "-Qr", "0", "1"], status=FAILED) == [
        "Device 1 of this run, module storage",
        "  Test started, version 5.2.4",
        "  Test passed after 0 s",
        "  Device: 50 % of the planned tests",
        "Device done after 0 s: no test failed, result code SCENARIO-0",
        "  Device: 100 % of the planned tests",
        "Device 2 of this run, module storage",
        "  Test started, version 5.2.4",
        "  Test failed after 0 s",
        "  Device: 50 % of the planned tests",
        "Device done after 0 s: a test failed, result code SCENARIO-1",
        "  Device: 100 % of the planned tests",
        "Run done, final result code SCENARIO",
        "Exit status 21: a test failed",
    ]


def test_run_all_names_its_devices(world):
    said = run(world, ["-U"], status=FAILED)
    for number, name in enumerate(["Disk A", "Disk B"]):
        place = said.index(f"  ID: {number}")
        assert said[place - 1] == f"Device {number + 1} of this run, module storage"
        assert said[place + 1] == f"  DISPLAY_NAME: {name}"
    assert said[-2] == "Run done, final result code SCENARIO"


def test_listing(world):
    said = run(world, ["-Mstorage", "-D"])
    assert said[0] == "  ID: 0"
    assert said[-1] == "Exit status 0: nothing worse than passed"


def test_abort_after_some_lines(world):
    options = ["--abort-after-lines", "2"]
    said = run(world, ["-Mstorage", "-Q", "0"], options=options, status=CANCELED)
    assert said[2].startswith("  Test canceled after ")
    assert said[-2:] == [
        "Run done, final result code SCENARIO",
        "Exit status 25: a test was canceled",
    ]


@pytest.mark.parametrize("how", ["key", "Control-C", "SIGTERM"])
def test_abort_on_request(world, how):
    process = start(world, ["-Mstorage", "-Q", "0"])
    while b"Test started" not in process.stdout.readline():
        pass
    if how == "key":
        process.stdin.write(b"a\n")
        process.stdin.flush()
    else:
        process.send_signal(signal.SIGINT if how == "Control-C" else signal.SIGTERM)
    said, errors = process.communicate(timeout=60)
    assert b"Test canceled" in said
    assert b"Run done" in said
    assert process.returncode == CANCELED
    assert errors == b""


def test_asking_again_is_firmer(world):
    script = """
def note(number, _):
    os.write(1, b"asked:::by %d\\n" % number)
signal.signal(signal.SIGTERM, note)
signal.signal(signal.SIGINT, note)
os.write(1, b"ready:::yes\\n")
os.read(0, 1)
os.write(1, b"asked:::by byte\\n")
while True:
    signal.pause()
"""
    process = start(world, [], fake(world, script))
    answers = ["  ready: yes", "  asked: by byte", f"  asked: by {int(signal.SIGTERM)}"]
    for answer in answers:
        assert process.stdout.readline().decode() == answer + "\n"
        # As a terminal does it: to all that run in its foreground.
        os.killpg(process.pid, signal.SIGINT)
    said, _ = process.communicate(timeout=60)
    assert b"The program was ended by signal 9 (Killed)" in said
    assert process.returncode == 128 + signal.SIGKILL


REPAIR = ["-Mstorage", "-Trecover", "-r", "-y"]


def test_repair(world):
    assert run(world, REPAIR) == [
        "Repair of device 0, Disk A",
        "  no errors were found after 00:00:00",
        "  4096 sectors read, 0 bad, 0 fixed, 0 not fixed",
        "Repair of device 1, Disk B",
        "  errors could not be fixed after 00:00:00",
        "  8192 sectors read, 3 bad, 2 fixed, 1 not fixed",
        "Exit status 0: nothing worse than passed",
    ]


def test_repair_is_told_to_terminate_at_the_first_request(world):
    said = run(world, REPAIR, options=["--abort-after-lines", "1"])
    assert said[:2] == ["Repair of device 0, Disk A", "  canceled after 00:00:00"]
    assert "Repair of device 1, Disk B" not in said


def test_repair_without_a_yes_runs_nothing(world):
    said = run(world, ["-Mstorage", "-Trecover", "-r"], status=125)
    assert said == ["Exit status 0, but nothing ran to its end"]


def test_list_of_devices_to_repair(world):
    said = run(world, ["-Mstorage", "-Trecover", "-l"])
    assert said[:2] == ["  ID: 0", "  DISPLAY_NAME: Disk A"]


def test_device_whose_repair_has_no_end_has_no_result(world):
    script = r"os.write(1, b'\nBeginRBS:::SCAN_AND_FIX_TOOL|0|Disk|A\nEndRBS:::0|1|1|1|1|3|x\n\n')"
    said = run(world, [], fake(world, script), status=125)
    assert said[0] == "Repair of device 0, Disk|A"
    assert said[-2:] == [
        "Repair of device 0 has no result",
        "Exit status 0, but nothing ran to its end",
    ]


@pytest.mark.parametrize("status", [0, 2, 6, 7, 8, 9, 10, 12, 13, 14, 15])
def test_every_status_of_a_repair_has_words(world, status):
    script = f"os.write(1, b'EndRBS:::a|b|4|3|2|1|{status}|100:02:03\\n')"
    said = run(world, [], fake(world, script), status=125)
    assert said[0] == f"  {client.REPAIRS[str(status)]} after 100:02:03"
    assert said[1] == "  4 sectors read, 3 bad, 2 fixed, 1 not fixed"


def test_missing_program(world):
    missing = world.work_dir / "missing"
    assert run(world, [], missing, status=127) == []


def test_program_that_cannot_be_started(world):
    path = world.work_dir / "text"
    path.write_text("no program", encoding="utf-8")
    assert run(world, [], path, status=126) == []


def test_command_line_that_is_wrong(world):
    said = run(world, ["-Mstorage", "-Qf,,", "0"], status=125)
    assert said == ["Exit status 0, but nothing ran to its end"]


def test_what_is_said_for_a_person_is_passed_on(world):
    said = run(world, ["-Mstorage", "-z"], status=5)
    wanted = "The program says: [Warning] Fatal parsing error: unrecognized option found"
    assert wanted in said
    assert said[-1] == "Exit status 5: an option is not known"


def test_missing_module(world):
    assert run(world, ["-Mnone", "-Q"], status=30) == ["Exit status 30: no usable module"]


def children_of(process):
    with open(f"/proc/{process}/task/{process}/children", encoding="ascii") as file:
        return [int(word) for word in file.read().split()]


def test_program_that_is_killed_in_the_middle(world):
    process = start(world, ["-Mstorage", "-Q", "0"])
    while b"Test started" not in process.stdout.readline():
        pass
    [program] = children_of(process.pid)
    os.kill(program, signal.SIGKILL)
    said, _ = process.communicate(timeout=60)
    assert said.decode().splitlines()[-2:] == [
        "Test 5.2.3 was not finished; its result is not known",
        "The program was ended by signal 9 (Killed)",
    ]
    assert process.returncode == 128 + signal.SIGKILL


def test_line_that_is_cut_off_does_not_count(world):
    script = """
os.write(1, b"BeginDiagSuite:::m\\nBeginDiag:::1.2.3\\nEndDiag:::1|00001")
os.kill(os.getpid(), signal.SIGKILL)
"""
    said = run(world, [], fake(world, script), status=137)
    assert said[2] == "Test 1.2.3 was not finished; its result is not known"


def test_garbage_is_skipped(world):
    script = r"""
def say(data):
    while data:
        data = data[os.write(1, data):]
say(bytes(range(256)) * 64 + b"\n")
say(b"x" * 3_000_000 + b"EndDiag:::0|00001\n")
for line in (b"", b" " * 79, b"EndDiag:::1", b"EndDiag:::|00001", b"EndDiag:::1|1", b"PrgDiag:::7",
             b"PrgDiag:::" + b"9" * 5000, b"BeginDiag:::1.2", b"BeginDiag", b"enddiag:::0|00001",
             b"EndDiag:::1|00001|x", b"PrgDiagSuite:::50%", b"EndDiagSuite:::002|x|00001", b"PrgDiagSuite:::-1", " BeginDiag:::1.2.3".encode()):
    say(line + b"\n")
say((b" " * 79 + b"\r") * 2 + b"BeginDiag:::1.2.3\n")
say("BeginDiagSuite:::Gr\u00fc\u00dfe\x1b[2J\n".encode())
say(b"EndDiagSuite:::000|a|b|00012\n")
say(b"FinishExecutionBlock:::\xff\n")
"""
    said = run(world, [], fake(world, script))
    known = [line for line in said if not line.startswith("  ") or line[2:6] in ("Test", "Devi")]
    assert known == [
        "  Test started, version 1.2.3",
        "Device 1 of this run, module Gr\u00fc\u00dfe?[2J",
        "Device done after 12 s: a test failed, result code a|b",
        "Run done, final result code \ufffd",
        "Exit status 0: nothing worse than passed",
    ]


def test_reader_joins_pieces_and_drops_what_is_too_long():
    reader = client.LineReader()
    assert list(reader.feed(b"Beg")) == []
    assert list(reader.feed(b"in\n\nb")) == ["Begin", ""]
    assert list(reader.feed(b"x" * (client.LONGEST_LINE + 1))) == []
    assert reader.pending == b""
    assert list(reader.feed(b"rest of it\nnext\n")) == ["next"]


@pytest.mark.parametrize("digit", "012345")
def test_every_result_digit_has_words(world, digit):
    script = f"os.write(1, b'EndDiag:::{digit}|00003\\n')"
    said = run(world, [], fake(world, script), status=125)
    words = {"0": "failed", "1": "passed", "2": "not applicable", "3": "passed with a warning",
             "4": "canceled", "5": "could not be tried"}  # fmt: skip
    assert said[0] == f"  Test {words[digit]} after 3 s"


def test_client_whose_own_output_is_gone_ends_the_program(world):
    script = """
import time
while True:
    try:
        os.write(1, b"pid:::%d\\n" % os.getpid())
    except BrokenPipeError:
        pass
    time.sleep(0.01)
"""
    process = start(world, [], fake(world, script))
    program = int(process.stdout.readline().split()[-1])
    process.stdout.close()
    try:
        assert process.wait(60) != 0
        assert not os.path.exists(f"/proc/{program}")
    finally:
        if os.path.exists(f"/proc/{program}"):
            os.kill(program, signal.SIGKILL)
