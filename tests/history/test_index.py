"""The index of the state folder: a cache that changes no answer, whatever becomes of it."""

import json
import os
import pwd
import resource
import shutil
import sqlite3
import stat

import pytest
from histories import answer, history, make_run, only_log
from made_logs import result_of, write_run

NOBODY = {"user": "nobody", "group": "nogroup", "extra_groups": []}


@pytest.fixture(name="state")
def fixture_state(tmp_path):
    """A state folder with the logs of two runs."""
    first = make_run(tmp_path / "first", ["-Mstorage", "-Qp", "0"])
    second = make_run(tmp_path / "second", ["-Mstorage", "-Qf", "0"])
    shutil.copy2(only_log(second), only_log(first).parent)
    return first.state_dir


def verdicts(state):
    return [run["verdict"] for run in answer("list", state=state)["runs"]]


def test_the_index_is_kept_for_its_owner_alone(state):
    assert verdicts(state) == ["failed", "passed"]
    index = state / "history.db"
    assert stat.S_IMODE(index.stat().st_mode) == 0o600
    with sqlite3.connect(index) as database:
        assert database.execute("SELECT count(*) FROM log").fetchone() == (2,)


def test_what_did_not_change_is_not_read_again(state):
    assert verdicts(state) == ["failed", "passed"]
    newest = max((state / "log").iterdir())
    times = (newest.stat().st_atime_ns, newest.stat().st_mtime_ns)
    data = newest.read_bytes()
    with open(newest, "r+b") as file:
        file.write(data.replace(b'"FAIL"', b'"PASS"', 1))
    os.utime(newest, ns=times)
    assert verdicts(state) == ["failed", "passed"]
    (state / "history.db").unlink()
    assert verdicts(state) == ["passed", "passed"]


def test_changed_new_and_removed_logs_are_noticed(state):
    assert verdicts(state) == ["failed", "passed"]
    newest, oldest = sorted((state / "log").iterdir(), reverse=True)
    data = newest.read_bytes()
    newest.write_bytes(data.replace(b'"FAIL"', b'"PASS"', 1))
    os.utime(newest)
    assert verdicts(state) == ["passed", "passed"]
    shutil.copy(newest, newest.with_name(newest.name.replace("tarvex-20", "tarvex-21")))
    assert len(verdicts(state)) == 3
    oldest.unlink()
    assert len(verdicts(state)) == 2
    with sqlite3.connect(state / "history.db") as database:
        assert database.execute("SELECT count(*) FROM log").fetchone() == (2,)


def test_logs_of_another_folder_are_kept_beside_those_of_the_state_folder(state):
    assert verdicts(state) == ["failed", "passed"]
    others = state / "log-of-others"
    others.mkdir()
    newest, oldest = sorted((state / "log").iterdir(), reverse=True)
    shutil.copy(oldest, others)
    for folder, count in ((others, 1), (state / "log", 2)):
        assert len(answer("--logs", folder, "list", state=state)["runs"]) == count
        with sqlite3.connect(state / "history.db") as database:
            assert database.execute("SELECT count(*) FROM log").fetchone() == (3,)
    newest.unlink()
    assert verdicts(state) == ["passed"]
    with sqlite3.connect(state / "history.db") as database:
        assert database.execute("SELECT count(*) FROM log").fetchone() == (2,)


def damage_first_page(index):
    index.write_bytes(b"x" * 5000)


def damage_a_page(index):
    data = bytearray(index.read_bytes())
    data[4096:] = b"\xa5" * (len(data) - 4096)
    index.write_bytes(data)


def set_verdict(index):
    with sqlite3.connect(index) as database:
        database.execute("UPDATE log SET verdict = 99")


def set_version(index):
    with sqlite3.connect(index) as database:
        database.execute("PRAGMA user_version = 99")
        database.execute("UPDATE log SET verdict = 3")


def empty(index):
    index.write_bytes(b"")


@pytest.mark.parametrize("harm", [damage_first_page, damage_a_page, set_verdict, set_version, empty])
def test_a_damaged_or_outdated_index_is_made_anew(harm, state):
    assert verdicts(state) == ["failed", "passed"]
    harm(state / "history.db")
    assert verdicts(state) == ["failed", "passed"]
    assert verdicts(state) == ["failed", "passed"]
    with sqlite3.connect(state / "history.db") as database:
        assert database.execute("PRAGMA integrity_check").fetchone() == ("ok",)
        assert database.execute("SELECT min(verdict), max(verdict) FROM log").fetchone() == (0, 4)


