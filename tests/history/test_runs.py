"""Lists of runs and single runs, of logs that are whole, running, cut, and of no logs at all."""

import csv
import io
import json
import os
import re
import signal
import subprocess
import time

import pytest
from histories import HISTORY, SCENARIOS, answer, history, make_run, only_log
from program import SOURCE_DIR, World

LONG = SOURCE_DIR / "tests" / "log" / "scenario.json"

# Of tests/golden/scenarios/verdicts.json: its tests in their order, and how each ends.
VERDICTS = ["passed", "failed", "invalid", "not applicable", "canceled", "warning", "invalid"]


def wait_for(test):
    deadline = time.monotonic() + 60
    while not (found := test()):
        assert time.monotonic() < deadline, "it never came"
        time.sleep(0.01)
    return found


def test_a_run_tells_each_test_with_its_verdict(tmp_path):
    world = make_run(tmp_path, ["-Mstorage", *(f"-Q{option}" for option in "p")])
    told = answer("run", "last", state=world.state_dir)
    assert told["schema"] == 1
    assert told["file"] == str(only_log(world))
    assert told["run"] == only_log(world).stem
    assert (told["state"], told["verdict"], told["simulated"]) == ("complete", "passed", True)
    assert told["machine"] == os.uname().nodename
    assert told["kernel"] == os.uname().release
    assert [device["key"] for device in told["devices"]][:1] == ["scenario-0"]
    assert [test["verdict"] for test in told["tests"] if test["device"] == 0] == ["passed"]
    assert told["tests"][0]["testName"] == "Passing"
    assert told["tests"][0]["diagnosticName"] == "Quick Test"


@pytest.mark.parametrize("option,verdict", zip("pfuncwi", VERDICTS))
def test_each_verdict_comes_out_as_it_was(option, verdict, tmp_path):
    world = make_run(tmp_path, ["-Mstorage", f"-Q{option}", "0"])
    told = answer("run", "last", state=world.state_dir)
    assert [test["verdict"] for test in told["tests"]] == [verdict]
    assert told["verdict"] == verdict
    (listed,) = answer("list", state=world.state_dir)["runs"]
    assert listed["verdict"] == verdict
    assert listed["counts"] == {
        word: int(word == verdict) for word in sorted({*VERDICTS, "unfinished"})
    }


def test_a_run_is_found_by_path_name_and_beginning(tmp_path):
    world = make_run(tmp_path, ["-Mstorage", "-Qp", "0"])
    path = only_log(world)
    for name in (path, path.stem, path.name, path.stem[:-1], "tarvex-2", "last"):
        assert answer("run", name, state=world.state_dir)["run"] == path.stem
    other = path.with_name(path.name.replace("tarvex-20", "tarvex-21"))
    other.write_bytes(path.read_bytes())
    told = history("run", "tarvex-2", state=world.state_dir)
    assert (told.returncode, told.stdout) == (1, b"")
    assert b"this is the beginning of 2 runs" in told.stderr
    assert answer("run", "last", state=world.state_dir)["run"] == other.stem
    told = history("run", "nothing", state=world.state_dir)
    assert (told.returncode, told.stderr) == (1, b"tarvex-history: nothing: there is no such run\n")


def test_the_last_run_is_the_newest_that_tested_something(tmp_path):
    world = make_run(tmp_path, ["-Mstorage", "-Qp", "0"])
    tested = only_log(world)
    nothing = tested.with_name(tested.name.replace("tarvex-20", "tarvex-21"))
    lines = tested.read_bytes().splitlines(keepends=True)
    nothing.write_bytes(b"".join([*lines[:2], lines[-1]]))
    for command in (["run", "last"], ["worse"]):
        told = history(*command, "--json", state=world.state_dir)
        assert json.loads(told.stdout)["run"] == tested.stem
    tested.unlink()
    assert history("run", "last", state=world.state_dir).returncode == 0


def test_a_run_that_goes_on_and_one_that_crashed_are_told_apart(tmp_path):
    world = World(tmp_path, LONG)
    process = world.start(["-Mstorage", "-Ql", "0"])
    log = world.state_dir / "log"
    wait_for(lambda: log.exists() and any(b"LONG_TEST" in p.read_bytes() for p in log.iterdir()))
    assert [run["state"] for run in answer("list", state=world.state_dir)["runs"]] == ["running"]
    for _ in range(3):  # looking does not end it
        told = answer("run", "last", state=world.state_dir)
        assert (told["state"], told["verdict"]) == ("running", "unfinished")
        assert [test["verdict"] for test in told["tests"]] == ["unfinished"]
    process.send_signal(signal.SIGKILL)
    process.wait(60)
    run = told["run"]
    # Its file is as it was, in the index, too.
    assert [run["state"] for run in answer("list", state=world.state_dir)["runs"]] == ["crashed"]
    assert answer("run", "last", state=world.state_dir)["state"] == "crashed"
    world.run(["-Mstorage", "-Qr", "0"])
    crashed = answer("run", run, state=world.state_dir)
    assert (crashed["state"], crashed["run"]) == ("crashed", run)
    assert crashed["file"].endswith(".crashed.jsonl")
    last = answer("run", "last", state=world.state_dir)
    assert [error["symptom"] for error in last["errors"]] == ["earlier-run-unfinished"]
    os.truncate(last["file"], os.path.getsize(last["file"]) - 10)
    assert answer("run", last["file"])["state"] == "cut"


