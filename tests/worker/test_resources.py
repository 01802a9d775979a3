"""What is on the devices: what is told of it when the module does not tell it as it should.

What is expected stands in docs/worker.md, in the table "Looks at resources".
"""

import re
import signal

import pytest
from deeds_table import OTHERWISE_SANITIZED, RESOURCES, matches
from pace import Stopwatch
from program import SANITIZE
from terminal import Terminal, eventually

LISTING = ["-Mselftest", "-R"]
NOT_ALL = (
    "TarvexDiagnosticsCLI: the resources of the devices of module Selftest could not all be looked at: "
)


def pieces(output):
    """The numbers of the devices that are listed, and of those whose one resource is."""
    return re.findall(r"Part part-(\d)", output), re.findall(r"Piece Of +part-(\d)", output)


def test_a_listing_of_devices_asks_none_for_its_resources(world):
    world.set(asked=world.root / "asked")
    assert pieces(world.run(["-Mselftest", "-D"]).stdout.decode()) == (["0", "1"], [])
    assert not (world.root / "asked").exists()
    assert pieces(world.run(LISTING).stdout.decode()) == (["0", "1"], ["0", "1"])
    assert (world.root / "asked").read_text() == "01"


@pytest.mark.parametrize("deed", sorted(RESOURCES))
def test_what_was_told_before_the_deed_counts(world, deed):
    if SANITIZE and deed in OTHERWISE_SANITIZED:
        pytest.skip("the sanitizer has words of its own")
    (reason,) = RESOURCES[deed]
    world.set(resources=deed)
    run = world.run(LISTING)
    assert pieces(run.stdout.decode()) == (["0", "1"], ["0"])
    assert run.returncode == 0
    told = run.stderr.decode()
    begin = "resources of device 1: "
    (line,) = [line for line in world.log_lines() if line.startswith(begin)]
    if reason:
        assert told.startswith(NOT_ALL) and told.endswith("\n")
        assert matches(reason, told[len(NOT_ALL) : -1]), told
        assert matches(reason, line[len(begin) :]), line
    else:
        assert told == ""
        assert line == begin + "thrown on purpose"
    world.expect_no_process()


def test_a_look_that_hangs_ends_with_a_request_to_end(world):
    world.set(resources="hang", asked=world.root / "asked")
    with Terminal(world, LISTING) as terminal:
        eventually(lambda: (world.root / "asked").exists() and (world.root / "asked").read_text() == "01")
        watch = Stopwatch()
        terminal.signal(signal.SIGINT)
        terminal.wait()
        assert watch.seconds() < 1.5
        shown = terminal.rest().decode()
    assert pieces(shown) == (["0", "1"], ["0"])
    assert "could not all be looked at" not in shown
    told = [line for line in world.log_lines() if "worker of module" in line]
    assert told == [
        "resources: the worker of module Selftest did not end in time when it was to stop"
    ]
    world.expect_no_process()
