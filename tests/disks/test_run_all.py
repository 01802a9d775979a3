"""Run All on real block devices: every disk of the machine, those of the test among them."""

import re
import sqlite3
import subprocess
import time
from contextlib import ExitStack

import pytest
from disk import EIO, ENODEV, SECTORS, SMALL, FaultyDisk, needs_devices

pytestmark = needs_devices

# The exit status is that of the worst verdict, from the gravest to the lightest.
RANKS = [
    ("Failed", 21), ("Warning", 22), ("Canceled", 25), ("Passed", 0),
    ("Invalid", 24), ("Not Applicable", 23),
]  # fmt: skip
# Disks of the machine that are no part of the test are tested too, for at most 3 minutes each.
LONGEST = 600


@pytest.fixture
def disks(tmp_path, world):
    """Two disks, the first of which is tested first."""
    # A read that hangs on purpose is let go by the test, not given up by the program.
    (world.config_dir / "service.ini").write_text(
        "[storage]\ninclude_loop=1\ntimeout_seconds=30\n", encoding="utf-8"
    )
    with ExitStack() as stack:
        found = []
        for name, sectors in (("first", SECTORS), ("second", SMALL)):
            (tmp_path / name).mkdir()
            found.append(stack.enter_context(FaultyDisk(tmp_path / name, sectors)))
        numbers = [int(disk.kernel_name.removeprefix("loop")) for disk in found]
        assert numbers == sorted(numbers)
        yield found


def verdicts(output):
    """What a run says of each disk: (test, verdict) in their order, by the disk's kernel name."""
    found = {}
    for line in output.splitlines():
        if name := re.fullmatch(r"Kernel Name +(\S+)", line):
            tests = found.setdefault(name[1], [])
        elif test := re.fullmatch(r"=> (.+)", line):
            tests.append((test[1], None))
        elif verdict := re.search(r"   Test Status: (.+)!$", line):
            tests[-1] = (tests[-1][0], verdict[1])
    return found


def worst(found):
    said = {verdict for tests in found.values() for _, verdict in tests}
    return next(status for word, status in RANKS if word in said)


def each(verdict):
    # A file answers no commands of a drive.
    asked = [("Smart Status Test", "Not Applicable"), ("Error Log Test", "Not Applicable")]
    reads = [("Funnel Read Test", verdict), ("Random Read Test", verdict)]
    return [*asked, *reads, ("Short Self Test", "Not Applicable")]


def run_all(world):
    result = world.run(["-Uq,o"], timeout=LONGEST)
    output = result.stdout.decode()
    found = verdicts(output)
    assert result.returncode == worst(found), output
    assert len(re.findall(r"^   Final Result Code: ", output, re.M)) == 1
    return found, output


def test_healthy_disks_pass(world, disks):
    found, _ = run_all(world)
    for disk in disks:
        assert found[disk.kernel_name] == each("Passed")
        assert int(disk.command("reads")) > 0


def test_disk_with_bad_sectors_fails_and_the_other_is_tested(world, disks):
    disks[0].command("fail", 1000, 3, EIO)
    found, output = run_all(world)
    assert found[disks[0].kernel_name] == each("Failed")
    assert found[disks[1].kernel_name] == each("Passed")
    assert output.count("Unreadable sectors: first LBA 1000, count 3") == 2


def test_disk_that_vanishes_in_the_middle_fails_and_the_other_is_tested(world, disks):
    disks[0].command("hang", 20500, 1)  # not where a search for partitions reads too
    process = world.start(
        ["-Uq,o"],
        start_new_session=True,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
    )
    try:
        disks[0].command("wait")
        disks[0].command("vanish", ENODEV)
        disks[0].command("resume")
        output = process.communicate(timeout=LONGEST)[0].decode()
    finally:
        process.kill()
        process.wait()
    found = verdicts(output)
    assert found[disks[0].kernel_name] == each("Failed")
    assert found[disks[1].kernel_name] == each("Passed")
    assert output.count("[Info] The disk vanished while reading at LBA ") == 2
    assert process.returncode == worst(found) == 21


def awaited_report(path):
    """The report of a run in the background, whole, and the status in its last line."""
    deadline = time.monotonic() + LONGEST
    while True:
        text = path.read_text(encoding="utf-8") if path.exists() else ""
        if end := re.search(r"\nCLI Execution status: (\d+)\Z", text):
            return text, int(end[1])
        assert time.monotonic() < deadline, text
        time.sleep(0.1)


def records(world):
    """(module, disk, test, verdict) of each execution record, in their order."""
    with sqlite3.connect(f"file:{world.state_dir}/records.db?mode=ro", uri=True) as store:
        return store.execute(
            "select module_name, device_display_name, test_name, test_status from execution_record"
        ).fetchall()


def expected_records(report):
    """The same from the report; the names of tests are stored as keys."""
    test_end = re.compile(r"^=> (.+)\n(?:   \[Info\] .*\n)*   Test Status: (.+)!$", re.M)
    rows = []
    for block in report.split("\nId  ")[1:]:
        name = re.search(r"^Display Name +(.+)$", block, re.M)[1]
        for test, verdict in test_end.findall(block):
            if verdict != "Not Applicable":
                rows.append(("Storage", name, test.upper().replace(" ", "_"), verdict.upper()))
    return rows


@pytest.mark.parametrize("bad,verdict", [(False, "Passed"), (True, "Failed")])
def test_run_in_the_background_leaves_a_report_and_a_record_of_each_test(
    world, disks, tmp_path, bad, verdict
):
    if bad:
        disks[1].command("fail", 7, 1, EIO)
    path = tmp_path / "report.txt"
    assert world.run(["-b", "-W", f"-o{path}", "-Uq,o"]).returncode == 0
    report, status = awaited_report(path)
    found = verdicts(report)
    assert found[disks[0].kernel_name] == each("Passed")
    assert found[disks[1].kernel_name] == each(verdict)
    assert status == worst(found)
    rows = records(world)
    assert len(rows) == sum(
        verdict != "Not Applicable" for tests in found.values() for _, verdict in tests
    )
    assert sorted(rows) == sorted(expected_records(report))
