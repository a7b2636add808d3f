"""A private folder for the processes of one test."""

import itertools
import os
import re
import shutil
import signal
import tempfile

LOG_LINE = re.compile(
    rb"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z SubtitleMgrCli\[\d+\] (level=\d+ )"
    rb"(?:SubtitleMgrCli:\d+ )?(.*)"
)

# A shell starts commands in the background with this signal ignored, and programs inherit that.
if signal.getsignal(signal.SIGINT) == signal.SIG_IGN:
    signal.signal(signal.SIGINT, signal.default_int_handler)


class MissingProgram(RuntimeError):
    """A program that a test needs is not installed."""


class Workspace:
    """The programs, a messaging directory, the client's log, and the working folder of programs.

    The folder of programs is a build's `bin` or, for a device, its `launchers`; without one they
    are those of the PATH. A messaging directory that exists is neither made nor removed.
    """

    def __init__(self, programs=None, messaging=None):
        self.programs = programs and os.path.abspath(programs)
        self.root = tempfile.mkdtemp(prefix="subtitle.")
        self.messaging, self.files, self.log = (
            os.path.join(self.root, name) for name in ("linx", "files", "log")
        )
        if messaging:
            self.messaging = os.path.abspath(messaging)
        else:
            os.mkdir(self.messaging, 0o700)
        os.mkdir(self.files)
        self.numbers = itertools.count()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.root, ignore_errors=True)

    def program(self, name):
        """The path of a program."""
        path = shutil.which(name, path=self.programs)
        if not path:
            place = self.programs or "the PATH (--subtitle-programs FOLDER names another place)"
            packages = "it is in the package subtitlemgr-cli or subtitlemgr-sim"
            raise MissingProgram("no program %s in %s; %s" % (name, place, packages))
        return path

    @property
    def client(self):
        """The path of the client."""
        return self.program("SubtitleMgrCli")

    @property
    def service(self):
        """The path of the simulated service."""
        return self.program("SubtitleMgrSim")

    def connect(self, peer, name):
        """Connects to a socket of the messaging directory, whose path may be of any length."""
        folder = os.open(self.messaging, os.O_PATH)
        try:
            peer.connect("/proc/self/fd/%d/%s" % (folder, name))
        finally:
            os.close(folder)

    def environment(self):
        """The environment of a program; language and option order do not depend on the user's."""
        own = {"LC_ALL": "C", "LINX_DIR": self.messaging, "SUBTITLE_LOG": self.log}
        environment = {**os.environ, **own}
        environment.pop("POSIXLY_CORRECT", None)
        preload = environment.pop("PROGRAMS_PRELOAD", None)
        return {**environment, "LD_PRELOAD": preload} if preload else environment

    def new_path(self, name):
        """A path for a file of a process."""
        return os.path.join(self.root, "%s.%d" % (name, next(self.numbers)))

    def log_entries(self):
        """The client's log entries without time, process and line number: b"level=8 text".

        An entry of any other form is not changed.
        """
        if not os.path.exists(self.log):
            return []
        with open(self.log, "rb") as file:
            return [LOG_LINE.sub(rb"\1\2", line.rstrip(b"\n")) for line in file]
