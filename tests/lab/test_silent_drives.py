"""Drives of every kind that do not answer any more."""

import re

import pytest
from machines import KINDS
from outcome import FAILED, PASSED, outcomes

MACHINE = "five"
LIMIT = 3  # seconds that a read may take here
SILENT_FROM = 10000  # the sector; the linear read comes by, and no look at tables


@pytest.mark.parametrize("kind", KINDS)
def test_silent_drive_fails_within_its_limit_and_the_rest_of_the_run_goes_on(machine, world, kind):
    world.configure(timeout_seconds=LIMIT)
    other = next(name for name in KINDS if name != kind)
    drive = machine.drives[kind]
    drive.hang(SILENT_FROM)
    running = world.start(["-Mstorage", "-El", *(str(list(KINDS).index(name))
                                                 for name in (kind, other))])  # fmt: skip
    _, started_at = running.expect(rb"=> Linear Read Test")
    _, judged_at = running.expect(rb"Test Status: \w+!")
    result = running.wait()
    assert LIMIT <= judged_at - started_at < LIMIT + 5
    found = outcomes(result.stdout)
    assert [test.verdict for test in found[kind]] == ["Failed"]
    assert [test.verdict for test in found[other]] == ["Passed"]
    (said,) = found[kind][0].said
    late = re.fullmatch(rf"A read at LBA (\d+) did not come back within {LIMIT} seconds", said)
    # The oldest read that is late: the silent one itself, or one before it that its drive keeps.
    assert late and int(late[1]) <= SILENT_FROM
    assert result.returncode == FAILED
    drive.release()
    assert world.run(["-Mstorage", "-El", str(list(KINDS).index(kind))]).returncode == PASSED
