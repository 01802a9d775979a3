"""The report of -o at odd paths: it is written or refused, and nothing hangs or is lost."""

import contextlib
import json
import os
import resource
import signal
import socket
import stat
import subprocess

import pytest
from conftest import SCENARIO
from program import PROGRAM
from reports import BANNER, FAILED, NO_PATH, PASSED, REFUSED, wait_for

FAILURE = 21
CANCELED = 25
NOT_OPENED = 6
STRANGER = 12345

as_root = pytest.mark.skipif(os.geteuid() != 0, reason="only root can give a file away")


def run(world, *words, **options):
    return world.run(["-Mstorage", *words], **options)


def assert_refused(result):
    assert result.returncode == NOT_OPENED
    assert result.stdout.startswith(BANNER + REFUSED)
    assert b"=> Passing" not in result.stdout


@contextlib.contextmanager
def mounted(folder, options):
    """A file system in memory."""
    folder.mkdir()
    mount = ["mount", "-t", "tmpfs", "-o", options, "tmpfs", folder]
    if subprocess.run(mount, capture_output=True, check=False).returncode != 0:
        pytest.skip("nothing can be mounted here")
    try:
        yield folder
    finally:
        subprocess.run(["umount", folder], check=True)


def many_disks(folder):
    """A machine whose report is long."""
    machine = json.loads(SCENARIO.read_text(encoding="utf-8"))
    machine["modules"][0]["devices"] = [{"id": str(i), "name": f"Disk {i}"} for i in range(40)]
    path = folder / "many.json"
    path.write_text(json.dumps(machine), encoding="utf-8")
    return str(path)


# ---- Written -------------------------------------------------------------------------------------


@pytest.mark.parametrize("attached", [True, False])
def test_absolute_path(world, attached):
    path = str(world.root / "report.txt")
    result = run(world, "-Qf", "0", *(["-o" + path] if attached else ["-o", path]))
    assert (world.root / "report.txt").read_bytes() == FAILED
    assert (result.returncode, result.stdout, result.stderr) == (FAILURE, b"", b"")


@pytest.mark.parametrize(
    "given,place",
    [
        ("report.txt", "report.txt"),
        ("a/b/report.txt", "a/b/report.txt"),
        ("a\\b\\\\report.txt", "a/b/report.txt"),
        ("../report.txt", "../report.txt"),
        ("AUXILIARY", "AUXILIARY"),
    ],
)
def test_relative_path_counts_from_the_program(world, installed, given, place):
    words = [installed, "-Mstorage", "-Qp", "0", "-o", given]
    result = subprocess.run(
        words, env=world.environment, cwd=world.work_dir, start_new_session=True, check=False
    )
    assert result.returncode == 0
    assert (installed.parent / place).read_bytes() == PASSED
    assert list(world.work_dir.iterdir()) == []


def test_new_folders_are_made(world):
    run(world, "-Qp", "0", "-o", f"{world.root}/new\\deep//report.txt")
    assert (world.root / "new/deep/report.txt").read_bytes() == PASSED


@pytest.mark.parametrize("name", [b"a\x01\x1b[31m\n\x7f", b"caf\xe9 \xff\xfe", "Prüf ☃".encode()])
def test_name_of_odd_bytes_is_kept(world, name):
    folder = world.root / "odd"
    run(world, "-Qp", "0", b"-o" + bytes(folder) + b"/" + name)
    assert os.listdir(bytes(folder)) == [name]
    assert (folder / os.fsdecode(name)).read_bytes() == PASSED


def test_second_run_truncates(world):
    path = world.root / "report.txt"
    run(world, "-Qp,f", "0", f"-o{path}")
    run(world, "-Qp", "0", f"-o{path}")
    assert path.read_bytes() == PASSED


@as_root
def test_strangers_file_is_written_and_stays_his(world):
    path = world.root / "report.txt"
    path.write_bytes(b"old " * 1000)
    os.chown(path, STRANGER, STRANGER)
    path.chmod(0o640)
    assert run(world, "-Qp", "0", f"-o{path}").returncode == 0
    assert path.read_bytes() == PASSED
    about = path.stat()
    assert (about.st_uid, stat.S_IMODE(about.st_mode)) == (STRANGER, 0o640)


