"""The log of runs on a disk that is full, or fills up under them."""

import json
import re
import resource
import signal
import subprocess

import ocptv
import pytest
from program import SANITIZE, World
from service_logs import PLAIN, SCENARIO, artifacts, logs, only_log, run, started_long_test, step
from small_disk import SmallDisk

INCOMPLETE = re.compile(r"lines that found no room: \d+")


@pytest.fixture
def disk(tmp_path):
    with SmallDisk(tmp_path / "disk") as made:
        yield made


@pytest.fixture
def world(tmp_path, disk):
    """A world whose state lies on the small disk."""
    made = World(tmp_path, SCENARIO)
    made.state_dir = disk.folder
    made.environment["TARVEX_STATE_DIR"] = str(disk.folder)
    return made


def errors(path):
    found = [line.get("testRunArtifact", {}).get("error") for line in artifacts(path)]
    return [error for error in found if error is not None]


def use_changed_scenario(world, change):
    """Gives the world the scenario with the tests of its first diagnostic changed."""
    tree = json.loads(SCENARIO.read_text(encoding="utf-8"))
    change(tree["modules"][0]["diagnostics"][0]["tests"])
    path = world.root / "changed.json"
    path.write_text(json.dumps(tree), encoding="utf-8")
    world.environment["ORVAN_SCENARIO"] = str(path)


def add_tests(tests):
    """Enough for more lines than the last page of the file has room for."""
    for number in range(50):
        name = f"LATE_TEST_{number}"
        words = {"name": name, "option": f"t{number}", "longName": name.lower()}
        tests.append({**words, "key": {"identifier": 100 + number}})


def report_much(tests):
    """More than the disk takes, in smaller and smaller pieces, so that little room stays."""
    sizes = [12000] * 20 + [100] * 100 + [1] * 100
    reports = [{"atMs": 0, "percent": 1, "message": "M" * size} for size in sizes]
    tests[0]["outcome"]["reports"] = reports


def test_a_disk_that_fills_up_takes_no_end(world, disk):
    use_changed_scenario(world, add_tests)
    process = world.start(["-Mstorage", "-Q", "0"])
    path = started_long_test(world)
    disk.fill()
    process.send_signal(signal.SIGINT)
    process.wait(60)
    assert ocptv.faults(path.read_bytes()) == []
    assert artifacts(path)[-1] == run("testRunEnd", status="COMPLETE", result="FAIL")
    disk.empty()
    world.run(["-Mstorage", "-Qr", "0"])
    first, second = logs(world.state_dir / "log")
    assert first == path
    assert errors(second) == []


def test_what_a_full_disk_does_not_take_is_told(world, disk):
    use_changed_scenario(world, report_much)
    disk.fill(left=96 * 1024)
    assert world.run(["-Mstorage", "-Qr", "0"]).returncode == 21
    path = only_log(world)
    # The numbers tell where lines are missing; all else keeps the format.
    faults = ocptv.faults(path.read_bytes())
    assert {fault.partition(": ")[2] for fault in faults} == {"the sequence number does not follow"}
    assert [error["symptom"] for error in errors(path)] == ["log-incomplete"]
    assert INCOMPLETE.fullmatch(errors(path)[0]["message"])
    assert [line for line in artifacts(path) if "testStepArtifact" in line][-2:] == [
        step(0, "diagnosis", verdict="read-test-failed", type="FAIL", hardwareInfoId="0"),
        step(0, "testStepEnd", status="COMPLETE"),
    ]
    assert artifacts(path)[-2:] == [
        run("error", **errors(path)[0]),
        run("testRunEnd", status="COMPLETE", result="FAIL"),
    ]


@pytest.mark.parametrize("limit", [0, 100, 1500, 8192])
def test_a_limit_of_file_sizes_changes_nothing(limit, tmp_path):
    if limit == 0 and SANITIZE == "thread":
        pytest.skip("the thread sanitizer itself cannot start without a file")
    plain = World(tmp_path / "plain", SCENARIO).run(PLAIN)
    assert plain.returncode == 0
    world = World(tmp_path, SCENARIO)
    process = world.start(
        PLAIN,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        start_new_session=True,
        preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)),
    )
    output, _ = process.communicate(timeout=60)
    assert output == plain.stdout
    assert process.returncode == 0
    if limit < 4096:
        # No room for an end, so nothing is begun.
        assert logs(world.state_dir / "log") == []
        return
    path = only_log(world)
    error, end = artifacts(path)
    assert error["testRunArtifact"]["error"]["symptom"] == "log-incomplete"
    assert INCOMPLETE.fullmatch(error["testRunArtifact"]["error"]["message"])
    assert end == run("testRunEnd", status="COMPLETE", result="PASS")
