"""A file system of 1 MiB in memory that other files can fill. Only root can have one."""

import subprocess

import pytest


class SmallDisk:
    """`folder` is its root; without the right to mount, the test is skipped."""

    def __init__(self, folder):
        self.folder = folder
        self.filler = folder / "filler"

    def fill(self, left=0):
        """Another file takes all the room but so many bytes, in whole pages."""
        with open(self.filler, "ab", buffering=0) as file:
            try:
                while True:
                    file.write(b"x" * 4096)
            except OSError:
                pass
            file.truncate(file.tell() - left)

    def empty(self):
        self.filler.unlink()

    def __enter__(self):
        self.folder.mkdir()
        words = ["mount", "-t", "tmpfs", "-o", "size=1m,mode=0700", "none", str(self.folder)]
        if subprocess.run(words, check=False).returncode != 0:
            pytest.skip("a file system cannot be mounted here")
        return self

    def __exit__(self, *_):
        subprocess.run(["umount", str(self.folder)], check=True)
