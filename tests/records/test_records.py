"""Execution records of whole runs: what -W leaves in the store, what -r takes out of it, and what
the service's log says when the store makes trouble. Read by sqlite3, as another program would."""

import os
import re
import subprocess
import tempfile
from pathlib import Path

import pytest
from program import World
from verdicts import WORDS, write_scenario

NAMESPACE = r"ROOT\Tarvex\Tarvex_Diagnostics"
REMOVED = b"\nNamespace Removed Successfully\n"
NOT_REMOVED = b"\nNamespace Removed Unsuccessfully\n"


def ask(store, sql):
    """Rows of the store as lists of texts."""
    output = subprocess.run(
        ["/usr/bin/sqlite3", "-readonly", "-separator", "|", str(store), sql],
        check=True,
        capture_output=True,
        text=True,
    ).stdout
    return [line.split("|") for line in output.splitlines()]


def text_of_logs(folder):
    return "".join(path.read_text(encoding="utf-8") for path in sorted(folder.glob("*")))


def log_text(world):
    return text_of_logs(world.state_dir / "log")


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


@pytest.fixture
def fast_state_dir(world):
    """The state folder in memory: a disk that takes its time for each flush, as busy ones do, makes
    writers wait for each other for longer than they do."""
    memory = "/dev/shm" if os.path.isdir("/dev/shm") else None
    with tempfile.TemporaryDirectory(dir=memory) as folder:
        world.state_dir = Path(folder)
        world.environment["TARVEX_STATE_DIR"] = folder
        world.store = world.state_dir / "records.db"
        yield


@pytest.mark.usefixtures("fast_state_dir")
def test_runs_at_once_leave_all_their_records(world):
    runs = []
    for name in ("one", "two", "three"):
        other = World(world.root / name, world.environment["ORVAN_SCENARIO"])
        other.environment["TARVEX_STATE_DIR"] = str(world.state_dir)
        runs.append(other.start(["-Mstorage", "-Q", "0", "-W"], stdout=subprocess.DEVNULL))
    assert [run.wait(60) for run in runs] == [21, 21, 21]
    wanted = [[f"TEST_{status}", "3"] for status in range(len(WORDS)) if status != 3]
    sql = "SELECT test_name, count(*) FROM execution_record GROUP BY test_name"
    assert sorted(ask(world.store, sql)) == wanted
    assert "execution records" not in log_text(world)


def test_a_killed_run_keeps_the_record_of_each_test_that_was_shown_as_finished(world):
    write_scenario(world.root / "scenario.json", {1: 600_000})
    run = world.start(["-Mstorage", "-Qt0,t1", "0", "-W"], stdout=subprocess.PIPE)
    shown = b""
    while b"Test Status: Passed" not in shown:
        part = os.read(run.stdout.fileno(), 4096)
        assert part != b"", shown
        shown += part
    run.kill()
    run.communicate()
    assert ask(world.store, "SELECT test_name FROM execution_record") == [["TEST_0"]]
    world.run(["-Mstorage", "-Qt2", "0", "-W"])
    assert ask(world.store, "SELECT test_name FROM execution_record") == [["TEST_0"], ["TEST_2"]]


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


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can give a link away")
def test_a_folder_behind_a_strangers_link_gets_no_records(world):
    real = world.root / "real"
    real.mkdir(mode=0o700)
    logs = world.root / "logs"
    way = world.root / "way"
    way.symlink_to("real")
    os.chown(way, 12345, 12345, follow_symlinks=False)
    world.environment["TARVEX_STATE_DIR"] = str(way / "state")
    run = ["-Mstorage", "-Qt0", "0", "-W", f"-s{logs}"]
    assert world.run(run).returncode == 0
    assert list(real.iterdir()) == []
    assert "a link on the way to the folder is another user's" in text_of_logs(logs)
    os.chown(way, 0, 0, follow_symlinks=False)
    assert world.run(run).returncode == 0
    assert ask(real / "state" / "records.db", "SELECT count(*) FROM execution_record") == [["1"]]


@pytest.fixture
def full(tmp_path):
    """A disk without room, and the file whose removal makes some."""
    folder = tmp_path / "full"
    folder.mkdir()
    mounted = subprocess.run(
        ["mount", "-t", "tmpfs", "-o", "size=1m,mode=0700", "none", str(folder)], check=False
    )
    if mounted.returncode != 0:
        pytest.skip("a file system cannot be mounted here")
    filler = folder / "filler"
    with open(filler, "wb", buffering=0) as file:
        try:
            while True:
                file.write(b"x" * 4096)
        except OSError:
            pass
    yield filler
    subprocess.run(["umount", str(folder)], check=True)


def test_a_full_disk_keeps_the_run_going_and_the_log_says_what_is_lost(world, full):
    logs = world.root / "logs"
    wanted = world.run(["-Mstorage", "-Q", "0", f"-s{logs}"])
    assert wanted.returncode == 21
    world.environment["TARVEX_STATE_DIR"] = str(full.parent)
    found = world.run(["-Mstorage", "-Q", "0", "-W", f"-s{logs}"])
    assert (found.stdout, found.returncode) == (wanted.stdout, wanted.returncode)
    assert text_of_logs(logs).count("database or disk is full") == 1
    assert "6 records could not be written and are lost" in text_of_logs(logs)
    full.unlink()
    world.run(["-Mstorage", "-Qt0", "0", "-W"])
    store = full.parent / "records.db"
    assert ask(store, "SELECT test_name FROM execution_record") == [["TEST_0"]]


def test_a_log_on_the_full_disk_changes_nothing_of_that(world, full):
    wanted = world.run(["-Mstorage", "-Q", "0"])
    world.environment["TARVEX_STATE_DIR"] = str(full.parent)
    found = world.run(["-Mstorage", "-Q", "0", "-W"])
    assert (found.stdout, found.returncode) == (wanted.stdout, wanted.returncode)
