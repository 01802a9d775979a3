"""Whether a test's servers outlive it: a program starts them, and is killed."""

import os
import shutil
import subprocess
import sys
import time
from pathlib import Path

SECONDS = 30
# The last words of such a program; `cluster` is what it started.
LEAVE = "print(cluster.folder, *{}, flush=True); input()"


def is_there(process):
    status = Path(f"/proc/{process}/stat")
    return status.exists() and status.read_text(encoding="utf-8").rpartition(")")[2].split()[0] != "Z"


def left_behind(program, processes):
    """Those of `processes` (what gives their numbers, in `program`) that are there long after it was killed."""
    command = [sys.executable, "-B", "-c", f"{program}\n{LEAVE.format(processes)}"]
    # It finds what whoever asks does.
    environment = {**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)}
    starter = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, env=environment)
    folder, *numbers = starter.stdout.readline().split()
    starter.kill()
    starter.communicate()
    numbers = list(map(int, numbers))
    assert numbers
    deadline = time.monotonic() + SECONDS
    while any(map(is_there, numbers)) and time.monotonic() < deadline:
        time.sleep(0.02)
    left = [number for number in numbers if is_there(number)]
    shutil.rmtree(folder)
    return left
