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
    """The calls of that name so far, in their order."""
    path = world.root / "trace.jsonl"
    lines = path.read_text(encoding="utf-8").splitlines() if path.exists() else []
    return [call for call in map(json.loads, lines) if call["call"] == name]
