"""Starts the client and the simulated service for tests, in private folders that are removed.

    with Workspace("build/desk/bin") as workspace, Service(workspace) as service:
        service.start()
        with TerminalConsole(workspace, ["-i"]) as console:
            console.expect("x) Exit")
            console.key("x")
            assert console.wait() == 0
"""

from .console import PipedConsole, TerminalConsole
from .limits import SECONDS, TimeLimit
from .service import Service, receive
from .workspace import Workspace

__all__ = [
    "PipedConsole",
    "SECONDS",
    "Service",
    "TerminalConsole",
    "TimeLimit",
    "Workspace",
    "receive",
]
