"""Runs the two programs for a sweep, and collects the outcome of a run."""

import os
import re
import socket
import struct
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../python"))

# pylint: disable=wrong-import-position
from pytest_subtitle import SECONDS, PipedConsole, Service, TimeLimit, Workspace, receive
from pytest_subtitle.console import OUTPUT_LIMIT
from scenarios import Outcome, prepare_files

READY_SECONDS = 1  # then a ping asks the service, since the fault may hit its "ready" line

DIFFERS_BETWEEN_RUNS = re.compile(r'"monoUs":\d+,"wallUs":\d+,|,"client":\d+')

PING = struct.pack(">2sBBIII", b"ST", 1, 1, 0x3B01, 1, 0)
PONG = struct.pack(">2sBBIII", b"ST", 1, 2, 0x3B02, 1, 0)


class Place:
    """A workspace with one service, for many runs one after the other."""

    def __init__(self, programs):
        self.workspace = Workspace(programs)
        self.trace = self.workspace.new_path("trace")
        self.journal = self.workspace.new_path("journal")
        self.service = Service(self.workspace)
        self.was_ready = False

    def close(self):
        self.service.kill()
        self.workspace.__exit__()

    def trace_lines(self):
        with open(self.trace, encoding="utf-8", errors="replace") as file:
            return file.read().splitlines()

    def start_service(self, launcher=()):
        """Starts the service and waits until it answers or has ended."""
        open(self.journal, "wb").close()
        self.service = Service(self.workspace, ["--journal", self.journal], launcher)
        self.was_ready = False
        try:
            self.service.start(READY_SECONDS)
            self.was_ready = True
        except TimeLimit:
            self.is_answered()
        except RuntimeError:
            pass  # the service has ended

    def stop_service(self):
        """Ends the service by SIGTERM. \\return its status, or None if only SIGKILL ended it"""
        if self.service.is_running():
            self.service.process.terminate()
        status = self.end_of_service()
        self.service.kill()
        return status

    def end_of_service(self):
        """Waits for the service. \\return its status, or None if it does not end by itself"""
        try:
            return self.service.wait_for_end()
        except TimeLimit:
            return None

    def is_answered(self):
        """Whether the service answers a ping that uses none of our libraries."""
        deadline = time.monotonic() + SECONDS
        while time.monotonic() < deadline:
            try:
                with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as peer:
                    peer.settimeout(SECONDS)
                    peer.connect(os.path.join(self.workspace.messaging, "SubtitleMgr"))
                    peer.sendall(PING)
                    if receive(peer, len(PONG)) == PONG:
                        return True
            except OSError:
                if not self.service.is_running():
                    return False
            time.sleep(0.01)
        return False

    def run_client(self, scenario, launcher=()):
        """Plays a scenario. \\return its outcome"""
        prepare_files(self.workspace)
        os.truncate(self.journal, 0)
        outcome = Outcome()
        with PipedConsole(self.workspace, scenario.arguments, launcher) as client:
            client.type(scenario.keys.encode())
            client.end_input()
            try:
                outcome.status = client.wait()
            except TimeLimit:
                outcome.repeats = len(client.output) > OUTPUT_LIMIT
                outcome.timed_out = not outcome.repeats
        outcome.out = client.output.decode("utf-8", "replace")
        outcome.err = client.errors.decode("utf-8", "replace")
        outcome.log = [entry.decode("utf-8", "replace") for entry in self.workspace.log_entries()]
        return outcome

    def collect(self, outcome):
        """Adds what is complete only after the service has handled all requests."""
        with open(self.journal, encoding="utf-8", errors="replace") as journal:
            lines = DIFFERS_BETWEEN_RUNS.sub("", journal.read())
        outcome.requests = lines.splitlines()
        saved = os.path.join(self.workspace.files, "palette.rgb.out")
        if os.path.exists(saved):
            with open(saved, "rb") as file:
                outcome.saved = file.read()