def test_what_is_no_log_is_named_and_passed_over(tmp_path):
    world = make_run(tmp_path, ["-Mstorage", "-Qp", "0"])
    log = only_log(world)
    folder = log.parent
    (folder / "empty.jsonl").touch()
    (folder / "words.jsonl").write_text("hello\n", encoding="ascii")
    foreign = log.read_bytes().replace(b'"name":"Tarvex Diagnostics"', b'"name":"other"')
    (folder / "foreign.jsonl").write_bytes(foreign)
    (folder / "link.jsonl").symlink_to(log)
    os.mkfifo(folder / "pipe.jsonl")
    (folder / "a.txt").write_text("no log", encoding="ascii")
    (folder / "odd\x1b[2J.jsonl").touch()
    told = history("list", "--json", state=world.state_dir)
    assert told.returncode == 0
    listed = json.loads(told.stdout)
    assert [run["run"] for run in listed["runs"]] == [log.stem]
    assert {entry["file"].rsplit("/", 1)[1]: entry["why"] for entry in listed["passedOver"]} == {
        "empty.jsonl": "is empty",
        "words.jsonl": "is no log",
        "foreign.jsonl": "is a log of another program: other",
        "link.jsonl": "is a link",
        "pipe.jsonl": "is no regular file",
        "odd\x1b[2J.jsonl": "is empty",
    }
    assert told.stderr.count(b"\n") == 6
    assert b"link.jsonl: is a link\n" in told.stderr
    assert b"\x1b" not in told.stderr + told.stdout


def test_a_damaged_log_is_read_as_far_as_it_goes(tmp_path):
    world = make_run(tmp_path, ["-Mstorage", "-Qp,f", "0"])
    log = only_log(world)
    lines = log.read_bytes().splitlines(keepends=True)
    log.write_bytes(b"".join([*lines[:2], b"\xff\xfe rubbish\n", *lines[4:]]))
    told = history("run", log, "--json")
    assert told.returncode == 0
    run = json.loads(told.stdout)
    assert run["faults"] == [
        "1 line can't be read, the first is line 3",
        "1 line missing",
        "2 lines out of place",
    ]
    assert told.stderr.count(b"\n") == 3
    assert [test["verdict"] for test in run["tests"]] == ["failed"]


def test_a_log_without_its_end_tells_why_as_far_as_it_is_known(tmp_path):
    log = only_log(make_run(tmp_path, ["-Mstorage", "-Qp", "0"]))
    lines = log.read_bytes().splitlines(keepends=True)[:-1]
    for ending, state in (("", "crashed"), (".crashed", "crashed"), (".unlocked", "cut")):
        copy = tmp_path / f"{log.stem}{ending}.jsonl"
        copy.write_bytes(b"".join(lines))
        told = answer("run", copy)
        assert (told["run"], told["state"], told["verdict"]) == (log.stem, state, "unfinished")


def test_a_file_that_is_longer_than_any_log_is_not_read(tmp_path):
    long = tmp_path / "long.jsonl"
    long.touch()
    os.truncate(long, 1 << 40)
    told = history("run", long)
    assert told.stderr == f"tarvex-history: {long}: is longer than any log\n".encode()


def test_a_folder_that_is_not_there_is_said(tmp_path):
    told = history("list", state=tmp_path / "none")
    assert (told.returncode, told.stdout) == (0, b"There are no runs.\n")
    assert told.stderr == f"tarvex-history: {tmp_path}/none/log: No such file or directory\n".encode()


def test_folders_below_are_looked_into(tmp_path):
    for name in ("one", "two"):
        make_run(tmp_path / name, ["-Mstorage", "-Qp", "0"])
    runs = answer("list", "--logs", tmp_path)["runs"]
    assert len(runs) == 2
    assert len(answer("list", "--logs", tmp_path / "one", "--logs", tmp_path / "two")["runs"]) == 2


def test_text_for_people(tmp_path):
    world = make_run(tmp_path, ["-Mstorage", "-Qp,f", "0"])
    run = only_log(world).stem
    head, line = history("list", state=world.state_dir).stdout.decode().splitlines()
    assert head.split() == ["START", "(UTC)", "VERDICT", "MACHINE", "RUN", "TESTS"]
    wanted = rf"\d{{4}}-\d\d-\d\d \d\d:\d\d:\d\d +failed +\S+ +{re.escape(run)} +1 failed, 1 passed"
    assert re.fullmatch(wanted, line)
    text = history("run", "last", state=world.state_dir).stdout.decode()
    assert f"Run {run}: failed\nThe hardware was simulated, or played from a recording.\n" in text
    assert "\nfailed: Failing (Quick Test of storage), " in text


