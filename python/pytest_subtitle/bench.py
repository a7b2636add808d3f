"""What the fixtures of one test share, and what its report shows when it fails."""

import contextlib
import json
import os
import shutil
import subprocess

from .console import PipedConsole
from .driven_service import DrivenService
from .limits import SECONDS, TimeLimit
from .workspace import Workspace

__tracebackhide__ = True
# A program ends with pytest, however pytest ends.
LAUNCHER = ("setpriv", "--pdeathsig=KILL")
COLUMNS = 300


def end_of(text, count=60):
    """The last lines of a text for a report, and the beginning of each."""
    lines = text.rstrip("\n").split("\n")
    left_out = len(lines) - count
    head = ["[%d lines before]" % left_out] if left_out > 0 else []
    return "\n".join(head + [line[:COLUMNS] for line in lines[-count:]])


class Bench(Workspace):
    """A workspace whose programs a report can show, with a simulated service or without."""

    def __init__(self, programs=None, messaging=None, keep=None):
        super().__init__(programs, messaging)
        self.keep = keep  # a folder for the files of a failed test
        self.recording = self.new_path("recording")
        self.simulated = self.console = self.tap = None
        self.sections = None  # of the report of a failed test

    def __exit__(self, *_):
        try:
            if self.simulated:
                self.end_service()
        finally:
            if self.simulated:
                self.simulated.kill()
            super().__exit__()

    def start_service(self, folder, scenario=None, options=()):
        """Starts a simulated service that plays a file of the folder, or lines of text."""
        options = ["--record", self.recording, *options]
        if scenario:
            path = os.path.join(folder, scenario)
            if "\n" in scenario:
                path = self.new_path("scenario")
                with open(path, "w", encoding="utf-8") as file:
                    file.write(scenario)
            options += ["--play", path]
        self.simulated = DrivenService(self, options, quiet=False)
        self.simulated.start()

    def end_service(self):
        """Ends the service; a signal that it did not get here is an error."""
        if self.simulated.is_running():
            self.simulated.process.terminate()
        with self.failing():
            status = self.simulated.wait_for_end()
            if (status or 0) < 0:
                raise RuntimeError("signal %d has ended the service" % abs(status))

    def run_client(self, *options, typed="", within=SECONDS):
        """Runs the client with options and typed text. Returns a subprocess.CompletedProcess."""
        words, status = ["SubtitleMgrCli", *options], None
        with PipedConsole(self, options, LAUNCHER) as client:
            client.type(typed.encode())
            client.end_input()
            try:
                status = client.wait(within)
            except TimeLimit as limit:
                shown = end_of((client.output + client.errors).decode("utf-8", "replace"), 20)
                raise TimeLimit(
                    "%s was killed: %s; it printed:\n%s" % (" ".join(words), limit, shown)
                ) from None
        texts = [text.decode("utf-8", "replace") for text in (client.output, client.errors)]
        return subprocess.CompletedProcess(words, status, *texts)

    @contextlib.contextmanager
    def failing(self):
        """Surrounds what may fail after the test, while its programs still run."""
        try:
            yield
        except Exception:
            self.fail()
            raise

    def fail(self):
        """Makes the sections of the report and keeps the files, once."""
        if self.sections is None:
            self.sections = [(name, end_of(text)) for name, text in self._texts() if text]
            try:
                if self.keep:
                    shutil.copytree(self.root, self.keep, ignore=special_files, dirs_exist_ok=True)
            except OSError as problem:
                self.sections.append(("files that are not kept", str(problem)))

    def _texts(self):
        if self.console:
            yield "screen of the console", self.console.screen
        yield "log of the client", read(self.log)
        if self.tap:
            yield "recording of the tap", read(self.tap.recording.path)
        if self.simulated:
            yield "standard error of the service", self.simulated.error_text()
            yield "recording of the service", read(self.recording)
            yield "state of the service", self._state()

    def _state(self):
        try:
            state = self.simulated.state()
        except (RuntimeError, TimeLimit) as problem:
            return str(problem)
        lines = []
        for name, value in state.items():
            are_many = isinstance(value, list) and value and isinstance(value[0], dict)
            lines += [
                "%s: %s" % (name, json.dumps(one)) for one in (value if are_many else [value])
            ]
        return "\n".join(lines)


def read(path):
    """The text of a file, which need not exist."""
    if not os.path.exists(path):
        return ""
    with open(path, encoding="utf-8", errors="replace") as file:
        return file.read()


def special_files(folder, names):
    """Those of the names that are sockets or FIFOs."""
    paths = {name: os.path.join(folder, name) for name in names}
    return [name for name, path in paths.items() if not os.path.isfile(path) | os.path.isdir(path)]
