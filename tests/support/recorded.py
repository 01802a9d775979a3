"""Records runs of the real program, plays them again, and holds the one against the other."""

import difflib
import re


def without_times(output):
    """What a run said without what depends on when and how fast it was.

    Lines of progress are drawn at the machine's pace, and wiped; an elapsed time and the moment in a
    result code are those of the day. How a scan's sign turns depends on the pace, too.
    """
    output = re.sub(rb"   \d+% \S [^\r\n]*\r", b"", output)
    output = re.sub(rb"^ *\r", b"", output, flags=re.M)
    output = re.sub(rb"[-\\|/] Scanning [^\r\n]*\r", b"", output)
    output = re.sub(rb"(Result Code: \S+-)\d+$", rb"\1", output, flags=re.M)
    return re.sub(rb"(?:\d+ (?:hour|minute|second)s? )+$", b"", output, flags=re.M)


def record(world, arguments, tape):
    """Runs the program and records its machine into the file `tape`."""
    world.environment["ORVAN_RECORD"] = str(tape)
    try:
        return world.run(arguments)
    finally:
        del world.environment["ORVAN_RECORD"]


def replay(world, arguments, tape):
    """Runs the program on the machine that `tape` holds."""
    world.environment["ORVAN_REPLAY"] = str(tape)
    try:
        return world.run(arguments)
    finally:
        del world.environment["ORVAN_REPLAY"]


def readable(lines):
    return [repr(line)[2:-1] for line in lines]


def assert_alike(recorded, replayed):
    """What was said to the screen and to the error stream, and the status."""
    said, wanted = (without_times(run.stdout).split(b"\n") for run in (replayed, recorded))
    differences = [line for line in difflib.ndiff(*map(readable, (wanted, said))) if line[0] in "+-"]
    assert not differences, "\n".join(differences)
    assert replayed.stderr == recorded.stderr
    assert replayed.returncode == recorded.returncode
