"""The simulated service as a process of its own."""

import os
import socket
import struct
import subprocess

from .json_lines import JsonLines
from .limits import Deadline, TimeLimit, SECONDS, await_growth, await_readable

__tracebackhide__ = True
REGION_DATA_ITEM = 15129


def receive(peer, size):
    """Receives so many bytes, which may come in pieces; fewer when the other side closes."""
    received = b""
    while len(received) < size:
        more = peer.recv(size - len(received))
        if not more:
            break
        received += more
    return received


class Service:
    """One simulated service in a workspace's messaging directory, with a journal."""

    def __init__(self, workspace, options=(), launcher=(), quiet=True):
        """The launcher is the words of a command that starts the program."""
        options = [*["--quiet"] * quiet, *options]
        if "--name" not in options:
            options += ["--name", "SubtitleMgr"]
        if "--journal" not in options:
            options += ["--journal", workspace.new_path("journal")]
        self.name = options[options.index("--name") + 1]
        journal = os.path.join(workspace.files, options[options.index("--journal") + 1])
        self.journal = JsonLines(journal)
        self.errors = workspace.new_path("errors")
        # setpriv: the service ends with the test, also when the test is killed.
        self.words = ["setpriv", "--pdeathsig=KILL", *launcher, workspace.service, *options]
        self.workspace = workspace
        self.process = None
        self.status = None  # of the last process that ended
        self.peers = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.kill()

    def start(self, seconds=SECONDS):
        """Starts the service and waits until it can be reached."""
        with open(self.errors, "ab") as file:
            # pylint: disable=consider-using-with
            self.process = subprocess.Popen(
                self.words,
                env=self.workspace.environment(),
                cwd=self.workspace.files,
                stdin=subprocess.DEVNULL,
                stdout=subprocess.PIPE,
                stderr=file,
            )
        await_readable(self.process.stdout, Deadline(seconds), "a service that is ready")
        if self.process.stdout.readline() != b"ready\n":
            raise RuntimeError("the service does not start: " + self.error_text())

    def is_running(self):
        """Whether it was started and has not ended."""
        return self.process is not None and self.process.poll() is None

    def error_text(self):
        """All that the service has printed on standard error."""
        with open(self.errors, encoding="utf-8", errors="replace") as file:
            return file.read()

    def wait(self):
        """Waits for the end of the service, whose status must be 0."""
        status = self.wait_for_end()
        if status != 0:
            raise RuntimeError("the service ends with %d: %s" % (status, self.error_text()))

    def wait_for_end(self, seconds=SECONDS):
        """Waits for the end of the service when it was started. Returns its status."""
        if self.process:
            try:
                self.status = self.process.wait(seconds)
            except subprocess.TimeoutExpired as late:
                raise TimeLimit("waited in vain for the end of the service") from late
            if self.process.stdout:
                # A launcher that watches the service keeps the pipe open until it ends too.
                self.process.stdout.read()
                self.process.stdout.close()
            self.process = None
        return self.status

    def stop(self):
        """Ends the service when it runs."""
        if self.process:
            self.process.terminate()
            self.wait()

    def kill(self):
        """Kills the service when it runs, and closes its peers."""
        while self.peers:
            self.peers.pop().close()
        if self.process:
            self.process.kill()
            self.wait_for_end()

    def subscribe(self, number, item=REGION_DATA_ITEM):
        """Subscribes as a peer of its own, which stays until the service is killed."""
        peer = socket.socket(socket.AF_UNIX)
        self.peers.append(peer)
        peer.settimeout(SECONDS)
        self.workspace.connect(peer, self.name)
        peer.sendall(b"ST\x01\x01" + struct.pack(">5I", 0x3C00, 1, 8, number, item))
        if receive(peer, 20) != b"ST\x01\x02" + struct.pack(">4I", 0x3C01, 1, 4, 0):
            raise RuntimeError("the service does not accept subscription %d" % number)

    def requests(self):
        """The requests so far, each as the journal's object."""
        return self.journal.read()

    def await_journal(self, name, count=1):
        """Waits until the journal has so many requests of this name, also of earlier processes."""
        await_growth(
            lambda: sum(fields["request"] == name for fields in self.requests()) >= count,
            name + " in the journal",
            SECONDS,
        )
