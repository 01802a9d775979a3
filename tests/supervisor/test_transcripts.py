"""The transcripts of docs/supervisor-protocol.md, run: what is written there is what comes."""

import re
import subprocess

import pytest
from program import PROGRAM, World
from transcripts import BLANKS, DOCUMENT, PROGRESS, SCENARIO, transcripts, without_progress

ALL = list(transcripts())


@pytest.mark.parametrize("transcript", ALL, ids=lambda transcript: transcript.command)
def test_transcript(transcript, tmp_path):
    world = World(tmp_path, SCENARIO)
    result = subprocess.run(
        [str(PROGRAM), *transcript.arguments],
        env=world.environment,
        input=transcript.typed,
        capture_output=True,
        timeout=60,
        check=False,
    )
    assert result.stdout.endswith(b"\n") or not result.stdout
    lines = result.stdout.decode().split("\n")[:-1]
    assert without_progress(lines) == transcript.lines
    assert result.returncode == transcript.status
    assert result.stderr == b""
    for before, line in zip(["", *lines], lines):
        if line.startswith(PROGRESS):
            # The percents of the scenario, and none twice in a row.
            percents = ("PrgDiag:::030", "PrgDiag:::100", "PrgRBS:::000", "PrgRBS:::050")
            assert line in percents
            assert line != before


def test_every_fence_of_the_document_is_a_transcript_that_runs():
    fences = re.findall(r"^```(.*)$", DOCUMENT.read_text(encoding="utf-8"), re.M)
    assert fences == ["transcript", ""] * len(ALL)


def test_every_word_of_a_run_is_told_and_shown():
    told = re.findall(r"^\| `(\w+):::", DOCUMENT.read_text(encoding="utf-8"), re.M)
    text = DOCUMENT.read_text(encoding="utf-8")
    shown = set(re.findall(r"^(?:<blanks>)?((?:Begin|Prg|End|Finish)\w+):::", text, re.M))
    assert sorted(told) == sorted(shown) and len(told) == 10


def test_a_blanked_line_is_shown():
    assert any(line.startswith(BLANKS) for transcript in ALL for line in transcript.lines)
