"""What the tests of the output channels share."""

import shutil
from pathlib import Path

import pytest
from program import BINARY_DIR, PROGRAM, World

SCENARIO = Path(__file__).parent / "channels.json"


@pytest.fixture
def world(tmp_path):
    return World(tmp_path, SCENARIO)


@pytest.fixture
def installed(tmp_path):
    """The program in a folder of its own, for what lies beside it."""
    folder = tmp_path / "installed" / "bin"
    folder.mkdir(parents=True)
    (folder.parent / "lib").symlink_to(BINARY_DIR / "lib")
    shutil.copy2(PROGRAM, folder)
    return folder / PROGRAM.name
