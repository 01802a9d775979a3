"""tarvex-history as its tests run it, on logs that the real program left."""

import json
import os
import subprocess

from program import BINARY_DIR, SOURCE_DIR, World

HISTORY = BINARY_DIR / "bin" / "tarvex-history"
SCENARIOS = SOURCE_DIR / "tests" / "golden" / "scenarios"


def history(*arguments, state=None, environment=None, **options):
    """What the program says; bytes of both streams and the exit status."""
    return subprocess.run(
        [str(HISTORY), *(["--state", str(state)] if state else []), *map(str, arguments)],
        env={**os.environ, **(environment or {})},
        stdin=subprocess.DEVNULL,
        capture_output=True,
        timeout=120,
        check=False,
        **options,
    )


def answer(*arguments, state=None):
    """The JSON that it answers with, when it says nothing else."""
    told = history(*arguments, "--json", state=state)
    assert (told.returncode, told.stderr) == (0, b"")
    return json.loads(told.stdout)


def make_run(folder, arguments=("-Mstorage", "-Q"), scenario=SCENARIOS / "verdicts.json"):
    """A run of the real program; the world in which it was made."""
    world = World(folder, scenario)
    world.run(list(arguments))
    return world


def only_log(world):
    (path,) = (world.state_dir / "log").iterdir()
    return path
