"""Runs the client and the simulated service for tests, in private folders that are removed.

As a plugin of pytest it has the fixtures of fixtures.py. Without pytest:

    with Workspace("build/desk/bin") as workspace, DrivenService(workspace) as service:
        service.start()
        with PipedConsole(workspace, ["-i"]) as console:
            console.key("1")
            service.await_subscribers(10)
            console.key("x")
            assert console.wait() == 0
"""

from .console import PipedConsole
from .driven_service import DrivenService, Refused
from .limits import SECONDS, TimeLimit
from .service import Service, receive
from .workspace import MissingProgram, Workspace

# By name: only pytest imports the module, since programs use the classes where there is no pytest.
pytest_plugins = ["pytest_subtitle.fixtures"]
