"""What the tests with programs of others share."""

import pathlib

import pytest

ROOT = pathlib.Path(__file__).parents[2]


@pytest.fixture(scope="session")
def programs():
    """The folder of the programs."""
    return ROOT / "build" / "desk" / "bin"