def test_another_programs_file_is_left_alone(state):
    with sqlite3.connect(state / "history.db") as database:
        database.execute("CREATE TABLE theirs(x)")
    before = (state / "history.db").read_bytes()
    assert verdicts(state) == ["failed", "passed"]
    assert (state / "history.db").read_bytes() == before


def test_a_link_or_a_pipe_in_its_place_is_left_alone(state, tmp_path):
    other = tmp_path / "other"
    (state / "history.db").symlink_to(other)
    assert verdicts(state) == ["failed", "passed"]
    assert not other.exists()
    (state / "history.db").unlink()
    os.mkfifo(state / "history.db")
    assert verdicts(state) == ["failed", "passed"]
    assert stat.S_ISFIFO((state / "history.db").stat().st_mode)


def test_a_file_of_two_names_is_left_alone(state, tmp_path):
    other = make_run(tmp_path / "other", ["-Mstorage", "-Qp", "0"]).state_dir
    assert verdicts(other) == ["passed"]
    os.link(other / "history.db", state / "history.db")
    before = (other / "history.db").read_bytes()
    assert verdicts(state) == ["failed", "passed"]
    assert (other / "history.db").read_bytes() == before
    assert sorted(os.listdir(state)) == ["history.db", "log"]


def test_a_folder_that_others_may_write_gets_no_index(state):
    state.chmod(0o777)
    assert verdicts(state) == ["failed", "passed"]
    assert not (state / "history.db").exists()


def test_an_index_that_somebody_holds_costs_time_alone(state):
    verdicts(state)
    database = sqlite3.connect(state / "history.db", isolation_level=None)
    database.execute("BEGIN EXCLUSIVE")
    assert verdicts(state) == ["failed", "passed"]
    database.close()


def test_a_disk_without_room_costs_time_alone(tmp_path):
    log = tmp_path / "log"
    values = {f"value-{number}": number for number in range(40000)}
    first = write_run(log, 0, [result_of("T", **values)])
    for number in range(1, 8):  # more than SQLite keeps in memory
        shutil.copy(first, log / f"tarvex-20261101T080000.000Z-{number}.jsonl")
    room = {"preexec_fn": lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (65536, 65536))}
    for _ in range(2):
        told = history("list", "--json", state=tmp_path, **room)
        assert (told.returncode, told.stderr) == (0, b"")
        assert len(json.loads(told.stdout)["runs"]) == 8
    assert len(answer("list", state=tmp_path)["runs"]) == 8


def let_in(state, tmp_path):
    """Both logs can be reached by everybody, and the first one can be read."""
    os.chmod(tmp_path, 0o755)
    for parent in [*tmp_path.parents][:2]:
        os.chmod(parent, parent.stat().st_mode | 0o011)
    for folder in (state.parent, state, state / "log"):
        folder.chmod(0o755)
    logs = sorted((state / "log").iterdir())
    logs[0].chmod(0o644)
    return logs


@pytest.mark.skipif(os.geteuid() != 0, reason="needs root to be somebody else")
def test_a_user_without_rights_reads_what_he_may(state, tmp_path):
    open_log, closed_log = let_in(state, tmp_path)
    told = history("list", "--json", state=state, **NOBODY)
    assert told.stdout.count(open_log.name.encode()) == 1
    assert told.returncode == 0
    assert told.stderr == f"tarvex-history: {closed_log}: Permission denied\n".encode()
    assert not (state / "history.db").exists()


def test_a_log_in_two_of_the_folders_is_told_once(state):
    log = state / "log"
    (log / "link.jsonl").symlink_to("elsewhere")
    folders = [word for folder in (log, state, log) for word in ("--logs", folder)]
    told = history(*folders, "list", "--json", state=state)
    assert told.returncode == 0
    assert [run["verdict"] for run in json.loads(told.stdout)["runs"]] == ["failed", "passed"]
    assert told.stderr == f"tarvex-history: {log}/link.jsonl: is a link\n".encode()
    newest = max(log.glob("tarvex*"))
    assert answer(*folders, "run", newest.stem, state=state)["verdict"] == "failed"


@pytest.mark.skipif(os.geteuid() != 0, reason="needs root to be somebody else")
def test_a_log_that_may_be_read_meanwhile_is_read(state, tmp_path):
    os.chown(state, *pwd.getpwnam("nobody")[2:4])
    closed_log = let_in(state, tmp_path)[1]
    told = history("list", "--json", state=state, **NOBODY)
    assert told.stderr == f"tarvex-history: {closed_log}: Permission denied\n".encode()
    assert (state / "history.db").is_file()
    closed_log.chmod(0o644)  # which changes nothing that the index knows a file by
    told = history("list", "--json", state=state, **NOBODY)
    assert (told.stderr, len(json.loads(told.stdout)["runs"])) == (b"", 2)
