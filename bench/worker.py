#!/usr/bin/env python3
"""What a worker costs a run: its start, with the searching of devices that takes no time."""

import sys

import world

RUNS = 100


def main():
    with world.folder() as folder:
        values = world.module_environment(folder)
        found = {
            name: world.measure(RUNS, [world.PROGRAM, "-Mselftest", word], values)
            for name, word in (("without a worker", "-L"), ("with a worker", "-D"))
        }
    print("Listings of the self-test module (median and least of %d runs)" % RUNS)
    for name, result in found.items():
        print(f"  {name:18} {result['median_ms']:7.2f} ms {result['least_ms']:7.2f} ms")
    without, beside = found.values()
    cost = beside["least_ms"] - without["least_ms"]
    return 0 if world.verdict("milliseconds for a worker", cost, 15) else 1


if __name__ == "__main__":
    sys.exit(main())
