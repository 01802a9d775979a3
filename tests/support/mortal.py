"""Servers of a test that do not outlive it, however it ends."""


def mortal(command, signal="TERM", *more):
    """`command`, which gets that signal when whoever starts it is gone; `more` is more of setpriv's."""
    return ["setpriv", f"--pdeathsig={signal}", *more, "--", *map(str, command)]
