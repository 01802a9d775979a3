"""Logs that are broken, foreign or not at their end cost the others nothing."""

import json
import random
import shutil
import signal
import time

import pytest
from conftest import load
from program import World
from simulated_fleet import FLEET, scenario

COMPLETE = "tarvex-20261121T080000.000Z-1.jsonl"


def line(number, **content):
    return json.dumps({"sequenceNumber": number, "timestamp": "2026-11-21T08:00:00.000Z", **content})


def step(number, **content):
    return line(number, testStepArtifact={"testStepId": "0", **content})


def log_of(machine="workshop", device="Disk A", words="all is well", time_=None, own_id=None):
    """A whole log of one passed test."""
    start = {
        "name": "Tarvex Diagnostics",
        "version": "5.0.0.0",
        "commandLine": "x",
        "parameters": {},
        "dutInfo": {
            "dutInfoId": "0",
            "name": machine,
            "softwareInfos": [],
            "hardwareInfos": [
                {"hardwareInfoId": "0", "name": device, "serialNumber": "S", "partType": "storage"}
            ],
        },
    }
    if own_id:
        start["dutInfo"]["metadata"] = {"machineId": own_id}
    lines = [
        line(0, schemaVersion={"major": 2, "minor": 0}),
        line(1, testRunArtifact={"testRunStart": start}),
        step(2, testStepStart={"name": "storage/QUICK_TEST/READ_TEST/0"}),
        step(3, extension={"name": "parameters", "content": {"words": words}}),
        step(4, measurement={"name": "read-rate", "value": 1e308, "unit": "B/s"}),
        step(5, log={"severity": "INFO", "message": words}),
        step(6, diagnosis={"verdict": "v", "type": "PASS", "hardwareInfoId": "0"}),
        step(7, testStepEnd={"status": "COMPLETE"}),
        line(8, testRunArtifact={"testRunEnd": {"status": "COMPLETE", "result": "PASS"}}),
    ]
    text = "\n".join(lines) + "\n"
    return text.replace("2026-11-21T08:00:00.000Z", time_) if time_ else text


