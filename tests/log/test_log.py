"""The service's log of the real program: its format, its content, crashes, and odd folders."""

import json
import os
import re
import signal
import stat
import subprocess
from pathlib import Path

import ocptv
import pytest
from program import BINARY_DIR, PROGRAM, SOURCE_DIR, World
from service_logs import (
    PLAIN,
    SCENARIO,
    artifacts,
    info,
    logs,
    only_log,
    run,
    started_long_test,
    step,
)

GOLDEN = SOURCE_DIR / "tests" / "golden" / "scenarios"


# What only a message key holds.
KEY = re.compile(r"\||[A-Z]_[A-Z]")


def messages(path):
    """All texts under the name "message", and the words of the diagnoses."""
    found = []

    def visit(content):
        for key, value in content.items() if isinstance(content, dict) else ():
            if key in ("message", "verdict"):
                found.append(value)
            visit(value)

    for artifact in artifacts(path):
        visit(artifact)
    return found


RUNS = [
    ("disks.json", ["-Mstorage", "-Q"]),
    ("disks.json", ["-Mstorage", "-Q", "0"]),
    ("disks.json", ["-Mstorage", "-Q", "99"]),
    ("two_modules.json", ["-Uq"]),
    ("two_modules.json", ["-Mstorage", "-Qr(speed=3)", "0"]),
    ("texts.json", ["-Mstorage", "-Q"]),
    ("verdicts.json", ["-Mstorage", "-Q"]),
    *[("verdicts.json", ["-Mstorage", f"-Q{option}"]) for option in "pfuncwi"],
    ("run_all.json", ["-Uq"]),
    ("run_all.json", ["-Ue"]),
]


@pytest.mark.parametrize("scenario,arguments", RUNS, ids=lambda value: str(value))
def test_every_log_keeps_the_format(scenario, arguments, tmp_path):
    world = World(tmp_path, GOLDEN / scenario)
    world.run(arguments)
    for path in logs(world.state_dir / "log"):
        assert ocptv.faults(path.read_bytes()) == []
        assert [text for text in messages(path) if KEY.search(text)] == []


# Of each test in verdicts.json: what its step holds, and how a run of it alone ends.
VERDICTS = {
    "p": (
        "PASSING",
        ("diagnosis", {"verdict": "passing-passed", "type": "PASS", "hardwareInfoId": "0"}),
        ("COMPLETE", "COMPLETE", "PASS"),
    ),
    "f": (
        "FAILING",
        ("diagnosis", {"verdict": "failing-failed", "type": "FAIL", "hardwareInfoId": "0"}),
        ("COMPLETE", "COMPLETE", "FAIL"),
    ),
    "u": (
        "UNKNOWN",
        ("error", {"symptom": "test-status-2"}),
        ("ERROR", "ERROR", "NOT_APPLICABLE"),
    ),
    "n": ("NOT_FOR_THIS", ("log", info("not applicable")), ("SKIP", "SKIP", "NOT_APPLICABLE")),
    "c": ("CANCELING", ("log", info("canceled")), ("SKIP", "SKIP", "NOT_APPLICABLE")),
    "w": (
        "WARNING_OF_|U|S|B",
        (
            "diagnosis",
            {"verdict": "warning-of-usb-warning", "type": "UNKNOWN", "hardwareInfoId": "0"},
        ),
        ("COMPLETE", "COMPLETE", "PASS"),
    ),
    "i": (
        "INVALID_ONE",
        ("error", {"symptom": "test-invalid"}),
        ("ERROR", "ERROR", "NOT_APPLICABLE"),
    ),
}
WORDS = {"p": "passed", "f": "failed", "u": "none", "n": "not applicable", "c": "canceled"}
WORDS |= {"w": "warning", "i": "invalid"}


