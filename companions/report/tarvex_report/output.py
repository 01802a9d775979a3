"""Puts the page where it was wanted, whole or not at all."""

import os
import secrets
import signal
import stat
import sys
from collections.abc import Iterator
from contextlib import contextmanager

from .faults import ReportFault
from .texts import clean

STANDARD_OUTPUT = "-"
ENDING = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
NEW_FILE = os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_NOFOLLOW | os.O_CLOEXEC


def _refuse_strange(folder: int, name: str, path: str) -> None:
    """Only a regular file is replaced: what else lies there somebody has put there."""
    try:
        found = os.stat(name, dir_fd=folder, follow_symlinks=False)
    except FileNotFoundError:
        return
    if not stat.S_ISREG(found.st_mode):
        raise ReportFault(f"{clean(path)} is there and is no file: remove it or choose another name")


def _write_new(folder: int, name: str, text: bytes) -> None:
    number = os.open(name, NEW_FILE, 0o644, dir_fd=folder)
    with open(number, "wb") as file:
        file.write(text)
        file.flush()
        os.fsync(number)


@contextmanager
def _undisturbed() -> Iterator[None]:
    """A signal that ends the program waits until the file is whole, or is gone."""
    before = signal.pthread_sigmask(signal.SIG_BLOCK, ENDING)
    try:
        yield
    finally:
        signal.pthread_sigmask(signal.SIG_SETMASK, before)


def _replace(folder: int, name: str, text: bytes) -> None:
    """The new file takes the place of the old one at once; a reader sees one or the other."""
    new = f".tarvex-report.{secrets.token_hex(8)}.new"
    try:
        _write_new(folder, new, text)
        os.rename(new, name, src_dir_fd=folder, dst_dir_fd=folder)
    except BaseException:
        try:
            os.unlink(new, dir_fd=folder)
        except FileNotFoundError:
            pass
        raise


def write(path: str, page: str) -> None:
    """Writes the page to a file, or to standard output ("-"); ReportFault when it cannot."""
    text = page.encode("utf-8")
    try:
        if path == STANDARD_OUTPUT:
            sys.stdout.buffer.write(text)
            sys.stdout.buffer.flush()
            return
        where, name = os.path.split(path)
        if not name:
            raise ReportFault(f"{clean(path)} is a folder: name a file in it")
        folder = os.open(where or ".", os.O_RDONLY | os.O_DIRECTORY | os.O_CLOEXEC)
        try:
            _refuse_strange(folder, name, path)
            with _undisturbed():
                _replace(folder, name, text)
        finally:
            os.close(folder)
    except (OSError, ValueError) as fault:
        reason = fault.strerror if isinstance(fault, OSError) else str(fault)
        raise ReportFault(f"{clean(path)} cannot be written: {reason}") from None
