"""A broker, benches and lines for one test."""

import pytest
from fleet import Bench, Broker, Line, Processes


@pytest.fixture
def processes():
    running = Processes()
    yield running
    running.end()


@pytest.fixture
def broker(processes, tmp_path):
    return Broker(processes, tmp_path)


@pytest.fixture
def new_bench(programs, processes):
    """Makes benches whose services run."""
    benches = []

    def make(name, *options):
        benches.append(Bench(programs, processes, name, ("--quiet", *options)))
        benches[-1].service.start()
        return benches[-1]

    yield make
    for bench in benches:
        bench.close()


@pytest.fixture
def bench(new_bench):
    return new_bench("7")


@pytest.fixture
def new_line():
    lines = []

    def make(port):
        lines.append(Line(port))
        return lines[-1]

    yield make
    for line in lines:
        line.close()