@pytest.mark.parametrize("option", VERDICTS)
def test_each_verdict_has_its_artifact(option, tmp_path):
    name, (kind, content), (step_status, status, result) = VERDICTS[option]
    world = World(tmp_path, GOLDEN / "verdicts.json")
    world.run(["-Mstorage", f"-Q{option}"])
    skipped = [step(0, "extension", name="verdict", content={"verdict": WORDS[option]})]
    assert artifacts(only_log(world)) == [
        run("log", **info("run of storage on 0 begins")),
        step(0, "testStepStart", name=f"storage/QUICK_TEST/{name}/0"),
        *(skipped if step_status == "SKIP" else []),
        step(0, kind, **content),
        step(0, "testStepEnd", status=step_status),
        run("log", **info(f"run of storage on 0 ends: {WORDS[option]}")),
        run("testRunEnd", status=status, result=result),
    ]


def test_the_start_tells_the_machine_and_its_devices(tmp_path):
    world = World(tmp_path, SCENARIO)
    world.run(["-Mstorage", "-Qr", "0"])
    start = json.loads(only_log(world).read_bytes().splitlines()[1])
    content = start["testRunArtifact"]["testRunStart"]
    system = os.uname()
    own_id = Path("/etc/machine-id")
    if own_id.exists() and re.fullmatch("[0-9a-f]{32}\n", own_id.read_text(encoding="ascii")):
        machine_id = content["dutInfo"]["metadata"].pop("machineId")
        assert re.fullmatch("[0-9a-f]{32}", machine_id)
        assert machine_id not in own_id.read_text(encoding="ascii")
    assert content == {
        "name": "Tarvex Diagnostics",
        "version": "5.0.0.0",
        "commandLine": str(BINARY_DIR / "bin" / "TarvexDiagnosticsCLI"),
        "parameters": {"simulated": True},
        "dutInfo": {
            "dutInfoId": "0",
            "name": system.nodename,
            "softwareInfos": [
                {
                    "softwareInfoId": str(number),
                    "name": name,
                    "version": version,
                    "softwareType": kind,
                }
                for number, (name, version, kind) in enumerate(
                    [
                        ("Tarvex Diagnostics", "5.0.0.0", "APPLICATION"),
                        (system.sysname, system.release, "SYSTEM"),
                        ("storage", "1.2.3.4", "APPLICATION"),
                        ("second", "1.0.0.0", "APPLICATION"),
                    ]
                )
            ],
            "hardwareInfos": [
                {
                    "hardwareInfoId": "0",
                    "name": "Disk A",
                    "location": "storage 0, pci-0000:00:17.0",
                    "serialNumber": "S-1234",
                    "partType": "storage",
                }
            ],
            "metadata": {"deviceKeys": {"0": "scenario-0"}},
        },
    }


def test_a_step_holds_parameters_messages_and_the_verdict(tmp_path):
    world = World(tmp_path, SCENARIO)
    world.run(["-Mstorage", "-Qr(blocks=8)", "0"])
    assert artifacts(only_log(world))[1:5] == [
        step(0, "testStepStart", name="storage/QUICK_TEST/READ_TEST/0"),
        step(0, "extension", name="parameters", content={"blocks": "8"}),
        step(0, "log", **info("Unreadable sector at LBA 2048")),
        step(
            0, "diagnosis", verdict="read-test-failed", type="FAIL", hardwareInfoId="0"
        ),
    ]


def test_devices_found_after_the_start_are_told_in_their_steps(tmp_path):
    tree = json.loads(SCENARIO.read_text(encoding="utf-8"))
    del tree["modules"][0]["diagnostics"][0]["tests"][1]  # the long one
    scenario = tmp_path / "short.json"
    scenario.write_text(json.dumps(tree), encoding="utf-8")
    world = World(tmp_path, scenario)
    # Both modules: the devices of the second are searched when the first has been tested.
    assert world.run(["-Uq"]).returncode == 21
    path = only_log(world)
    assert ocptv.faults(path.read_bytes()) == []
    steps = [line["testStepArtifact"] for line in artifacts(path) if "testStepArtifact" in line]
    (other,) = [line["testStepId"] for line in steps if "/OTHER_TEST/" in json.dumps(line)]
    told = [line["extension"] for line in steps if line["testStepId"] == other and "extension" in line]
    hardware = {"hardwareInfoId": "1", "name": "Thing", "location": "second 7", "partType": "second"}
    hardware |= {"deviceKey": "scenario-7"}
    assert told == [{"name": "hardwareInfo", "content": hardware}]


