"""Runs pytest with the plugin on small test files, and checks that nothing remains."""

import tempfile

import pytest

from left_over import processes_below

pytest_plugins = "pytester"


@pytest.fixture(autouse=True)
def scratch(tmp_path, monkeypatch):
    """The folder for temporary files, in which no file and no process may remain."""
    folder = tmp_path / "scratch"
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

    def play(text, *options, programs=programs, subprocess=False):
        pytester.makepyfile(test_it=text)
        words = ["-p", "pytest_subtitle", "-p", "no:cacheprovider", "--rootdir=.", *options]
        words += ["--subtitle-programs", programs] if programs else []
        runs = pytester.runpytest_subprocess if subprocess else pytester.runpytest_inprocess
        return runs(*words)

    return play
