"""What the program shows about the real storage module and a real block device."""

import re
import subprocess

import pytest
from disk import device_id, needs_devices

pytestmark = needs_devices


@pytest.mark.parametrize(
    "arguments,line",
    [
        (["-A"], "  - storage"),
        (["-v"], r"  storage - version \d+\.\d+\.\d+\.\d+"),
        (["-h"], "    -A, --list-modules              Lists available modules"),
        (["-Mstorage", "-h"], r"> Storage: reads disks, asks drives about their health, and writes to .+\."),
        (["-Mstorage", "-D"], "Kernel Name               {kernel_name}"),
        (["-Mstorage", "-R"], "Kernel Name               {kernel_name}"),
        (["-Mstorage", "-L"], r"\tLinear Read Test\*"),
        (["-Mstorage", "-S"], r"\tHint\t\tsmart"),
        (["-Mstorage", "-P"], "Blocks                    blocks=1024, Blocks, INTEGER, 1-16777216"),
        (["-Mstorage", "-Qf(blocks=4)", "-V", "{id}"], "      blocks: OK"),
        (["-Mstorage", "-Ew(destructive=yes)", "-V", "{id}"], "      destructive: OK"),
        (["-Mstorage", "-Qf(blox=4)", "-V", "{id}"], "      blox: INVALID_PARAMETER"),
    ],
    ids=lambda value: " ".join(value) if isinstance(value, list) else "",
)
def test_question_about_the_real_module_is_answered(world, disk, arguments, line):
    names = {"kernel_name": disk.kernel_name, "id": device_id(world, disk.kernel_name)}
    reads_before = int(disk.command("reads"))
    result = world.run([argument.format(**names) for argument in arguments])
    output = result.stdout.decode()
    pattern = line.replace("{kernel_name}", disk.kernel_name)
    assert re.search(rf"^{pattern}$", output, re.M), output
    assert result.returncode == 0
    assert result.stderr == b""
    # The scan may look for file systems; nobody reads the disk's 32 MiB to answer a question.
    assert int(disk.command("reads")) - reads_before < 64


@pytest.fixture
def labelled_disk(tmp_path):
    """The kernel name of a loop device with a swap area named ARCHIVE."""
    image = tmp_path / "image"
    with open(image, "wb") as file:
        file.truncate(1024 * 1024)
    image.chmod(0o600)
    subprocess.run(["mkswap", "-L", "ARCHIVE", str(image)], check=True, capture_output=True)
    device = subprocess.run(
        ["losetup", "--find", "--show", "--read-only", str(image)],
        check=True,
        capture_output=True,
        text=True,
    ).stdout.strip()
    yield device.removeprefix("/dev/")
    subprocess.run(["losetup", "--detach", device], check=True)


def test_what_is_on_a_disk_is_listed_as_its_resource(world, labelled_disk):
    result = world.run(["-Mstorage", "-R"])
    blocks = result.stdout.decode().split("-" * 62)
    found = [block for block in blocks if re.search(rf"^Kernel Name +{labelled_disk}$", block, re.M)]
    assert len(found) == 1
    for line in (
        "Resource Type             PARTITION",
        "File System               swap",
        "Label                     ARCHIVE",
        "Size                      1048576",
        "Index                     0",
    ):
        assert line in found[0].splitlines(), found[0]
    assert result.returncode == 0