def test_a_listing_leaves_no_log(tmp_path):
    world = World(tmp_path, SCENARIO)
    for arguments in (["-A"], ["-Mstorage", "-D"], ["-Mstorage", "-P"], ["-h"], ["-Qwrong(", "-Z"]):
        world.run(arguments)
    assert logs(world.state_dir / "log") == []


@pytest.mark.parametrize("arguments", [["-A"], ["-h"], ["-Z"], ["-Mnone"], ["-Mstorage", "-Q"]])
def test_a_refused_plugin_is_an_error_and_its_log_has_an_end(arguments, tmp_path):
    world = World(tmp_path)
    modules = tmp_path / "modules"
    modules.mkdir(mode=0o755)
    (modules / "broken.so").write_text("no library", encoding="ascii")
    world.environment["ORVAN_MODULE_DIR"] = str(modules)
    world.run(arguments)
    path = only_log(world)
    assert ocptv.faults(path.read_bytes()) == []
    first, last = artifacts(path)
    error = first["testRunArtifact"]["error"]
    assert error["symptom"] == "plugin-refused"
    assert error["message"].startswith(f"plug-in {modules}/broken.so was refused: ")
    assert last == run("testRunEnd", status="ERROR", result="NOT_APPLICABLE")


def test_a_stopped_run_has_its_end(tmp_path):
    world = World(tmp_path, SCENARIO)
    process = world.start(["-Mstorage", "-Ql,r", "0"])
    path = started_long_test(world)
    process.send_signal(signal.SIGINT)
    process.wait(60)
    assert ocptv.faults(path.read_bytes()) == []
    ends = [line for line in artifacts(path) if "testStepEnd" in json.dumps(line)]
    assert ends == [step(number, "testStepEnd", status="SKIP") for number in (0, 1)]
    assert artifacts(path)[-1] == run("testRunEnd", status="SKIP", result="NOT_APPLICABLE")


def test_a_killed_run_names_its_test_and_the_next_one_tells_of_it_once(tmp_path):
    world = World(tmp_path, SCENARIO)
    process = world.start(["-Mstorage", "-Qr,l", "0"])
    path = started_long_test(world)
    process.kill()
    process.wait(60)
    crashed = path.with_suffix(".crashed.jsonl")
    assert ocptv.faults(path.read_bytes(), ended=False) == []
    assert artifacts(path)[-1] == step(1, "testStepStart", name="storage/QUICK_TEST/LONG_TEST/0")
    before = path.read_bytes()

    def crashes():
        """The errors of a next run's log."""
        world.run(["-Mstorage", "-Qr", "0"])
        newest = [path for path in logs(world.state_dir / "log") if path != crashed][-1]
        assert ocptv.faults(newest.read_bytes()) == []
        return [line for line in artifacts(newest) if "error" in line.get("testRunArtifact", {})]

    message = f"an earlier run did not come to its end: {crashed.name}; "
    message += "running: storage/QUICK_TEST/LONG_TEST/0"
    assert crashes() == [run("error", symptom="earlier-run-unfinished", message=message)]
    assert crashed.read_bytes() == before
    assert crashes() == []


def test_a_run_that_goes_on_is_no_crash(tmp_path):
    world = World(tmp_path, SCENARIO)
    process = world.start(["-Mstorage", "-Ql", "0"])
    path = started_long_test(world)
    other = World(tmp_path / "other", SCENARIO)
    other.environment["TARVEX_STATE_DIR"] = world.environment["TARVEX_STATE_DIR"]
    other.run(["-Mstorage", "-Qr", "0"])
    (second,) = [entry for entry in logs(world.state_dir / "log") if entry != path]
    assert b"earlier-run" not in second.read_bytes()
    process.send_signal(signal.SIGTERM)
    process.wait(60)
    assert ocptv.faults(path.read_bytes()) == []


