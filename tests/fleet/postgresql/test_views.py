"""What the views answer of a fleet whose every fault is known."""

import re

import pytest
from conftest import Database
from program import SOURCE_DIR
from simulated_fleet import FLEET, MACHINES

KINDS = {kind.name: kind for kind in FLEET}


def names(kind):
    return {f"{kind}-{number}" for number in range(KINDS[kind].count)}


def machines_of(rows):
    return {row[0] for row in rows}


def test_the_worst_devices_stand_first(loaded):
    rows = loaded.query(
        "SELECT machine, latest_verdict, failed_tests, warned_tests, judged_tests, failed_runs,"
        " judged_runs, serial FROM tarvex.worst_device"
    )
    # Failed now and warned of before; failed now; failed once and well since.
    first, second, third = rows[:20], rows[20:60], rows[60:]
    assert machines_of(first) == names("worsening")
    assert machines_of(second) == names("failing")
    assert machines_of(third) == names("healed")
    assert {tuple(row[1:7]) for row in first} == {("failed", "1", "1", "6", "1", "3")}
    assert {tuple(row[1:7]) for row in second} == {("failed", "1", "0", "2", "1", "1")}
    assert {tuple(row[1:7]) for row in third} == {("passed", "1", "0", "4", "1", "2")}
    assert all(row[7] == row[0] + "-D" for row in rows)


def test_devices_that_get_worse_are_those_and_no_others(loaded):
    rows = loaded.query("SELECT machine, what, before, now, serial FROM tarvex.worsening_device")
    assert sorted(rows) == sorted(
        [name, "verdict", "warning", "failed", f"{name}-D"] for name in names("worsening")
    )


def test_models_are_held_against_how_many_there_are_of_them(loaded):
    # 40 + 20 + 10 of 170 Brittle ones failed. The lower bound of Wilson's interval, by hand:
    # (70/170 + z^2/340 - z sqrt(0.24221/170 + z^2/115600)) / (1 + z^2/170) with z = 1.959964.
    brittle, steady = loaded.query(
        "SELECT model, devices, failed_devices, share, share_at_least FROM tarvex.model_failure_rate"
    )
    assert brittle[:3] == ["Brittle 2T", "170", "70"]
    assert float(brittle[3]) == pytest.approx(70 / 170)
    assert float(brittle[4]) == pytest.approx(0.3405, abs=0.0001)
    assert steady[:3] == ["Steady 4T", str(2 * MACHINES - 170), "0"]
    assert float(steady[4]) == pytest.approx(0)


def test_what_was_stopped_or_not_tried_counts_neither_for_a_device_nor_against_it(loaded):
    judged = loaded.query(
        "SELECT machine.name, judged FROM tarvex.device_run"
        " JOIN tarvex.device ON device.id = device_run.device"
        " JOIN tarvex.machine ON machine.id = device_run.machine"
        " WHERE serial LIKE 'stopped-%-D' OR serial LIKE 'untried-%-D' OR serial LIKE 'unfit-%-D'"
    )
    assert machines_of(judged) == names("stopped") | names("untried") | names("unfit")
    assert {row[1] for row in judged} == {"1"}


def test_runs_over_a_scenario_do_not_count_unless_the_setting_says_so(loaded):
    said = loaded.query(
        "BEGIN; UPDATE tarvex.setting SET count_simulated = false;"
        " SELECT count(*) FROM tarvex.worst_device; SELECT count(*) FROM tarvex.worsening_device;"
        " SELECT count(*) FROM tarvex.model_failure_rate; ROLLBACK;"
    )
    assert said == [["0"], ["0"], ["0"]]


def test_machines_that_are_not_heard_of_are_named(loaded):
    assert loaded.query("SELECT machine FROM tarvex.silent_machine") == []
    said = loaded.query(
        "BEGIN; INSERT INTO tarvex.expected_machine VALUES ('never-came'), ('sound-0');"
        " UPDATE tarvex.run SET started = started - interval '15 days' WHERE machine ="
        "  (SELECT id FROM tarvex.machine WHERE name = 'sound-1');"
        " UPDATE tarvex.run SET started = started - interval '13 days' WHERE machine ="
        "  (SELECT id FROM tarvex.machine WHERE name = 'sound-2');"
        " SELECT machine, latest_run IS NULL, silent_for > interval '14 days'"
        " FROM tarvex.silent_machine; ROLLBACK;"
    )
    assert said == [["never-came", "t", ""], ["sound-1", "f", "t"]]


def test_a_machine_that_only_ran_over_scenarios_is_heard_of_when_those_count(loaded):
    said = loaded.query(
        "BEGIN; UPDATE tarvex.setting SET count_simulated = false;"
        " UPDATE tarvex.run SET simulated = false, started = now() - interval '15 days' WHERE machine ="
        "  (SELECT id FROM tarvex.machine WHERE name = 'sound-1');"
        " UPDATE tarvex.run SET simulated = false WHERE machine ="
        "  (SELECT id FROM tarvex.machine WHERE name = 'sound-2');"
        " SELECT machine, latest_run IS NULL FROM tarvex.silent_machine"
        " WHERE machine IN ('sound-0', 'sound-1', 'sound-2'); ROLLBACK;"
    )
    assert said == [["sound-0", "t"], ["sound-1", "f"]]


