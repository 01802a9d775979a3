"""Execution records beside the logs: whose log is there, and whose is gone."""

import os
import sqlite3

from histories import answer, history, make_run, only_log


def test_records_name_the_run_whose_log_is_there(tmp_path):
    world = make_run(tmp_path, ["-Mstorage", "-W", "-Qp,f", "0"])
    run = only_log(world).stem
    records = answer("records", state=world.state_dir)["records"]
    assert [(one["test"], one["verdict"], one["run"]) for one in records] == [
        ("FAILING", "failed", run),
        ("PASSING", "passed", run),
    ]
    logged = answer("run", "last", state=world.state_dir)
    assert records[0]["key"] == logged["devices"][0]["key"]
    assert logged["start"] <= records[1]["start"] <= logged["end"]
    only_log(world).unlink()
    assert [one["run"] for one in answer("records", state=world.state_dir)["records"]] == [None] * 2
    text = history("records", state=world.state_dir).stdout.decode().splitlines()
    assert len(text) == 3
    assert text[1].endswith("gone")


def record_of(folder, time):
    """What is told of a record all of whose times are that one."""
    world = make_run(folder, ["-Mstorage", "-W", "-Qp", "0"])
    with sqlite3.connect(world.state_dir / "records.db") as store:
        store.execute("UPDATE property SET value = ? WHERE value LIKE '20__-__-__T%'", (time,))
    (record,) = answer("records", state=world.state_dir)["records"]
    return record["start"], record["run"]


def test_a_record_of_a_time_between_runs_is_of_none(tmp_path):
    assert record_of(tmp_path, "2099-11-21T08:00:00.000Z") == ("2099-11-21T08:00:00.000Z", None)


def test_times_with_an_offset_are_told_in_utc(tmp_path):
    told = record_of(tmp_path, "2026-11-21T09:00:00.007+01:00")
    assert told == ("2026-11-21T08:00:00.007Z", None)


def test_no_store_has_no_records_and_a_bad_one_is_said(tmp_path):
    (tmp_path / "log").mkdir()
    assert answer("records", state=tmp_path)["records"] == []
    assert sorted(os.listdir(tmp_path)) == ["history.db", "log"]
    (tmp_path / "records.db").write_bytes(b"x" * 5000)
    told = history("records", state=tmp_path)
    assert (told.returncode, told.stdout) == (1, b"")
    assert told.stderr == (
        f"tarvex-history: {tmp_path}/records.db: file is not a database\n".encode()
    )
    assert (tmp_path / "records.db").read_bytes() == b"x" * 5000
    (tmp_path / "records.db").unlink()
    (tmp_path / "records.db").symlink_to("/dev/null")
    told = history("records", state=tmp_path)
    assert told.returncode == 1
    assert b"records.db is no regular file" in told.stderr
