"""What the tests of records and of data collection share."""

import pytest
from program import World
from verdicts import write_scenario


@pytest.fixture
def world(tmp_path):
    write_scenario(tmp_path / "scenario.json")
    made = World(tmp_path, tmp_path / "scenario.json")
    made.store = made.state_dir / "records.db"
    made.environment["TZ"] = "CET-1"
    return made
