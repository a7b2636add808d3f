"""Runs the client on a pseudo-terminal; needs pexpect."""

import os
import signal

import pexpect

from .console import OUTPUT_LIMIT, Console
from .limits import Deadline, SECONDS, TimeLimit, await_readable

__tracebackhide__ = True


class TerminalConsole(Console):
    """A client on a pseudo-terminal, which echoes what is typed and ends lines with CR and LF."""

    def __init__(self, workspace, options, launcher=()):
        super().__init__()
        command = [*launcher, workspace.client, *options]
        self.child = pexpect.spawn(
            command[0],
            command[1:],
            env=workspace.environment(),
            cwd=workspace.files,
            echo=True,
            use_poll=True,
        )
        self.child.delaybeforesend = None
        self.child.delayafterclose = self.child.ptyproc.delayafterclose = 0
        self.process = os.pidfd_open(self.child.pid)

    @property
    def screen(self):
        """All that the terminal has shown so far."""
        size = -1
        while not self.ended and size < len(self.output) < self.expected + OUTPUT_LIMIT:
            size = len(self.output)
            self._exchange(0)
        return self.output.decode("utf-8", "replace").replace("\r\n", "\n")

    def expect(self, text, within=SECONDS):
        super().expect(text.replace("\n", "\r\n"), within)

    def leave(self):
        """Types x, at which the client must end with status 0."""
        self.key("x")
        try:
            status = self.wait()
        except TimeLimit as late:
            raise TimeLimit("the console does not leave with x: %s" % late) from None
        if status != 0:
            raise RuntimeError("the client ends with %d" % status)

    def type(self, text):
        self.child.send(text)

    def end_input(self):
        self.child.sendeof()

    def _exchange(self, seconds):
        try:
            self.output += self.child.read_nonblocking(65536, seconds)
        except pexpect.TIMEOUT:
            pass
        except pexpect.EOF:
            self.ended = True

    def _status(self):
        await_readable(self.process, Deadline(), "the end of the client")
        self.child.wait()
        return os.waitstatus_to_exitcode(self.child.status)

    def kill(self):
        if self.child.closed:
            return
        if not self.child.terminated:
            signal.pidfd_send_signal(self.process, signal.SIGKILL)
            self.child.wait()
        os.close(self.process)
        self.child.close()
        self.ended = True
