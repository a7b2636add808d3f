"""An MQTT broker, benches that send to it, and desks that receive from it."""

import signal
import socket
import subprocess
import time

from pytest_subtitle import SECONDS, DrivenService, Workspace
from pytest_subtitle.limits import Deadline

LOOK_AGAIN = 0.01
# Debian's configuration, for any user: only root needs the line "user".
CONFIGURATION = """\
user root
persistence true
persistence_location {folder}/
log_dest file {folder}/log
log_type all
"""
OPEN = "listener {port} 127.0.0.1\nallow_anonymous true\n"
ALL_LINES = "max_queued_messages 0\n"


def wait_until(condition, what):
    """Waits for something of which no event tells."""
    deadline = Deadline()
    while not condition():
        time.sleep(min(LOOK_AGAIN, deadline.left(what)))


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as server:
        return server.getsockname()[1]


class Processes:
    """Starts processes, and kills those that still run at the end."""

    def __init__(self):
        self.running = []

    def start(self, *command, **options):
        # setpriv: the process ends with the test, also when the test is killed.
        words = ["setpriv", "--pdeathsig=KILL", *map(str, command)]
        self.running.append(subprocess.Popen(words, **options))
        return self.running[-1]

    def end(self):
        for process in self.running:
            process.kill()
        for process in self.running:
            process.wait()
            for stream in filter(None, (process.stdin, process.stdout, process.stderr)):
                stream.close()


class Broker:
    """A broker with a private folder, on a port of this machine."""

    def __init__(self, processes, folder, configuration=OPEN + ALL_LINES, port=None):
        self.processes = processes
        self.port = port or free_port()
        self.log = folder / "log"
        self.log_read = 0
        self.configuration = folder / "mosquitto.conf"
        self.configuration.write_text(
            (CONFIGURATION + configuration).format(folder=folder, port=self.port)
        )
        self.start()

    def start(self):
        self.process = self.processes.start(
            "mosquitto", "-c", self.configuration, stderr=subprocess.DEVNULL
        )
        self.await_log(" running\n")

    def stop(self, how=signal.SIGTERM):
        self.process.send_signal(how)
        self.process.wait(SECONDS)

    def await_log(self, text):
        """Waits for a text in the log after the text of the last call."""
        found = -1

        def look():
            nonlocal found
            log = self.log.read_text(errors="replace") if self.log.exists() else ""
            found = log.find(text, self.log_read)
            return found >= 0

        wait_until(look, "%r in the log of the broker" % text)
        self.log_read = found + len(text)


class Desk:
    """Receives the messages of a topic into a file."""

    def __init__(self, broker, path, *options):
        self.path = path
        with open(path, "wb") as file:
            self.process = broker.processes.start(
                "mosquitto_sub", "-p", broker.port, "-i", path.name, *options, stdout=file
            )
        broker.await_log("Sending SUBACK to %s\n" % path.name)

    def lines(self):
        """The whole lines so far."""
        return self.path.read_bytes().rpartition(b"\n")[0].splitlines()

    def await_lines(self, count):
        wait_until(lambda: len(self.lines()) >= count, "%d lines at a desk" % count)
        return self.lines()


class Bench:
    """A simulated service with a tap that sends its lines to a broker."""

    def __init__(self, programs, processes, name):
        self.programs = programs
        self.processes = processes
        self.name = name
        self.topic = "bench/%s/subtitle" % name
        self.workspace = Workspace(programs)
        self.service = DrivenService(self.workspace)
        self.tap = self.publisher = None

    def begin(self, broker, *options):
        """Starts the tap and its publisher, when the service runs."""
        environment = self.workspace.environment()
        self.tap = self.processes.start(
            self.programs / "SubtitleMgrTap", "--json", *options,
            env=environment, stdout=subprocess.PIPE,
        )  # fmt: skip
        self.publisher = self.processes.start(
            "mosquitto_pub", "-p", broker.port, "-q", 1, "-c",
            "-i", "bench" + self.name, "-l", "-t", self.topic,
            "--will-topic", "bench/%s/away" % self.name, "--will-payload", "now",
            stdin=self.tap.stdout,
        )  # fmt: skip
        self.tap.stdout.close()
        self.service.await_subscribers(10)

    def publish(self, numbers):
        """Publishes a bitmap of four bytes for each number."""
        for number in numbers:
            self.service.publish("region-data 3 cif %08x" % number)

    def close(self):
        self.service.kill()
        self.workspace.__exit__()
