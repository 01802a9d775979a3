"""The same files give the same packages, byte for byte, wherever, whenever and by whomever they are built."""

import hashlib
import os
import re
import shutil
import subprocess
import tarfile

import debian
import pytest

pytestmark = pytest.mark.skipif(os.geteuid() != 0, reason="only root can make a Debian of its own")

# Another user's habits, another machine's name, another folder, and nothing that was compiled before.
BUILD = "umask 077; hostname elsewhere; cd \"$1\"; exec packaging/build.sh"
SURROUNDINGS = {
    "BUILD_FOLDER": "another/place",
    "CCACHE_DISABLE": "1",
    "HOME": "/nonexistent",
    "LANGUAGE": "de",
    "LC_ALL": "C",
    "TZ": "Pacific/Kiritimati",
}
SECONDS = 3000


def buildinfo(folder):
    """Debian's description of the build."""
    (file,) = folder.glob("*.buildinfo")
    return file.read_text()


def installed(folder):
    """The packages that took part in a build, with their versions."""
    listed = re.search(r"^Installed-Build-Depends:\n((?: .*\n)+)", buildinfo(folder), re.M).group(1)
    return {line.strip(" ,") for line in listed.splitlines() if not line.startswith(" ccache ")}


def build_elsewhere(folder):
    """Builds the files of the last build once more; where the packages are."""
    folder.mkdir(parents=True)
    archive = debian.BUILD / "packaging/tree.tar"
    debian.run("tar", "--extract", "--touch", "--no-same-permissions", "-f", archive, "-C", folder)
    time = re.search(r'^ SOURCE_DATE_EPOCH="(\d+)"$', buildinfo(debian.PACKAGES), re.M).group(1)
    environment = os.environ | SURROUNDINGS | {"SOURCE_DATE_EPOCH": time}
    debian.run("unshare", "--uts", "sh", "-euc", BUILD, "sh", folder, env=environment, timeout=SECONDS)
    return folder / "build/packages"


@pytest.fixture(scope="module")
def builds(tmp_path_factory):
    """Two folders, each with the packages of one build of the same files."""
    folder = tmp_path_factory.mktemp("again")
    debian.packages()
    again = build_elsewhere(folder / "tarvex")
    if installed(debian.PACKAGES) != installed(again):
        # Debian has moved on since the first root was made.
        (debian.BUILD / "packaging/packages").unlink()
        (debian.PACKAGES / "tree").unlink()
        debian.packages()
    yield debian.PACKAGES, again
    shutil.rmtree(folder, ignore_errors=True)


def results(folder):
    """What has to come out the same: the files' names, but for Debian's descriptions of a build."""
    return sorted(file.name for file in folder.iterdir() if file.suffix not in (".changes", ".buildinfo"))


def members(package):
    """What is in a package: name -> all that its archive says of it."""
    found = {}
    for part in ("--ctrl-tarfile", "--fsys-tarfile"):
        with subprocess.Popen(["dpkg-deb", part, package], stdout=subprocess.PIPE) as unpacked:
            with tarfile.open(fileobj=unpacked.stdout, mode="r|") as archive:
                for member in archive:
                    content = archive.extractfile(member).read() if member.isfile() else b""
                    told = (member.mode, member.uid, member.gid, member.mtime, member.type, member.linkname)
                    found[part, member.name] = (*told, hashlib.sha256(content).hexdigest())
        assert unpacked.returncode == 0, package
    return found


def test_both_are_built_of_the_same_files_with_the_same_packages(builds):
    one, other = builds
    assert (one / "tree").read_text() == (other / "tree").read_text()
    assert installed(one) == installed(other)
    # Or else nothing was told apart.
    assert "Build-Path: /build/another/place/" in buildinfo(other)
    assert "Build-Path: /build/another/place/" not in buildinfo(one)


def test_both_have_the_same_files(builds):
    one, other = builds
    assert results(one) == results(other)
    assert len(list(one.glob("*.deb"))) == 3 and len(list(one.glob("*.spdx.json"))) == 2


def test_each_package_is_the_same_byte_for_byte(builds):
    one, other = builds
    for package in sorted(one.glob("*.deb")):
        first, second = members(package), members(other / package.name)
        different = sorted(name for name in first.keys() | second.keys() if first.get(name) != second.get(name))
        assert different == [], package.name
        assert package.read_bytes() == (other / package.name).read_bytes(), package.name


def test_each_bill_of_materials_is_the_same(builds):
    one, other = builds
    for bill in sorted(one.glob("*.spdx.json")):
        assert bill.read_text() == (other / bill.name).read_text(), bill.name
