#!/usr/bin/env python3
"""Start to end of -A, beside an empty C++ program and one with Qt Core and SDL up."""

import sys

import world

RUNS = 100


def main():
    with world.folder() as folder:
        scenario = world.write_scenario(folder, [])
        rows = [
            ("empty C++ program", [world.BENCH / "empty_program"], None),
            ("Qt Core and SDL audio", [world.BENCH / "floor_program"], None),
            ("-A, this machine's modules", [world.PROGRAM, "-A"], None),
            ("-A, a scenario", [world.PROGRAM, "-A"], scenario),
        ]
        print("Start to end (median and least of %d runs, peak resident memory)" % RUNS)
        found = {}
        for name, words, file in rows:
            result = world.measure(RUNS, words, world.environment(folder, file))
            found[name] = result
            print(
                f"  {name:28} {result['median_ms']:7.2f} ms {result['least_ms']:7.2f} ms"
                f" {result['peak_mib']:7.1f} MiB  (status {result['status']})"
            )
        own = found["-A, this machine's modules"]
        floor = found["Qt Core and SDL audio"]
        print(f"  ratio to the floor: {own['median_ms'] / floor['median_ms']:.2f} in time,"
              f" {own['peak_mib'] / floor['peak_mib']:.2f} in memory")  # fmt: skip
        good = world.verdict("milliseconds", own["median_ms"], 15)
        good &= world.verdict("MiB", own["peak_mib"], 24)
        good &= own["status"] == 0
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
