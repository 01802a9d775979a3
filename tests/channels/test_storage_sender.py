"""The storage controller vendor's library beside the program: taken up, given back, or refused."""

import os
import shutil
import subprocess

import pytest
from program import BINARY_DIR
from reports import FAILED

PROBE = BINARY_DIR / "tests" / "storage_sender_probe"
STRANGER = 12345

# The command is all zeros, but for the size of the data, 260, at offset 28.
COMMAND = ["command " + "00" * 28 + "04010000", "data 260 on the stack"]

as_root = pytest.mark.skipif(os.geteuid() != 0, reason="only root can give a file away")


@pytest.fixture
def folder(installed):
    shutil.copy2(PROBE, installed.parent)
    return installed.parent


@pytest.fixture
def library(folder):
    """A library that would be taken up."""
    return place(folder, "success")


def place(folder, kind):
    path = folder / "storelib.dll"
    shutil.copy2(BINARY_DIR / "tests" / "storelib" / kind / "storelib.dll", path)
    path.chmod(0o644)
    return path


def said(folder):
    """What the probe and the library said."""
    result = subprocess.run(
        [folder / PROBE.name], cwd="/", capture_output=True, text=True, timeout=30, check=False
    )
    assert (result.returncode, result.stderr) == (0, "")
    return result.stdout.splitlines()


def test_library_that_succeeds_stays_and_is_asked_once(folder, library):
    assert said(folder) == ["loaded", *COMMAND, "stays", "stays", "unloaded"]


def test_library_that_answers_an_error_is_unloaded(folder):
    place(folder, "error")
    assert said(folder) == ["loaded", *COMMAND, "unloaded", "is not there"] * 2


def test_library_without_the_entry_is_unloaded(folder):
    place(folder, "no_entry")
    assert said(folder) == ["loaded", "unloaded", "is not there"] * 2


def refused(folder):
    return said(folder) == ["is not there"] * 2


def test_absent_library_is_no_fault(folder):
    assert refused(folder)


@pytest.mark.parametrize("content", [b"", b"#!/bin/sh\n", b"\x7fELF\x02\x01\x01"])
def test_file_that_is_no_library(folder, content):
    (folder / "storelib.dll").write_bytes(content)
    assert refused(folder)


def test_folder_and_pipe_in_place_of_the_library(folder):
    (folder / "storelib.dll").mkdir()
    assert refused(folder)
    (folder / "storelib.dll").rmdir()
    os.mkfifo(folder / "storelib.dll")
    assert refused(folder)


def test_link_to_a_library_is_refused(folder, library):
    library.rename(folder / "other.dll")
    library.symlink_to("other.dll")
    assert refused(folder)


def test_library_that_others_may_write_is_refused(folder, library):
    library.chmod(0o646)
    assert refused(folder)


@as_root
def test_library_of_a_stranger_is_refused(folder, library):
    os.chown(library, STRANGER, STRANGER)
    assert refused(folder)


def test_library_in_a_folder_that_others_may_write_is_refused(folder, library):
    folder.chmod(0o777)
    assert refused(folder)


@as_root
def test_library_below_a_folder_of_a_stranger_is_refused(folder, library):
    os.chown(folder.parent, STRANGER, STRANGER)
    assert refused(folder)


@pytest.mark.parametrize(
    "kind,heard",
    [
        (None, []),
        ("success", ["loaded", *COMMAND, "unloaded"]),
        ("error", ["loaded", *COMMAND, "unloaded"]),
        ("no_entry", ["loaded", "unloaded"]),
    ],
)
def test_run_is_the_same_whatever_becomes_of_the_library(world, installed, kind, heard):
    if kind is not None:
        place(installed.parent, kind)
    path = world.root / "report.txt"
    result = subprocess.run(
        [installed, "-Mstorage", "-Qf", "0", f"-o{path}"],
        env=world.environment,
        start_new_session=True,
        capture_output=True,
        check=False,
    )
    assert (result.returncode, result.stderr) == (21, b"")
    assert result.stdout.decode().splitlines() == heard
    assert path.read_bytes() == FAILED
