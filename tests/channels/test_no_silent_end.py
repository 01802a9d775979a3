"""What ends early, or loses what was asked for, says so in one line on standard error."""

import os
import resource
import subprocess

import pytest
from program import PROGRAM, World

HOST_FAILED = 1
NAME = b"TarvexDiagnosticsCLI: "
RUN = ["-Mstorage", "-Qf", "0"]
FAILED = 21


def run_into(world, words, output):
    """Runs with that file as standard output; what came on standard error, and the status."""
    with open(output, "wb") as stream:
        found = subprocess.run(
            [PROGRAM, *words],
            env=world.environment,
            cwd=world.work_dir,
            stdin=subprocess.DEVNULL,
            stdout=stream,
            stderr=subprocess.PIPE,
            start_new_session=True,
            timeout=60,
            check=False,
        )
    return found.stderr, found.returncode


def test_a_run_folder_that_cannot_be_used(world):
    world.environment["TARVEX_RUN_DIR"] = "/dev/null/run"
    result = world.run(RUN)
    line = NAME + b"cannot use the run folder /dev/null/run: "
    assert (result.returncode, result.stdout) == (HOST_FAILED, b"")
    assert result.stderr.startswith(line) and result.stderr.count(b"\n") == 1


def test_no_descriptors_left(world):
    # One more than the standard streams, for without it no library of the program is loaded.
    result = world.run(RUN, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (4, 4)))
    line = b"cannot use the run folder %s: Too many open files\n" % os.fsencode(world.run_dir)
    assert (result.returncode, result.stdout, result.stderr) == (HOST_FAILED, b"", NAME + line)


@pytest.mark.parametrize("words", [["-A"], ["-Mnone", "-Q"], ["--HDK", "-Mnone"]], ids=" ".join)
def test_a_refused_plug_in_is_named(tmp_path, words):
    world = World(tmp_path)
    folder = tmp_path / "modules"
    folder.mkdir(mode=0o755)
    (folder / "broken.so").write_bytes(b"no library")
    world.environment["ORVAN_MODULE_DIR"] = str(folder)
    result = world.run(words)
    assert result.stderr.startswith(NAME + b"plug-in %s/broken.so was refused: " % os.fsencode(folder))
    assert result.stderr.count(b"\n") == 1
    assert NAME not in result.stdout
    [log] = (world.state_dir / "log").iterdir()
    assert b"broken.so was refused: " in log.read_bytes()


def test_the_reason_of_a_refusal_names_the_plug_in_once(tmp_path):
    world = World(tmp_path)
    folder = tmp_path / "modules"
    folder.mkdir(mode=0o755)
    (folder / "broken.so").write_bytes(b"no library")
    world.environment["ORVAN_MODULE_DIR"] = str(folder)
    line = b"plug-in %s/broken.so was refused: file too short\n" % os.fsencode(folder)
    assert world.run(["-A"]).stderr == NAME + line


def test_a_folder_of_plug_ins_that_is_refused_is_called_one(tmp_path):
    world = World(tmp_path)
    folder = tmp_path / "modules"
    folder.mkdir()
    folder.chmod(0o777)
    world.environment["ORVAN_MODULE_DIR"] = str(folder)
    result = world.run(["-A"])
    assert result.stderr.startswith(NAME + b"plug-in folder %s was refused: " % os.fsencode(folder))
    assert result.stderr.count(b"\n") == 1


def test_control_characters_of_a_plug_ins_name_stay_out(tmp_path):
    world = World(tmp_path)
    folder = tmp_path / "modules"
    folder.mkdir(mode=0o755)
    (folder / "a\n\x1b[2J.so").write_bytes(b"no library")
    world.environment["ORVAN_MODULE_DIR"] = str(folder)
    result = world.run(["-A"])
    assert result.stderr.count(b"\n") == 1 and b"\x1b" not in result.stderr


def test_nothing_is_started_behind_a_second_marker(world):
    result = world.run(["-b", "-Mstorage", "-Qp", "0", "--", "--obg-instance"])
    line = b"nothing was started in the background, for --obg-instance marks what is there already\n"
    assert (result.returncode, result.stdout, result.stderr) == (0, b"", NAME + line)


@pytest.mark.parametrize(
    "words,status", [(["-v"], 0), (RUN, FAILED), (["--HDK", *RUN], FAILED)], ids=str
)
def test_a_full_standard_output(world, words, status):
    line = b"output was lost, standard output cannot be written: No space left on device\n"
    assert run_into(world, words, "/dev/full") == (NAME + line, status)


def test_a_reader_that_goes_away_is_no_loss(world):
    reading, writing = os.pipe()
    os.close(reading)
    assert run_into(world, ["-v"], f"/proc/self/fd/{writing}") == (b"", 0)
    os.close(writing)


def test_a_full_report(world):
    result = world.run([*RUN, "-o/dev/full"])
    line = b"the report /dev/full is not complete: No space left on device\n"
    assert (result.returncode, result.stderr) == (FAILED, NAME + line)


def test_records_that_cannot_be_kept(world):
    # A folder in the store's place.
    (world.state_dir / "records.db").mkdir(mode=0o755)
    result = world.run([*RUN, "-W"])
    assert result.returncode == FAILED
    head = NAME + b"execution records in %s: 1 are lost: " % os.fsencode(world.state_dir)
    assert result.stderr.startswith(head) and result.stderr.count(b"\n") == 1
