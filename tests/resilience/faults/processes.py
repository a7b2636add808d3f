"""Starts the two programs with limits, and collects what a run leaves behind."""

import os
import re
import resource
import shutil
import signal
import socket
import struct
import subprocess
import tempfile
import time

from scenarios import Outcome, prepare_files

DEADLINE = 10  # seconds; nothing here takes a tenth of it when all is well
OUTPUT_LIMIT = 1 << 20  # a console at the end of its input prints for ever

PING = struct.pack(">2sBBIII", b"ST", 1, 1, 0x3B01, 1, 0)
PONG = struct.pack(">2sBBIII", b"ST", 1, 2, 0x3B02, 1, 0)


class Programs:
    """Where the programs of a build are."""

    def __init__(self, folder):
        self.client = os.path.join(os.path.abspath(folder), "SubtitleMgrCli")
        self.service = os.path.join(os.path.abspath(folder), "SubtitleMgrSim")
        for program in (self.client, self.service):
            if not os.access(program, os.X_OK):
                raise SystemExit(f"{program}: is not there; build it first")


def limit_output():
    """Runs in the new process: it ends when it writes more than the limit into a file."""
    resource.setrlimit(resource.RLIMIT_FSIZE, (OUTPUT_LIMIT, OUTPUT_LIMIT))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def end(process):
    """Ends a process and all that it started, whatever they are doing."""
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    process.wait()


class Place:
    """A messaging directory and a folder for files, for one run after the other."""

    def __init__(self, programs):
        self.programs = programs
        self.folder = tempfile.mkdtemp(prefix="faults-")
        self.directory = os.path.join(self.folder, "linx")
        os.mkdir(self.directory, 0o700)
        self.service = None

    def close(self):
        if self.service:
            end(self.service)
        shutil.rmtree(self.folder)

    def path(self, name):
        return os.path.join(self.folder, name)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def text(self, name):
        return self.read(name).decode("utf-8", "replace")

    def environment(self, extra=None):
        return {
            **os.environ,
            "LINX_DIR": self.directory,
            "SUBTITLE_LOG": self.path("log"),
            "LC_ALL": "C",
            **(extra or {}),
        }

    def launch(self, command, name, keys="", extra=None):
        """Starts a command whose outputs go to NAME.out and NAME.err."""
        with open(self.path(name + ".keys"), "w", encoding="utf-8") as file:
            file.write(keys)
        with (
            open(self.path(name + ".keys"), encoding="utf-8") as keys_file,
            open(self.path(name + ".out"), "wb") as out,
            open(self.path(name + ".err"), "wb") as err,
        ):
            return subprocess.Popen(
                command,
                cwd=self.folder,
                env=self.environment(extra),
                stdin=keys_file,
                stdout=out,
                stderr=err,
                start_new_session=True,
                preexec_fn=limit_output,
            )

    def start_service(self, prefix=(), extra=None):
        """Starts the service and waits until it can be reached, has ended or says nothing more."""
        open(self.path("journal"), "wb").close()
        self.service = self.launch(
            [*prefix, self.programs.service, "--quiet", "--journal", self.path("journal")],
            "service",
            extra=extra,
        )
        started = time.monotonic()
        while time.monotonic() < started + DEADLINE:
            if b"ready\n" in self.read("service.out") or self.service.poll() is not None:
                return
            # The line itself may be what fails.
            if time.monotonic() > started + 1 and self.is_answered():
                return
            time.sleep(0.001)

    def stop_service(self):
        """Ends the service by SIGTERM. \\return its status, or None when it had to be killed"""
        service, self.service = self.service, None
        if service.poll() is None:
            os.kill(service.pid, signal.SIGTERM)
        try:
            return service.wait(DEADLINE)
        except subprocess.TimeoutExpired:
            return None
        finally:
            self.wait_for_tracer(service.args)
            end(service)

    def wait_for_tracer(self, command):
        """A tracer writes its last lines after the service has ended."""
        deadline = time.monotonic() + DEADLINE
        while command[0] == "strace" and time.monotonic() < deadline:
            if re.search(r"\+\+\+ (exited|killed)", self.text("trace")):
                return
            time.sleep(0.001)

    def service_is_alive(self):
        return self.service is not None and self.service.poll() is None

    def service_ends(self):
        """Whether the service ends by itself with status 0."""
        try:
            return self.service.wait(DEADLINE) == 0
        except subprocess.TimeoutExpired:
            return False

    def is_answered(self):
        """Whether a ping that knows nothing of our libraries is answered."""
        deadline = time.monotonic() + DEADLINE
        while time.monotonic() < deadline:
            try:
                with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as peer:
                    peer.settimeout(DEADLINE)
                    peer.connect(os.path.join(self.directory, "SubtitleMgr"))
                    peer.sendall(PING)
                    received = b""
                    while len(received) < len(PONG):
                        more = peer.recv(64)
                        if not more:
                            break
                        received += more
                    if received == PONG:
                        return True
            except OSError:
                if not self.service_is_alive():
                    return False
            time.sleep(0.01)
        return False

    def run_client(self, scenario, prefix=(), extra=None):
        """Plays a scenario. \\return its outcome"""
        prepare_files(self.folder)
        with open(self.path("journal"), "ab") as journal:
            journal.truncate(0)
        client = self.launch(
            [*prefix, self.programs.client, *scenario.arguments], "client", scenario.keys, extra
        )
        outcome = Outcome()
        try:
            outcome.status = client.wait(DEADLINE)
        except subprocess.TimeoutExpired:
            outcome.timed_out = True
        end(client)
        outcome.out = self.text("client.out")
        outcome.err = self.text("client.err")
        outcome.log = self.log_lines()
        return outcome

    def log_lines(self):
        try:
            lines = self.text("log").splitlines()
        except FileNotFoundError:
            return []
        return [re.sub(r"^\S+ SubtitleMgrCli\[\d+\] ", "", line) for line in lines]

    def collect(self, outcome):
        """Adds what is complete only when the service has had its turn."""
        outcome.requests = self.text("journal").splitlines()
        try:
            outcome.saved = self.read("palette.rgb.out")
        except FileNotFoundError:
            outcome.saved = None
