"""Runs the real program in a world of its own: own folders, own scenario, no terminal."""

import os
import subprocess
from pathlib import Path

SOURCE_DIR = Path(os.environ["TARVEX_SOURCE_DIR"])
BINARY_DIR = Path(os.environ["TARVEX_BINARY_DIR"])
# What the program was built with, such as "thread"; empty for none.
SANITIZE = os.environ.get("TARVEX_SANITIZE", "")
PROGRAM = BINARY_DIR / "bin" / "TarvexDiagnosticsCLI"


class World:
    """Folders for one run of the program below `root`, and the environment that names them."""

    def __init__(self, root, scenario=None, locale="C.UTF-8"):
        self.root = Path(root)
        self.run_dir = self.root / "run"
        self.state_dir = self.root / "state"
        self.config_dir = self.root / "config"
        self.work_dir = self.root / "work"
        for folder in (self.run_dir, self.state_dir, self.config_dir, self.work_dir):
            folder.mkdir(mode=0o700, parents=True, exist_ok=True)
        self.environment = {
            "PATH": "/usr/sbin:/usr/bin:/sbin:/bin",
            "LC_ALL": locale,
            "TARVEX_RUN_DIR": str(self.run_dir),
            "TARVEX_STATE_DIR": str(self.state_dir),
            "TARVEX_CONFIG_DIR": str(self.config_dir),
        }
        if scenario is not None:
            self.environment["ORVAN_SCENARIO"] = str(scenario)
        for name in ("ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"):
            if name in os.environ:
                self.environment[name] = os.environ[name]

    def run(
        self, arguments, timeout=180, stdin=subprocess.DEVNULL, preexec_fn=None, program=PROGRAM
    ):
        """Runs the program to its end; bytes of both streams and the exit status."""
        return subprocess.run(
            [str(program), *arguments],
            env=self.environment,
            cwd=self.work_dir,
            stdin=stdin,
            capture_output=True,
            timeout=timeout,
            preexec_fn=preexec_fn,
            start_new_session=True,  # no controlling terminal, so no key is ever waiting
            check=False,
        )

    def start(self, arguments, **options):
        """Starts the program and returns the Popen object."""
        return subprocess.Popen(
            [str(PROGRAM), *arguments], env=self.environment, cwd=self.work_dir, **options
        )
