"""Logs as runs on disks leave them, with what each test is to have found."""

import json
from datetime import datetime, timedelta, timezone

FIRST = datetime(2026, 11, 1, 8, tzinfo=timezone.utc)
SOFTWARE = [
    {"softwareInfoId": "0", "name": "Linux", "version": "6.1", "softwareType": "SYSTEM"},
    {"softwareInfoId": "1", "name": "storage", "version": "1.0", "softwareType": "APPLICATION"},
]
# A test's verdict: its diagnosis.
DIAGNOSES = {"passed": "PASS", "failed": "FAIL", "warning": "UNKNOWN"}


def disk(number, name="Disk A", serial="S-1", key=None):
    return {"number": number, "name": name, "serial": serial, "key": key or f"wwn-{serial}"}


def result_of(name, verdict="passed", on=0, bad=(), **values):
    """A test; `values` are its measurements with "_" for "-", each a number or (number, unit)."""
    return {"name": name, "verdict": verdict, "on": on, "bad": bad, "values": values}


def hardware(one):
    return {
        "hardwareInfoId": str(one["number"]),
        "name": one["name"],
        "location": one.get("place", f"storage {one['number']}, pci-0000:00:17.0"),
        "partType": "storage",
        **({"serialNumber": one["serial"]} if one["serial"] else {}),
    }


def start(machine, disks, number, simulated):
    keys = {str(one["number"]): one["key"] for one in disks}
    subject = {"dutInfoId": "0", "name": machine, "softwareInfos": SOFTWARE}
    subject["hardwareInfos"] = [hardware(one) for one in disks]
    subject["metadata"] = {"deviceKeys": keys, **({"machineId": number} if number else {})}
    head = {"name": "Tarvex Diagnostics", "version": "5.0.0.0", "commandLine": "c"}
    return {"testRunStart": {**head, "parameters": {"simulated": True} if simulated else {}, "dutInfo": subject}}


def step_of(one):
    on = str(one["on"])
    yield {"testStepStart": {"name": f"storage/QUICK_TEST/{one['name']}/{on}"}}
    for name, value in one["values"].items():
        number, unit = value if isinstance(value, tuple) else (value, "")
        content = {"name": name.replace("_", "-"), "value": number, "hardwareInfoId": on}
        yield {"measurement": {**content, **({"unit": unit} if unit else {})}}
    if one["bad"]:
        axis = {"kind": "RANGES", "axis": "lba"}
        yield {
            "measurementSeriesStart": {
                "name": "unreadable-ranges",
                "measurementSeriesId": one["name"],
                "metadata": axis,
            }
        }
        for index, (position, count) in enumerate(one["bad"]):
            yield {
                "measurementSeriesElement": {
                    "index": index,
                    "value": count,
                    "measurementSeriesId": one["name"],
                    "metadata": {"position": position},
                }
            }
    if one["verdict"] in DIAGNOSES:
        kind = DIAGNOSES[one["verdict"]]
        words = {"message": "bad <sector> & \"more\"\ufffe"} if kind == "FAIL" else {}
        yield {"diagnosis": {"verdict": "v", "type": kind, "hardwareInfoId": on, **words}}
        yield {"testStepEnd": {"status": "COMPLETE"}}
    elif one["verdict"] == "invalid":
        yield {"error": {"symptom": "test-invalid", "message": "the disk is busy"}}
        yield {"testStepEnd": {"status": "ERROR"}}
    else:
        yield {"extension": {"name": "verdict", "content": {"verdict": one["verdict"]}}}
        yield {"testStepEnd": {"status": "SKIP"}}


def write_run(folder, day, tests, disks=(disk(0),), machine="workshop", number="8f0a", seconds=0, simulated=False):
    """The log of a run on that day, on a machine of that name and number; its path.

    It takes so many seconds, all of them at its end.
    """
    artifacts = [{"schemaVersion": {"major": 2, "minor": 0}}]
    artifacts.append({"testRunArtifact": start(machine, disks, number, simulated)})
    for number, one in enumerate(tests):
        for content in step_of(one):
            artifacts.append({"testStepArtifact": {"testStepId": str(number), **content}})
    end = {"status": "COMPLETE", "result": "PASS"}
    artifacts.append({"testRunArtifact": {"testRunEnd": end}})
    begin = FIRST + timedelta(days=day)
    times = [begin] * (len(artifacts) - 1) + [begin + timedelta(seconds=seconds)]
    folder.mkdir(parents=True, exist_ok=True)
    path = folder / begin.strftime(f"tarvex-%Y%m%dT%H%M%S.000Z-{4711 + len(machine)}.jsonl")
    with open(path, "w", encoding="utf-8") as file:
        for number, (time, artifact) in enumerate(zip(times, artifacts)):
            stamp = time.strftime("%Y-%m-%dT%H:%M:%S.000Z")
            json.dump({"sequenceNumber": number, "timestamp": stamp, **artifact}, file)
            file.write("\n")
    return path