def test_a_run_without_a_time_has_a_dash(tmp_path):
    log = only_log(make_run(tmp_path, ["-Mstorage", "-Qp", "0"]))
    timeless = re.sub(rb'"timestamp":"[^"]*"', b'"timestamp":"x"', log.read_bytes())
    log.write_bytes(timeless)
    (run,) = answer("list", "--logs", log.parent)["runs"]
    assert (run["start"], run["end"], run["verdict"]) == (None, None, "passed")
    line = history("list", "--logs", log.parent).stdout.decode().splitlines()[1]
    assert line.split()[:2] == ["-", "passed"]


def test_csv_is_for_spreadsheets(tmp_path):
    scenario = json.loads((SCENARIOS / "verdicts.json").read_text(encoding="utf-8"))
    scenario["modules"][0]["devices"][0]["entries"] = [
        {"label": "SERIAL_NUMBER", "value": "=cmd|'/C calc'!A0,\"x\""}
    ]
    path = tmp_path / "scenario.json"
    path.write_text(json.dumps(scenario), encoding="utf-8")
    world = make_run(tmp_path / "world", ["-Mstorage", "-Qp", "0"], path)
    told = history("run", "last", "--csv", state=world.state_dir)
    rows = list(csv.DictReader(io.StringIO(told.stdout.decode(), newline="")))
    assert told.stdout.endswith(b"\r\n")
    assert [row["verdict"] for row in rows] == ["passed"]
    assert rows[0]["serial"] == "'=cmd|'/C calc'!A0,\"x\""
    (listed,) = csv.DictReader(
        io.StringIO(history("list", "--csv", state=world.state_dir).stdout.decode(), newline="")
    )
    assert (listed["verdict"], listed["passed"], listed["devices"]) == ("passed", "1", "1")


WRONG = {
    "there is no command \"lst\"": ["lst"],
    "run needs a RUN": ["run"],
    "nothing is expected behind it: \"more\"": ["list", "more"],
    "there is no option \"--jsn\", or it takes no value": ["--jsn"],
    "\"--logs\" needs a value": ["--logs"],
    "--logs needs a value": ["--logs=", "list"],
    "--junit needs a value": ["--junit="],
    "--output needs a value": ["-o", "", "list"],
    "--prometheus and --junit can't be had at once": ["--prometheus", "--junit"],
    "--junit and \"run\" can't be had at once": ["--junit", "run", "last"],
    "--to and \"list\" can't be had at once": ["--to=postgresql:///x", "list"],
    "--output says nothing beside --prometheus": ["--prometheus=/tmp/a", "-o", "/tmp/b"],
    "--output says nothing beside --to": ["--to=postgresql:///x", "-o", "/tmp/b"],
}


@pytest.mark.parametrize("text", WRONG)
def test_wrong_use_is_told(text):
    told = history(*WRONG[text])
    assert (told.returncode, told.stdout) == (2, b"")
    assert told.stderr.decode() == f"tarvex-history: {text}; see tarvex-history --help\n"


def test_help_and_version():
    told = history("--help")
    assert (told.returncode, told.stderr) == (0, b"")
    assert all(len(line) <= 100 for line in told.stdout.decode().splitlines())
    assert re.fullmatch(r"tarvex-history \d+\.\d+\.\d+\.\d+\n", history("-V").stdout.decode())


def test_output_that_finds_no_room_is_no_success():
    with open("/dev/full", "wb") as full:
        told = subprocess.run([HISTORY, "--help"], stdout=full, stderr=subprocess.PIPE, check=False)
    assert told.returncode == 1
    assert told.stderr == b"tarvex-history: the output can't be written\n"


def test_a_reader_that_goes_away_has_what_it_wanted():
    reading, writing = os.pipe()
    os.close(reading)
    told = subprocess.run([HISTORY, "--help"], stdout=writing, stderr=subprocess.PIPE, check=False)
    os.close(writing)
    assert (told.returncode, told.stderr) == (0, b"")


@pytest.mark.parametrize("form", ["--text", "--csv"])
def test_what_a_log_is_called_steers_nothing(form, tmp_path):
    world = make_run(tmp_path, ["-Mstorage", "-Qp", "0"])
    plain = history("list", form, state=world.state_dir).stdout
    strange = only_log(world).rename(world.state_dir / "log" / "x\x1b[31m\ny.jsonl")
    listed = history("list", form, state=world.state_dir).stdout
    assert b"x\xef\xbf\xbd[31m\xef\xbf\xbdy" in listed
    assert len(listed.splitlines()) == len(plain.splitlines())
    for told in (listed, history("run", strange, form).stdout, history("run", "x", form).stdout):
        assert b"\x1b" not in told
