"""Time limits that a busy machine does not break by itself."""

import threading

TICK = 0.01


class Stopwatch:
    """Measures from its creation on, in seconds a thread of this machine could have run in.

    While the whole machine stands still, so does this; a program that waits or works does not stop
    it.
    """

    def __init__(self):
        self.ticks = 0
        self.stopped = threading.Event()
        self.thread = threading.Thread(target=self.count, daemon=True)
        self.thread.start()

    def count(self):
        while not self.stopped.wait(TICK):
            self.ticks += 1

    def seconds(self):
        """What was measured; ends it."""
        self.stopped.set()
        self.thread.join()
        return self.ticks * TICK
