"""Gets the runs of the command line: documents of `tarvex-history`, or logs that it reads for us."""

import json
import os
import shutil
import stat
import subprocess
import sys
from dataclasses import dataclass
from pathlib import Path

from .faults import ReportFault
from .fields import Json
from .run import Run, run_of
from .texts import clean

HISTORY = "tarvex-history"
STANDARD_INPUT = "-"
MOST_BYTES = 64 * 1024 * 1024  # twice what a log may have
HISTORY_SECONDS = 120


@dataclass(frozen=True)
class Archive:
    """Where `tarvex-history` looks for runs; nothing given: where it looks by itself."""

    logs: tuple[str, ...] = ()
    state: str | None = None

    def options(self) -> list[str]:
        words = [word for folder in self.logs for word in ("--logs", folder)]
        return words + (["--state", self.state] if self.state else [])


def _constant(name: str) -> Json:
    raise ValueError(f"{name} is no number")


def _parsed(text: bytes, where: str) -> Json:
    try:
        return json.loads(text, parse_constant=_constant)
    except (ValueError, RecursionError) as fault:
        raise ReportFault(f"{where} is no JSON document: {clean(str(fault))}") from None


def _read(path: str) -> bytes | None:
    """What is in a regular file; None: there is none of that name."""
    try:
        number = os.open(path, os.O_RDONLY | os.O_CLOEXEC | os.O_NONBLOCK)
    except FileNotFoundError:
        return None
    except (OSError, ValueError) as fault:
        raise ReportFault(f"{clean(path)} cannot be read: {clean(str(fault))}") from None
    with open(number, "rb") as file:
        if not stat.S_ISREG(os.fstat(number).st_mode):
            raise ReportFault(f"{clean(path)} is no file: name a run, a log or a document")
        text = file.read(MOST_BYTES + 1)
    if len(text) > MOST_BYTES:
        raise ReportFault(f"{clean(path)} has more than {MOST_BYTES >> 20} MiB")
    return text


def _is_document(text: bytes) -> bool:
    """Whether a file holds one document and not a log, which has an object in each line."""
    try:
        return isinstance(json.loads(text), dict) and b'"schema"' in text
    except (ValueError, RecursionError):
        return False


def history_program() -> str:
    """`tarvex-history` beside this program, or else from the search path."""
    beside = Path(sys.argv[0]).resolve().parent / HISTORY
    found = str(beside) if os.access(beside, os.X_OK) else shutil.which(HISTORY)
    if found is None:
        raise ReportFault(
            f"{HISTORY} is not there, which reads the logs: install the package"
            " tarvex-diagnostics, or give this program a document that it made elsewhere"
        )
    return found


def _ask_history(name: str, archive: Archive) -> Json:
    command = [history_program(), "--json", *archive.options(), "run", name]
    try:
        answer = subprocess.run(
            command, stdin=subprocess.DEVNULL, capture_output=True, timeout=HISTORY_SECONDS
        )
    except subprocess.TimeoutExpired:
        raise ReportFault(f"{HISTORY} did not answer within {HISTORY_SECONDS} seconds") from None
    except OSError as fault:
        raise ReportFault(f"{HISTORY} cannot be started: {fault.strerror}") from None
    said = [clean(line) for line in answer.stderr.decode("utf-8", "replace").splitlines()]
    if answer.returncode != 0:
        raise ReportFault("; ".join(said) or f"{HISTORY} knows no run {clean(name)}")
    for line in said:
        print(line, file=sys.stderr)
    return _parsed(answer.stdout, f"what {HISTORY} tells of {clean(name)}")


def _document_of(name: str, archive: Archive) -> Json:
    if name == STANDARD_INPUT:
        return _parsed(sys.stdin.buffer.read(MOST_BYTES), "standard input")
    if name.startswith("-"):
        raise ReportFault(f"{clean(name)} is no run; --help tells what there is")
    text = _read(name)
    if text is not None and _is_document(text):
        return _parsed(text, clean(name))
    # A bare name would be taken for the name of a run, wherever its log lies.
    return _ask_history(os.path.join(".", name) if text is not None else name, archive)


def gather(names: list[str], archive: Archive) -> list[Run]:
    """All the runs, oldest first, each once."""
    runs: dict[tuple[str, str], Run] = {}
    for name in names:
        where = "standard input" if name == STANDARD_INPUT else clean(name)
        run = run_of(_document_of(name, archive), where)
        runs.setdefault((run.origin, run.name), run)
    return sorted(runs.values(), key=lambda run: (run.start is not None, run.start, run.name))
