"""A machine whose diagnostic Q has many tests that are shorter than half a second."""

import json

TESTS = 20
TEST_MS = 300


def short_tests(folder):
    """Writes the scenario into the folder and returns its path."""
    tests = [
        {
            "name": f"TEST_{number}",
            "option": f"t{number}",
            "longName": f"test-{number}",
            "key": {"identifier": 100 + number},
            "outcome": {"durationMs": TEST_MS},
        }
        for number in range(TESTS)
    ]
    quick = {"name": "QUICK_TEST", "option": "Q", "longName": "quick", "tests": tests}
    quick["key"] = {"minor": 1, "identifier": 1}
    devices = [{"id": "0", "name": "Disk A"}]
    module = {"name": "storage", "diagnostics": [quick], "devices": devices}
    path = folder / "short_tests.json"
    path.write_text(json.dumps({"modules": [module]}), encoding="utf-8")
    return path
