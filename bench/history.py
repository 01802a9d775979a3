#!/usr/bin/python3
"""How long tarvex-history takes over 10,000 runs: the first answer, and those after it.

Each log is that of a quick run on four disks: twelve tests, some three hundred lines. The first answer
reads all of them; the limit is for each of those after it, and the least of seven counts.
"""

import json
import os
import subprocess
import sys
import tempfile
import time
from datetime import datetime, timedelta, timezone
from pathlib import Path

RUNS = 10000
LIMIT = 0.2  # s of processor time, which other work of the machine does not change
COMMANDS = (["list"], ["run", "last"], ["devices"], ["device", "Disk 0"], ["worse"], ["--prometheus"])
DISKS = 4
TESTS = ("FUNNEL_READ_TEST", "RANDOM_READ_TEST", "SMART_STATUS_TEST")
MEASUREMENTS = 12
POINTS = 8
FIRST = datetime(2026, 1, 1, tzinfo=timezone.utc)


def start(machine):
    hardware = [
        {
            "hardwareInfoId": str(disk),
            "name": f"Disk {disk}",
            "location": f"storage {disk}, pci-0000:00:17.0-ata-{disk}",
            "serialNumber": f"{machine}-{disk}",
            "partType": "storage",
        }
        for disk in range(DISKS)
    ]
    keys = {str(disk): f"wwn-{machine}-{disk}" for disk in range(DISKS)}
    return {
        "testRunStart": {
            "name": "Tarvex Diagnostics",
            "version": "5.0.0.0",
            "commandLine": "/usr/bin/TarvexDiagnosticsCLI",
            "parameters": {},
            "dutInfo": {
                "dutInfoId": "0",
                "name": machine,
                "softwareInfos": [],
                "hardwareInfos": hardware,
                "metadata": {"deviceKeys": keys},
            },
        }
    }


def artifacts(run, machine):
    yield {"schemaVersion": {"major": 2, "minor": 0}}
    yield {"testRunArtifact": start(machine)}
    step = 0
    for disk in range(DISKS):
        for test in TESTS:
            for content in step_artifacts(run, disk, test):
                yield {"testStepArtifact": {"testStepId": str(step), **content}}
            step += 1
    yield {"testRunArtifact": {"testRunEnd": {"status": "COMPLETE", "result": "PASS"}}}


def step_artifacts(run, disk, test):
    yield {"testStepStart": {"name": f"storage/QUICK_TEST/{test}/{disk}"}}
    for number in range(MEASUREMENTS):
        yield {
            "measurement": {
                "name": f"value-{number}",
                "value": (run * 7 + number) % 100,
                "unit": "C",
                "hardwareInfoId": str(disk),
            }
        }
    series = f"{disk}-{test}"
    axis = {"kind": "CURVE", "axis": "lba", "axisUnit": "sectors"}
    yield {"measurementSeriesStart": {"name": "r", "measurementSeriesId": series, "metadata": axis}}
    for point in range(POINTS):
        yield {
            "measurementSeriesElement": {
                "index": point,
                "value": point,
                "timestamp": "2026-01-01T00:00:00.000Z",
                "measurementSeriesId": series,
                "metadata": {"position": point},
            }
        }
    yield {"measurementSeriesEnd": {"measurementSeriesId": series, "totalCount": POINTS}}
    yield {"diagnosis": {"verdict": "passed", "type": "PASS", "hardwareInfoId": str(disk)}}
    yield {"testStepEnd": {"status": "COMPLETE"}}


def write_log(folder, run):
    begin = FIRST + timedelta(hours=run)
    stamp = begin.strftime("%Y-%m-%dT%H:%M:%S.000Z")
    lines = [
        json.dumps({"sequenceNumber": number, "timestamp": stamp, **artifact}, separators=(",", ":"))
        for number, artifact in enumerate(artifacts(run, "machine"))
    ]
    name = begin.strftime(f"tarvex-%Y%m%dT%H%M%S.000Z-{run % 30000 + 2}.jsonl")
    (folder / name).write_text("\n".join(lines) + "\n", encoding="ascii")


def timed(state, *arguments):
    history = Path(os.environ["TARVEX_BINARY_DIR"]) / "bin" / "tarvex-history"
    begin = time.monotonic()
    process = subprocess.Popen(
        [history, "--state", state, *arguments], stdout=subprocess.DEVNULL
    )
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        raise SystemExit(f"history: {arguments} failed")
    return usage.ru_utime + usage.ru_stime, time.monotonic() - begin


def main():
    with tempfile.TemporaryDirectory() as name:
        state = Path(name)
        folder = state / "log"
        folder.mkdir()
        for run in range(RUNS):
            write_log(folder, run)
        size = sum(file.stat().st_size for file in folder.iterdir()) >> 20
        worked, took = timed(state, "list")
        print(
            f"history: {RUNS} runs of {size} MiB, the first answer: "
            f"{worked:.2f} s of processor time, {took:.2f} s"
        )
        missed = False
        for command in COMMANDS:
            worked, took = map(min, zip(*(timed(state, *command) for _ in range(7))))
            missed = missed or worked > LIMIT
            print(
                f"history: {' '.join(command)}: {worked:.3f} s of processor time "
                f"(limit {LIMIT} s), {took:.3f} s"
            )
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
