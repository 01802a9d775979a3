"""Recorded machines in the place of the real one: which are taken, and which are refused."""

import json
import os
from pathlib import Path

import cases
import pytest
from program import World
from recorded import replay, without_times

MACHINES = Path(__file__).parent / "machines"
CASES = [case for case in cases.transcript_cases() if case.machine is not None]

FIRST_LINE = "tarvex-recording 1\n"
# Nothing but the folder of block devices, and no disk in it.
EMPTY = (
    FIRST_LINE
    + "0 storage begin = 0\n"
    + "1 storage list /sys/block = 0\n"
    + "2 storage exists /sys/block = 0 1\n"
)


@pytest.fixture
def world(tmp_path):
    return World(tmp_path)


def said(world, arguments=("-Mstorage", "-D")):
    result = world.run(arguments)
    return result.stderr.decode(), result.stdout.decode()


def write(world, text, name="tape"):
    path = world.root / name
    path.write_text(text, encoding="utf-8")
    return path


@pytest.mark.parametrize("case", CASES, ids=lambda case: case.name)
def test_transcript(world, case):
    (world.config_dir / "service.ini").write_text(f"[storage]\n{case.service}", encoding="utf-8")
    if case.config is not None:
        (world.work_dir / "config.ini").write_text(case.config, encoding="utf-8")
    result = replay(world, case.arguments, MACHINES / case.machine)
    if case.body is not None:
        wanted = without_times(case.body).split(b"\n")
        assert without_times(result.stdout).split(b"\n") == wanted
    place = 0
    for text in case.contained:
        assert text in result.stdout[place:]
        place = result.stdout.index(text, place)
    assert result.returncode == case.status


def test_a_recording_of_no_disk_has_no_disk(world):
    world.environment["ORVAN_REPLAY"] = str(write(world, EMPTY))
    error, output = said(world)
    assert error == ""
    assert "Display Name" not in output


def test_a_relative_name_counts_from_the_working_folder(world):
    write(world, EMPTY, "work/tape")
    world.environment["ORVAN_REPLAY"] = "tape"
    assert said(world)[0] == ""


@pytest.mark.parametrize(
    "text,reason",
    [
        ("", 'line 1: the first line is not "tarvex-recording 1"'),
        (FIRST_LINE + "1 storage exists /a\n", "line 2: there is no answer"),
        (EMPTY + "3 storage sing /a = 0\n", 'line 5: "sing" is no kind of access'),
        (
            FIRST_LINE + "\x1b[2J storage exists /a = 0 1\n",
            'line 2: "\ufffd[2J" is no number from 0 to 4503599627370496',
        ),
    ],
)
def test_what_is_no_recording_is_refused_in_one_line(world, text, reason):
    path = write(world, text)
    world.environment["ORVAN_REPLAY"] = str(path)
    error, output = said(world)
    assert error == f"TarvexDiagnosticsCLI: cannot replay {path}: {reason}\n"
    assert "Display Name" not in output


def test_a_recording_that_is_not_there_is_refused(world):
    world.environment["ORVAN_REPLAY"] = "/none"
    assert said(world)[0] == "TarvexDiagnosticsCLI: cannot replay /none: No such file or directory\n"


def test_no_recording_goes_over_a_link(world):
    target = write(world, "somebody's")
    link = world.root / "link"
    link.symlink_to(target)
    world.environment["ORVAN_RECORD"] = str(link)
    error, output = said(world)
    assert error == (
        f"TarvexDiagnosticsCLI: cannot record into {link}: Too many levels of symbolic links\n"
    )
    assert "Display Name" not in output
    assert target.read_text(encoding="utf-8") == "somebody's"


def test_one_machine_at_a_time(world):
    path = write(world, EMPTY)
    world.environment["ORVAN_REPLAY"] = str(path)
    world.environment["ORVAN_RECORD"] = str(world.root / "other")
    assert said(world)[0] == (
        "TarvexDiagnosticsCLI: ORVAN_RECORD and ORVAN_REPLAY exclude each other: "
        f"{world.root / 'other'}, {path}\n"
    )
    assert not (world.root / "other").exists()
    del world.environment["ORVAN_RECORD"]
    world.environment["ORVAN_SCENARIO"] = "any.json"
    assert said(world)[0] == (
        f"TarvexDiagnosticsCLI: ORVAN_SCENARIO excludes ORVAN_RECORD and ORVAN_REPLAY: {path}\n"
    )


