"""A file that the program writes in a stranger's folder is never another one of root's."""

import os

import pytest


OUTPUT_FAILED = 6
KEY = "0123456789abcdef"


def report(world, folder):
    found = world.run(["-v", f"-o{folder}/report"])
    assert found.returncode in (0, OUTPUT_FAILED)
    return folder / "report"


def spool(world, folder):
    caller = [f"-CHelm,1.2,{KEY},{folder}", "-e1"]
    assert world.run([*caller, "-Mstorage", "-Qp", "0"]).returncode == 0
    return folder / "data-collection.jsonl"


WRITERS = pytest.mark.parametrize("write", [report, spool])


@WRITERS
def test_a_file_of_its_own_is_written(world, stranger, write):
    path = write(world, stranger.folder)
    assert path.stat().st_uid == 0
    assert path.stat().st_size > 0


@WRITERS
@pytest.mark.parametrize("put", [os.link, os.symlink])
def test_a_name_of_roots_file_is_not(world, stranger, place, write, put):
    """Of a second name, which the system may keep the stranger from making, and of a link."""
    path = write(world, stranger.folder)
    path.unlink()
    (place / "precious").write_text("text")
    (place / "precious").chmod(0o644)
    put(place / "precious", path)
    if put is os.symlink:
        os.lchown(path, stranger.user.pw_uid, stranger.user.pw_gid)
    write(world, stranger.folder)
    assert (place / "precious").read_text() == "text"
    assert (place / "precious").stat().st_mode & 0o777 == 0o644


@WRITERS
def test_nothing_is_written_behind_a_strangers_link(world, stranger, place, write):
    (place / "precious").mkdir(mode=0o755)
    stranger.does("ln", "-s", str(place / "precious"), "way")
    write(world, stranger.folder / "way")
    assert os.listdir(place / "precious") == []
