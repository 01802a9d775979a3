"""A scenario with a test for each verdict, on two devices."""

import json

# By status.
WORDS = ["PASSED", "FAILED", "UNRECOGNIZED", "NOT_APPLICABLE", "CANCELED", "WARNING", "INVALID"]


def one_test(status, duration_ms):
    return {
        "name": f"TEST_{status}",
        "option": f"t{status}",
        "longName": f"test-{status}",
        "key": {"identifier": 100 + status},
        "outcome": {"status": status, "durationMs": duration_ms},
    }


def write_scenario(path, durations_ms=None):
    """Tests last 5 ms, but for those whose status is in `durations_ms`."""
    durations_ms = durations_ms or {}
    diagnostic = {
        "name": "QUICK_TEST",
        "option": "Q",
        "longName": "quick",
        "key": {"minor": 1, "identifier": 1},
        "tests": [
            one_test(status, durations_ms.get(status, 5)) for status in range(len(WORDS))
        ],
    }
    module = {
        "name": "storage",
        "devices": [
            {"id": "0", "name": "Disk A", "udi": "serial-a"},
            {"id": "1", "name": "Disk B", "udi": "serial-b"},
        ],
        "diagnostics": [diagnostic],
    }
    path.write_text(json.dumps({"modules": [module]}), encoding="utf-8")
