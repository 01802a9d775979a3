"""The real program's whole output and exit status against transcripts derived from the rules."""

import json
import random
import re
import time
from pathlib import Path

import cases
import pytest
from program import World

SCENARIOS = Path(__file__).parent / "scenarios"
# Those of a recorded machine are in test_machines.py.
CASES = [
    *(case for case in cases.transcript_cases() if case.machine is None),
    *cases.fatal_cases(),
]
EXIT_STATUSES = {0, 1, 3, 4, 5, 6, 21, 22, 23, 24, 25, 30, 31, 32, 34}


def world_for(case, folder):
    scenario = None if case.scenario == "none" else SCENARIOS / case.scenario
    world = World(folder, scenario)
    world.environment.update(case.environment)
    if case.config is not None:
        (world.work_dir / "config.ini").write_text(case.config, encoding="utf-8")
    return world


def assert_in_order(texts, output):
    place = 0
    for text in texts:
        found = output.find(text, place)
        assert found >= 0, f"{text!r} is not in {output[place:].decode(errors='replace')}"
        place = found + len(text)


def looks_as_one(output):
    """The output with a progress line that was drawn again as it was counted once.

    How often the program looks at a test depends on the machine's pace.
    """
    return re.sub(rb"(   \d+% \S [^\r\n]* \r)\1+", rb"\1", output)


def without_pace(output):
    """A tool's output without what depends on the machine's pace.

    How often its search and its progress are drawn does, and so whether there is a line to wipe.
    """
    output = re.sub(rb"Scanning devices\.\.\. [-\\|/]\r", b"", output)
    output, drawn = re.subn(rb"   \d+% [-\\|/] [^\r\n]*  \r", b"", output)
    if drawn:
        output = re.sub(rb"^ +\r(?=   )", b"", output, flags=re.M)
    return re.sub(rb"^PrgRBS:::\d\d0\n", b"", output, flags=re.M)


def without_times(output):
    return re.sub(rb"(?:\d+ (?:hour|minute|second)s? )+", b"", output)


def run_case(case, folder):
    """The program's result, its output without what tells of the pace, and its report."""
    world = world_for(case, folder)
    report = world.work_dir / "report.txt"
    arguments = [word.encode() for word in case.arguments]
    if case.report is not None:
        arguments.append(b"-o" + bytes(report))
    result = world.run(arguments)
    is_tool = any(word.startswith("-T") for word in case.arguments)
    output = without_pace(result.stdout) if is_tool else looks_as_one(result.stdout)
    return result, output, None if case.report is None else report.read_bytes()


def told_late(said, wanted):
    """Whether nothing but a time is another one, as on a machine that stood still for a second."""
    return None not in (said, wanted) and (
        said != wanted and without_times(said) == without_times(wanted)
    )


@pytest.mark.parametrize("case", CASES, ids=lambda case: case.name)
def test_transcript(case, tmp_path):
    # A time that is wrong is wrong each time.
    for attempt in range(3):
        result, output, report = run_case(case, tmp_path / str(attempt))
        if not (told_late(output, case.body) or told_late(report, case.report)):
            break
    # Compared as lists of lines, so that a difference shows where it is.
    if case.body is not None:
        assert output.split(b"\n") == case.body.split(b"\n")
    if case.report is not None:
        assert report.split(b"\n") == case.report.split(b"\n")
    assert_in_order(case.contained, result.stdout)
    for text in case.errors:
        assert text in result.stderr.decode(errors="replace")
    if case.status < 0:
        assert result.stderr.count(b"\n") == 1
        assert result.stderr.startswith(b"TarvexDiagnosticsCLI: ")
    assert result.returncode == case.status


FOLDED = [
    # tests of the scenario, exit status: worst of failed, warning, canceled, passed, invalid,
    # not applicable; an unrecognized status changes nothing, and nothing at all is 0.
    ("p", 0), ("f", 21), ("u", 0), ("n", 23), ("c", 25), ("w", 22), ("i", 24),
    ("n,p", 0), ("p,n", 0), ("i,p", 0), ("p,i", 0), ("n,i", 24), ("i,n", 24),
    ("f,c", 21), ("c,f", 21), ("c,w", 22), ("w,c", 22), ("p,c", 25), ("c,p", 25),
    ("w,f", 21), ("p,w", 22), ("u,p", 0), ("u,f", 21), ("n,u", 23),
]  # fmt: skip


@pytest.mark.parametrize("tests,status", FOLDED)
def test_exit_status_is_the_worst_verdict(tests, status, tmp_path):
    world = World(tmp_path, SCENARIOS / "verdicts.json")
    assert world.run(["-Mstorage", f"-Q{tests}"]).returncode == status


