"""What whole runs leave in a caller's cache folder, and that nothing leaves the machine."""

import json
import re
import subprocess

import pytest
from program import BINARY_DIR, PROGRAM
from verdicts import WORDS

KEY = "0123456789abcdef"
# Without these nobody reaches another machine.
NETWORK = re.compile(r" U (socket|connect|getaddrinfo|gethostbyname)\b")


@pytest.fixture
def cache(world):
    folder = world.root / "cache"
    folder.mkdir()
    world.caller = ["-CHelm,1.2," + KEY + "," + str(folder), "-e1"]
    return folder


def spool(cache):
    return (cache / "data-collection.jsonl").read_text(encoding="utf-8")


def test_a_run_is_one_line(world, cache):
    assert world.run([*world.caller, "-Mstorage", "-Q", "0", "1"]).returncode == 21
    text = spool(cache)
    assert text.count("\n") == 1
    line = json.loads(text)
    for test in line["tests"]:
        assert test.pop("durationMs") >= 5
    words = ["NONE" if word == "UNRECOGNIZED" else word for word in WORDS]
    assert line == {
        "format": 1,
        "programVersion": "5.0.0.0",
        "modules": [{"name": "storage", "version": "1.0.0.0"}],
        "tests": [
            {"module": "storage", "diagnostic": "QUICK_TEST", "test": f"TEST_{status}"}
            | {"verdict": words[status]}
            for _ in range(2)
            for status in range(len(WORDS))
        ],
    }
    world.run([*world.caller, "-Mstorage", "-Qt0", "1"])
    assert spool(cache).startswith(text)
    assert spool(cache).count("\n") == 2


def test_it_names_nobody_and_no_hardware(world, cache):
    world.run([*world.caller, "-Mstorage", "-Q", "0", "1"])
    secrets = ["serial-a", "Disk A", "Helm", "1.2", KEY, "/"]
    assert [secret for secret in secrets if secret in spool(cache)] == []


@pytest.mark.parametrize("arguments", [["-A"], ["-Mstorage", "-D"], ["-Mstorage", "-V", "-Qt0"]])
def test_what_is_no_run_leaves_nothing(world, cache, arguments):
    world.run([*world.caller, *arguments])
    assert list(cache.iterdir()) == []


def test_data_collection_that_is_switched_off_leaves_nothing(world, cache):
    (world.config_dir / "orvan.ini").write_text("[General]\nCollectData=1\n", encoding="utf-8")
    assert world.run([world.caller[0], "-e0", "-Mstorage", "-Qt0", "0"]).returncode == 0
    assert list(cache.iterdir()) == []


def test_the_machines_setting_alone_makes_no_file(world):
    (world.config_dir / "orvan.ini").write_text("[General]\nCollectData=1\n", encoding="utf-8")
    assert world.run(["-Mstorage", "-Qt0", "0"]).returncode == 0
    assert list(world.root.rglob("*.jsonl")) == list((world.state_dir / "log").glob("*.jsonl"))


def imports(path):
    listing = ["nm", "-D", "--undefined-only", str(path)]
    return subprocess.run(listing, check=True, capture_output=True, text=True).stdout


def test_the_program_has_no_code_that_could_send():
    parts = [PROGRAM, *(path for path in (BINARY_DIR / "lib").rglob("*") if path.is_file())]
    names = {path.name for path in parts}
    assert names >= {"libhostlayer.so", "liborvan_service.so", "storage.so", "orvan-worker"}
    assert [path.name for path in parts if NETWORK.search(imports(path))] == []
    assert NETWORK.search(imports("/usr/bin/python3")), "a program that is known to have some"
