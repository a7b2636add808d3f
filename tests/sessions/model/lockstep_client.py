"""Runs sessions of the real client on the lock-step platform."""

import os
import resource
import shutil
import subprocess
import tempfile
from dataclasses import dataclass

import session_files

SECONDS = 60


@dataclass
class Result:
    """What a session leaves."""

    status: int  # exit status, or the signal that ended it below 0
    output: bytes
    errors: bytes
    journal: list
    log: list  # (level, process, line number and text)


class LockstepClient:
    """Runs one session after the other, in a folder with the files that sessions find."""

    def __init__(self, command):
        self.command = command
        self.root = tempfile.mkdtemp(prefix="sessions.")
        self.folder = os.path.join(self.root, "folder")
        self.prepare_folder()
        self.environment = {"PATH": os.environ["PATH"], "LC_ALL": "C", "LOCKSTEP_FOLDER": self.root}
        for name, value in os.environ.items():
            if name.endswith("SAN_OPTIONS"):
                self.environment[name] = value

    def prepare_folder(self):
        shutil.rmtree(self.folder, ignore_errors=True)
        os.mkdir(self.folder)
        session_files.make_folder(self.folder)

    def run(self, session, limit):
        """Runs a session. The kernel ends it where a stream of it gets longer than the limit."""
        self.write("keys", session.keys)
        self.write("script", session.script.text())
        with self.open("keys") as keys, self.open("output", "wb") as output, self.open(
            "errors", "wb"
        ) as errors:
            limits = resource.getrlimit(resource.RLIMIT_FSIZE)
            resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limits[1]))
            try:
                status = subprocess.run(
                    [*self.command, *session.words],
                    env=self.environment,
                    cwd=self.folder,
                    stdin=keys,
                    stdout=output,
                    stderr=errors,
                    timeout=SECONDS,
                    check=False,
                ).returncode
            finally:
                resource.setrlimit(resource.RLIMIT_FSIZE, limits)
        log = [line.split(b" ", 2)[1:] for line in self.read("log").splitlines()]
        journal = self.read("journal").decode().splitlines()
        return Result(status, self.read("output"), self.read("errors"), journal, log)

    def open(self, name, mode="rb"):
        return open(os.path.join(self.root, name), mode)

    def write(self, name, content):
        with self.open(name, "wb") as file:
            file.write(content)

    def read(self, name):
        with self.open(name) as file:
            return file.read()

    def close(self):
        shutil.rmtree(self.root, ignore_errors=True)