@pytest.mark.parametrize("device", ["/dev/null", "/dev/full"])
def test_device_without_bottom(world, device):
    result = run(world, "-Qf", "0", "-o" + device)
    assert (result.returncode, result.stdout) == (FAILURE, b"")


def test_own_link_on_the_way_is_followed(world):
    (world.root / "real").mkdir()
    (world.root / "link").symlink_to("real")
    run(world, "-Qp", "0", f"-o{world.root}/link/new/report.txt")
    assert (world.root / "real/new/report.txt").read_bytes() == PASSED


def test_of_two_names_the_last_one_is_taken(world):
    first, last = world.root / "first.txt", world.root / "last.txt"
    assert run(world, "-Qp", "0", "-o", str(first), "-o", str(last)).returncode == 0
    warning = b"[Warning] Duplicated option entry, only one entry considered\n\n"
    assert last.read_bytes() == PASSED.replace(BANNER, BANNER + warning)
    assert not first.exists()


# ---- Written as far as it goes -------------------------------------------------------------------


@pytest.fixture
def long_report(world):
    """The whole report of a run that the same command line gives."""
    world.environment["ORVAN_SCENARIO"] = many_disks(world.root)
    path = world.root / "whole.txt"
    assert run(world, "-Qf", f"-o{path}").returncode == FAILURE
    whole = path.read_bytes()
    assert len(whole) > 12000
    return whole


def test_full_disk_keeps_what_found_room(world, long_report):
    with mounted(world.root / "small", "size=8k") as folder:
        result = run(world, "-Qf", f"-o{folder}/report.txt")
        written = (folder / "report.txt").read_bytes()
    line = f"the report {folder}/report.txt is not complete: No space left on device\n"
    assert (result.returncode, result.stdout) == (FAILURE, b"")
    assert result.stderr.decode() == "TarvexDiagnosticsCLI: " + line
    assert len(written) == 8192
    assert long_report.startswith(written)


def test_limit_of_file_sizes_keeps_what_is_below(world, long_report):
    path = world.root / "report.txt"
    result = subprocess.run(
        [PROGRAM, "-Mstorage", "-Qf", f"-o{path}"],
        env=world.environment,
        start_new_session=True,
        capture_output=True,
        preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (5000, 5000)),
        check=False,
    )
    assert (result.returncode, result.stdout) == (FAILURE, b"")
    assert path.read_bytes() == long_report[:5000]


@pytest.mark.parametrize("gone", ["file", "folder"])
def test_report_that_vanishes_does_not_end_the_run(world, gone):
    folder = world.root / "vanishing"
    path = folder / "report.txt"
    words = ["-Mstorage", "-Ql", "0", f"-o{path}"]
    process = world.start(words, stdin=subprocess.DEVNULL, start_new_session=True)
    try:
        wait_for(lambda: path.exists() and b"=> Long\n" in path.read_bytes())
        path.unlink()
        if gone == "folder":
            folder.rmdir()
        process.send_signal(signal.SIGTERM)
        assert process.wait(20) == CANCELED
    finally:
        process.kill()
    assert not path.exists()


# ---- Refused -------------------------------------------------------------------------------------


def test_folder_in_place_of_the_file(world):
    (world.root / "report.txt").mkdir()
    assert_refused(run(world, "-Qp", "0", f"-o{world.root}/report.txt"))
    assert list((world.root / "report.txt").iterdir()) == []


@pytest.mark.parametrize("path", ["folder/", "folder\\", "\\"])
def test_path_that_ends_in_a_separator(world, path):
    assert_refused(run(world, "-Qp", "0", f"-o{world.root}/{path}"))


def test_file_in_place_of_a_folder(world):
    (world.root / "file").write_bytes(b"keep")
    assert_refused(run(world, "-Qp", "0", f"-o{world.root}/file/new/report.txt"))
    assert (world.root / "file").read_bytes() == b"keep"


