"""A newcomer's session: what README.md shows is what the programs answer, from the first command to the report.

Each block of README.md that begins with ```console is typed into one shell, line for line. A line of three dots
stands for any lines; times, dates and numbers of processes are those of the day.
"""

import os
import re
import socket
import subprocess
from pathlib import Path

import pytest

ROOT = Path(os.environ["TARVEX_SOURCE_DIR"])
BINARIES = Path(os.environ["TARVEX_BINARY_DIR"]) / "bin"
ANY_LINES = "..."
END = "\0"
OF_THE_DAY = (
    (r"\b\d+ (second|minute|hour)s?\b", "N seconds"),
    (r"\d{4}-\d\d-\d\d[T ]\d\d:\d\d(:\d\d(\.\d+)?)?Z?", "DATE"),
    (r"\d{8}T\d{6}\.\d+Z-\d+", "DATE-PROCESS"),
    (r"(Result Code: \S+-)\d+", r"\1N"),
    (rf"\b{re.escape(socket.gethostname())}\b", "workshop"),
)


class Step:
    """A command and the lines that are shown below it."""

    def __init__(self, command):
        self.command = command
        self.lines = []


def steps(text):
    found = []
    for block in re.findall(r"^```console\n(.*?)^```$", text, re.MULTILINE | re.DOTALL):
        for line in block.splitlines():
            if line.startswith("$ "):
                found.append(Step(line[2:]))
            elif found:
                found[-1].lines.append(line)
    return found


def seen(output):
    """What stays on a screen: of a line that was drawn over, the last drawing; no empty lines."""
    lines = (line.rstrip("\r").rsplit("\r", 1)[-1].rstrip() for line in output.split("\n"))
    return [line for line in lines if line]


def without_the_day(line):
    for pattern, word in OF_THE_DAY:
        line = re.sub(pattern, word, line)
    return re.sub(r" +", " ", line).strip()


def agree(shown, lines):
    """Whether the lines are those shown; what the README shows may leave lines out."""
    pattern = "".join(
        r"(?:[^\n]*\n)*" if line.strip() == ANY_LINES else re.escape(without_the_day(line)) + "\n"
        for line in shown
        if line.strip()
    )
    return re.fullmatch(pattern, "".join(without_the_day(line) + "\n" for line in lines)) is not None


@pytest.fixture
def folder(tmp_path):
    """Where the newcomer sits: the examples are at hand, and all folders are new."""
    (tmp_path / "examples").symlink_to(ROOT / "examples")
    return tmp_path


def type_in(commands, folder):
    """The output of each command, typed into one shell."""
    environment = {
        "PATH": f"{BINARIES}:/usr/bin:/bin",
        "HOME": str(folder),
        "LC_ALL": "C.UTF-8",
        "TZ": "UTC",
        **{f"TARVEX_{name}_DIR": str(folder / name.lower()) for name in ("RUN", "STATE", "CONFIG")},
    }
    for name in ("RUN", "STATE", "CONFIG"):
        (folder / name.lower()).mkdir(mode=0o755)
    # The end of one command's output, and its status for the next one to ask for.
    script = "".join(f"{command}\nlast=$?; printf '\\0'; (exit $last)\n" for command in commands)
    done = subprocess.run(["bash", "-c", script], cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)  # fmt: skip
    return done.stdout.decode(errors="replace").split(END)[:-1]


def test_the_readme_shows_what_a_newcomer_sees(folder):
    session = steps((ROOT / "README.md").read_text())
    outputs = type_in([step.command for step in session], folder)
    assert len(outputs) == len(session) > 5
    for step, output in zip(session, outputs, strict=True):
        assert agree(step.lines, seen(output)), f"$ {step.command}\n{output}"
    page, course = ((folder / name).read_text() for name in ("report.html", "course.html"))
    assert "DISK-0815" in page and "</html>" in page
    assert "Courses over runs" not in page
    assert "From 0 to 184 (+184) over 3 runs." in course
    # The tour is over, and what it left is not where the machine's own runs are.
    assert list((folder / "state").rglob("*.jsonl")) == []


# ---- What the comparison itself finds ------------------------------------------------------------


@pytest.mark.parametrize(
    "shown,lines,same",
    [
        (["a", "b"], ["a", "b"], True),
        (["a"], ["a", "b"], False),
        (["a", "..."], ["a", "b", "c"], True),
        (["...", "c"], ["a", "b", "c"], True),
        (["...", "b"], ["a", "b", "c"], False),
        (["took 3 seconds"], ["took 1 second"], True),
        (["took 3 seconds"], ["lost 3 seconds"], False),
        ([], ["error"], False),
    ],
)
def test_what_differs_is_found(shown, lines, same):
    assert agree(shown, lines) == same
