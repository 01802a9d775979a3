#!/usr/bin/env python3
"""Processor time of each thread while one test runs for 30 s: the front end's and the service's."""

import subprocess
import sys
import time
from pathlib import Path

import world

SECONDS = 30
# Threads that make the service's calls; every other thread is the front end's or the host's.
SERVICE_THREADS = ("ThreadManager", "ToolWorker")


def thread_times(process):
    """thread id -> (name, processor nanoseconds so far)."""
    times = {}
    for task in Path(f"/proc/{process}/task").iterdir():
        name = (task / "comm").read_text().strip()
        times[task.name] = (name, int((task / "schedstat").read_text().split()[0]))
    return times


def measure(folder, scenario, arguments, started):
    """The shares of one core of a run, once `started` stands in its output: front end, service."""
    output = Path(folder) / "output"
    with open(output, "wb") as file:
        process = subprocess.Popen(
            [world.PROGRAM, *arguments],
            env=world.environment(folder, scenario),
            stdin=subprocess.DEVNULL,
            stdout=file,
        )
    while started not in output.read_bytes():
        time.sleep(0.05)
    before = thread_times(process.pid)
    start = time.monotonic()
    time.sleep(SECONDS)
    after = thread_times(process.pid)
    wall = time.monotonic() - start
    process.terminate()
    process.wait()

    print(f"Processor time over {wall:.1f} s of {' '.join(arguments)}")
    share = {"front end": 0.0, "service": 0.0}
    for task, (name, end) in after.items():
        percent = (end - before.get(task, (name, 0))[1]) / 1e9 / wall * 100
        side = "service" if name.startswith(SERVICE_THREADS) else "front end"
        share[side] += percent
        print(f"  {name:20} {percent:7.3f} % of one core ({side})")
    print(f"  service threads together: {share['service']:.3f} %")
    return share["front end"]


def main():
    with world.folder() as folder:
        reports = [
            {"atMs": at, "percent": at // (SECONDS * 10), "message": ""}
            for at in range(0, SECONDS * 1000, 250)
        ]
        outcome = {"status": 0, "durationMs": SECONDS * 1000 + 3000, "reports": reports}
        test = {"name": "LONG_TEST", "option": "l", "longName": "long"}
        test.update({"key": {"identifier": 2}, "outcome": outcome})
        scenario = world.write_scenario(folder, [test])
        share = measure(folder, scenario, ["-Mstorage", "-Ql", "0"], b"=> Long Test")
    return 0 if world.verdict("front end, % of one core", share, 1.0) else 1


if __name__ == "__main__":
    sys.exit(main())
