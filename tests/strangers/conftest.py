"""A stranger, the user "nobody", beside a run of root's."""

import os
import pwd
import shutil
import subprocess
import tempfile
from pathlib import Path

import pytest
from program import BINARY_DIR, World

SCENARIO = Path(__file__).parent.parent / "channels" / "channels.json"
LIBRARY = BINARY_DIR / "tests" / "strangers_library.so"


class Stranger:
    """What the user "nobody" does in a folder of his own, which all can reach."""

    def __init__(self, folder):
        self.user = pwd.getpwnam("nobody")
        self.folder = folder
        folder.mkdir(mode=0o755)
        os.chown(folder, self.user.pw_uid, self.user.pw_gid)

    def does(self, *words, stdin=subprocess.DEVNULL, **options):
        """Runs a command as the stranger, in his folder; it must succeed."""
        subprocess.run(
            words,
            user=self.user.pw_uid,
            group=self.user.pw_gid,
            extra_groups=[],
            cwd=self.folder,
            stdin=stdin,
            umask=0o022,
            check=True,
            timeout=60,
            **options,
        )

    def starts(self, *words, **options):
        """The same, and does not wait for it."""
        return subprocess.Popen(
            words,
            user=self.user.pw_uid,
            group=self.user.pw_gid,
            extra_groups=[],
            cwd=self.folder,
            **options,
        )

    def writes(self, name, text):
        """A file of his; its path."""
        self.does("/bin/sh", "-c", 'printf %s "$2" > "$1"', "sh", name, text)
        return self.folder / name

    def plants(self, name="planted.so"):
        """The library that tells whether it was loaded; its path."""
        with open(LIBRARY, "rb") as library:
            self.does("/bin/sh", "-c", 'cat > "$1"', "sh", name, stdin=library)
        return self.folder / name

    def has_run(self):
        """What of his ran with the rights of another."""
        return sorted(str(path) for path in self.folder.rglob("*.ran"))


@pytest.fixture
def place():
    """A folder of root's that all can reach; pytest's own are closed to others."""
    if os.geteuid() != 0:
        pytest.skip("only root can be another user")
    folder = Path(tempfile.mkdtemp(prefix="tarvex-strangers-"))
    folder.chmod(0o755)
    yield folder
    shutil.rmtree(folder)


@pytest.fixture
def stranger(place):
    return Stranger(place / "stranger")


@pytest.fixture
def world(place):
    return World(place / "world", SCENARIO)
