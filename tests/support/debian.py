"""A Debian of its own in a folder, to install this project's packages in, as their users do.

Needs root rights. `base()` is the Debian without them, `machine()` the same with them; both are kept in
the build from run to run, and neither is ever changed: `Root.copy_of` makes one to work in.
"""

import fcntl
import os
import shutil
import subprocess
from pathlib import Path

from program import SOURCE_DIR

PACKAGING = SOURCE_DIR / "packaging"
BUILD = SOURCE_DIR / "build"
PACKAGES = BUILD / "packages"
MACHINE = BUILD / "packaging-machine"
# What a machine has on which the packages are used: an init, and what shows manuals and completes.
PARTS = "bash-completion dbus fish kmod man-db python3 systemd systemd-sysv udev zsh".split()
NAME_SERVERS = "etc/resolv.conf"
ENVIRONMENT = {
    "PATH": "/usr/sbin:/usr/bin:/sbin:/bin",
    "HOME": "/root",
    "TERM": "xterm",
    "LC_ALL": "C.UTF-8",
    "DEBIAN_FRONTEND": "noninteractive",
}
COPY_SECONDS = 300


class Root:
    """A folder that holds a Debian. Use it as a context: what was mounted there is gone at its end."""

    def __init__(self, folder):
        self.folder = Path(folder)

    @classmethod
    def copy_of(cls, other, folder):
        """A copy of the root in a folder that is not there yet."""
        run("cp", "--archive", "--reflink=auto", other.folder, folder, timeout=COPY_SECONDS)
        return cls(folder)

    def __truediv__(self, path):
        return self.folder / str(path).lstrip("/")

    def command(self, *words, network=False, alone=True):
        """What starts a command in the root, with mounts of its own.

        It has no network unless it is asked for. When it is `alone`, its end takes all processes with
        it; one that is not can lead the terminal it was started on.
        """
        apart = ["unshare", "--mount", "--ipc", "--uts"]
        if alone:
            apart += ["--pid", "--fork", "--kill-child"]
        if not network:
            apart.append("--net")
        return [*apart, "sh", "-euc", ENTER, "sh", str(self.folder), *map(str, words)]

    def run(self, *words, timeout=120, network=False, environment=None):
        """Runs a command in the root to its end; what it said, as text."""
        return subprocess.run(
            self.command(*words, network=network),
            env=ENVIRONMENT | (environment or {}),
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            timeout=timeout,
            check=False,
        )

    def must(self, *command, **options):
        """The same for a command that may not fail; its standard output."""
        result = self.run(*command, **options)
        assert result.returncode == 0, f"{command}: {result.stdout[-2000:]}{result.stderr[-4000:]}"
        return result.stdout

    def apt(self, *words, **options):
        """apt-get as a user would call it; its standard output."""
        shutil.copyfile(f"/{NAME_SERVERS}", self / NAME_SERVERS)
        return self.must("apt-get", "-y", "-q", *words, network=True, timeout=600, **options)

    def take(self, *files):
        """Copies files into the root's /packages; their paths there."""
        (self / "packages").mkdir(exist_ok=True)
        for file in files:
            shutil.copy(file, self / "packages")
        return [f"/packages/{Path(file).name}" for file in files]

    def files(self):
        """Every path in the root, from it."""
        return {
            os.path.relpath(os.path.join(folder, name), self.folder)
            for folder, folders, names in os.walk(self.folder)
            for name in folders + names
        }


# It sees no device of this machine, and so can do nothing to one: only those that every program wants.
ENTER = """
root=$1
shift
mount -t proc proc "$root/proc"
mount -t tmpfs tmpfs "$root/sys"
mkdir -p "$root/sys/block" "$root/sys/class/block"
mount -t tmpfs -o mode=0755 tmpfs "$root/dev"
mkdir "$root/dev/pts" "$root/dev/shm"
mount -t devpts -o newinstance,ptmxmode=0666,mode=0620 devpts "$root/dev/pts"
ln -s pts/ptmx "$root/dev/ptmx"
ln -s /proc/self/fd "$root/dev/fd"
for device in null zero full random urandom tty; do
    : >"$root/dev/$device"
    mount --bind "/dev/$device" "$root/dev/$device"
done
exec chroot "$root" "$@"
"""


def run(*command, **options):
    """Runs a command that may not fail."""
    result = subprocess.run(
        [str(word) for word in command], capture_output=True, text=True, check=False, **options
    )
    assert result.returncode == 0, result.stdout[-4000:] + result.stderr[-4000:]
    return result.stdout


def packages():
    """The packages of this tree, built if they are not: name -> file."""
    run(PACKAGING / "build.sh", timeout=1500)
    return {file.name.split("_")[0]: file for file in sorted(PACKAGES.glob("*.deb"))}


def base():
    """The Debian in which nothing of this project is."""
    run(PACKAGING / "root.sh", MACHINE, *PARTS, timeout=1500)
    return Root(MACHINE / "root")


def machine():
    """The Debian with the packages installed, for who only looks at it: never change it."""
    built = packages()
    wanted = (PACKAGES / "tree").read_text()
    folder = BUILD / "packaging-installed"
    folder.mkdir(exist_ok=True)
    with open(folder / "lock", "w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        state = folder / "tree"
        if not state.is_file() or state.read_text() != wanted:
            state.unlink(missing_ok=True)
            shutil.rmtree(folder / "root", ignore_errors=True)
            install(Root.copy_of(base(), folder / "root"), built)
            state.write_text(wanted)
    return Root(folder / "root")


def install(root, built):
    """Installs all packages but those of debug symbols, with what they need from Debian's mirror."""
    files = root.take(*(file for name, file in built.items() if not name.endswith("-dbgsym")))
    root.apt("update")
    root.apt("install", "--no-install-recommends", *files)
