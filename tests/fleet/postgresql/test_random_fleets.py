"""The views answer of fleets by chance what the manual says of them, worked out a second time."""

import pytest
from conftest import load
from expected_answers import BADNESS, ExpectedAnswers
from random_fleet import RandomFleet

PARTS = 3


def time(column):
    """As a log has it; nothing for none."""
    return f"""to_char({column} AT TIME ZONE 'UTC', 'YYYY-MM-DD"T"HH24:MI:SS.MS"Z"')"""


DEVICE = "module, model, serial, machine"
COUNTS = "failed_tests, warned_tests, judged_tests, failed_runs, judged_runs"
COLUMNS = {
    "worst_device": f"{DEVICE}, latest_verdict, {time('latest_run')}, {COUNTS},"
    f" {time('first_failed')}, {time('latest_failed')}",
    "worsening_device": f"{DEVICE}, test, what, before, now, unit, {time('started_before')}, {time('latest_run')}",
    "silent_machine": f"machine, {time('latest_run')}",
    "model_failure_rate": "module, model, devices, failed_devices",
}


@pytest.fixture(params=[1, 2])
def fleet(request, database, tmp_path):
    """A fleet whose logs came home in parts, some of them twice, and some of them cut at first."""
    made = RandomFleet(request.param)
    for part in range(PARTS):
        folder = tmp_path / str(part)
        made.bring_home(folder, last=part == PARTS - 1)
        assert load(folder, database.address).status == 0
        assert load(folder, database.address).counts[:2] == [0, 0]
    return made


def test_views_answer_what_the_manual_says(fleet, database):
    database.query("INSERT INTO tarvex.expected_machine VALUES ('debian'), ('never-came')")
    rules = database.query(
        "SELECT pattern, worse_when, by_more_than, by_part FROM tarvex.watched_measurement ORDER BY place"
    )
    rules = [(pattern, way, float(amount), float(part)) for pattern, way, amount, part in rules]
    for count_simulated in (False, True):
        database.query(f"UPDATE tarvex.setting SET count_simulated = {count_simulated}")
        expected = ExpectedAnswers(fleet.told(), rules, count_simulated, ["debian", "never-came"])
        answers = {}
        for view, columns in COLUMNS.items():
            answers[view] = list(map(tuple, database.query(f"SELECT {columns} FROM tarvex.{view}")))
            assert sorted(answers[view]) == sorted(getattr(expected, view)()), view
            assert answers[view], f"this fleet asks nothing of {view}"
        verdicts = [BADNESS[row[4]] for row in answers["worst_device"]]
        assert verdicts == sorted(verdicts, reverse=True)
        heard = [row[1] for row in answers["silent_machine"]]
        assert heard == sorted(heard)
