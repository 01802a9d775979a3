"""The start in the background: the second instance, and what is left of the first."""

import ctypes
import os
import shutil
import signal
import subprocess
import time
from pathlib import Path

import pytest
from program import PROGRAM
from reports import FAILED, wait_for

FAILURE = 21
ALREADY_RUNNING = 4
CANCELED = 25
NOT_OPENED = 6
PR_SET_CHILD_SUBREAPER = 36


@pytest.fixture(autouse=True)
def adopted():
    """Second instances become children of this process, so that their end can be awaited."""
    libc = ctypes.CDLL(None, use_errno=True)
    assert libc.prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) == 0
    yield
    for process in children():
        os.kill(process, signal.SIGKILL)
        os.waitpid(process, 0)
    libc.prctl(PR_SET_CHILD_SUBREAPER, 0, 0, 0, 0)


def children():
    """The processes that this one has."""
    return [
        int(number)
        for task in Path("/proc/self/task").iterdir()
        for number in (task / "children").read_text().split()
    ]


def start(world, *words, program=PROGRAM, **options):
    """The first instance to its end, and the second, if there is one."""
    result = subprocess.run(
        [program, *words],
        env=world.environment,
        cwd=world.work_dir,
        stdin=subprocess.DEVNULL,
        capture_output=True,
        timeout=20,
        check=False,
        **options,
    )
    found = children()
    assert len(found) <= 1
    return result, found[0] if found else None


def exit_status(process):
    return os.waitstatus_to_exitcode(os.waitpid(process, 0)[1])


def is_running(process):
    return os.waitpid(process, os.WNOHANG) == (0, 0)


def links(process):
    """Number and target of each descriptor."""
    folder = Path(f"/proc/{process}/fd")
    return {entry.name: os.readlink(entry) for entry in folder.iterdir()}


def test_report_ends_with_the_status_of_the_run(world):
    path = world.root / "report.txt"
    before = time.monotonic()
    result, second = start(world, "-b", "-Mstorage", "-Qf", "0", "-o", str(path))
    # The end of both pipes came with the end of the first instance: the second has neither.
    assert (result.returncode, result.stdout, result.stderr) == (0, b"", b"")
    assert is_running(second)
    assert path.read_bytes() == b"", "the first instance opens the report and writes nothing"
    assert exit_status(second) == FAILURE
    assert path.read_bytes() == FAILED + b"\nCLI Execution status: 21"
    assert time.monotonic() - before >= 1.0, "it waits for the first instance to leave"
    assert children() == []


def test_report_without_a_run_ends_with_minus_one(world):
    path = world.root / "report.txt"
    _, second = start(world, "-b", "-o", str(path))
    assert exit_status(second) == 0
    assert path.read_bytes().endswith(b"\n \n\n\nCLI Execution status: -1")


def test_second_instance_has_the_arguments_as_they_are(world):
    words = ["-b", "-Mstorage", "-Qf", "0", "two words", 'a"quote', "end\\", "aü"]
    _, second = start(world, *words)
    line = Path(f"/proc/{second}/cmdline").read_bytes().split(b"\0")
    assert line == [os.fsencode(word) for word in [PROGRAM, *words, "--obg-instance", ""]]


def test_second_instance_inherits_folder_clean_environment_and_umask_alone(world):
    world.environment.update(LC_TIME="two words", LD_BIND_NOT="", TARVEX_TEST="x", HOME="/tmp")
    with open(world.root / "open", "wb") as file:
        before = os.umask(0o031)
        _, second = start(world, "-b", "-Mstorage", "-Qp", "0", pass_fds=[file.fileno()])
        os.umask(before)
        found = links(second)
    assert {number: found[number] for number in "012"} == dict.fromkeys("012", "/dev/null")
    assert str(world.root / "open") not in found.values()
    assert not [target for target in found.values() if target.startswith("/dev/pts")]
    process = Path(f"/proc/{second}")
    assert os.readlink(process / "cwd") == str(world.work_dir)
    names = dict(
        variable.split(b"=", 1)
        for variable in (process / "environ").read_bytes().split(b"\0")
        if variable
    )
    assert names.pop(b"LC_TIME") == b"two words"
    assert names.pop(b"HOME") == b"/root"
    assert names.pop(b"PATH") == b"/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"
    assert names.pop(b"SDL_AUDIODRIVER") == b"dummy"
    assert set(names) == {
        b"LC_ALL",
        b"ORVAN_SCENARIO",
        b"TARVEX_CONFIG_DIR",
        b"TARVEX_RUN_DIR",
        b"TARVEX_STATE_DIR",
    }
    assert "\nUmask:\t0031\n" in (process / "status").read_text()