BROKEN = [
    # What is changed in a good scenario, and the place that standard error has to name.
    (lambda tree: tree.update({"colour": 1}), "colour"),
    (lambda tree: tree["modules"][0].pop("name"), "modules[0].name"),
    (lambda tree: tree["modules"][0].update({"scanMs": "soon"}), "modules[0].scanMs"),
    (lambda tree: tree["modules"][0]["devices"][1].pop("id"), "modules[0].devices[1].id"),
    (lambda tree: tree["modules"][0]["devices"][1].update({"id": 1}), "modules[0].devices[1].id"),
    (
        lambda tree: tree["modules"][0]["diagnostics"][1]["key"].pop("identifier"),
        "modules[0].diagnostics[1].key.identifier",
    ),
    (
        lambda tree: tree["modules"][0]["diagnostics"][0]["tests"][1].update({"speed": 9}),
        "modules[0].diagnostics[0].tests[1].speed",
    ),
    (lambda tree: tree["modules"][0]["tools"][0].update({"hint": 3}), "modules[0].tools[0].hint"),
]


@pytest.mark.parametrize("change,place", BROKEN, ids=[place for _, place in BROKEN])
def test_broken_scenario_is_named_with_its_place(change, place, tmp_path):
    tree = json.loads((SCENARIOS / "disks.json").read_text(encoding="utf-8"))
    change(tree)
    scenario = tmp_path / "broken.json"
    scenario.write_text(json.dumps(tree), encoding="utf-8")
    result = World(tmp_path, scenario).run(["-A"])
    lines = result.stderr.decode().splitlines()
    assert len(lines) == 1
    assert str(scenario) in lines[0]
    assert re.search(re.escape(place) + r"(?![\w\[.])", lines[0])
    assert b"Cannot load module(s)" in result.stdout
    assert result.returncode == 0


@pytest.mark.parametrize("text", ["", "{", "[]", "{} {}", "\x00\x01", '{"modules": 7}'])
def test_scenario_that_is_none_is_named(text, tmp_path):
    scenario = tmp_path / "broken.json"
    scenario.write_text(text, encoding="utf-8")
    result = World(tmp_path, scenario).run(["-A"])
    assert str(scenario) in result.stderr.decode()
    assert len(result.stderr.splitlines()) == 1
    assert b"Cannot load module(s)" in result.stdout
    assert result.returncode == 0


def test_missing_scenario_file_is_named(tmp_path):
    result = World(tmp_path, tmp_path / "none.json").run(["-A"])
    assert "none.json" in result.stderr.decode()
    assert b"Cannot load module(s)" in result.stdout


def random_arguments(seed):
    """Some words of random bytes, most of them behind an option's letters."""
    numbers = random.Random(seed)
    heads = [b"", b"-", b"--", b"-M", b"-Mstorage", b"-Q", b"-U", b"-C", b"-G", b"-e", b"--module="]
    words = []
    for _ in range(numbers.randint(1, 6)):
        tail = bytes(numbers.randint(1, 255) for _ in range(numbers.randint(0, 60)))
        words.append(numbers.choice(heads) + tail)
    # Nothing here may write a file, start a second process or erase records.
    return [word for word in words if word[:2] not in (b"-o", b"-s", b"-b", b"-r", b"-W", b"-T")]


@pytest.mark.parametrize("seed", range(100))
def test_binary_garbage_gets_an_answer(seed, tmp_path):
    arguments = [b"-Mstorage", *random_arguments(seed)]
    result = World(tmp_path, SCENARIOS / "disks.json").run(arguments)
    assert result.returncode in EXIT_STATUSES, arguments
    assert b"Tarvex Diagnostics - CLI" in result.stdout
    result.stdout.decode("utf-8")  # whatever comes in, UTF-8 comes out


LONG = 100_000


