"""Runs the program inside a machine in a world of its own, as tests/support/program.py does here."""

import json
import os
from pathlib import Path

from guest import SECONDS
from kernel import HERE
from outcome import devices

BINARY_DIR = Path(os.environ.get("TARVEX_BINARY_DIR", HERE.parent.parent / "build" / "dev"))
PROGRAM = BINARY_DIR / "bin" / "TarvexDiagnosticsCLI"
TERMINAL = (24, 80)


class GuestWorld:
    """Folders below /lab/NAME of the machine, and the environment that names them."""

    def __init__(self, guest, name):
        self.guest = guest
        self.root = Path("/lab") / name
        self.run_dir, self.state_dir, self.config_dir, self.work_dir = (
            self.root / folder for folder in ("run", "state", "config", "work")
        )
        for folder in (self.run_dir, self.state_dir, self.config_dir, self.work_dir):
            guest.make_folder(folder)
        self.environment = {
            "LC_ALL": "C.UTF-8",
            "TERM": "xterm",
            "TARVEX_RUN_DIR": str(self.run_dir),
            "TARVEX_STATE_DIR": str(self.state_dir),
            "TARVEX_CONFIG_DIR": str(self.config_dir),
        }

    def configure(self, **settings):
        """The storage module's settings in service.ini."""
        lines = "".join(f"{name}={value}\n" for name, value in settings.items())
        self.guest.write(self.config_dir / "service.ini", f"[storage]\n{lines}")

    def start(self, arguments, terminal=None):
        """Starts the program; a Running (guest.py)."""
        return self.guest.start(
            [PROGRAM, *arguments], self.environment, str(self.work_dir), terminal
        )

    def on_terminal(self, arguments):
        return self.start(arguments, TERMINAL)

    def run(self, arguments, seconds=SECONDS):
        """Runs the program to its end; a Result."""
        return self.start(arguments).wait(seconds)

    def entry_of(self, serial):
        """What the program lists of that drive, as a dictionary."""
        listed = devices(self.run(["-Mstorage", "-D"]).stdout)
        return next(entry for entry in listed if entry.get("Serial Number") == serial)

    def id_of(self, serial):
        return self.entry_of(serial)["Id"]

    def logs(self):
        """The service's logs, oldest first, each as a list of its lines' objects."""
        folder = self.state_dir / "log"
        return [
            [json.loads(line) for line in self.guest.read(folder / name).splitlines()]
            for name in self.guest.list(folder)
        ]

    def records(self):
        """The execution records as dictionaries, in their order."""
        said = self.guest.said("sqlite3", "-json", str(self.state_dir / "records.db"),
                               "select * from execution_record")  # fmt: skip
        return json.loads(said or "[]")