# Two runs of one test on one device, and what it measured.
MEASURED = """
    INSERT INTO tarvex.machine (key, name) VALUES ('m', 'm');
    INSERT INTO tarvex.device (key, module, name) VALUES ('d', 'storage', 'Disk');
    INSERT INTO tarvex.test (module, diagnostic, test) VALUES ('storage', 'QUICK_TEST', 'READ_TEST');
    INSERT INTO tarvex.run (machine, name, state, log_bytes, started, simulated, verdict)
        SELECT 1, 'run ' || n, 'complete', 1, now() - n * interval '1 day', false, 'passed'
        FROM generate_series(1, 2) AS n ORDER BY n DESC;
    INSERT INTO tarvex.test_result (run, position, test, device, verdict)
        SELECT id, 0, 1, 1, 'passed' FROM tarvex.run;
"""


@pytest.mark.parametrize(
    "name, before, now, is_worse",
    [
        ("reallocated-sectors", 0, 1, True),
        ("reallocated-sectors", 7, 7, False),
        ("reallocated-sectors", 8, 7, False),
        ("read-rate", 100, 79, True),
        ("read-rate", 100, 80, False),
        ("read-rate", 100, 130, False),
        ("smart-5-reallocated-sectors-value", 100, 97, True),
        ("smart-5-reallocated-sectors-value", 100, 98, False),
        ("random-read-median", 0.01, 0.02, True),
        ("random-read-median", 0.01, 0.014, False),
        ("random-read-median", 0.001, 0.002, False),
        # The row of all rates would say less.
        ("unreadable-rate", 1, 2, True),
        ("nobody-watches-this", 0, 1000, False),
    ],
)
def test_a_measurement_is_worse_in_its_direction_and_by_its_amount(
    measured, name, before, now, is_worse
):
    said = measured.query(
        "BEGIN; INSERT INTO tarvex.measurement (run, result, position, name, value)"
        f" VALUES (1, 0, 0, '{name}', {before}), (2, 0, 0, '{name}', {now});"
        " SELECT what, test, before, now FROM tarvex.worsening_device; ROLLBACK;"
    )
    row = [name, "READ_TEST", str(before), str(now)]
    assert said == ([row] if is_worse else [])


def test_a_measurement_is_held_against_the_last_of_its_kind(measured):
    # What the run before measured is another thing, and another unit.
    said = measured.query(
        "BEGIN; INSERT INTO tarvex.run (machine, name, state, log_bytes, started, simulated, verdict)"
        "  VALUES (1, 'run 0', 'complete', 1, now() - interval '3 days', false, 'passed');"
        " INSERT INTO tarvex.test_result (run, position, test, device, verdict)"
        "  VALUES (3, 0, 1, 1, 'warning');"
        " INSERT INTO tarvex.measurement (run, result, position, name, value, unit) VALUES"
        "  (3, 0, 0, 'pending-sectors', 4, NULL), (1, 0, 0, 'pending-sectors', 9, 'B'),"
        "  (2, 0, 0, 'pending-sectors', 5, NULL);"
        " SELECT what, before, now, started_before = now() - interval '3 days'"
        " FROM tarvex.worsening_device; ROLLBACK;"
    )
    assert said == [["pending-sectors", "4", "5", "t"]]


@pytest.fixture(scope="module")
def measured(cluster):
    made = Database(cluster)
    made.query(MEASURED)
    return made


def test_old_runs_can_be_forgotten_with_all_that_hangs_on_them(measured):
    said = measured.query(
        "BEGIN; SELECT tarvex.forget_runs_before(now() - interval '36 hours');"
        " SELECT count(*) FROM tarvex.run; SELECT count(*) FROM tarvex.test_result; ROLLBACK;"
    )
    assert said == [["1"], ["1"], ["1"]]


# Row{"unreadable-*", Direction::kMore, 0, 0}
ROW = re.compile(r'Row\{"([^"]+)", Direction::k(More|Less), ([0-9.]+), ([0-9.]+)\}')


def test_a_fleet_and_a_machine_watch_the_same_measurements(database):
    text = (SOURCE_DIR / "companions/history/worse.cpp").read_text(encoding="utf-8")
    rows = [(name.replace("*", "%"), way.lower(), *map(float, by)) for name, way, *by in ROW.findall(text)]
    assert text.count("Row{") == len(rows) > 0
    watched = database.query(
        "SELECT pattern, worse_when, by_more_than, by_part FROM tarvex.watched_measurement ORDER BY place"
    )
    assert [(pattern, way, float(more), float(part)) for pattern, way, more, part in watched] == rows
