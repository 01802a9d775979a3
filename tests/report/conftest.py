"""What the report's tests have in common: the package, the program, the browser and its checker."""

import fcntl
import json
import os
import subprocess
import sys
from pathlib import Path

import pytest

HERE = Path(__file__).resolve().parent
SOURCE_DIR = Path(os.environ["TARVEX_SOURCE_DIR"])
BINARY_DIR = Path(os.environ["TARVEX_BINARY_DIR"])
sys.path.insert(0, str(SOURCE_DIR / "companions" / "report"))

import sample_runs  # noqa: E402
from browser import Browser  # noqa: E402
from program import World  # noqa: E402

HISTORY = BINARY_DIR / "bin" / "tarvex-history"
RECORDED = "s,r(blocks=200,seed=7),l(block_kib=128)"
PROGRAM = BINARY_DIR / "bin" / "tarvex-report"
MODULES = BINARY_DIR / "npm" / "report"
# The page's time of making, so that two of the same runs are the same page.
EPOCH = "1795250000"


def made_by_program(arguments, program=PROGRAM, **more):
    """What the real program did."""
    environment = {"PATH": "/usr/bin:/bin", "TZ": "UTC", "LC_ALL": "C.UTF-8", "SOURCE_DATE_EPOCH": EPOCH}
    return subprocess.run(
        [str(program), *map(str, arguments)],
        capture_output=True,
        env=environment | more.pop("environment", {}),
        **more,
    )


class Desk:
    """A folder with documents and the pages that are made of them."""

    def __init__(self, folder):
        self.folder = folder

    def document(self, run, name="run.json"):
        path = self.folder / name
        path.write_text(json.dumps(run), encoding="utf-8")
        return path

    def page(self, runs, name="report.html"):
        paths = [self.document(run, f"{name}-{index}.json") for index, run in enumerate(runs)]
        page = self.folder / name
        done = made_by_program([*paths, "-o", page])
        assert (done.returncode, done.stdout, done.stderr) == (0, b"", b"")
        return page


@pytest.fixture
def desk(tmp_path):
    return Desk(tmp_path)


@pytest.fixture(scope="session")
def visited(tmp_path_factory):
    """A machine that came to the workshop three times, its second disk worse each time."""
    made = World(tmp_path_factory.mktemp("visits"))
    for visit, status in (("first", 0), ("second", 22), ("third", 21)):
        recording = SOURCE_DIR / "examples" / "workshop" / f"{visit}_visit.recording"
        made.environment["ORVAN_REPLAY"] = str(recording)
        assert made.run(["-Mstorage", f"-E{RECORDED}"]).returncode == status
    return made


def visits_of(world):
    """These runs as they would be, had they been made when the machine came, and there."""
    documents = []
    for log, day in zip(sorted((world.state_dir / "log").iterdir()), ("09-14", "10-12", "11-09")):
        told = subprocess.run([HISTORY, "--json", "run", log], capture_output=True, check=True).stdout
        times = {"start": f"2026-{day}T09:30:00.000Z", "end": f"2026-{day}T09:31:12.000Z"}
        documents.append(json.loads(told) | times | {"machine": "workshop"})
    return documents


@pytest.fixture(scope="session")
def pages(tmp_path_factory, visited):
    """The pages that are looked at in the browser, by name."""
    desk = Desk(tmp_path_factory.mktemp("pages"))
    made = {
        "failing": [sample_runs.failing()],
        "healthy": [sample_runs.healthy()],
        "course": sample_runs.course(),
        "hostile": [sample_runs.hostile()],
        "innocent": [sample_runs.hostile(sample_runs.INNOCENT)],
        "visits": visits_of(visited),
    }
    return {name: desk.page(runs, f"{name}.html") for name, runs in made.items()}


@pytest.fixture(scope="session")
def browser(tmp_path_factory):
    with Browser(tmp_path_factory.mktemp("browser")) as browser:
        yield browser


@pytest.fixture(scope="session")
def axe():
    """The accessibility checker, a script to be run in a page; of the version that is pinned here."""
    MODULES.mkdir(parents=True, exist_ok=True)
    lock = (HERE / "package-lock.json").read_text(encoding="utf-8")
    with (MODULES / "lock").open("w") as held:
        fcntl.flock(held, fcntl.LOCK_EX)
        there = MODULES / "package-lock.json"
        script = MODULES / "node_modules" / "axe-core" / "axe.min.js"
        if not script.exists() or there.read_text(encoding="utf-8") != lock:
            for name in ("package.json", "package-lock.json"):
                (MODULES / name).write_text((HERE / name).read_text(encoding="utf-8"))
            subprocess.run(
                ["npm", "ci", "--ignore-scripts", "--no-audit", "--no-fund"],
                cwd=MODULES,
                check=True,
                capture_output=True,
            )
    return script.read_text(encoding="utf-8")
