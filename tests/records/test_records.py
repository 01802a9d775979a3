"""Execution records of whole runs: what -W leaves in the store, what -r takes out of it, and what
the service's log says when the store makes trouble. Read by sqlite3, as another program would."""

import json
import re
import subprocess

import pytest
from program import World

# One diagnostic with a test for each verdict, on two devices.
WORDS = ["PASSED", "FAILED", "UNRECOGNIZED", "NOT_APPLICABLE", "CANCELED", "WARNING", "INVALID"]
SCENARIO = {
    "modules": [
        {
            "name": "storage",
            "devices": [
                {"id": "0", "name": "Disk A", "udi": "serial-a"},
                {"id": "1", "name": "Disk B", "udi": "serial-b"},
            ],
            "diagnostics": [
                {
                    "name": "QUICK_TEST",
                    "option": "Q",
                    "longName": "quick",
                    "key": {"minor": 1, "identifier": 1},
                    "tests": [
                        {
                            "name": f"TEST_{status}",
                            "option": f"t{status}",
                            "longName": f"test-{status}",
                            "key": {"identifier": 100 + status},
                            "outcome": {"status": status, "durationMs": 5},
                        }
                        for status in range(len(WORDS))
                    ],
                }
            ],
        }
    ]
}
NAMESPACE = r"ROOT\Tarvex\Tarvex_Diagnostics"
REMOVED = b"\nNamespace Removed Successfully\n"
NOT_REMOVED = b"\nNamespace Removed Unsuccessfully\n"


@pytest.fixture
def world(tmp_path):
    scenario = tmp_path / "scenario.json"
    scenario.write_text(json.dumps(SCENARIO), encoding="utf-8")
    made = World(tmp_path, scenario)
    made.store = made.state_dir / "records.db"
    made.environment["TZ"] = "CET-1"
    return made


def ask(store, sql):
    """Rows of the store as lists of texts."""
    output = subprocess.run(
        ["/usr/bin/sqlite3", "-readonly", "-separator", "|", str(store), sql],
        check=True,
        capture_output=True,
        text=True,
    ).stdout
    return [line.split("|") for line in output.splitlines()]


def log_text(world):
    return "".join(
        path.read_text(encoding="utf-8") for path in sorted((world.state_dir / "log").glob("*"))
    )


def test_one_row_for_each_finished_test_that_applied(world):
    world.run(["-Mstorage", "-Q", "0", "1", "-W"])
    rows = ask(world.store, "SELECT * FROM execution_record")
    wanted = [
        [NAMESPACE, "storage", "storage", udi, name, f"TEST_{status}", WORDS[status]]
        for udi, name in (("serial-a", "Disk A"), ("serial-b", "Disk B"))
        for status in range(len(WORDS))
        if status != 3  # a test that is not applicable leaves no trace
    ]
    assert [row[:7] for row in rows] == wanted
    for row in rows:
        assert re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}\+01:00", row[7])
        assert re.fullmatch(r"\d+\.\d{3}", row[8])
        assert float(row[8]) >= 0.005


def test_without_the_option_there_is_no_store(world):
    world.run(["-Mstorage", "-Q", "0"])
    assert not world.store.exists()


def test_erasing_succeeds_once(world):
    world.run(["-Mstorage", "-Q", "0", "-W"])
    assert REMOVED in world.run(["-r"]).stdout
    assert ask(world.store, "SELECT count(*) FROM execution_record") == [["0"]]
    again = world.run(["-r"])
    assert NOT_REMOVED in again.stdout
    assert REMOVED not in again.stdout


def test_erasing_where_nothing_was_recorded_makes_no_store(world):
    assert NOT_REMOVED in world.run(["-r"]).stdout
    assert not world.store.exists()


def test_records_of_runs_add_up(world):
    for _ in range(2):
        world.run(["-Mstorage", "-Qt0", "0", "-W"])
    assert ask(world.store, "SELECT count(*) FROM execution_record") == [["2"]]
    assert ask(world.store, "SELECT count(*) FROM class") == [["1"]]


def test_a_damaged_store_is_set_aside_and_the_log_says_so(world):
    world.store.write_bytes(b"garbage" * 1000)
    assert world.run(["-Mstorage", "-Qt0", "0", "-W"]).returncode == 0
    assert ask(world.store, "SELECT test_name FROM execution_record") == [["TEST_0"]]
    assert (world.state_dir / "records.damaged-1.db").read_bytes() == b"garbage" * 1000
    assert "was set aside as records.damaged-1.db" in log_text(world)


def test_a_store_that_refuses_changes_neither_output_nor_status(world):
    plain = world.run(["-Mstorage", "-Qt0", "0"])
    assert plain.returncode == 0
    world.store.symlink_to(world.root / "elsewhere")
    refused = world.run(["-Mstorage", "-Qt0", "0", "-W"])
    assert refused.stdout == plain.stdout
    assert refused.returncode == plain.returncode
    assert not (world.root / "elsewhere").exists()
    text = log_text(world)
    assert text.count("records.db is no regular file") == 1
    assert "1 records could not be written and are lost" in text


def test_erasing_a_damaged_store_is_in_the_log_too(world):
    world.store.write_bytes(b"garbage" * 1000)
    assert NOT_REMOVED in world.run(["-r"]).stdout
    assert "was set aside as records.damaged-1.db" in log_text(world)


def test_a_full_disk_keeps_the_run_going(world):
    full = world.root / "full"
    full.mkdir()
    mounted = subprocess.run(
        ["mount", "-t", "tmpfs", "-o", "size=1m,mode=0700", "none", str(full)], check=False
    )
    if mounted.returncode != 0:
        pytest.skip("a file system cannot be mounted here")
    try:
        world.environment["TARVEX_STATE_DIR"] = str(full)
        filler = full / "filler"
        with open(filler, "wb", buffering=0) as file:
            try:
                while True:
                    file.write(b"x" * 4096)
            except OSError:
                pass
        plain = World(world.root / "plain", world.environment["ORVAN_SCENARIO"])
        wanted = plain.run(["-Mstorage", "-Q", "0"])
        assert wanted.returncode == 21
        found = world.run(["-Mstorage", "-Q", "0", "-W"])
        assert (found.stdout, found.returncode) == (wanted.stdout, wanted.returncode)
        filler.unlink()
        world.run(["-Mstorage", "-Qt0", "0", "-W"])
        assert ask(full / "records.db", "SELECT test_name FROM execution_record")[-1] == ["TEST_0"]
    finally:
        subprocess.run(["umount", str(full)], check=True)
