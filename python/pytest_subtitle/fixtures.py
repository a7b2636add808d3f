"""The fixtures, options and reports of the plugin; docs/testing.md is the guide."""

import os
import re

import pytest

from .bench import LAUNCHER, Bench
from .tap import Tap

FOLDERS = {
    "programs": "the programs; without it those of the PATH",
    "dir": "the messaging directory of a running service, for tests that do not drive it",
    "keep": "here the files of a failed test are kept: recording, journal and logs",
}
BENCH = pytest.StashKey()


def pytest_addoption(parser):
    group = parser.getgroup("subtitle", "tests of the subtitle service and its client")
    for name, text in FOLDERS.items():
        group.addoption("--subtitle-" + name, metavar="FOLDER", help=text)
        parser.addini("subtitle_" + name, text, type="paths")


def pytest_configure(config):
    config.addinivalue_line(
        "markers",
        "subtitle(scenario=, options=[]): what the simulated service plays, a file beside the test"
        " or lines of text, and more options for SubtitleMgrSim",
    )


def folder_of(config, name):
    """The folder of an option or of the configuration file, or None."""
    option = config.getoption("subtitle_" + name)
    if option:
        return os.path.join(config.invocation_params.dir, option)
    return next(map(str, config.getini("subtitle_" + name)), None)


@pytest.fixture
def _subtitle_bench(request):
    node, config = request.node, request.config
    marker = node.get_closest_marker("subtitle")
    messaging = folder_of(config, "dir")
    if messaging and (marker or "subtitle_service" in request.fixturenames):
        pytest.skip("drives a simulated service, and --subtitle-dir names another one")
    if messaging and not os.path.isdir(messaging):
        pytest.fail("--subtitle-dir: no folder " + messaging, pytrace=False)
    keep = folder_of(config, "keep")
    if keep:
        keep = os.path.join(keep, re.sub(r"[^\w.-]+", "_", node.nodeid))
    with Bench(folder_of(config, "programs"), messaging, keep) as bench:
        node.stash[BENCH] = bench
        if not messaging:
            with bench.failing():
                bench.start_service(node.path.parent, **(marker.kwargs if marker else {}))
        yield bench


@pytest.fixture
def subtitle_service(_subtitle_bench):
    """A simulated service of the test's own; a DrivenService."""
    return _subtitle_bench.simulated


@pytest.fixture
def subtitle_console(_subtitle_bench):
    """The client's console in its main menu, on a pseudo-terminal; a TerminalConsole."""
    from .terminal import TerminalConsole  # here, since it needs pexpect

    with TerminalConsole(_subtitle_bench, ["-i"], LAUNCHER) as console:
        _subtitle_bench.console = console
        with _subtitle_bench.failing():
            console.expect("x) Exit\n\n")
        yield console
        # After a failure the console may be at any prompt.
        if _subtitle_bench.sections is None and not console.child.closed:
            with _subtitle_bench.failing():
                console.leave()


@pytest.fixture
def subtitle_client(_subtitle_bench):
    """Bench.run_client."""
    return _subtitle_bench.run_client


@pytest.fixture
def subtitle_tap(_subtitle_bench):
    """A tap that has subscribed to everything; a Tap."""
    with Tap(_subtitle_bench, LAUNCHER) as tap:
        _subtitle_bench.tap = tap
        with _subtitle_bench.failing():
            tap.await_subscriptions()
        yield tap


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item):
    """Adds what the programs of a failed test did; inside the traceback it is also in JUnit's."""
    report = (yield).get_result()
    bench = item.stash.get(BENCH, None)
    if bench is None or not report.failed:
        return
    bench.fail()
    add = getattr(report.longrepr, "addsection", lambda *section: report.sections.append(section))
    for name, text in bench.sections:
        add(name, text)
    bench.sections = []
