"""Runs sessions of the real client on the lock-step SDK."""

import os
import pathlib
import resource
import shutil
import subprocess
import tempfile
from dataclasses import dataclass

import session_files

SECONDS = 60


@dataclass
class Result:
    """The result of a session."""

    status: int  # exit status, or minus the signal that ended the client
    output: bytes
    errors: bytes
    journal: list
    log: list  # (level, process, line number and text)


class LockstepClient:
    """Runs sessions one after the other in a folder with the files of sessions."""

    def __init__(self, command):
        self.command = command
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="sessions."))
        self.folder = self.root / "folder"
        self.prepare_folder()
        kept = {name: os.environ[name] for name in os.environ if name.endswith("SAN_OPTIONS")}
        kept["PATH"] = os.environ["PATH"]
        self.environment = {**kept, "LC_ALL": "C", "LOCKSTEP_FOLDER": str(self.root)}

    def prepare_folder(self):
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir()
        session_files.make_folder(self.folder)

    def run(self, session, limit):
        """Runs a session. The kernel ends the client when a stream exceeds the limit."""
        self.write("keys", session.keys)
        self.write("script", session.script.text())
        with (
            (self.root / "keys").open("rb") as keys,
            (self.root / "output").open("wb") as output,
            (self.root / "errors").open("wb") as errors,
        ):
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

    def write(self, name, content):
        (self.root / name).write_bytes(content)

    def read(self, name):
        return (self.root / name).read_bytes()

    def close(self):
        shutil.rmtree(self.root, ignore_errors=True)
