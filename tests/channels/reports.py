"""Reports, put together by hand from the layout rules, and waiting for one."""

import time

RULE = b"-" * 62 + b"\n"
BANNER = (
    b"\n" + b"=" * 58 + b"\n Tarvex Diagnostics - CLI\n" + b"=" * 58 + b"\n \n\n"
)  # fmt: skip


def report(*tests):
    """A run of these (name, word) on the one device, without progress and without messages."""
    # The newline of the scan's text belongs to it; a blank and a carriage return stand behind.
    text = BANNER + b"[Info] Scanning storage devices finished\n \r"
    text += b"\n" + RULE + b"Id                        0\nDisplay Name              Disk A\n" + RULE
    text += b"\nStarted diagnostic: Quick Test\n"
    for name, word in tests:
        text += b"=> " + name + b"\n   Test Status: " + word + b"!\n   Elapsed time: 0 seconds \n\n"
    text += b"Finished diagnostic: Quick Test\n"
    text += b"\n" + RULE + b"   Result Code: SCENARIO-0\n   Total elapsed time: 0 seconds \n" + RULE
    return text + b"\n\n" + RULE + b"   Final Result Code: SCENARIO\n" + RULE


PASSED = report((b"Passing", b"Passed"))
FAILED = report((b"Failing", b"Failed"))

REFUSED = b"[Warning] Output redirection error: error opening file\n"
NO_PATH = BANNER + b"[Warning] Output redirection error: output redirection error\n"


def wait_for(condition, seconds=30):
    """Looks until the condition holds; fails when it doesn't in time."""
    deadline = time.monotonic() + seconds
    while not condition():
        assert time.monotonic() < deadline
        time.sleep(0.01)
