"""What these tests have in common: a world where loop devices are disks, and disks."""

import os
import shutil

import pytest
from disk import ENDLESS, SECTORS, SERVER, SMALL, FaultyDisk
from program import BINARY_DIR, World


@pytest.fixture
def world(tmp_path):
    assert os.geteuid() == 0, "loop devices need root"
    world = World(tmp_path)
    (world.config_dir / "service.ini").write_text(
        "[storage]\ninclude_loop=1\ntimeout_seconds=2\n", encoding="utf-8"
    )
    # Disks alone: what other modules say of this machine is no concern of theirs.
    modules = tmp_path / "modules"
    modules.mkdir(mode=0o755)
    shutil.copy(BINARY_DIR / "lib" / "orvan" / "modules" / "storage.so", modules)
    (modules / "storage.so").chmod(0o644)
    world.environment["ORVAN_MODULE_DIR"] = str(modules)
    return world


@pytest.fixture
def disk(tmp_path):
    assert SERVER.exists()
    with FaultyDisk(tmp_path, SECTORS) as disk:
        yield disk


@pytest.fixture
def small_disk(tmp_path):
    """For what makes every sector be tried on its own."""
    with FaultyDisk(tmp_path, SMALL) as disk:
        yield disk


@pytest.fixture
def endless_disk(tmp_path):
    """For a read that is still under way when the test wants something of it."""
    with FaultyDisk(tmp_path, ENDLESS) as disk:
        yield disk
