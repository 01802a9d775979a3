#!/usr/bin/env python3
"""Tests of no length by the ten thousand: time, and whether it grows in a straight line."""

import sys

import world

SIZES = (10_000, 20_000, 40_000)
RUNS = 3


def main():
    print("Tests of no length (median of %d runs)" % RUNS)
    times = {}
    for size in SIZES:
        with world.folder() as folder:
            tests = [
                {"name": f"TEST_{number}", "option": f"t{number}", "longName": f"test-{number}"}
                | {"key": {"identifier": 100 + number}}
                for number in range(size)
            ]
            scenario = world.write_scenario(folder, tests)
            values = world.environment(folder, scenario)
            words = ["/bin/sh", "-c", f'exec "$0" -Mstorage -Q 0 > {folder}/output', world.PROGRAM]
            times[size] = world.measure(RUNS, words, values)
            with open(f"{folder}/output", "rb") as file:
                shown = file.read().count(b"Test Status: Passed!")
            assert shown == size, f"{shown} of {size} tests are in the output"
        result = times[size]
        print(
            f"  {size:6} tests {result['median_ms'] / 1000:6.2f} s"
            f" {result['median_ms'] / size * 1000:6.1f} us each {result['peak_mib']:6.1f} MiB"
        )
    each = [times[size]["median_ms"] / size for size in SIZES]
    good = world.verdict("seconds for 10,000", times[SIZES[0]]["median_ms"] / 1000, 2)
    good &= world.verdict("cost of one test at 40,000 to that at 10,000", each[-1] / each[0], 1.25)
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
