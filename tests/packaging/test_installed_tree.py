"""`cmake --install` gives a tree that works wherever it lies, with every file in its place."""

import os
import re
import shutil
import subprocess

import pytest
from program import BINARY_DIR, SOURCE_DIR, World

PRIVATE = "lib/tarvex-diagnostics"
SCENARIO = SOURCE_DIR / "tests/golden/scenarios/verdicts.json"
# Where an installation may put something; what lies beside these is in nobody's way.
PLACES = (
    *("bin/", f"{PRIVATE}/", "lib/systemd/system/", "share/tarvex-diagnostics/", "share/man/man"),
    *("share/bash-completion/completions/", "share/zsh/vendor-completions/"),
    "share/fish/vendor_completions.d/",
)
PARTS = {
    "bin/TarvexDiagnosticsCLI",
    f"{PRIVATE}/libconfig_reader.so",
    f"{PRIVATE}/libhistory_postgresql.so",
    f"{PRIVATE}/libhostlayer.so",
    f"{PRIVATE}/liborvan_service.so",
    f"{PRIVATE}/orvan/orvan-worker",
    f"{PRIVATE}/orvan/modules/storage.so",
    "share/tarvex-diagnostics/postgresql/migrate.sh",
    "share/tarvex-diagnostics/postgresql/migrations/0001-tables.sql",
    "share/tarvex-diagnostics/postgresql/roles.sql",
}


def files_below(root):
    return {
        os.path.relpath(os.path.join(folder, name), root)
        for folder, _, names in os.walk(root)
        for name in names
    }


@pytest.fixture(scope="module")
def prefix(tmp_path_factory):
    """The installed tree, moved away from where it was installed."""
    made = tmp_path_factory.mktemp("installed")
    subprocess.run(
        ["cmake", "--install", BINARY_DIR, "--prefix", made / "first"],
        check=True,
        stdout=subprocess.DEVNULL,
    )
    shutil.move(made / "first", made / "moved")
    return made / "moved"


@pytest.fixture
def world(tmp_path):
    return World(tmp_path, SCENARIO)


def dynamic_section(path):
    return subprocess.run(
        ["readelf", "--dynamic", path], capture_output=True, text=True, check=True
    ).stdout


def project_version():
    cache = (BINARY_DIR / "CMakeCache.txt").read_text()
    return re.search(r"^CMAKE_PROJECT_VERSION:STATIC=(.*)$", cache, re.M).group(1)


def test_every_part_is_there_and_nothing_lies_elsewhere(prefix):
    files = files_below(prefix)
    assert PARTS <= files
    assert sorted(file for file in files if not file.startswith(PLACES)) == []
    assert sorted(file for file in files if "test" in file.lower() or file.endswith(".pyc")) == []


def test_the_linker_looks_nowhere_but_in_the_installed_tree(prefix):
    looked_at = 0
    for file in sorted(files_below(prefix)):
        if (prefix / file).read_bytes()[:4] != b"\x7fELF":
            continue
        folders = re.findall(r"\((?:RUNPATH|RPATH)\).*\[(.*)\]", dynamic_section(prefix / file))
        for folder in ":".join(folders).split(":"):
            place = os.path.normpath(folder.replace("$ORIGIN", os.path.dirname(file)))
            assert folder.startswith("$ORIGIN") and place == PRIVATE, f"{file}: {folder}"
            looked_at += 1
    assert looked_at >= len(PARTS)


def test_it_runs_with_its_own_libraries_worker_and_modules(prefix, world):
    program = prefix / "bin/TarvexDiagnosticsCLI"
    run = world.run(["-Mstorage", "-Qp", "0"], program=program)
    assert (run.stderr, run.returncode) == (b"", 0), run.stdout
    del world.environment["ORVAN_SCENARIO"]
    listed = world.run(["-A"], program=program)
    assert (listed.stderr, listed.returncode) == (b"", 0)
    assert b"\n  - storage\n" in listed.stdout
    world.environment["LD_DEBUG"] = "files"
    searched = world.run(["-Mstorage", "-D"], program=program)
    used = set(re.findall(r"calling init: (.*tarvex-diagnostics/.*)", searched.stderr.decode()))
    assert {os.path.realpath(path) for path in used} == {
        str(prefix / PRIVATE / name) for name in ("libhostlayer.so", "liborvan_service.so")
    }


def test_it_reads_a_config_file_with_the_library_that_was_installed(prefix, world):
    (world.work_dir / "config.ini").write_text("[STORAGE]\nENABLE_TARVEX_DRIVE_INFO=1\n")
    world.environment["ORVAN_SCENARIO"] = str(SOURCE_DIR / "tests/golden/scenarios/smart.json")
    told = world.run(["-Mstorage", "-Tsmart", "-i"], program=prefix / "bin/TarvexDiagnosticsCLI")
    assert (told.stderr, told.returncode) == (b"", 0)
    assert b"Serial" in told.stdout


def test_the_version_is_the_one_of_the_project(prefix, world):
    told = world.run(["-v"], program=prefix / "bin/TarvexDiagnosticsCLI").stdout.decode()
    assert f"CLI - version {project_version()}\n" in told