def test_broken_and_foreign_logs_are_named_and_passed_over(database, tmp_path):
    good = log_of()
    texts = {
        COMPLETE: good,
        "tarvex-20261121T080000.000Z-2.jsonl": "no log at all\n" * 3,
        "tarvex-20261121T080000.000Z-3.jsonl": "",
        "tarvex-20261121T080000.000Z-4.jsonl": good.replace("Tarvex Diagnostics", "Another Program"),
        "tarvex-20261121T080000.000Z-5.crashed.jsonl": good[: len(good) // 2],
    }
    for name, text in texts.items():
        (tmp_path / name).write_text(text, encoding="utf-8")
    said = load(tmp_path, database.address)
    assert (said.status, said.counts) == (0, [2, 0, 0])
    for number in (2, 3, 4):
        assert any(f"000Z-{number}.jsonl: " in told for told in said.lines), said.lines
    assert database.query("SELECT name, state FROM tarvex.run ORDER BY name") == [
        ["tarvex-20261121T080000.000Z-1", "complete"],
        ["tarvex-20261121T080000.000Z-5", "crashed"],
    ]


def test_a_run_that_the_database_does_not_take_costs_the_others_nothing(database, tmp_path):
    for number in range(20):
        text = log_of(machine=f"machine-{number}")
        (tmp_path / f"tarvex-20261121T080000.000Z-{number}.jsonl").write_text(text, encoding="utf-8")
    bad = tmp_path / "tarvex-20261121T080000.000Z-refused.jsonl"
    bad.write_text(log_of(), encoding="utf-8")
    database.query("ALTER TABLE tarvex.run ADD CONSTRAINT no_such_run CHECK (name NOT LIKE '%refused')")
    said = load(tmp_path, database.address)
    assert (said.status, said.counts) == (0, [20, 0, 0, 1])
    refusals = [told for told in said.lines if bad.name in told and "no_such_run" in told]
    assert len(refusals) == 1, said.lines
    assert database.value("SELECT count(*) FROM tarvex.test_result") == "20"


def test_a_name_that_is_too_long_for_the_database_costs_the_others_nothing(database, tmp_path):
    # By chance, for the server packs what repeats itself.
    long = random.Random(1).randbytes(16_000).hex()
    texts = [log_of(machine="first"), log_of(own_id=long), log_of(device=long), log_of(machine="last")]
    texts.append(log_of().replace("READ_TEST", long))
    for number, text in enumerate(texts):
        (tmp_path / f"tarvex-20261121T080000.000Z-{number}.jsonl").write_text(text, encoding="utf-8")
    said = load(tmp_path, database.address)
    assert (said.status, said.counts) == (0, [2, 0, 0, 3])
    for number in (1, 2, 4):
        assert any(f"000Z-{number}.jsonl: " in told and "maximum" in told for told in said.lines), said.lines
    assert database.query("SELECT name FROM tarvex.machine ORDER BY 1") == [["first"], ["last"]]


def test_a_machine_is_called_what_its_latest_run_calls_it(database, tmp_path):
    def add(day, name):
        text = log_of(machine=name, time_=f"2026-11-{day}T08:00:00.000Z", own_id="5b0c")
        (tmp_path / f"tarvex-202611{day}T080000.000Z-1.jsonl").write_text(text, encoding="utf-8")

    def names():
        assert load(tmp_path, database.address).status == 0
        return database.query("SELECT key, name FROM tarvex.machine")

    add(21, "old")
    add(22, "new")
    assert names() == [["5b0c", "new"]]
    add(20, "older")
    assert names() == [["5b0c", "new"]]
    add(23, "newest")
    assert names() == [["5b0c", "newest"]]
    assert database.value("SELECT count(*) FROM tarvex.run") == "4"


@pytest.mark.parametrize(
    "name, words",
    [
        ("\0", "a zero byte \0 in it"),
        ("tab\tand\nline", "\\N \\. \\t {\"a\": [1]} 'quoted' \"too\"\r\n"),
        ("'; DROP SCHEMA tarvex CASCADE; --", "$$; $1 %s"),
        ("Übergröße 😀", "\u202e\u2028"),
        ("x" * 5000, "y" * 16000),
    ],
    ids=["zero", "separators", "statement", "wide", "long"],
)
def test_whatever_a_drive_calls_itself_is_text(database, tmp_path, name, words):
    (tmp_path / COMPLETE).write_text(log_of(device=name, words=words), encoding="utf-8")
    said = load(tmp_path, database.address)
    assert (said.status, said.counts) == (0, [1, 0, 0])
    assert load(tmp_path, database.address).counts == [0, 0, 1]
    shown = "SELECT to_json(device.name), to_json(text) FROM tarvex.device, tarvex.test_word"
    ((shown_name, shown_words),) = database.query(shown + " WHERE text <> '' LIMIT 1")
    stays = str.maketrans(dict.fromkeys("\0\t\n\r\u202e\u2028", "\ufffd"))
    assert json.loads(shown_name) == name.translate(stays)
    assert json.loads(shown_words) == words.translate(stays)
    assert database.value("SELECT parameters->>'words' FROM tarvex.test_result") == words.translate(stays)
    assert database.value("SELECT value FROM tarvex.measurement") == "1e+308"


@pytest.fixture
def endless(tmp_path):
    """A run in whose second test it stays; its world."""
    world = World(tmp_path, tmp_path / "scenario.json")
    plan = scenario(FLEET[0], 0, "passed", duration=600_000)
    (tmp_path / "scenario.json").write_text(json.dumps(plan), encoding="utf-8")
    world.process = world.start(["-Mstorage", "-Q", "1"], start_new_session=True, stdin=-3, stdout=-3)
    yield world
    world.process.kill()
    world.process.wait()


def wait_for_long_test(world):
    deadline = time.monotonic() + 60
    while not any(b"READ_TEST" in log.read_bytes() for log in (world.state_dir / "log").glob("*")):
        assert time.monotonic() < deadline, "it never began"
        time.sleep(0.01)


STATE = """
    SELECT run.state, run.verdict, run.ended IS NULL, count(*), max(test_result.verdict)
    FROM tarvex.run JOIN tarvex.test_result ON test_result.run = run.id GROUP BY run.id
"""


def test_a_run_is_brought_up_to_date_when_it_has_ended(database, endless):
    logs = endless.state_dir / "log"
    wait_for_long_test(endless)
    assert load(logs, database.address).counts == [1, 0, 0]
    assert database.query(STATE) == [["running", "unfinished", "t", "2", "unfinished"]]
    # As it is, and in a copy of which nobody can know that it goes on.
    assert load(logs, database.address).counts == [0, 0, 1]
    copies = endless.root / "copies"
    shutil.copytree(logs, copies)
    endless.process.send_signal(signal.SIGTERM)
    endless.process.wait(60)
    assert load(logs, database.address).counts == [0, 1, 0]
    ended = [["complete", "canceled", "f", "2", "canceled"]]
    assert database.query(STATE) == ended
    # What comes late and knows less changes nothing.
    assert load(copies, database.address).counts == [0, 0, 1]
    assert database.query(STATE) == ended


def test_a_run_that_crashed_keeps_what_it_had(database, endless):
    wait_for_long_test(endless)
    endless.process.kill()
    endless.process.wait()
    assert load(endless.state_dir / "log", database.address).counts == [1, 0, 0]
    ((state, verdict, *_),) = database.query(STATE)
    assert (state, verdict) == ("crashed", "unfinished")
