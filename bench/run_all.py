#!/usr/bin/env python3
"""Run All of devices by the thousand, ten tests of no length each, through every channel: whether
processor time and memory grow in a straight line, and what one device takes."""

import json
import sys
from pathlib import Path

import world

SIZES = (1_000, 2_000, 4_000)
TESTS = 10
ROUNDS = 3
# Standard output goes to a file in each.
CHANNELS = {
    "console": ["-Uq"],
    "report": ["-Uq", "-o{folder}/report"],
    "supervisor": ["--HDK", "-Uq"],
    "console, -U": ["-U"],
    "silent": ["-Uq", "--obg-instance"],
}


def scenario_of(folder, size):
    tests = [
        {"name": f"TEST_{number}", "option": f"t{number}", "longName": f"test-{number}"}
        | {"key": {"identifier": 100 + number}}
        for number in range(TESTS)
    ]
    diagnostic = {"name": "QUICK_TEST", "option": "Q", "longName": "quick", "tests": tests}
    diagnostic["key"] = {"minor": 1, "identifier": 1}
    devices = [{"id": f"d{number:06}", "name": f"Disk {number}"} for number in range(size)]
    path = Path(folder) / f"{size}.json"
    module = {"name": "storage", "diagnostics": [diagnostic], "devices": devices}
    path.write_text(json.dumps({"modules": [module]}), encoding="utf-8")
    return path


def run(folder, scenario, words):
    """Seconds of processor time and KiB of one run with its standard output in a file."""
    command = f'exec "$0" "$@" > {folder}/output'
    words = [word.replace("{folder}", str(folder)) for word in words]
    result = world.measure(
        1, ["/bin/sh", "-c", command, world.PROGRAM, *words], world.environment(folder, scenario)
    )
    return result["least_processor_ms"] / 1000, result["peak_mib"] * 1024


def main():
    good = True
    print("Run All of devices with ten tests of no length each (least of %d runs)" % ROUNDS)
    with world.folder() as folder:
        scenarios = {size: scenario_of(folder, size) for size in SIZES}
        for name, words in CHANNELS.items():
            found = {size: [] for size in SIZES}
            # The sizes take turns, so that a slow moment of the machine meets all of them.
            for _ in range(ROUNDS):
                for size in SIZES:
                    found[size].append(run(folder, scenarios[size], words))
            seconds = {size: min(time for time, _ in found[size]) for size in SIZES}
            peak = {size: min(memory for _, memory in found[size]) for size in SIZES}
            each = [seconds[size] / size / TESTS * 1e6 for size in SIZES]
            per_device = [
                (peak[more] - peak[fewer]) / (more - fewer) for fewer, more in zip(SIZES, SIZES[1:])
            ]
            print(
                f"  {name:12} us for one test {each[0]:6.1f} {each[1]:6.1f} {each[2]:6.1f}"
                f"   KiB for one device {per_device[0]:5.2f} {per_device[1]:5.2f}"
            )
            ratio = each[-1] / each[0]
            good &= world.verdict("cost of one test of 4,000 devices to 1,000", ratio, 1.25)
            good &= world.verdict("KiB for one device", per_device[-1], 5)
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
