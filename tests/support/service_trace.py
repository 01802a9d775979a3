"""A world whose scenario notes what is asked of the service."""

import json
from pathlib import Path

from program import World


def traced_world(scenario, folder):
    """The world of that scenario file, in which `calls` finds what was asked."""
    tree = json.loads(Path(scenario).read_text(encoding="utf-8"))
    tree["trace"] = "trace.jsonl"
    path = folder / "scenario.json"
    path.write_text(json.dumps(tree), encoding="utf-8")
    return World(folder, path)


def calls(world, name):
    """The calls of that name, in their order."""
    lines = (world.root / "trace.jsonl").read_text(encoding="utf-8").splitlines()
    return [call for call in map(json.loads, lines) if call["call"] == name]
