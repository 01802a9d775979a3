"""The real program on a pseudo terminal of its own, which outlives it and can be looked at."""

import fcntl
import os
import signal
import subprocess
import termios
import time

from pexpect import fdpexpect
from program import PROGRAM


def eventually(holds):
    """Waits until the condition holds, at most 20 seconds."""
    deadline = time.monotonic() + 20
    while not holds():
        assert time.monotonic() < deadline
        time.sleep(0.01)


class Terminal:
    """A pseudo terminal with the program as its controlling process."""

    def __init__(self, world, arguments, shell=None):
        """`shell` is a bash script to run the program from; it finds it and its arguments in "$@"."""
        words = [str(PROGRAM), *arguments]
        if shell:
            words = ["bash", "-c", shell, "bash", *words]
        master, self.slave = os.openpty()
        self.settings_before = termios.tcgetattr(self.slave)
        self.process = subprocess.Popen(
            words,
            env={**world.environment, "TERM": "xterm"},
            cwd=world.work_dir,
            stdin=self.slave,
            stdout=self.slave,
            stderr=self.slave,
            start_new_session=True,
            preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0),
        )
        self.screen = fdpexpect.fdspawn(master, timeout=20)
        self.screen.delaybeforesend = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        if self.slave is not None:
            self.screen.close()
            os.close(self.slave)

    def expect(self, pattern):
        """Waits until the pattern (a regular expression) appears."""
        self.screen.expect(pattern)
        return self.screen.match

    def press(self, keys):
        self.screen.send(keys)

    def signal(self, number):
        self.process.send_signal(number)

    def hang_up(self):
        """Closes the terminal as a window or a lost line does."""
        os.close(self.slave)
        self.slave = None
        self.screen.close()

    def wait(self, seconds=20):
        """The exit status; the process has to end within these seconds."""
        return self.process.wait(seconds)

    def rest(self):
        """What appeared and was not expected so far, up to now."""
        text = self.screen.buffer
        os.set_blocking(self.screen.child_fd, False)
        try:
            while chunk := os.read(self.screen.child_fd, 65536):
                text += chunk
        except OSError:
            pass
        return text

    def settings(self):
        return termios.tcgetattr(self.slave)

    def is_as_before(self):
        return self.settings() == self.settings_before

    def reads_single_keys(self):
        return not self.settings()[3] & termios.ICANON


FATAL_SIGNALS = (signal.SIGSEGV, signal.SIGABRT, signal.SIGBUS, signal.SIGFPE, signal.SIGILL)
