"""What the benchmarks share: where things are built, own folders for a run, and ratios in print."""

import json
import os
import subprocess
import tempfile
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
BUILD = Path(os.environ.get("TARVEX_BINARY_DIR", SOURCE / "build/bench"))
PROGRAM = BUILD / "bin/TarvexDiagnosticsCLI"
BENCH = BUILD / "bench"


def environment(folder, scenario=None):
    """The environment of a run with its own folders below `folder`."""
    values = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8"}
    for name in ("RUN", "STATE", "CONFIG"):
        place = Path(folder) / name.lower()
        place.mkdir(mode=0o700, exist_ok=True)
        values[f"TARVEX_{name}_DIR"] = str(place)
    if scenario:
        values["ORVAN_SCENARIO"] = str(scenario)
    return values


def module_environment(folder, **settings):
    """The environment of a run with the self-test module alone, which has these settings."""
    values = environment(folder)
    lines = "".join(f"{name}={value}\n" for name, value in settings.items())
    path = Path(values["TARVEX_CONFIG_DIR"]) / "service.ini"
    path.write_text(f"[selftest]\n{lines}", encoding="utf-8")
    values["ORVAN_MODULE_DIR"] = str(BUILD / "tests/modules")
    return values


def write_tool_scenario(folder, devices, tool):
    """A scenario of one module with these devices and this tool (records of the scenario file)."""
    path = Path(folder) / "scenario.json"
    module = {"name": "storage", "devices": devices, "tools": [tool]}
    path.write_text(json.dumps({"modules": [module]}), encoding="utf-8")
    return path


def write_scenario(folder, tests):
    """A scenario of one module with one device and these tests (records of the scenario file)."""
    path = Path(folder) / "scenario.json"
    diagnostic = {"name": "QUICK_TEST", "option": "Q", "longName": "quick", "tests": tests}
    diagnostic["key"] = {"minor": 1, "identifier": 1}
    device = {"id": "0", "name": "Disk A"}
    module = {"name": "storage", "diagnostics": [diagnostic], "devices": [device]}
    path.write_text(json.dumps({"modules": [module]}), encoding="utf-8")
    return path


def measure(count, words, values):
    """Median and least milliseconds and peak MiB of `count` runs, as bench/measure.cpp tells."""
    output = subprocess.run(
        [BENCH / "measure", str(count), *map(str, words)],
        env=values,
        check=True,
        capture_output=True,
        text=True,
    ).stdout
    return json.loads(output)


def folder():
    return tempfile.TemporaryDirectory(prefix="tarvex-bench-")


def verdict(text, value, limit, at_most=True):
    """Prints a figure beside its limit; True when it keeps it."""
    good = value <= limit if at_most else value >= limit
    sign = "<=" if at_most else ">="
    print(f"  {text}: {value:.3g} (limit {sign} {limit:g}) {'ok' if good else 'MISSED'}")
    return good
