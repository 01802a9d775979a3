"""A thousand machines that are not there: each has its name, its id, its disks and its state folder, and
runs the real program over scenarios.
"""

import json
import os
import shlex
import subprocess
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from pathlib import Path

from program import PROGRAM, World

STATUS = {"passed": 0, "failed": 1, "not applicable": 3, "canceled": 4, "warning": 5, "invalid": 6}
MACHINE_ID = Path("/etc/machine-id")


@dataclass(frozen=True)
class Kind:
    """Some machines that are alike. `course` is what the read test of the second disk finds, run by run."""

    name: str
    count: int
    model: str
    course: tuple


FLEET = (
    Kind("sound", 780, "Steady 4T", ("passed",)),
    Kind("lucky", 100, "Brittle 2T", ("passed",)),
    Kind("failing", 40, "Brittle 2T", ("failed",)),
    Kind("worsening", 20, "Brittle 2T", ("passed", "warning", "failed")),
    Kind("healed", 10, "Brittle 2T", ("failed", "passed")),
    Kind("stopped", 20, "Steady 4T", ("canceled",)),
    Kind("untried", 20, "Steady 4T", ("invalid",)),
    Kind("unfit", 10, "Steady 4T", ("not applicable",)),
)
MACHINES = sum(kind.count for kind in FLEET)
RUNS = sum(kind.count * len(kind.course) for kind in FLEET)
# Two disks, two tests each.
RESULTS = 4 * RUNS


def disk(number, model, serial):
    entries = [{"label": "MODEL", "value": model}, {"label": "SERIAL_NUMBER", "value": serial}]
    return {"id": str(number), "name": model, "udi": f"{model}_{serial}", "entries": entries}


def test(number, name, **more):
    long_name = name.lower().replace("_", "-")
    return {
        "name": name,
        "option": long_name[0],
        "longName": long_name,
        "key": {"identifier": 100 + number},
        **more,
    }


def scenario(kind, number, verdict, duration=0):
    """The machine of that number, on whose second disk the read test comes to `verdict`."""
    outcome = {"status": STATUS[verdict], "durationMs": duration}
    if verdict in ("failed", "warning"):
        words = "|UNREADABLE_SECTOR_AT_|L|B|A_2048"
        outcome["reports"] = [{"atMs": 0, "percent": 40, "message": words}]
    tests = [test(0, "FUNNEL_TEST"), test(1, "READ_TEST", outcomes={"1": outcome})]
    diagnostic = {"name": "QUICK_TEST", "option": "Q", "longName": "quick", "tests": tests}
    diagnostic["key"] = {"minor": 1, "identifier": 1}
    name = f"{kind.name}-{number}"
    disks = [disk(0, "Steady 4T", f"{name}-S"), disk(1, kind.model, f"{name}-D")]
    module = {"name": "storage", "diagnostics": [diagnostic], "devices": disks}
    return {"modules": [module]}


def as_machine(name, folder):
    """What a command begins with so that it runs on the machine of that name."""
    own = [] if os.geteuid() == 0 else ["--user", "--map-root-user"]
    lines = [f"hostname {shlex.quote(name)}", 'exec "$@"']
    if MACHINE_ID.exists():
        # Any will do that is its own.
        (folder / "machine-id").write_text(f"{name.encode().hex()[-32:]:0>32}\n", encoding="utf-8")
        lines.insert(0, f"mount --bind {shlex.quote(str(folder / 'machine-id'))} {MACHINE_ID}")
    return ["unshare", *own, "--uts", "--mount", "--", "sh", "-e", "-c", "\n".join(lines), "sh"]


def run_machine(root, kind, number):
    """All runs of one machine. Its state lies in `root`/NAME."""
    name = f"{kind.name}-{number}"
    world = World(root / name)
    commands = []
    for turn, verdict in enumerate(kind.course):
        path = world.root / f"scenario-{turn}.json"
        path.write_text(json.dumps(scenario(kind, number, verdict)), encoding="utf-8")
        commands.append(f"ORVAN_SCENARIO={shlex.quote(str(path))} {shlex.quote(str(PROGRAM))} -Mstorage -Q || true")
    done = subprocess.run(
        [*as_machine(name, world.root), "sh", "-e", "-c", "\n".join(commands)],
        env=world.environment,
        cwd=world.work_dir,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.PIPE,
        start_new_session=True,
        timeout=120,
        check=True,
    )
    assert done.stderr == b"", done.stderr
    return name


def run_fleet(root, fleet=FLEET):
    """Runs them all; afterwards the logs of each lie in `root`/NAME/state/log."""
    machines = [(kind, number) for kind in fleet for number in range(kind.count)]
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        return list(pool.map(lambda machine: run_machine(root, *machine), machines))
