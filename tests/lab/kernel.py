"""The kernel of the emulated machines: Debian's own package, unpacked below build/lab, and the
initramfs that starts it. Made once for each kernel and each change of what goes in."""

import contextlib
import fcntl
import hashlib
import os
import re
import shutil
import subprocess
import tempfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
CACHE = HERE.parent.parent / "build" / "lab"
BUSYBOX = Path("/bin/busybox")

# What the initramfs itself needs to reach the host's root and the agent to reach the host.
EARLY_MODULES = ("virtio_pci", "9pnet_virtio", "9p", "overlay", "virtio_console")
# Parts of the package that no emulated machine has hardware for; two thirds of its size.
LEFT_OUT = ("sound", "drivers/gpu", "drivers/media", "drivers/infiniband", "drivers/net/wireless",
            "drivers/staging", "drivers/iio", "net/bluetooth")  # fmt: skip

# program -> Debian's package
NEEDED = {
    "qemu-system-x86_64": "qemu-system-x86",
    "busybox": "busybox-static",
    "modprobe": "kmod",
    "depmod": "kmod",
    "dpkg-deb": "dpkg",
    "apt-get": "apt",
    "systemctl": "systemd",
    "dbus-daemon": "dbus",
}


class LabFault(Exception):
    """The laboratory itself cannot work; never a verdict about what is tested in it."""


def check_needs():
    """Raises a LabFault that names the packages that are missing."""
    path = f"{os.environ.get('PATH', '')}:/usr/sbin:/sbin"
    missing = sorted({NEEDED[name] for name in NEEDED if not shutil.which(name, path=path)})
    if missing:
        raise LabFault(
            f"the laboratory lacks {', '.join(missing)}; scripts/dependencies.sh test installs it"
        )


def said_by(*words, **options):
    """What a command prints; a LabFault with its complaint when it fails."""
    done = subprocess.run(words, capture_output=True, check=False, **options)
    if done.returncode != 0:
        raise LabFault(f"{' '.join(words)}: {done.stderr.decode(errors='replace').strip()}")
    return done.stdout.decode()


class Kernel:
    """`image` and `initramfs` are files for the emulator, `tree` holds lib/modules/VERSION."""

    def __init__(self, tree, initramfs):
        self.tree = tree
        self.image = tree / "vmlinuz"
        self.initramfs = initramfs


@contextlib.contextmanager
def alone():
    """One process at a time makes what is cached."""
    CACHE.mkdir(parents=True, exist_ok=True)
    with open(CACHE / "lock", "w", encoding="ascii") as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        yield


@contextlib.contextmanager
def made(path):
    """A folder or file to make; it appears under its name only when it is whole."""
    with tempfile.TemporaryDirectory(dir=CACHE, prefix="making-") as folder:
        made_here = Path(folder) / "it"
        yield made_here
        made_here.rename(path)


def version_of(tree):
    return tree.name.removeprefix("kernel-")


def newest_package():
    """(package, version) of Debian's newest kernel."""
    for is_last in (False, True):
        said = subprocess.run(["apt-cache", "depends", "linux-image-amd64"], capture_output=True,
                              check=False).stdout.decode()  # fmt: skip
        if found := re.search(r"Depends: (linux-image-(\d\S+))", said):
            return found[1], found[2]
        if not is_last:
            said_by("apt-get", "update", "-qq")
    raise LabFault("Debian's package sources have no linux-image-amd64")


def unpack(package, version, tree):
    """The package's kernel and modules, downloaded with apt, as a folder `tree`."""
    folder = tree.parent
    said_by("apt-get", "download", "-o", "APT::Sandbox::User=root", package, cwd=folder)
    archive = next(folder.glob("linux-image-*.deb"))
    left_out = [f"--exclude=./lib/modules/{version}/kernel/{part}" for part in LEFT_OUT]
    tree.mkdir()
    with subprocess.Popen(["dpkg-deb", "--fsys-tarfile", archive], stdout=subprocess.PIPE) as tar:
        said_by("tar", "-x", "-C", str(tree), "--no-same-owner", *left_out, "./lib/modules",
                f"./boot/vmlinuz-{version}", stdin=tar.stdout)  # fmt: skip
    (tree / "boot" / f"vmlinuz-{version}").rename(tree / "vmlinuz")
    said_by("/sbin/depmod", "-b", str(tree), version)


def newest_tree():
    """The kernel that is there, or None."""
    return max(CACHE.glob("kernel-*"), default=None)


def make_tree():
    package, version = newest_package()
    tree = CACHE / f"kernel-{version}"
    with made(tree) as path:
        unpack(package, version, path)
    return tree


def early_module_files(tree):
    files = []
    for module in EARLY_MODULES:
        said = said_by("/sbin/modprobe", "-S", version_of(tree), "-d", str(tree),
                       "--show-depends", module)  # fmt: skip
        for path in re.findall(r"^insmod (\S+)", said, re.M):
            if path not in files:
                files.append(path)
    return files


def make_initramfs(tree, path):
    with tempfile.TemporaryDirectory(dir=CACHE, prefix="making-") as folder:
        root = Path(folder)
        (root / "bin").mkdir()
        (root / "modules").mkdir()
        shutil.copy(BUSYBOX, root / "bin" / "busybox")
        shutil.copy(HERE / "init.sh", root / "init")
        names = []
        for file in early_module_files(tree):
            shutil.copy(file, root / "modules")
            names.append(os.path.basename(file))
        (root / "modules" / "order").write_text("\n".join(names) + "\n", encoding="ascii")
        listing = "\n".join(str(file.relative_to(root)) for file in sorted(root.rglob("*")))
        with open(path, "wb") as output:
            subprocess.run([BUSYBOX, "cpio", "-o", "-H", "newc"], cwd=root, check=True,
                           input=listing.encode(), stdout=output,
                           stderr=subprocess.DEVNULL)  # fmt: skip


def initramfs_of(tree):
    """Where the initramfs of that kernel is, as this file, init.sh and busybox make it."""
    content = hashlib.sha256(tree.name.encode())
    for file in (Path(__file__), HERE / "init.sh", BUSYBOX):
        content.update(file.read_bytes())
    return CACHE / f"initramfs-{content.hexdigest()[:16]}"


def kernel():
    """The Kernel to boot, made when it is not there."""
    check_needs()
    tree = newest_tree()
    if not tree or not initramfs_of(tree).exists():
        with alone():
            tree = newest_tree() or make_tree()
            path = initramfs_of(tree)
            if not path.exists():
                for old in CACHE.glob("initramfs-*"):
                    old.unlink()
                with made(path) as whole:
                    make_initramfs(tree, whole)
    return Kernel(tree, initramfs_of(tree))
