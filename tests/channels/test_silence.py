"""The silent run: a background instance without a report."""

import pytest
from terminal import Terminal

FAILURE = 21
CANCELED = 25
SILENT = "--obg-instance"
# What blanks a line on the console, before a message of a test.
CLEARED = b" " * 79 + b"\r"


@pytest.mark.parametrize("tests,status", [("p", 0), ("f", FAILURE), ("p,f", FAILURE), ("t", 0)])
def test_same_status_as_on_the_console(world, tests, status):
    for words in ([], [SILENT]):
        assert world.run(["-Mstorage", "-Q" + tests, "0", *words]).returncode == status


@pytest.mark.parametrize("words", [["-Mstorage", "-Qf", "0"], ["-h"], ["-Mstorage", "-D"], ["-v"]])
def test_nothing_is_printed(world, words):
    result = world.run([*words, SILENT])
    assert (result.stdout, result.stderr) == (b"", b"")


def test_nothing_but_the_blanks_of_a_cleared_line_is_printed(world):
    result = world.run(["-Mstorage", "-Qt", "0", SILENT])
    assert (result.stdout, result.stderr) == (CLEARED, b"")


@pytest.mark.parametrize("words,status", [([], CANCELED), ([SILENT], 0)])
def test_escape_ends_the_run_on_the_console_only(world, words, status):
    with Terminal(world, ["-Mstorage", "-Qs", "0", *words]) as terminal:
        # Typed ahead: it is there for the whole run.
        terminal.press(b"\x1b")
        assert terminal.wait() == status