def test_a_recording_is_its_owners_alone_and_begins_anew(world):
    path = write(world, "a text that was there before and is longer than the first line")
    path.chmod(0o644)
    world.environment["ORVAN_RECORD"] = str(path)
    # A listing of the module's tests asks the machine for nothing.
    assert said(world, ("-Mstorage", "-L"))[0] == ""
    assert path.read_text(encoding="utf-8") == FIRST_LINE
    assert os.stat(path).st_mode & 0o777 == 0o600


def test_the_log_says_which_machine_it_was(world):
    path = write(world, EMPTY)
    world.environment["ORVAN_REPLAY"] = str(path)
    said(world)
    (log,) = (world.state_dir / "log").iterdir()
    text = log.read_text(encoding="utf-8")
    assert f"this run sees no hardware but the recording {path}" in text
    # So that nobody takes its devices for this machine's own.
    start = json.loads(text.splitlines()[1])["testRunArtifact"]["testRunStart"]
    assert start["parameters"] == {"simulated": True}


# How each command to a drive ends, by its line in smart.recording: the drive, and words of the
# command.
REFUSED = "2 1 0 - 0 0 0 0 -"  # by the kernel, EPERM
HUNG = "3 0 0 - 0 0 0 0 -"
GONE = "4 0 0 - 0 0 0 0 -"
NOTHING = "0 0 0 - 0 0 0 0 -"  # answered, and nothing came
IMPOSSIBLE = b"It is not possible to retrieve smart attributes for this device"


def ended(text, drive, command, end):
    """The recording with another end of all commands to the drive that have these words."""
    lines = text.splitlines()
    changed = [
        f"{line.partition(' = ')[0]} = {end}"
        if f" send /dev/{drive} " in line and command in line
        else line
        for line in lines
    ]
    assert changed != lines
    return "\n".join(changed) + "\n"


@pytest.mark.parametrize(
    "drive,command,end,shown,reason",
    [
        ("sda", " 236 ", REFUSED, b"Not enough privileges", "IDENTIFY DEVICE"),
        ("sda", " 208 ", REFUSED, b"Not enough privileges", "SMART READ DATA"),
        ("sda", " 208 ", HUNG, IMPOSSIBLE, "SMART READ DATA"),
        ("sda", " 209 ", GONE, IMPOSSIBLE, "SMART READ ATTRIBUTE THRESHOLDS"),
        ("sda", " 208 ", NOTHING, IMPOSSIBLE, "SMART READ DATA"),
        ("nvme0n1", " nvme 2 ", REFUSED, b"Not enough privileges", "SMART / Health log"),
        ("nvme0n1", " nvme 2 ", GONE, IMPOSSIBLE, "SMART / Health log"),
        ("sdc", " scsi ", REFUSED, b"Not enough privileges", "LOG SENSE"),
        ("sdc", " scsi ", NOTHING, IMPOSSIBLE, "LOG SENSE"),
    ],
)
def test_a_drive_that_does_not_answer_is_said_so_and_why(
    world, drive, command, end, shown, reason
):
    text = (MACHINES / "smart.recording").read_text(encoding="ascii")
    world.environment["ORVAN_REPLAY"] = str(write(world, ended(text, drive, command, end)))
    output = world.run(["-Mstorage", "-Tsmart", "-i"]).stdout
    block = output.partition(f"({drive}) \n".encode())[2].partition(b"\n=> ")[0]
    assert block.strip() == shown
    # The others are shown as ever.
    assert output.count(b"Threshold") + output.count(b"Critical warnings") == 2
    logs = b"".join(path.read_bytes() for path in (world.state_dir / "log").iterdir())
    assert f"no attributes were read: {reason}".encode() in logs