def test_second_instance_has_no_terminal_and_hears_the_signals_that_the_first_ignored(world):
    def deafen():
        os.setsid()
        signal.signal(signal.SIGTERM, signal.SIG_IGN)
        signal.signal(signal.SIGUSR1, signal.SIG_IGN)
        signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGUSR2])

    _, second = start(world, "-b", "-Mstorage", "-Ql", "0", preexec_fn=deafen)
    status = Path(f"/proc/{second}/stat").read_text().rpartition(") ")[2].split()
    session, terminal = int(status[3]), int(status[4])
    assert terminal == 0
    assert session not in (os.getsid(0), second)
    fields = dict(
        line.split(":\t") for line in Path(f"/proc/{second}/status").read_text().splitlines()
    )
    ignored, blocked = int(fields["SigIgn"], 16), int(fields["SigBlk"], 16)
    assert not ignored & 1 << (signal.SIGUSR1 - 1)
    assert not blocked & 1 << (signal.SIGUSR2 - 1)


def test_second_instance_can_be_ended(world):
    path = world.root / "report.txt"
    _, second = start(world, "-b", "-Mstorage", "-Ql", "0", f"-o{path}")
    wait_for(lambda: b"=> Long\n" in path.read_bytes())
    os.kill(second, signal.SIGTERM)
    assert exit_status(second) == CANCELED
    assert path.read_bytes().endswith(b"\nCLI Execution status: 25")


def test_second_instance_finds_another_that_came_between(world):
    path = world.root / "report.txt"
    _, second = start(world, "-b", "-Mstorage", "-Qf", "0", f"-o{path}")
    os.kill(second, signal.SIGSTOP)
    other = world.start(["-Mstorage", "-Ql", "0"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
    try:
        # Read up to the first test: the other one has the lock.
        while b"=> Long" not in other.stdout.readline():
            pass
        os.kill(second, signal.SIGCONT)
        assert exit_status(second) == ALREADY_RUNNING
        assert path.read_bytes() == b""
        other.send_signal(signal.SIGTERM)
        other.stdout.read()
        assert other.wait(20) == CANCELED
    finally:
        other.kill()
        other.wait()
        other.stdout.close()


def test_end_of_the_options_starts_one_instance_and_no_more(world):
    path = world.root / "report.txt"
    _, second = start(world, "-b", "-Mstorage", "-Qf", "-o", str(path), "--", "0")
    assert exit_status(second) == FAILURE
    assert path.read_bytes() == FAILED + b"\nCLI Execution status: 21"
    assert children() == []


@pytest.mark.parametrize("words", [["-b", "--HDK"], ["--HDK", "-b"]])
def test_supervised_run_stays_in_the_foreground(world, words):
    result, second = start(world, *words, "-Mstorage", "-Qf", "0")
    assert second is None
    assert result.returncode == FAILURE
    assert result.stdout.startswith(b"BeginDiagSuite:::storage\n")


@pytest.mark.parametrize("words", [["-b", "-Mstorage", "-Tx"], ["-Mstorage", "-b", "-Tx"]])
def test_tool_is_refused(world, words):
    result, second = start(world, *words)
    assert second is None
    assert result.returncode == 0
    assert b"parsing error: it is not possible to a tool in background mode\n" in result.stdout


def test_report_that_cannot_be_opened_starts_nothing(world):
    result, second = start(world, "-b", "-Mstorage", "-Qf", "0", f"-o{world.work_dir}")
    assert second is None
    assert result.returncode == NOT_OPENED
    assert b"error opening file\n" in result.stdout


def test_program_that_is_gone_cannot_be_started_again(world, installed):
    program = os.open(installed, os.O_RDONLY)
    try:
        installed.unlink()
        result, second = start(
            world, "-b", "-Mstorage", program=f"/proc/self/fd/{program}", pass_fds=[program]
        )
    finally:
        os.close(program)
    assert exit_status(second) == 127, "what is left of the attempt has ended"
    assert (result.returncode, result.stdout) == (0, b"CreateProcess failed (2).\n")
    assert result.stderr == (
        b"TarvexDiagnosticsCLI: the run in the background could not be started, and nothing was done: "
        b"No such file or directory\n"
    )


def test_shell_has_its_prompt_back(world):
    # The shell says when the program has ended for it; it would wait for a job in its foreground.
    assert shutil.which("bash")
    script = '"$@"; echo "status $?"'
    result, second = start(
        world, "-c", script, "bash", PROGRAM, "-b", "-Mstorage", "-Ql", "0", program="bash"
    )
    assert result.stdout == b"status 0\n"
    assert is_running(second)
