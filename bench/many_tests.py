#!/usr/bin/env python3
"""Tests of no length by the ten thousand: time, and whether it grows in a straight line."""

import sys
from pathlib import Path

import world

SIZES = (10_000, 20_000, 40_000)
ROUNDS = 5


def scenario_of(folder, size):
    place = Path(folder) / str(size)
    place.mkdir()
    tests = [
        {"name": f"TEST_{number}", "option": f"t{number}", "longName": f"test-{number}"}
        | {"key": {"identifier": 100 + number}}
        for number in range(size)
    ]
    return world.write_scenario(place, tests)


def run(folder, words, environment, size):
    """Seconds and MiB of one run with its standard output in a file."""
    output = Path(folder) / "output"
    line = ["/bin/sh", "-c", f'exec "$0" {words} 0 > {output}', world.PROGRAM]
    result = world.measure(1, line, environment)
    shown = output.read_bytes().count(b"Test Status: Passed!")
    assert shown == size, f"{shown} of {size} tests are in the output"
    return result["median_ms"] / 1000, result["peak_mib"]


def main():
    with world.folder() as folder:
        module = world.module_environment(folder, tests=SIZES[0])
        worked = min(run(folder, "-Mselftest -N", module, SIZES[0])[0] for _ in range(ROUNDS))
    with world.folder() as folder:
        scenarios = {size: scenario_of(folder, size) for size in SIZES}
        found = {size: [] for size in SIZES}
        # The sizes take turns, so that a slow moment of the machine meets all of them.
        for _ in range(ROUNDS):
            for size in SIZES:
                environment = world.environment(folder, scenarios[size])
                found[size].append(run(folder, "-Mstorage -Q", environment, size))
    print("Tests of no length, the scenario file read included (least of %d runs)" % ROUNDS)
    least = {size: min(found[size]) for size in SIZES}
    for size, (seconds, mebibytes) in least.items():
        each = seconds / size * 1e6
        print(f"  {size:6} tests {seconds:6.2f} s {each:6.1f} us each {mebibytes:6.1f} MiB")
    print(f"  {SIZES[0]:6} tests {worked:6.2f} s of a module, done by its worker")
    each = [least[size][0] / size for size in SIZES]
    good = world.verdict("seconds for 10,000", least[SIZES[0]][0], 2)
    good &= world.verdict("seconds for 10,000 of a module", worked, 1.5)
    good &= world.verdict("cost of one test at 40,000 to that at 10,000", each[-1] / each[0], 1.25)
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
