"""Servers of a test that do not outlive it, however it ends."""

import os


def mortal(command, signal="TERM", *more):
    """`command`, which gets that signal when the thread that starts it is gone; `more` is more of setpriv's."""
    # For a parent that is gone already there will be no signal.
    begin = f'[ "$PPID" -eq {os.getpid()} ] && exec "$@"'
    return ["setpriv", f"--pdeathsig={signal}", *more, "--", "sh", "-c", begin, "sh", *map(str, command)]
