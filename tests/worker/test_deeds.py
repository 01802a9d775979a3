"""Each deed of the self-test module: what is said of it, that the run goes on, and what is left.

What is expected stands in docs/worker.md, in the table "What is said of it".
"""

import re
import signal

import pytest
from conftest import verdicts
from program import SANITIZE, SOURCE_DIR

DEVICE = ["0"]
# Of these test_hangs.py tells.
HANGING = {"hang", "spin", "stop", "hang-in-kernel", "read-file", "crash-amid-read"}


def rows():
    """The table's rows: deed, status, what is shown, what the log says; as regular expressions."""
    text = (SOURCE_DIR / "docs" / "worker.md").read_text(encoding="utf-8")
    section = text.split("\n## What is said of it\n", 1)[1].split("\n## ", 1)[0]
    for line in section.splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if line.startswith("| `"):
            yield cells[0].strip("`"), cells[1], pattern(cells[2]), pattern(cells[3])


def pattern(text):
    """N stands for a number, and ... for anything."""
    escaped = re.escape(text.replace("`", ""))
    return re.sub(r"\bN\b", r"[0-9]+", escaped.replace(r"\.\.\.", ".*"))


ROWS = {deed: (status, shown, log) for deed, status, shown, log in rows()}
# The sanitizers put their own words before these, or keep their own books of the memory.
OTHERWISE_SANITIZED = {"grow", "allocate-at-once", "overflow"}


def skipped(deed):
    return SANITIZE and deed in OTHERWISE_SANITIZED


@pytest.mark.parametrize("deed", sorted(ROWS))
def test_deed(world, deed):
    if skipped(deed):
        pytest.skip("the sanitizer has words of its own")
    status, shown, log = ROWS[deed]
    world.set(file=world.root / "none")
    run = world.run(["-Mselftest", f"-I{deed}", "-Bpass,fail", *DEVICE])
    output = run.stdout.decode()
    (_, found, text), *rest = verdicts(output)
    assert found == status
    assert re.fullmatch(shown, text), text
    # The run goes on, on the device that was found again.
    assert [row[1] for row in rest] == ["Passed", "Failed"]
    assert rest[1][2] == "Found it"
    assert run.returncode == 21
    subject = f"test {deed} on device 0: the worker of module Selftest "
    lines = [line[len(subject) :] for line in world.log_lines() if line.startswith(subject)]
    if log:
        assert len(lines) == 1 and re.fullmatch(log, lines[0]), lines
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


def test_each_deed_has_its_row(world):
    listing = world.run(["-Mselftest", "-L"]).stdout.decode()
    part = listing.split("- Deeds:", 1)[1].split("- ", 1)[0]
    deeds = {line.strip().lower() for line in part.splitlines() if line.strip()}
    assert deeds == ROWS.keys() | HANGING
