"""Each deed of the self-test module: what is said of it, that the run goes on, and what is left.

What is expected stands in docs/worker.md, in the tables below "What is said of it".
"""

import json
import signal

import pytest
from conftest import verdicts
from deeds_table import ENDLESS, GOOD, ILL, OTHERWISE_SANITIZED, matches
from program import SANITIZE

DEVICE = ["0"]
# They need a file that hangs, and test_hangs.py has one.
ON_HANGING_FILE = {"crash-amid-read", "leave-call"}
# Of these test_worker.py tells, and the tests of service/remote.
TOLD_ELSEWHERE = {
    "applies-throws",
    "crash-at-stop",
    "device",
    "events",
    "flood-series",
    "measure-against-much",
    "measure-long-series",
    "on-device-one",
    "parameters",
    "remember",
    "rights",
    "writing",
}

def skipped(deed):
    return SANITIZE and deed in OTHERWISE_SANITIZED


@pytest.mark.parametrize("deed", sorted(ILL.keys() - ON_HANGING_FILE))
def test_ill_deed(world, deed):
    if skipped(deed):
        pytest.skip("the sanitizer has words of its own")
    status, shown, log, _ = ILL[deed]
    world.set(file=world.root / "none")
    run = world.run(["-Mselftest", f"-I{deed}", "-Bpass,fail", *DEVICE])
    output = run.stdout.decode()
    (_, found, text), *rest = verdicts(output)
    assert found == status
    assert matches(shown, text), text
    # The run goes on, on the device that was found again.
    assert [row[1] for row in rest] == ["Passed", "Failed"]
    assert rest[1][2] == "Found it"
    assert run.returncode == 21
    subject = f"test {deed} on device 0: the worker of module Selftest "
    lines = [line[len(subject) :] for line in world.log_lines() if line.startswith(subject)]
    if log:
        assert len(lines) == 1 and matches(log, lines[0]), lines
    else:
        assert lines == []
    world.expect_no_process()


def test_ends_are_told_though_the_caller_ignores_those_of_children(world):
    def ignore():
        signal.signal(signal.SIGCHLD, signal.SIG_IGN)

    run = world.run(["-Mselftest", "-Iexit,segv", "0"], preexec_fn=ignore)
    assert [row[2] for row in verdicts(run.stdout.decode())] == [
        "The test's worker ended by itself, with status 3",
        "The test's worker was ended by signal 11 (SIGSEGV)",
    ]


def kept(world):
    """What the log has of the only test, in the words of the table."""
    lines = [json.loads(line) for line in world.log_text().splitlines()]
    artifacts = [line["testStepArtifact"] for line in lines if "testStepArtifact" in line]
    names = {"log": "line", "measurement": "measurement"}
    counts = {name: sum(kind in one for one in artifacts) for kind, name in names.items()}
    said = [f"{count} {name}{'s' if count > 1 else ''}" for name, count in counts.items() if count]
    return ", ".join(said)


@pytest.mark.parametrize("deed", sorted(GOOD.keys() - ON_HANGING_FILE))
def test_good_deed(world, deed):
    status, shown, log, _ = GOOD[deed]
    run = world.run(["-Mselftest", f"-B{deed}", *DEVICE])
    ((_, found, text),) = verdicts(run.stdout.decode())
    assert (found, kept(world)) == (status, log)
    assert matches(shown, text), text[:1000]
    assert not [line for line in world.log_lines() if "worker of module" in line]


def test_each_deed_has_its_row(world):
    listing = world.run(["-Mselftest", "-L"]).stdout.decode()

    def listed(diagnostic):
        part = listing.split(f"- {diagnostic}:", 1)[1].split("- ", 1)[0]
        return {line.strip().rstrip("*").lower() for line in part.splitlines() if line.strip()}

    endless = ENDLESS.keys() - {"wait", "flood-for-ever"}
    assert listed("Deeds") == ILL.keys() | endless
    assert listed("Good Deeds") == GOOD.keys() | (ENDLESS.keys() - endless) | TOLD_ELSEWHERE