@pytest.mark.parametrize(
    "arguments,status,text",
    [
        (["-M" + "x" * LONG], 30, "[Warning] Following module(s) are not available: " + "x" * LONG),
        (["-Mstorage", "y" * LONG], 31, "device(s) are not available: " + "y" * LONG),
        (["-Mstorage", "-Q" + "f," * (LONG // 2) + "f", "0"], 0, "Funnel Read Test"),
        (["-Mstorage", "-Q" + "(" * LONG], 0, "parentheses mismatch"),
        (["-Mstorage", "-Q" + "," * LONG], 0, "empty test"),
        (["-Mstorage", "-Qf(" + "p," * (LONG // 2) + "p)", "0"], 0, "Funnel Read Test"),
        (["-" + "h" * LONG], 0, "> General options"),
        (["--" + "z" * LONG], 5, "unrecognized option found"),
        (["-C" + "n" * LONG + ",1,key"], 0, "must come along with data-collection parameter"),
        (["-G" + "9" * LONG, "-Mstorage", "-Qf", "0"], 0, "Final Result Code"),
        (["-Mstorage", *[str(number) for number in range(5000)]], 21, "Devices not found: 2, 3"),
    ],
    ids=lambda value: value[-1][:12] if isinstance(value, list) else None,
)
def test_long_arguments_get_an_answer(arguments, status, text, tmp_path):
    result = World(tmp_path, SCENARIOS / "disks.json").run(arguments)
    assert text in result.stdout.decode()
    assert result.returncode == status


def test_calls_across_the_service_boundary_come_in_their_order(tmp_path):
    tree = json.loads((SCENARIOS / "two_modules.json").read_text(encoding="utf-8"))
    tree["trace"] = "trace.jsonl"
    scenario = tmp_path / "traced.json"
    scenario.write_text(json.dumps(tree), encoding="utf-8")
    arguments = ["-G77", "-Mstorage", "-Qr(speed=3)", "0"]
    assert World(tmp_path, scenario).run(arguments).returncode == 0

    lines = (tmp_path / "trace.jsonl").read_text(encoding="utf-8").splitlines()
    settings = {
        "call": "ApplySettings",
        "texts": {"AppName": "Tarvex Diagnostics - CLI 5.0.0.0", "AppVersion": "5.0.0.0"},
        "truths": {
            "EnableDataCollection": False,
            "ExecutionTrackerEnabled": False,
            "CLILogPathChanged": False,
        },
    }
    caller = {"appName": "Tarvex Diagnostics - CLI 5.0.0.0", "appVersion": "", "appKey": ""}
    caller["cacheDir"] = ""
    # A parameter that the test does not know is passed on with type 4.
    parameter = {"name": "speed", "label": "speed", "detail": "", "initialValue": "3"}
    parameter.update({"value": "3", "type": 4, "extra": ""})
    test = {"test": "READ_TEST", "raw": ["speed=3"], "parameters": [parameter]}
    assert [json.loads(line) for line in lines] == [
        *[{"call": "NotifySystemEvent", "bit": 0}] * 6,  # no event has happened so far
        settings,
        settings,  # applied again with the execution records' switch
        {"call": "ScanDevices", "module": "Storage"},
        {"call": "BeginFinalResult", "groupId": 77, "caller": caller},
        {"call": "SetNoDevicesMode", "flag": False},
        {
            "call": "ExecuteDiagnostics",
            "module": "Storage",
            "device": "0",
            "plan": [{"diagnostic": "QUICK_TEST", "tests": [test]}],
        },
        {"call": "GetFinalResultCode"},
        {"call": "Release"},
    ]




# What a report file holds of a run of one test: no abort line in its banner, of the scan the
# finished line only, and no line that blanks a progress line.
REPORT = (
    cases.expand("plain_banner", [])
    + b"[Info] Scanning storage devices finished\n \r"
    + cases.expand("device_start", ["0", "Disk A"])
    + cases.expand("rule", [])
    + cases.expand("diagnostic_start", ["Quick Test"])
    + b"=> Read Test\n   Test Status: Passed!\n   Elapsed time: 0 seconds \n\n"
    + cases.expand("diagnostic_end", ["Quick Test"])
    + cases.expand("device_end", ["SCENARIO-0"])
    + cases.expand("final", ["SCENARIO"])
)


def test_report_file_holds_the_run_and_the_console_nothing(tmp_path):
    world = World(tmp_path, SCENARIOS / "two_modules.json")
    report = tmp_path / "reports" / "today" / "report.txt"
    result = world.run(["-Mstorage", "-Q", "0", f"-o{report}"])
    assert result.stdout == b""
    assert report.read_bytes() == REPORT
    assert result.returncode == 0


def test_background_run_ends_its_report_with_its_status(tmp_path):
    world = World(tmp_path, SCENARIOS / "two_modules.json")
    report = tmp_path / "report.txt"
    result = world.run(["-b", "-Mstorage", "-Q", "0", f"-o{report}"])
    assert result.returncode == 0
    wanted = REPORT + b"\nCLI Execution status: 0"
    deadline = time.monotonic() + 30
    while not (report.exists() and report.read_bytes() == wanted):
        assert time.monotonic() < deadline, report.exists() and report.read_bytes()
        time.sleep(0.05)
