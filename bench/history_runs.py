#!/usr/bin/python3
"""Makes a folder of logs as many runs leave them, and times tarvex-history on it.

    bench/history_runs.py BUILD FOLDER [RUNS]    BUILD is build/release

Each log is that of a quick run on four disks: twelve tests, some two hundred lines. Prints how long
the first answer takes, which reads every log, and the answers after it.
"""

import json
import subprocess
import sys
import time
from datetime import datetime, timedelta, timezone
from pathlib import Path

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


def timed(history, *arguments):
    begin = time.monotonic()
    subprocess.run([history, *arguments], check=True, stdout=subprocess.DEVNULL)
    return time.monotonic() - begin


def main():
    history = Path(sys.argv[1]) / "bin" / "tarvex-history"
    state = Path(sys.argv[2])
    runs = int(sys.argv[3]) if len(sys.argv) > 3 else 10000
    folder = state / "log"
    folder.mkdir(parents=True, exist_ok=True)
    for run in range(runs):
        write_log(folder, run)
    for name in state.glob("history.db*"):
        name.unlink()
    print(f"{runs} runs, {sum(file.stat().st_size for file in folder.iterdir()) >> 20} MiB")
    print(f"list, nothing read before: {timed(history, '--state', state, 'list'):.3f} s")
    for command in (["list"], ["run", "last"]):
        best = min(timed(history, "--state", state, *command) for _ in range(5))
        print(f"{' '.join(command)}: {best:.3f} s")


if __name__ == "__main__":
    main()
