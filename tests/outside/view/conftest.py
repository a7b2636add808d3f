"""Fixtures for the tests of the page and of captures."""

import contextlib

import pytest
from browser import Recording, open_browser, page_server
from pytest_subtitle import DrivenService, Workspace
from wireshark import Wireshark


@pytest.fixture(name="page")
def fixture_page(tmp_path, serve):  # pylint: disable=unused-argument
    """The browser, which ends with the test, before the servers."""
    with open_browser(tmp_path) as opened:
        yield opened
        assert not opened.errors()


@pytest.fixture(name="workspace")
def fixture_workspace(programs):
    with Workspace(programs) as folders:
        yield folders


@pytest.fixture(name="service")
def fixture_service(workspace):
    with DrivenService(workspace) as started:
        started.start()
        yield started


@pytest.fixture(name="serve")
def fixture_serve(workspace, programs):
    """Opens a server with options; it ends with the test."""
    with contextlib.ExitStack() as stack:
        yield lambda *options: stack.enter_context(page_server(workspace, programs, *options))


@pytest.fixture(name="recording")
def fixture_recording():
    return Recording()


@pytest.fixture(scope="session")
def wireshark(programs, tmp_path_factory):
    return Wireshark(programs, tmp_path_factory.mktemp("wireshark"))
