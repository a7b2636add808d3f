"""How long a test waits for an event before it fails."""

import os
import select
import time

__tracebackhide__ = True  # pytest shows the line of the test that called
# Generous: it costs nothing when all is well, and sanitizers on a busy machine are slow.
SECONDS = float(os.environ.get("SUBTITLE_TEST_SECONDS", "20"))
LOOK_AGAIN = 0.002


class TimeLimit(Exception):
    """An event that a test waited for did not come in time."""


class Deadline:
    """A moment until which events are waited for."""

    def __init__(self, seconds=SECONDS):
        self.seconds = seconds
        self.at = time.monotonic() + seconds

    def left(self, what):
        """The seconds left; an error when there are none."""
        seconds = self.at - time.monotonic()
        if seconds <= 0:
            raise TimeLimit("waited %g s in vain for %s" % (self.seconds, what))
        return seconds


def await_readable(descriptor, deadline, what):
    """Waits until a descriptor has something to read, or its other side has ended."""
    poll = select.poll()
    poll.register(descriptor, select.POLLIN)
    while not poll.poll(1000 * deadline.left(what)):
        pass


def await_growth(look, what, seconds):
    """Looks at a file, whose growth no event tells, until it shows something. Returns that."""
    deadline = Deadline(seconds)
    while not (found := look()):
        time.sleep(min(LOOK_AGAIN, deadline.left(what)))
    return found
