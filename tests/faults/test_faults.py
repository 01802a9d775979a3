"""Six command lines, each run once for every system call of it, which fails that one time.

What must never happen, whatever fails: a crash, an end that does not come, a pass of what was not
tried, a process or a file that is left over, half a record.
"""

import itertools
import json
import platform
import re
import sqlite3

import pytest
from campaign import campaign
from disk import EIO, FaultyDisk, device_id, needs_devices
from program import SOURCE_DIR, World

pytestmark = pytest.mark.skipif(
    platform.machine() != "x86_64", reason="the injector knows the registers of x86-64 only"
)

TINY = 256  # sectors of a disk that a fault is found on in a few reads
SCENARIO = SOURCE_DIR / "tests" / "faults" / "scenario.json"
LOGS = {f"state/log/tarvex-NTN.NZ-N{kind}.jsonl" for kind in ("", ".unlocked")}
STORES = {f"state/records.db{companion}" for companion in ("-wal", "-shm")}
# How a test, a test for a supervising program, and the repair of a disk end.
ENDS = [
    re.compile(r"^=> (.*)\n(?:(?!=>).*\n)*?(?:.*\r)?   Test Status: (\w.*)!$", re.M),
    re.compile(r"^BeginDiag:::(\S+)\n(?:(?!BeginDiag).*\n)*?EndDiag:::(\d)", re.M),
    re.compile(r"^=> (\S+ \S+) *\n(?:(?!=>).*\n)*?   Operation status: (\w.*)$", re.M),
]
PROPERTIES = [
    "DeviceDisplayName",
    "DeviceUdi",
    "ModuleName",
    "TestDuration",
    "TestName",
    "TestStartTimestamp",
    "TestStatus",
]


def verdicts(text):
    """(test or disk, word) of each end that the text tells of, to a person or to a program."""
    words = {"1": "Passed", "No errors were found": "Passed"}
    found = [ends for pattern in ENDS for ends in pattern.findall(text)]
    return [(subject, words.get(word, word)) for subject, word in found]


def whole_text(outcome):
    report = outcome.world.work_dir / "report.txt"
    return outcome.output + (report.read_text(errors="replace") if report.exists() else "")


def half_records(world):
    store = world.state_dir / "records.db"
    if not store.exists():
        return
    with sqlite3.connect(store) as records:
        if records.execute("PRAGMA integrity_check").fetchone() != ("ok",):
            yield "the store is damaged"
        tables = {row[0] for row in records.execute("SELECT name FROM sqlite_master")}
        if "execution_record" not in tables:
            return
        for row in records.execute("SELECT * FROM execution_record"):
            if None in row:
                yield f"half a record: {row}"


def torn_lines(world):
    for path in (world.state_dir / "log").glob("*"):
        for line in path.read_text(errors="replace").splitlines(keepends=True):
            try:
                json.loads(line)
            except ValueError:
                yield f"a torn line in {path.name}: {line[:80]!r}"


def files_of(world):
    """What a run left in its folders, with what changes from run to run taken out of the names."""
    names = set()
    for folder in (world.run_dir, world.state_dir, world.work_dir):
        for path in folder.rglob("*"):
            names.add(re.sub(r"\d{3,}", "N", str(path.relative_to(world.root))))
    return names


def wrong_end(outcome, healthy):
    if outcome.status is None:
        yield "did not end"
    elif outcome.status >= 128:
        yield f"ended by signal {outcome.status - 128}: {outcome.errors[-200:]!r}"
    if outcome.left:
        yield f"left {outcome.left}"
    # What went wrong may be told in a log, a log without a lock says so by its name, a store that was
    # not closed keeps its companions, and one that could not be read is set aside.
    spare = {"state/log", *LOGS, *STORES}
    left = files_of(outcome.world) - files_of(healthy.world) - spare
    if left:
        yield f"left files {sorted(left)}"


def wrong_verdict(outcome, healthy):
    """A pass is the pass of a test that passes; status 0 tells of a whole run, or says why not."""
    expected = verdicts(whole_text(healthy))
    found = verdicts(whole_text(outcome))
    for test, word in found:
        if word == "Passed" and (test, word) not in expected:
            yield f"{test} passed"
    if outcome.status == 0 and len(found) < len(expected):
        explained = outcome.errors.strip() or re.search(r"\[Warning\]|Cannot load", outcome.output)
        if not explained:
            yield f"status 0, {len(found)} of {len(expected)} tests, and not a word"
    if outcome.status == 0 and healthy.status != 0 and found == expected and found:
        yield "status 0 for a run that fails"


def judge(outcome, healthy):
    return itertools.chain(
        wrong_end(outcome, healthy),
        wrong_verdict(outcome, healthy),
        half_records(outcome.world),
        torn_lines(outcome.world),
    )


@pytest.fixture
def worlds(tmp_path):
    """Makes worlds that are disks of this machine, or of a scenario, each in a folder of its own."""
    numbers = itertools.count()

    def make(scenario=None):
        world = World(tmp_path / str(next(numbers)), scenario)
        if scenario is None:
            (world.config_dir / "service.ini").write_text(
                "[storage]\ninclude_loop=1\ntimeout_seconds=5\n", encoding="utf-8"
            )
        return world

    return make


def check(make_world, arguments):
    hits, calls, faults = campaign(make_world, arguments, judge)
    # Threads that race make a call more or less often from run to run.
    assert hits > calls * 0.9, f"only {hits} of {calls} calls were made to fail"
    assert not faults, f"{len(faults)} of {calls}:\n" + "\n".join(faults)


def test_the_list_of_modules(worlds):
    check(worlds, lambda world: ["-A"])


def test_the_list_of_disks(worlds):
    check(worlds, lambda world: ["-Mstorage", "-D"])


@needs_devices
def test_a_disk_that_fails_beside_one_that_passes(worlds, tmp_path):
    (tmp_path / "a").mkdir()
    (tmp_path / "b").mkdir()
    with FaultyDisk(tmp_path / "a", TINY) as bad, FaultyDisk(tmp_path / "b", TINY) as good:
        bad.command("fail", 100, 1, EIO)
        number = device_id(worlds(), bad.kernel_name)
        assert int(number) < int(device_id(worlds(), good.kernel_name))
        check(worlds, lambda world: ["-Mstorage", "-El", number])


def test_a_run_with_records_and_a_report(worlds):
    check(
        lambda: worlds(SCENARIO),
        lambda world: ["-Mstorage", "-Q", "-W", f"-o{world.work_dir}/report.txt"],
    )


def test_a_run_for_a_supervising_program(worlds):
    check(lambda: worlds(SCENARIO), lambda world: ["--HDK", "-Mstorage", "-Q", "0", "1"])


def test_a_repair(worlds):
    check(lambda: worlds(SCENARIO), lambda world: ["-Mstorage", "-Trecover", "-r", "-y"])
