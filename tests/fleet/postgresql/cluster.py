"""A PostgreSQL server of its own: in a temporary folder, on a socket there, gone with the tests."""

import os
import pwd
import shutil
import signal
import subprocess
import tempfile
import time
from pathlib import Path

from mortal import mortal

PROGRAMS = max(Path("/usr/lib/postgresql").glob("*/bin"), key=lambda path: float(path.parent.name))
# PostgreSQL does not run as root.
OWNER = "postgres"
# No test looks at what a loss of power leaves.
QUICK = ("fsync=off", "synchronous_commit=off", "full_page_writes=off")
# What ends a server: its sessions first, or without a word to anybody.
FAST, IMMEDIATE = signal.SIGINT, signal.SIGQUIT
SECONDS = 120


def as_owner(command):
    """As whom PostgreSQL runs; gone when whoever starts it is."""
    own = [] if os.geteuid() != 0 else [f"--reuid={OWNER}", f"--regid={OWNER}", "--clear-groups"]
    return mortal(command, "QUIT", *own)


class Cluster:
    """A running server. `settings` are lines of its configuration, `name=value`."""

    def __init__(self, settings=QUICK):
        self.folder = Path(tempfile.mkdtemp(prefix="tarvex-postgresql-"))
        if os.geteuid() == 0:
            owner = pwd.getpwnam(OWNER)
            os.chown(self.folder, owner.pw_uid, owner.pw_gid)
        self.data = self.folder / "data"
        self.log = self.folder / "log"
        self.call("initdb", "-D", self.data, "-U", OWNER, "-E", "UTF8", "--locale=C.UTF-8", "-N", "-A", "trust")
        hosts = self.data / "pg_hba.conf"
        hosts.write_text("local all collector scram-sha-256\nlocal all all trust\n", encoding="utf-8")
        with (self.data / "postgresql.conf").open("a", encoding="utf-8") as file:
            file.write(f"listen_addresses=''\nunix_socket_directories='{self.folder}'\n")
            file.writelines(f"{line}\n" for line in settings)
        self.start()

    def call(self, program, *arguments):
        command = [str(PROGRAMS / program), *map(str, arguments)]
        subprocess.run(
            as_owner(command),
            cwd=self.folder,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            check=True,
            timeout=SECONDS,
        )

    def start(self):
        with self.log.open("ab") as log:
            self.server = subprocess.Popen(as_owner([PROGRAMS / "postgres", "-D", self.data]), cwd=self.folder,
                                           stdin=subprocess.DEVNULL, stdout=log, stderr=log)  # fmt: skip
        deadline = time.monotonic() + SECONDS
        while not self.answers():
            assert self.server.poll() is None and time.monotonic() < deadline, self.log.read_text("utf-8")
            time.sleep(0.02)

    def answers(self):
        asked = [PROGRAMS / "pg_isready", "-q", "-h", self.folder]
        return subprocess.run(asked, check=False, timeout=SECONDS).returncode == 0

    def stop(self, how=FAST):
        self.server.send_signal(how)
        self.server.wait(SECONDS)

    def close(self):
        if self.server.poll() is None:
            self.stop(IMMEDIATE)
        shutil.rmtree(self.folder)

    def address(self, database, user=OWNER):
        return f"postgresql://{user}@/{database}?host={self.folder}"

    def query(self, database, text, user=OWNER, check=True):
        """What psql says to `text`: a list of rows, each a list of texts."""
        said = self.psql(database, ["-c", text], user, check)
        return [line.split("\x1f") for line in said.stdout.splitlines()]

    def psql(self, database, arguments, user=OWNER, check=True):
        command = ["psql", "-X", "-q", "-A", "-t", "-F", "\x1f", "-v", "ON_ERROR_STOP=1"]
        said = subprocess.run(
            [*command, "-d", self.address(database, user), *arguments],
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            check=False,
            timeout=SECONDS,
        )
        assert said.returncode == 0 or not check, said.stderr
        return said
