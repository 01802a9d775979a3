"""Many starts at once: one runs, the others end, and nothing is left behind."""

import os
import signal
import subprocess

import pytest

ALREADY_RUNNING = 4
CANCELED = 25
MESSAGE = b"A Tarvex Diagnostics Tool is already running\n"


@pytest.fixture
def starts(world):
    """Starts ten at once; kills what is left at the end."""
    processes = []

    def start():
        processes[:] = [
            world.start(
                ["-Mstorage", "-Ql", "0"],
                stdin=subprocess.DEVNULL,
                stdout=open(world.root / f"out{number}", "wb"),
                start_new_session=True,
            )
            for number in range(10)
        ]
        return processes

    yield start
    for process in processes:
        process.kill()
        process.wait()


def await_refusals(processes):
    """Waits until all but one have ended; that one."""
    running = list(processes)
    while len(running) > 1:
        # Sleeps until one of them has ended.
        ended = os.waitid(os.P_ALL, 0, os.WEXITED | os.WNOWAIT).si_pid
        [process] = [process for process in running if process.pid == ended]
        process.wait()
        running.remove(process)
    return running[0]


def members(session):
    """The living processes of a session."""
    found = []
    for entry in os.listdir("/proc"):
        try:
            if entry.isdigit() and os.getsid(int(entry)) == session:
                found.append(int(entry))
        except ProcessLookupError:
            pass
    return found


@pytest.mark.parametrize("end,status", [(signal.SIGTERM, CANCELED), (signal.SIGKILL, -9)])
@pytest.mark.parametrize("round", range(8))
def test_one_of_ten_runs(world, starts, end, status, round):
    processes = starts()
    runs = await_refusals(processes)
    for number, process in enumerate(processes):
        if process is not runs:
            assert process.returncode == ALREADY_RUNNING
            assert (world.root / f"out{number}").read_bytes() == MESSAGE
    runs.send_signal(end)
    assert runs.wait(20) == status
    assert [members(process.pid) for process in processes] == [[]] * 10
    assert os.listdir(world.run_dir) == ["instance.lock"]
    assert os.listdir(world.config_dir) == os.listdir(world.work_dir) == []
    # The one that runs may have ended before its log began.
    logs = (world.state_dir / "log").glob("*")
    assert all(log.name.endswith(f"-{runs.pid}.jsonl") for log in logs)
    # The lock is free, however its holder ended.
    assert world.run(["-Mstorage", "-Qp", "0"]).returncode == 0