def test_keeps_a_hundred_logs(tmp_path):
    world = World(tmp_path, SCENARIO)
    folder = world.state_dir / "log"
    folder.mkdir()
    end = {"testRunArtifact": {"testRunEnd": {"status": "COMPLETE", "result": "PASS"}}}
    for number in range(120):
        name = f"tarvex-20200101T000000.{number:03}Z-1.jsonl"
        (folder / name).write_text(json.dumps(end, separators=(",", ":")) + "\n", encoding="ascii")
    world.run(["-Mstorage", "-Qr", "0"])
    found = logs(folder)
    assert len(found) == 100
    assert found[0].name == "tarvex-20200101T000000.021Z-1.jsonl"


def test_the_log_goes_where_the_command_line_says(tmp_path):
    world = World(tmp_path, SCENARIO)
    world.run(["-Mstorage", "-Qr", f"-s{tmp_path}/chosen/folder", "0"])
    assert ocptv.faults(only_log(world, tmp_path / "chosen/folder").read_bytes()) == []
    assert logs(world.state_dir / "log") == []


@pytest.fixture
def plain(tmp_path):
    """The output and status of a run whose log can be written."""
    result = World(tmp_path / "plain", SCENARIO).run(PLAIN)
    assert result.returncode == 0
    return result.stdout


def place_file(folder):
    folder.write_text("", encoding="ascii")


def place_link_to_nothing(folder):
    folder.symlink_to(folder.parent / "nothing")


def place_pipe(folder):
    os.mkfifo(folder)


@pytest.mark.parametrize("place", [place_file, place_link_to_nothing, place_pipe])
def test_a_folder_that_is_none_changes_nothing(place, tmp_path, plain):
    world = World(tmp_path, SCENARIO)
    place(world.state_dir / "log")
    kind = stat.S_IFMT((world.state_dir / "log").lstat().st_mode)
    assert world.run(PLAIN).stdout == plain
    assert stat.S_IFMT((world.state_dir / "log").lstat().st_mode) == kind
    assert not (world.state_dir / "nothing").exists()


def test_a_folder_that_nobody_may_write_changes_nothing(tmp_path, plain):
    world = World(tmp_path, SCENARIO)
    folder = world.state_dir / "log"
    folder.mkdir(mode=0o500)
    # Root may write everywhere, unless it gives that up.
    words = ["setpriv", "--bounding-set=-dac_override"] if os.geteuid() == 0 else []
    result = subprocess.run(
        [*words, str(PROGRAM), *PLAIN],
        env=world.environment,
        stdin=subprocess.DEVNULL,
        capture_output=True,
        timeout=60,
        start_new_session=True,
        check=False,
    )
    assert result.stdout == plain
    assert result.returncode == 0
    assert logs(folder) == []


def shown(path):
    """A log as the documentation shows one: with times, machine and paths that are made up."""
    text = path.read_text(encoding="utf-8")
    system = os.uname()
    text = re.sub(r'"timestamp":"[^"]*"', '"timestamp":"2026-11-21T08:00:00.000Z"', text)
    text = text.replace(str(BINARY_DIR / "bin"), "/usr/bin")
    text = text.replace(f'"name":"{system.nodename}"', '"name":"workshop"')
    # A machine may have no number.
    number = '"metadata":{"machineId":"8f0a5d2c61b94e7d93a4c5e8b7d61f02",'
    text = re.sub(r'"metadata":\{("machineId":"[^"]*",)?(?="deviceKeys")', number, text)
    return text.replace(f'"version":"{system.release}"', '"version":"6.1.0-28-amd64"')


def test_the_documented_example_is_true(tmp_path):
    text = (SOURCE_DIR / "docs" / "service-log.md").read_text(encoding="utf-8")
    (example,) = re.findall(r"```json\n(.*?)```", text, re.S)
    wanted = [json.loads(line) for line in example.replace("\n  ", "").splitlines()]
    world = World(tmp_path, SCENARIO)
    world.run(["-Mstorage", "-Qr(blocks=8)", "0"])
    assert [json.loads(line) for line in shown(only_log(world)).splitlines()] == wanted
