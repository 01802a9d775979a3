"""A run that writes its log into a stranger's folder, which he has filled with files like logs."""

import os
import stat

LOGS = 3000
# As nobody: sparse files of a megabyte, of which none has the end of a run.
PLANT = """
for number in $(seq 1 "$1"); do echo "tarvex-20250101T000000.000Z-$number.jsonl"; done |
  xargs truncate -s 1M
"""


def logs(folder):
    return sorted(name for name in os.listdir(folder) if name.startswith("tarvex-"))


def test_a_log_in_a_strangers_folder_is_roots_alone(world, stranger):
    # Whatever is made there gets his group, and is no secret from it by the umask.
    stranger.does("chmod", "2777", ".")
    os.chmod(stranger.folder, 0o2777)
    result = world.run(
        ["-Mstorage", "-Qp", "0", f"-s{stranger.folder}"], preexec_fn=lambda: os.umask(0)
    )
    assert result.returncode == 0
    [name] = logs(stranger.folder)
    status = os.stat(stranger.folder / name)
    assert (stat.S_IMODE(status.st_mode), status.st_uid) == (0o600, 0)


def test_planted_logs_are_neither_told_of_nor_counted(world, stranger):
    stranger.does("/bin/sh", "-c", PLANT, "sh", str(LOGS))
    planted = logs(stranger.folder)
    assert len(planted) == LOGS
    earlier = []
    # More than one run, for each looks after the logs of those before it.
    for _ in range(2):
        result = world.run(["-Mstorage", "-Qp", "0", f"-s{stranger.folder}"])
        assert result.returncode == 0
        [name] = set(logs(stranger.folder)) - set(planted) - set(earlier)
        assert b"earlier-run-unfinished" not in (stranger.folder / name).read_bytes()
        earlier.append(name)
    assert logs(stranger.folder) == sorted(planted + earlier)
