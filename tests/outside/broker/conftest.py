"""A broker, benches and lines for one test."""

import pytest
from fleet import Bench, Broker, Line, Processes


@pytest.fixture(name="processes")
def fixture_processes():
    running = Processes()
    yield running
    running.end()


@pytest.fixture(name="broker")
def fixture_broker(processes, tmp_path):
    return Broker(processes, tmp_path)


@pytest.fixture(name="new_bench")
def fixture_new_bench(programs, processes):
    """Makes benches whose services run."""
    benches = []

    def make(name, *options):
        benches.append(Bench(programs, processes, name, ("--quiet", *options)))
        benches[-1].service.start()
        return benches[-1]

    yield make
    for bench in benches:
        bench.close()


@pytest.fixture(name="bench")
def fixture_bench(new_bench):
    return new_bench("7")


@pytest.fixture(name="new_line")
def fixture_new_line():
    lines = []

    def make(port):
        lines.append(Line(port))
        return lines[-1]

    yield make
    for line in lines:
        line.close()
