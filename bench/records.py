#!/usr/bin/env python3
"""Execution records: what -W adds to a run of 10,000 tests of no length, beside what it costs to get
as many blocks to the same disk one by one."""

import os
import sys
import time
from pathlib import Path

import world

TESTS = 10_000
ROUNDS = 3
REGION = 1000  # blocks


def scenario_of(folder):
    tests = [
        {"name": f"TEST_{number}", "option": f"t{number}", "longName": f"test-{number}"}
        | {"key": {"identifier": 100 + number}}
        for number in range(TESTS)
    ]
    return world.write_scenario(folder, tests)


def run(folder, scenario, words):
    """Seconds of one run with its standard output in a file."""
    output = Path(folder) / "output"
    command = ["/bin/sh", "-c", f'exec "$0" "$@" > {output}', world.PROGRAM, "-Mstorage", "-Q", "0"]
    result = world.measure(1, command + words, world.environment(folder, scenario))
    shown = output.read_bytes().count(b"Test Status: Passed!")
    assert shown == TESTS, f"{shown} of {TESTS} tests are in the output"
    return result["median_ms"] / 1000


def flush_blocks(folder):
    """Seconds for as many blocks of 4 KiB, each flushed before the next is written, in a region
    that is used over and over, as the store uses its log."""
    path = Path(folder) / "blocks"
    file = os.open(path, os.O_CREAT | os.O_WRONLY | os.O_TRUNC, 0o600)
    start = time.perf_counter()
    for number in range(TESTS):
        os.pwrite(file, b"x" * 4096, number % REGION * 4096)
        os.fdatasync(file)
    took = time.perf_counter() - start
    os.close(file)
    path.unlink()
    return took


def main():
    plain, recorded, flushed = [], [], []
    with world.folder() as folder:
        scenario = scenario_of(folder)
        # They take turns, so that a slow moment of the machine meets all of them.
        for _ in range(ROUNDS):
            plain.append(run(folder, scenario, []))
            recorded.append(run(folder, scenario, ["-W"]))
            flushed.append(flush_blocks(folder))
    cost = min(recorded) - min(plain)
    print(f"{TESTS} tests of no length (least of {ROUNDS} runs)")
    print(f"  without records {min(plain):.2f} s, with records {min(recorded):.2f} s", end="")
    print(f" (ratio {min(recorded) / min(plain):.2f})")
    print(f"  {TESTS / cost:.0f} records a second, {cost / TESTS * 1e6:.0f} us each")
    print(f"  {TESTS / min(flushed):.0f} bare flushes a second")
    return 0 if world.verdict("a record to a bare flush", cost / min(flushed), 4) else 1


if __name__ == "__main__":
    sys.exit(main())
