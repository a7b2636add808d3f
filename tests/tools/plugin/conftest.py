"""Plays small test files with the plugin, and checks that every test leaves nothing."""

import os
import pathlib
import tempfile

import pytest

pytest_plugins = "pytester"


@pytest.fixture(name="processes_below")
def function_that_finds_processes():
    """Returns the command lines of all processes whose environment names a folder."""

    def processes_below(folder):
        found = []
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                if os.fsencode(folder) in (process / "environ").read_bytes():
                    found.append((process / "cmdline").read_bytes())
            except OSError:
                pass  # it has ended
        return found

    return processes_below


@pytest.fixture(autouse=True)
def scratch(tmp_path, monkeypatch, processes_below):
    """The folder for temporary files, in which no file and no process may remain.

    Its path is longer than a socket address.
    """
    folder = tmp_path / ("long" * 30)
    folder.mkdir()
    monkeypatch.setenv("TMPDIR", str(folder))
    monkeypatch.setattr(tempfile, "tempdir", str(folder))
    yield folder
    assert not list(folder.iterdir())
    assert not processes_below(folder)


@pytest.fixture(name="programs")
def folder_of_programs(pytestconfig):
    """The folder of the programs."""
    return str(pytestconfig.invocation_params.dir / pytestconfig.getoption("subtitle_programs"))


@pytest.fixture(name="play")
def player(pytester, programs):
    """A function that runs pytest on a text of tests; its result has the output."""

    def play(text, *options, programs=programs, run=pytester.runpytest_inprocess):
        pytester.makepyfile(test_it=text)
        words = ["-p", "pytest_subtitle", "-p", "no:cacheprovider", "--rootdir=.", *options]
        return run(*words, *(["--subtitle-programs", programs] if programs else []))

    return play
