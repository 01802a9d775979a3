#!/usr/bin/env python3
"""Loading a fleet's runs into PostgreSQL: how long a million test results take, and whether the time
grows in a straight line. The server has Debian's settings, and flushes what it commits."""

import contextlib
import json
import os
import resource
import subprocess
import sys
import time
from dataclasses import dataclass
from datetime import datetime, timedelta
from pathlib import Path

import world

sys.path[:0] = [str(world.SOURCE / "tests" / folder) for folder in ("fleet/postgresql", "support")]
from cluster import Cluster

MACHINES = 1_000
TESTS = 20
# Runs of each machine, in four parts, so that there are a quarter, a half and a whole.
PARTS = (13, 12, 12, 13)
SIZES = (1, 2, 4)
MEASUREMENTS = (("read-rate", 512e6, "B/s"), ("unreadable-sectors", 0, ""))
VIEWS = ("worst_device", "worsening_device", "silent_machine", "model_failure_rate")
HISTORY = world.BUILD / "bin/tarvex-history"
MIGRATE = world.SOURCE / "fleet/postgresql/migrate.sh"
START = datetime(2026, 1, 1)


def template(folder):
    """A log of the real program, with what its tests might have measured."""
    tests = [
        {"name": f"TEST_{number}", "option": f"t{number}", "longName": f"test-{number}"}
        | {"key": {"identifier": 100 + number}}
        for number in range(TESTS)
    ]
    scenario = world.write_scenario(folder, tests)
    subprocess.run(
        [world.PROGRAM, "-Mstorage", "-Q"],
        env=world.environment(folder, scenario),
        cwd=folder,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL,
        check=True,
    )
    (path,) = (Path(folder) / "state/log").iterdir()
    lines = []
    for line in map(json.loads, path.read_text(encoding="utf-8").splitlines()):
        step = line.get("testStepArtifact", {})
        run = line.get("testRunArtifact", {}).get("testRunStart")
        if run:
            run["parameters"] = {}
            run["dutInfo"] |= {"name": "MACHINE", "metadata": {"machineId": "ID-MACHINE"}}
            run["dutInfo"]["hardwareInfos"][0]["serialNumber"] = "S-MACHINE"
        if "diagnosis" in step:
            for name, value, unit in MEASUREMENTS:
                measured = {"name": name, "value": value, "hardwareInfoId": "0"}
                measured |= {"unit": unit} if unit else {}
                own = {"testStepId": step["testStepId"], "measurement": measured}
                lines.append({"timestamp": line["timestamp"], "testStepArtifact": own})
        lines.append(line)
    for number, line in enumerate(lines):
        line["sequenceNumber"] = number
        line["timestamp"] = "TIME" + line["timestamp"][-5:]
    return "".join(json.dumps(line, separators=(",", ":")) + "\n" for line in lines)


def write_logs(folder, text):
    """Logs of all machines, run after run, in a folder for each part."""
    turn = 0
    for part, runs in enumerate(PARTS):
        for _ in range(runs):
            start = START + timedelta(days=turn)
            second = f"{start:%Y-%m-%dT%H:%M:%S}"
            for machine in range(MACHINES):
                place = folder / f"part-{part}" / f"machine-{machine}"
                place.mkdir(parents=True, exist_ok=True)
                name = f"tarvex-{start:%Y%m%dT%H%M%S}.000Z-{machine + 300}.jsonl"
                own = text.replace("MACHINE", f"{machine:04}").replace("TIME", second)
                (place / name).write_text(own, encoding="utf-8")
            turn += 1


def sessions(postmaster):
    """The server's processes that serve somebody, or are about to end."""
    children = Path(f"/proc/{postmaster}/task/{postmaster}/children").read_text(encoding="utf-8")
    found = []
    for child in children.split():
        with contextlib.suppress(OSError):
            title = Path(f"/proc/{child}/cmdline").read_bytes()
            if b"[local]" in title or not title:
                found.append(child)
    return found


def processor_seconds(cluster):
    """Of the loads so far, and of the server for sessions, all of which are over."""
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    postmaster = (cluster.data / "postmaster.pid").read_text(encoding="utf-8").split()[0]
    while sessions(postmaster):
        time.sleep(0.01)
    # Behind the name: user and system time of the process, and of its children that have ended.
    fields = Path(f"/proc/{postmaster}/stat").read_text(encoding="utf-8").rpartition(")")[2].split()
    ticks = sum(map(int, fields[11:15]))
    return used.ru_utime + used.ru_stime + ticks / os.sysconf("SC_CLK_TCK")


@dataclass
class Load:
    seconds: float
    processor: float  # seconds of the program and of the server together
    said: str  # at its end


def load(folder, parts, cluster, address):
    words = [word for part in range(parts) for word in ("--logs", str(folder / f"part-{part}"))]
    used = processor_seconds(cluster)
    begin = time.monotonic()
    said = subprocess.run(
        [HISTORY, *words, "--to", address], capture_output=True, text=True, check=True
    )
    seconds = time.monotonic() - begin
    return Load(seconds, processor_seconds(cluster) - used, said.stderr.splitlines()[-1])


def main():
    good = True
    cost = {}
    print("Loading a fleet's runs into PostgreSQL, twenty results with two measurements each in a run")
    cluster = Cluster(settings=())
    try:
        with world.folder() as name:
            folder = Path(name)
            write_logs(folder, template(folder))
            for parts in SIZES:
                database = f"fleet_{parts}"
                address = cluster.address(database)
                cluster.query("postgres", f"CREATE DATABASE {database}")
                subprocess.run([MIGRATE, address], check=True, stdout=subprocess.DEVNULL)
                done = load(folder, parts, cluster, address)
                ((results,),) = cluster.query(database, "SELECT count(*) FROM tarvex.test_result")
                assert int(results) == sum(PARTS[:parts]) * MACHINES * TESTS
                cost[parts] = done.processor / int(results)
                print(
                    f"  {int(results):,} results in {done.seconds:.1f} s,"
                    f" {done.processor:.1f} s of processor time"
                )
            again = load(folder, SIZES[-1], cluster, address)
            print(f"  again: {again.seconds:.1f} s, {again.processor:.1f} s of processor time ({again.said})")
            good &= world.verdict("seconds for all", done.seconds, 120)
            for view in VIEWS:
                begin = time.monotonic()
                cluster.query(database, f"SELECT count(*) FROM (SELECT * FROM tarvex.{view}) AS seen")
                good &= world.verdict(f"seconds for {view}", time.monotonic() - begin, 20)
            ratio = cost[SIZES[-1]] / cost[SIZES[0]]
            good &= world.verdict("cost of one result in all to that in a quarter", ratio, 1.2)
    finally:
        cluster.close()
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
