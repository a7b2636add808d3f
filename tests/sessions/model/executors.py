"""Runs sessions of the real client, and the services that some of them talk to."""

import os
import shutil
import struct
import subprocess
import sys
import tempfile
from dataclasses import dataclass

sys.path.insert(
    0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "..", "python")
)

# pylint: disable=wrong-import-position
import session_files
from pytest_subtitle import Service, Workspace

FAULTS = ("refuse-subscribe", "refuse-refresh", "refuse-sensor", "hang-up")


@dataclass
class Result:
    """What came of a session."""

    status: int  # exit status, or the signal that ended it below 0
    output: bytes
    errors: bytes
    journal: list
    log: list  # (level, text with the line number)


class SessionServer:
    """A process that runs sessions one after the other; see session_server.h."""

    def __init__(self, command):
        orders, self.orders = os.pipe()
        self.results, results = os.pipe()

        def place():
            # Above both first, so that neither takes the other's place.
            first, second = os.dup(orders), os.dup(results)
            os.dup2(first, 3)
            os.dup2(second, 4)

        environment = {"PATH": os.environ["PATH"], "LC_ALL": "C", "LOCKSTEP_SERVER": "1"}
        environment.update(
            {name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}
        )
        self.process = subprocess.Popen(command, env=environment, pass_fds=(3, 4), preexec_fn=place)
        os.close(orders)
        os.close(results)
        self.reader = os.fdopen(self.results, "rb")

    def run(self, parts):
        """Runs one order. Returns the parts of its result."""
        order = struct.pack(">I", len(parts))
        order += b"".join(struct.pack(">I", len(part)) + part for part in parts)
        while order:
            order = order[os.write(self.orders, order) :]
        (count,) = struct.unpack(">I", self._read(4))
        return [self._read(struct.unpack(">I", self._read(4))[0]) for _ in range(count)]

    def _read(self, length):
        data = self.reader.read(length)
        if len(data) < length:
            raise RuntimeError("the server of sessions is gone")
        return data

    def close(self):
        """Ends the server."""
        os.close(self.orders)
        self.reader.close()
        self.process.wait()


class Executor:
    """Runs any session, in a folder of its own with the files that sessions find."""

    def __init__(self, programs, emulator, seconds):
        self.emulator = emulator
        self.programs = os.path.abspath(programs)
        self.seconds = seconds
        self.root = tempfile.mkdtemp(prefix="sessions.")
        self.folder = os.path.join(self.root, "folder")
        self.log = os.path.join(self.root, "log")
        self.prepare_folder()
        self.lockstep = self.runner = None
        self.launchers = self.programs
        if emulator:
            self.launchers = os.path.join(os.path.dirname(self.programs), "launchers")
        self.services = {}  # kind: (service, how many requests were told)

    def program(self, name):
        """The command that starts a program of the build."""
        return [*self.emulator, os.path.join(self.programs, name)]

    def prepare_folder(self):
        """Makes the folder as sessions find it."""
        shutil.rmtree(self.folder, ignore_errors=True)
        os.mkdir(self.folder)
        session_files.make_folder(self.folder)

    def run(self, session, limit):
        """Runs a session whose output is cut at a limit."""
        if session.service:
            return self._run_with_service(session, limit)
        if not self.lockstep:
            self.lockstep = SessionServer(self.program("SubtitleMgrCliLockstep"))
        parts = self.lockstep.run(self._order(session, limit, session.script.text(), b""))
        log = []
        for line in parts[4].splitlines():
            _, level, process, text = line.split(b" ", 3)
            log.append((int(level), text if process == b"SubtitleMgrCli" else line))
        return Result(self._status(parts), parts[1], parts[2], parts[3].decode().splitlines(), log)

    def _order(self, session, limit, script, environment):
        words = [os.fsencode(word) for word in ["SubtitleMgrCli", *session.words]]
        numbers = [b"%d" % limit, b"%d" % self.seconds]
        return [self.folder.encode(), *numbers, script, session.keys, environment, *words]

    @staticmethod
    def _status(parts):
        return os.waitstatus_to_exitcode(int(parts[0]))

    def _run_with_service(self, session, limit):
        if not self.runner:
            runner = os.path.join(self.programs, "session_runner")
            self.runner = SessionServer([*self.emulator, runner, *self.program("SubtitleMgrCli")])
        service, told = self._service(session.service)
        environment = "LINX_DIR=%s\0SUBTITLE_LOG=%s" % (service.workspace.messaging, self.log)
        parts = self.runner.run(self._order(session, limit, b"", environment.encode()))
        requests = service.requests()
        self.services[session.service] = service, len(requests)
        return Result(self._status(parts), parts[1], parts[2], requests[told:], self._take_log())

    def _service(self, kind):
        """A service of a kind in a workspace of its own, and how many of its requests were told."""
        if kind not in self.services:
            service = Service(
                Workspace(self.launchers), ["--fault", kind] if kind in FAULTS else []
            )
            if kind != "missing":
                service.start()
            self.services[kind] = service, 0
        return self.services[kind]

    def _take_log(self):
        """The client's entries; those of the messaging library have no level."""
        entries = []
        if os.path.exists(self.log):
            with open(self.log, "rb") as file:
                for line in file.read().splitlines():
                    level, text = line.split(b" level=", 1)[1].split(b" ", 1)
                    if level != b"0":
                        entries.append((int(level), text))
            os.remove(self.log)
        return entries

    def close(self):
        """Ends all processes and removes all files."""
        for server in (self.lockstep, self.runner):
            if server:
                server.close()
        for service, _ in self.services.values():
            with service.workspace:
                service.stop()
        shutil.rmtree(self.root, ignore_errors=True)
