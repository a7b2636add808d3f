"""Runs the client on pipes."""

import abc
import os
import selectors
import subprocess

from .limits import SECONDS, Deadline, TimeLimit

__tracebackhide__ = True
# A client that prints so many bytes without an expected one repeats itself.
OUTPUT_LIMIT = 1 << 20


class Console(abc.ABC):
    """One run of the client. A wait that takes too long is an error."""

    def __init__(self):
        self.output = b""
        self.errors = b""  # on a terminal they are part of the output
        self.ended = False  # all output has been read
        self.expected = 0  # output up to here was waited for

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.kill()

    def wait_for(self, is_complete, what, seconds=SECONDS):
        """Reads until a condition is true. Returns False when the output ends before."""
        deadline = Deadline(seconds)
        while not is_complete():
            if self.ended:
                return False
            if len(self.output) - self.expected > OUTPUT_LIMIT:
                raise TimeLimit("the client prints without end, as at the end of its input")
            self._exchange(deadline.left(what))
        return True

    def expect(self, text, within=SECONDS):
        """Waits for a text in the output after the last expected text."""
        wanted = text.encode()
        if not self.wait_for(lambda: wanted in self.output[self.expected :], repr(text), within):
            shown = self.output.decode("utf-8", "replace")
            raise RuntimeError("the output ends without %r:\n%s" % (text, shown))
        self.expected = self.output.index(wanted, self.expected) + len(wanted)

    def forget_expected(self):
        """Drops the expected output, which would become large in a long run."""
        self.output = self.output[self.expected :]
        self.expected = 0

    def key(self, text):
        """Types a line."""
        self.type(text.encode() + b"\n")

    def wait(self, seconds=SECONDS):
        """Waits for the client's end. Returns its exit status, or minus its signal."""
        self.wait_for(lambda: False, "the end of the client", seconds)
        return self._status()

    @abc.abstractmethod
    def type(self, text):
        """Types bytes; never waits for the client to read them."""

    @abc.abstractmethod
    def end_input(self):
        """Ends the input after what was typed."""

    @abc.abstractmethod
    def kill(self):
        """Kills the client when it still runs, and closes its streams."""

    @abc.abstractmethod
    def _exchange(self, seconds):
        """Waits until it can read or write, and does it."""

    @abc.abstractmethod
    def _status(self):
        """Waits for the exit status."""


class PipedConsole(Console):
    """A client, or another program of tests, on three pipes."""

    def __init__(self, workspace, options, launcher=(), program=None):
        super().__init__()
        # pylint: disable=consider-using-with
        self.process = subprocess.Popen(
            [*launcher, program or workspace.client, *options],
            env=workspace.environment(),
            cwd=workspace.files,
            bufsize=0,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
        )
        self.untyped = bytearray()
        self.ends = False
        self.selector = selectors.DefaultSelector()
        for stream, name in ((self.process.stdout, "output"), (self.process.stderr, "errors")):
            self.selector.register(stream, selectors.EVENT_READ, name)
        os.set_blocking(self.process.stdin.fileno(), False)

    def type(self, text):
        if text and not self.untyped:
            self.selector.register(self.process.stdin, selectors.EVENT_WRITE)
        self.untyped += text

    def end_input(self):
        self.ends = True
        if not self.untyped:
            self.process.stdin.close()

    def _exchange(self, seconds):
        for key, _ in self.selector.select(seconds):
            if key.fileobj is self.process.stdin:
                self._write()
            else:
                self._read(key)
        self.ended = not any(key.data for key in self.selector.get_map().values())

    def _read(self, key):
        data = os.read(key.fd, 65536)
        setattr(self, key.data, getattr(self, key.data) + data)
        if not data:
            self.selector.unregister(key.fileobj)

    def _write(self):
        try:
            del self.untyped[: os.write(self.process.stdin.fileno(), self.untyped)]
        except BrokenPipeError:
            self.untyped.clear()
        if not self.untyped:
            self.selector.unregister(self.process.stdin)
            if self.ends:
                self.process.stdin.close()

    def _status(self):
        try:
            return self.process.wait(SECONDS)
        except subprocess.TimeoutExpired as late:
            raise TimeLimit("waited in vain for the end of the client") from late

    def kill(self):
        self.process.kill()
        self.process.wait()
        self.selector.close()
        for stream in (self.process.stdin, self.process.stdout, self.process.stderr):
            stream.close()