@pytest.mark.parametrize("has_reader", [True, False])
def test_pipe(world, has_reader):
    path = world.root / "pipe"
    os.mkfifo(path)
    reader = os.open(path, os.O_RDONLY | os.O_NONBLOCK) if has_reader else None
    assert_refused(run(world, "-Qp", "0", f"-o{path}"))
    if has_reader:
        assert os.read(reader, 10) == b""
        os.close(reader)


def test_socket(world, monkeypatch):
    monkeypatch.chdir(world.root)  # the name of a socket has to be short
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind("socket")
        assert_refused(run(world, "-Qp", "0", f"-o{world.root}/socket"))


@pytest.mark.parametrize("path", ["/dev/zero", "/dev/tty", "/dev/stdout", "/proc/self/fd/1"])
def test_device_that_holds_up_or_obeys(world, path):
    assert_refused(run(world, "-Qp", "0", "-o" + path))


@as_root
def test_disk_is_never_written(world):
    path = world.root / "disk"
    image = world.root / "image"
    image.write_bytes(b"keep" * 1024)
    try:
        os.mknod(path, stat.S_IFBLK | 0o600, os.makedev(7, 0))
    except PermissionError:
        pytest.skip("no device can be made here")
    assert_refused(run(world, "-Qp", "0", f"-o{path}"))
    assert stat.S_ISBLK(path.stat().st_mode)


def test_link_in_place_of_the_file(world):
    target = world.root / "victim"
    target.write_bytes(b"keep")
    (world.root / "report.txt").symlink_to(target)
    (world.root / "dangling.txt").symlink_to(world.root / "absent")
    for name in ("report.txt", "dangling.txt"):
        assert_refused(run(world, "-Qp", "0", f"-o{world.root}/{name}"))
    assert target.read_bytes() == b"keep"
    assert not (world.root / "absent").exists()


@as_root
def test_strangers_link_on_the_way_in_a_folder_that_all_may_write(world):
    victim = world.root / "victim"
    victim.mkdir()
    (victim / "report.txt").write_bytes(b"keep")
    shared = world.root / "shared"
    shared.mkdir()
    shared.chmod(0o777)
    (shared / "link").symlink_to(victim)
    os.lchown(shared / "link", STRANGER, STRANGER)
    for place in ("link/report.txt", "link/new/report.txt"):
        assert_refused(run(world, "-Qp", "0", f"-o{shared}/{place}"))
    assert [path.name for path in victim.iterdir()] == ["report.txt"]
    assert (victim / "report.txt").read_bytes() == b"keep"


def test_file_with_a_second_name(world):
    (world.root / "first").write_bytes(b"keep")
    os.link(world.root / "first", world.root / "second")
    assert_refused(run(world, "-Qp", "0", f"-o{world.root}/second"))
    assert (world.root / "first").read_bytes() == b"keep"


def test_read_only_file_system(world):
    with mounted(world.root / "fixed", "ro") as folder:
        assert_refused(run(world, "-Qp", "0", f"-o{folder}/report.txt"))
        assert_refused(run(world, "-Qp", "0", f"-o{folder}/new/report.txt"))


def test_name_of_more_bytes_than_a_name_has(world):
    # 100 characters, so the path as such is no fault; but 300 bytes.
    assert_refused(run(world, "-Qp", "0", f"-o{world.root}/{'☃' * 100}"))


@pytest.mark.parametrize(
    "path",
    ["x", "/" + "x" * 255, "a/" * 2100 + "b", "x" * 5000, "CON", "a\\clock$\\b", "lpt9", "a/ /b"],
    ids=lambda path: path[:12],
)
def test_path_that_is_none(world, path):
    result = run(world, "-Qp", "0", "-o", path)
    assert (result.returncode, result.stdout) == (0, NO_PATH)


# ---- A report that is closed ---------------------------------------------------------------------


def test_closed_report_is_told_once_and_the_run_goes_on(world):
    path = world.root / "report.txt"
    path.mkdir()
    result = run(world, "-Qf,p", "0", f"-o{path}", "--obg-instance")
    assert (result.returncode, result.stdout) == (FAILURE, b"Error opening file\n")
