"""The packages of each preset."""

import os
import pathlib
import subprocess

import pytest

ROOT = pathlib.Path(__file__).parents[3]


@pytest.fixture(scope="session")
def packages_of():
    """Returns a function that makes the packages of a preset and returns them by name."""
    made = {}

    def make(preset, tree=ROOT):
        if (preset, tree) not in made:
            command = [tree / "script/package", preset]
            shown = subprocess.run(
                command,
                env={**os.environ, "SOURCE_DATE_EPOCH": "1700000000"},
                stdout=subprocess.PIPE,
                text=True,
                check=True,
            ).stdout
            paths = [tree / line for line in shown.splitlines()]
            assert paths
            made[preset, tree] = {path.name.split("_")[0]: path for path in paths}
        return made[preset, tree]

    return make
