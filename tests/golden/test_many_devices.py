"""A Run All of very many tests takes no more memory at its end than at its beginning."""

import json
import re
import signal
import subprocess
import time
from pathlib import Path

import pytest
from program import SANITIZE, World

# A record is a flush of the disk.
DEVICES, DEVICES_WITH_RECORDS = 1000, 400
TESTS = 10
CANCELED = 25

# Nothing may be kept of a test that is over: 9,000 tests at 64 bytes would be seen.
KEPT_KIB = 512
# SQLite keeps pages of the record store, 2 MiB at most.
RECORDS_KIB = 3 * 1024


def write_scenario(path, count, early, late):
    """Tests of no length, but for the first one of each of two devices."""
    outcomes = {early: {"durationMs": 500}, late: {"durationMs": 60_000}}
    tests = [
        {"name": f"TEST_{number}", "option": f"t{number}", "longName": f"test-{number}"}
        | {"key": {"identifier": 100 + number}}
        for number in range(TESTS)
    ]
    tests[0]["outcomes"] = outcomes
    diagnostic = {"name": "QUICK_TEST", "option": "Q", "longName": "quick", "tests": tests}
    diagnostic["key"] = {"minor": 1, "identifier": 1}
    devices = [{"id": f"d{number}", "name": f"Disk {number}"} for number in range(count)]
    module = {"name": "storage", "diagnostics": [diagnostic], "devices": devices}
    path.write_text(json.dumps({"trace": "trace", "modules": [module]}), encoding="utf-8")


def await_run_of(device, trace, process):
    """Returns once the service was given the plan of that device."""
    wanted = f'"device":"{device}"'
    deadline = time.monotonic() + 120
    while not (trace.exists() and wanted in trace.read_text(encoding="utf-8")):
        assert process.poll() is None
        assert time.monotonic() < deadline
        time.sleep(0.02)


def resident_kib(process):
    status = Path(f"/proc/{process.pid}/status").read_text(encoding="utf-8")
    return int(re.search(r"^VmRSS:\s+(\d+) kB$", status, re.M)[1])


@pytest.mark.skipif(SANITIZE != "", reason="a sanitizer keeps memory for itself")
@pytest.mark.parametrize(
    "words,count,limit",
    [
        (["-Uq"], DEVICES, KEPT_KIB),
        (["-U"], DEVICES, KEPT_KIB),
        (["-Uq", "-oreport"], DEVICES, KEPT_KIB),
        (["--HDK", "-Uq"], DEVICES, KEPT_KIB),
        (["-Uq", "--obg-instance"], DEVICES, KEPT_KIB),
        (["-Uq", "-W"], DEVICES_WITH_RECORDS, RECORDS_KIB),
    ],
    ids=lambda value: " ".join(value) if isinstance(value, list) else "",
)
def test_memory_stays_where_it_is_while_tests_come_and_go(words, count, limit, tmp_path):
    # Not the first device: by then all that a run needs once is there.
    early, late = f"d{count // 10}", f"d{count - 1}"
    write_scenario(tmp_path / "many.json", count, early, late)
    world = World(tmp_path, tmp_path / "many.json")
    words = [word.replace("-oreport", f"-o{tmp_path}/report") for word in words]
    process = world.start(
        words, start_new_session=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL
    )
    try:
        await_run_of(early, tmp_path / "trace", process)
        before = resident_kib(process)
        await_run_of(late, tmp_path / "trace", process)
        after = resident_kib(process)
        process.send_signal(signal.SIGTERM)
        assert process.wait(30) == CANCELED
    finally:
        process.kill()
        process.wait()
    assert after - before <= limit
