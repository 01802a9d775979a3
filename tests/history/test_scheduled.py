"""tarvex-scheduled: what a run that nobody watches tells the journal, and its exit status."""

import os
import re
import signal
import subprocess
import time

import pytest
from histories import SCENARIOS, only_log
from program import BINARY_DIR, PROGRAM, SOURCE_DIR, World

SCHEDULED = BINARY_DIR / "bin" / "tarvex-scheduled"
LONG = SOURCE_DIR / "tests" / "log" / "scenario.json"


def scheduled(world, *words, **options):
    """The lines that it tells, and its status; to standard output it says nothing."""
    done = world.run([str(word) for word in words], program=SCHEDULED, **options)
    assert done.stdout == b""
    return done.stderr.decode().splitlines(), done.returncode


@pytest.fixture(name="world")
def fixture_world(tmp_path):
    return World(tmp_path, SCENARIOS / "verdicts.json")


@pytest.mark.parametrize(
    "option,status,priority,test_priority,words",
    [
        ("p", 0, 6, None, "passed"),
        ("f", 21, 3, 3, "failed"),
        ("w", 22, 4, 4, "ended with a warning"),
        ("n", 23, 5, None, "found nothing that applies here"),
        ("i", 24, 5, 5, "could not be tried"),
        ("c", 25, 5, 5, "was canceled"),
    ],
)
def test_each_end_has_its_priority_and_its_status(
    option, status, priority, test_priority, words, world
):
    lines, told = scheduled(world, PROGRAM, "-Mstorage", f"-Q{option}", "0")
    assert told == status
    assert lines[-1].startswith(f"<{priority}>The scheduled run {words}; 1 test on 1 device: 1 ")
    assert lines[-1].endswith(f"; log {only_log(world)}")
    assert [line[:3] for line in lines[:-1]] == ([f"<{test_priority}>"] if test_priority else [])


def test_a_run_that_is_second_is_skipped(tmp_path):
    world = World(tmp_path, LONG)
    process = world.start(["-Mstorage", "-Ql", "0"], stdout=subprocess.PIPE)
    try:
        assert b"Long" in next(line for line in process.stdout if b"=>" in line)
        lines, status = scheduled(world, PROGRAM, "-Mstorage", "-Qp", "0")
    finally:
        process.kill()
        process.communicate()
    assert status == 4
    logs = world.state_dir / "log"
    assert lines[-1] == f"<5>The scheduled run was skipped: another run goes on; it left no log in {logs}"


def test_what_asks_the_group_to_end_cancels_the_run(tmp_path):
    world = World(tmp_path, LONG)
    process = subprocess.Popen(
        [SCHEDULED, PROGRAM, "-Mstorage", "-Ql", "0"],
        env=world.environment,
        cwd=world.work_dir,
        stderr=subprocess.PIPE,
        start_new_session=True,
    )
    deadline = time.monotonic() + 60
    log = world.state_dir / "log"
    while not (log.exists() and any(b"LONG_TEST" in one.read_bytes() for one in log.iterdir())):
        assert time.monotonic() < deadline, "it never came"
        time.sleep(0.01)
    os.killpg(process.pid, signal.SIGTERM)
    _, told = process.communicate(timeout=60)
    assert process.returncode == 25
    assert told.decode().splitlines()[-1].startswith("<5>The scheduled run was canceled; ")


def test_a_program_that_leaves_no_log_is_told_by_its_end_alone(world):
    logs = world.state_dir / "log"
    assert scheduled(world, "/bin/sh", "-c", "echo out; exit 77") == (
        [f"<3>The scheduled run ended with status 77; it left no log in {logs}"],
        77,
    )
    assert scheduled(world, "/bin/sh", "-c", "kill -KILL $$") == (
        [f"<3>The scheduled run was ended by signal 9; it left no log in {logs}"],
        137,
    )


def test_a_log_that_cannot_be_read_is_named(world):
    logs = world.state_dir / "log"
    script = f"mkdir {logs}; echo no log >{logs}/tarvex-20261121T080000.000Z-$$.jsonl"
    (line,), status = scheduled(world, "/bin/sh", "-c", script)
    assert status == 0
    assert re.fullmatch(
        rf"<4>The scheduled run passed, and tells of no test; its log {re.escape(str(logs))}/\S+\.jsonl is no log", line
    )


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can have processes counted from 1")
def test_an_older_log_of_a_process_of_that_number_is_not_the_runs(world):
    world.run(["-Mstorage", "-Qf", "0"])
    log = only_log(world)
    log.rename(log.with_name("tarvex-20261121T080000.000Z-2.jsonl"))
    words = ["--pid", "--fork", SCHEDULED, "/bin/sh", "-c", "exit $(($$ - 2))"]
    done = world.run([str(word) for word in words], program="unshare")
    (line,) = done.stderr.decode().splitlines()
    assert line == f"<4>The scheduled run passed, and tells of no test; it left no log in {log.parent}"
    assert done.returncode == 0


def test_a_caller_that_forgets_its_children_gets_the_status(world):
    ignore = {"preexec_fn": lambda: signal.signal(signal.SIGCHLD, signal.SIG_IGN)}
    lines, status = scheduled(world, "/bin/sh", "-c", "exit 21", **ignore)
    assert status == 21
    assert lines[0].startswith("<3>The scheduled run failed; ")


def test_where_nobody_listens_the_status_is_told_alone(world):
    reading, writing = os.pipe()
    os.close(reading)
    done = subprocess.run(
        [SCHEDULED, "/bin/sh", "-c", "exit 22"], env=world.environment, stderr=writing, check=False
    )
    os.close(writing)
    assert done.returncode == 22


def test_a_program_is_given_all_three_streams_where_the_caller_has_none(world, tmp_path):
    seen = tmp_path / "seen"
    script = f"for each in 0 1 2; do readlink /proc/$$/fd/$each; done >{seen}"
    process = subprocess.Popen(
        ["/bin/sh", "-c", 'exec "$@" <&- >&- 2>&-', "sh", SCHEDULED, "/bin/sh", "-c", script],
        env=world.environment,
    )
    assert process.wait(60) == 0
    # The second one is the file itself, and nobody hears the third.
    assert len(seen.read_text().splitlines()) == 3


def test_a_program_that_is_not_there_is_an_error(world):
    assert scheduled(world, "/no/such/program") == (
        ["<3>The scheduled run could not be started: /no/such/program: No such file or directory"],
        127,
    )


def test_without_a_program_its_use_is_told(world):
    assert scheduled(world) == (["usage: tarvex-scheduled PROGRAM [ARGUMENT...]"], 2)
