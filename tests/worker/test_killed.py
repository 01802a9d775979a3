"""kill -9: of the program at any moment, and of its worker at any word."""

import random
import re
import subprocess

import pytest
from conftest import verdicts
from program import BINARY_DIR

MOMENTS = 60
LATEST = 0.25  # seconds
PLANS = [
    ["-Bflood-progress,flood-measurements,wait", "0"],
    ["-Bpass,fail,warn,wait", "0", "1"],
    ["-Isegv,exit,throw,grow,hang", "0", "1"],
    ["-Ispin", "0"],
    ["-Ihang-in-kernel", "0"],
    ["-Istop", "0"],
]
UNSEARCHED = re.compile("devices of module Selftest could not be searched")
ENDED = re.compile(r"The test's worker was ended by signal 9 \(SIGKILL\)")


def moments():
    seed = random.randrange(1 << 32)
    print("seed", seed)
    chosen = random.Random(seed)
    return [(PLANS[i % len(PLANS)], chosen.uniform(0, LATEST)) for i in range(MOMENTS)]


def test_no_worker_outlives_the_program(world):
    seen = 0
    for plan, moment in moments():
        run = world.start(["-Mselftest", *plan], stdout=subprocess.DEVNULL, stdin=subprocess.DEVNULL)
        try:
            run.wait(moment)
        except subprocess.TimeoutExpired:
            pass
        seen += bool(world.processes())
        run.kill()
        run.wait()
        world.expect_no_process()
    # Of the moments most have a worker to kill.
    assert seen > MOMENTS / 4


@pytest.fixture
def mortal(world):
    """Runs a copy of the program whose worker dies before its N-th word; whether it came so far."""
    program = world.copy_program(BINARY_DIR / "tests" / "mortal_worker")
    mark = program.parent.parent / "lib" / "orvan" / "die_at"

    def run(word, arguments):
        mark.write_text(str(word), encoding="utf-8")
        result = world.run(arguments, program=program)
        return result, not mark.exists()

    return run


def test_a_run_goes_on_at_whatever_word_its_worker_dies(world, mortal):
    plan = ["-Mselftest", "-Bpass,fail,parameters,say-much", "0", "1"]
    word, died = 1, True
    kinds = set()
    while died:
        result, died = mortal(word, plan)
        output = result.stdout.decode()
        shown = [(row[1], row[2]) for row in verdicts(output)]
        invalid = [text for status, text in shown if status == "Invalid"]
        if UNSEARCHED.search(result.stderr.decode()):
            kinds.add("searching")
        else:
            # One test at most is the worker's death, and all others are as they always are.
            assert len(shown) == 8, output
            assert len(invalid) == died and all(ENDED.search(text) for text in invalid), output
            kinds.add("testing" if died else "unhurt")
        world.expect_no_process()
        word += 1
    assert kinds == {"searching", "testing", "unhurt"}
    assert word > 8
