"""What these tests have in common: a world whose one module does whatever a module should not."""

import json
import os
import re
import shutil
import time
from pathlib import Path

import pytest
from program import BINARY_DIR, World

# How long a process may outlive what it belongs to.
SECOND = 1.0


class SelftestWorld(World):
    """Folders for runs with the self-test module alone, and a look at the processes of its runs."""

    def __init__(self, root):
        super().__init__(root)
        self.modules = self.root / "modules"
        self.modules.mkdir(mode=0o755)
        shutil.copy(BINARY_DIR / "tests" / "modules" / "selftest.so", self.modules)
        (self.modules / "selftest.so").chmod(0o644)
        self.environment["ORVAN_MODULE_DIR"] = str(self.modules)

    def set(self, **settings):
        lines = "".join(f"{name}={value}\n" for name, value in settings.items())
        path = self.config_dir / "service.ini"
        path.write_text(f"[selftest]\n{lines}", encoding="utf-8")
        path.chmod(0o644)

    def log_text(self):
        """The only log."""
        (path,) = (self.state_dir / "log").iterdir()
        return path.read_text(encoding="utf-8")

    def log_lines(self):
        """The messages of all lines of the only log that have one."""
        return [
            message
            for line in self.log_text().splitlines()
            for message in re.findall(r'"message":\s*"((?:[^"\\]|\\.)*)"', line)
        ]

    def measurements(self):
        return [json.loads(line) for line in self.log_text().splitlines() if '"measurement"' in line]

    def processes(self):
        """Those that hold the module open, which its workers and all they start do; no zombies."""
        found = []
        for entry in Path("/proc").iterdir():
            if not entry.name.isdigit():
                continue
            try:
                state = (entry / "stat").read_text().rsplit(") ", 1)[1][0]
                name = (entry / "comm").read_text().strip()
                links = [os.readlink(link) for link in (entry / "fd").iterdir()]
            except (OSError, IndexError):
                continue
            if state != "Z" and name != "TarvexDiagnosti" and str(self.modules) in links:
                found.append(int(entry.name))
        return found

    def expect_no_process(self, within=SECOND):
        """All of them are gone, after a second at most."""
        deadline = time.monotonic() + within
        while left := self.processes():
            assert time.monotonic() < deadline, f"still there: {left}"
            time.sleep(0.005)


    def copy_program(self, worker=None):
        """A copy of the program, with that worker or none."""
        for part in ("bin/TarvexDiagnosticsCLI", "lib/liborvan_service.so", "lib/libhostlayer.so"):
            self.copy_part(BINARY_DIR / part, part)
        if worker:
            self.copy_part(worker, "lib/orvan/orvan-worker")
        return self.root / "copy/bin/TarvexDiagnosticsCLI"

    def copy_part(self, source, place):
        target = self.root / "copy" / place
        target.parent.mkdir(mode=0o755, parents=True, exist_ok=True)
        shutil.copy(source, target)


@pytest.fixture
def world(tmp_path):
    world = SelftestWorld(tmp_path)
    yield world
    for process in world.processes():
        os.kill(process, 9)


def verdicts(output):
    """Pairs of what is shown of each test: its status and the text before it."""
    pattern = re.compile(r"=> ([^\r\n]*)(.*?)Test Status: ([^!]*)!", re.S)
    return [
        (name.strip(), status, " ".join(re.findall(r"\[Info\] ([^\r\n]*)", text)).strip())
        for name, text, status in pattern.findall(output)
    ]
