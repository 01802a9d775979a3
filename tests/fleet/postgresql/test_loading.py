"""A thousand machines' logs in a database: everything once, however often and by how many it is loaded."""

import shutil
import subprocess

import pexpect
import simulated_fleet
from conftest import HISTORY, end_of, load, start_load
from simulated_fleet import FLEET, MACHINES, RESULTS, RUNS


def test_the_fleet_is_as_large_as_it_is_meant_to_be():
    assert (MACHINES, RUNS, RESULTS) == (1000, 1050, 4200)


def test_everything_is_there(loaded):
    assert (loaded.first.status, loaded.first.counts) == (0, [RUNS, 0, 0])
    assert loaded.first.lines == []
    counts = {
        table: int(loaded.value(f"SELECT count(*) FROM tarvex.{table}"))
        for table in ("machine", "run", "device", "run_device", "test", "test_result")
    }
    assert counts == {
        "machine": MACHINES,
        "run": RUNS,
        "device": 2 * MACHINES,
        "run_device": 2 * RUNS,
        "test": 2,
        "test_result": RESULTS,
    }


def test_each_verdict_is_the_one_that_was_found(loaded):
    expected = sorted(
        [f"{kind.name}-{number}", str(turn), verdict]
        for kind in FLEET
        for number in range(kind.count)
        for turn, verdict in enumerate(kind.course)
    )
    found = loaded.query(
        """
        SELECT machine.name,
               row_number() OVER (PARTITION BY machine.id ORDER BY run.started) - 1,
               test_result.verdict
        FROM tarvex.test_result
        JOIN tarvex.run ON run.id = test_result.run
        JOIN tarvex.machine ON machine.id = run.machine
        JOIN tarvex.test ON test.id = test_result.test
        JOIN tarvex.device ON device.id = test_result.device
        WHERE test.test = 'READ_TEST' AND device.serial LIKE '%-D'
        """
    )
    assert sorted(found) == expected


def test_words_and_times_are_there(loaded):
    failing = "JOIN tarvex.run ON run.id = test_word.run AND run.verdict = 'failed'"
    said = loaded.query(f"SELECT DISTINCT text FROM tarvex.test_word {failing} ORDER BY 1")
    assert ["Unreadable sector at LBA 2048"] in said
    assert loaded.value(
        "SELECT count(*) FROM tarvex.test_result JOIN tarvex.run ON run.id = run"
        " WHERE NOT (run.started <= test_result.started AND test_result.started <= test_result.ended"
        " AND test_result.ended <= run.ended AND seconds >= 0)"
    ) == "0"


def test_loading_again_changes_nothing(loaded, fleet):
    rows = loaded.query("SELECT id, loaded FROM tarvex.run ORDER BY id")
    again = load(fleet, loaded.address)
    assert (again.status, again.counts) == (0, [0, 0, RUNS])
    assert loaded.query("SELECT id, loaded FROM tarvex.run ORDER BY id") == rows


def test_two_that_load_at_once_load_everything_once(database, loaded, fleet):
    both = [end_of(process) for process in [start_load(fleet, database.address) for _ in range(2)]]
    assert [one.status for one in both] == [0, 0], [one.lines for one in both]
    assert sum(one.counts[0] for one in both) == RUNS
    assert database.content() == loaded.content()


def test_machines_of_one_name_are_told_apart_by_their_ids(loaded):
    # So they are in the first place, where the system has such ids.
    if not simulated_fleet.MACHINE_ID.exists():
        return
    assert loaded.value("SELECT count(*) FROM tarvex.machine WHERE key = name") == "0"


def test_who_looks_on_sees_how_far_it_is(database, fleet):
    command = ["--logs", str(fleet), "--to", database.address]
    terminal = pexpect.spawn(str(HISTORY), command, timeout=60, encoding="utf-8")
    terminal.expect_exact(f"\r500 of {RUNS} logs")
    terminal.expect_exact(f"\r{RUNS} of {RUNS} logs\r\n")
    terminal.expect_exact(f"tarvex-history: {RUNS} runs loaded, ")
    terminal.expect(pexpect.EOF)
    terminal.close()
    assert terminal.exitstatus == 0


def test_without_the_library_the_rest_of_the_program_works(database, fleet, tmp_path):
    alone = shutil.copy(HISTORY, tmp_path)
    logs = ["--logs", str(fleet / "failing-0")]
    listing = subprocess.run([alone, *logs, "list"], capture_output=True, text=True, check=True)
    assert "failing-0" in listing.stdout
    said = subprocess.run(
        [alone, *logs, "--to", database.address], capture_output=True, text=True, check=False
    )
    assert said.returncode == 1
    assert "libhistory_postgresql.so: cannot open" in said.stderr
    assert "install libpq5" in said.stderr
