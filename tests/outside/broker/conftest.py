"""A broker and benches for one test."""

import contextlib

import pytest
from fleet import Bench, Broker, Processes


@pytest.fixture(name="ending")
def fixture_ending():
    """Ends everything of the test."""
    with contextlib.ExitStack() as stack:
        yield stack


@pytest.fixture(name="processes")
def fixture_processes(ending):
    running = Processes()
    ending.callback(running.end)
    return running


@pytest.fixture(name="broker")
def fixture_broker(processes, tmp_path):
    return Broker(processes, tmp_path)


@pytest.fixture(name="new_bench")
def fixture_new_bench(programs, processes, ending):
    """Makes benches whose services run."""

    def make(name):
        bench = Bench(programs, processes, name)
        ending.callback(bench.close)
        bench.service.start()
        return bench

    return make


@pytest.fixture(name="bench")
def fixture_bench(new_bench):
    return new_bench("7")
