"""A simulated service with its control socket."""

import json
import socket

from .limits import SECONDS, TimeLimit
from .service import Service

__tracebackhide__ = True


class Refused(RuntimeError):
    """The service refused a command."""


class DrivenService(Service):
    """A service that takes the commands of SubtitleMgrCtl(1); every wait has a limit."""

    control = None  # the connection

    def start(self, seconds=SECONDS):
        super().start(seconds)
        self._connect()

    def _connect(self):
        self.control = socket.socket(socket.AF_UNIX)
        self.peers.append(self.control)
        self.workspace.connect(self.control, self.name + ".control")

    def command(self, line, within=SECONDS):
        """Sends a command. Returns the fields of the answer; a refusal is an error."""
        if "\n" in line:
            raise ValueError("a command is one line: %r" % line)
        try:
            answer = self._exchange(line, within)
        except TimeoutError:
            self._connect()  # the late answer must not be taken for the next one's
            raise TimeLimit("waited %g s in vain for an answer to %r" % (within, line)) from None
        except OSError as error:
            raise RuntimeError("%r: the service does not run: %s" % (line, error)) from None
        if answer.pop("ok"):
            return answer
        raise (TimeLimit if "timedOut" in answer else Refused)("%r: %s" % (line, answer["error"]))

    def _exchange(self, line, within):
        if self.control is None:
            raise ConnectionError("it has not started")
        self.control.settimeout(within)
        self.control.sendall(line.encode() + b"\n")
        answer = b""
        while not answer.endswith(b"\n"):
            piece = self.control.recv(65536)
            if not piece:
                raise ConnectionError("it closed the connection")
            answer += piece
        return json.loads(answer)

    def publish(self, line):
        """Publishes a line of a scenario. Returns the number of clients that receive it."""
        return self.command(line)["receivers"]

    def await_subscribers(self, subscription, within=SECONDS):
        """Waits until a client holds the subscription."""
        self._await("subscribers=%d" % subscription, within)

    def await_request(self, name, within=SECONDS, **fields):
        """Waits for the first such request after the last one that was awaited, or the start."""
        self._await(
            " ".join("%s=%s" % field for field in {"request": name, **fields}.items()), within
        )

    def _await(self, what, within):
        # The service keeps the limit; the answer has some more time.
        self.command("await %s within=%dms" % (what, 1000 * within), within + SECONDS)

    def state(self):
        """Everything that the service keeps, as SubtitleMgrCtl --json state shows it."""
        return self.command("state")

    def fault(self, spec):
        """Causes a fault of SubtitleMgrSim(1), such as "mute request=Ping times=1"."""
        return self.command("fault " + spec)["id"]
