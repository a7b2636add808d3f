#!/usr/bin/env python3
"""Records the demo and checks it with schema and Python: schema_test.py TAP SERVICE SCENARIO."""

import os
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "../../unit/recording"))
sys.dont_write_bytecode = True  # keeps the source folder clean

# pylint: disable=wrong-import-position
from recorded_lines import checked_lines

COUNT = 20


def main(arguments):
    tap, service, scenario = arguments
    with tempfile.TemporaryDirectory() as folder:
        environment = dict(os.environ, LINX_DIR=os.path.join(folder, "linx"))
        playing = subprocess.Popen(
            ["setpriv", "--pdeathsig=KILL", service, "--quiet", "--play", scenario, "--loop"],
            stdout=subprocess.PIPE,
            env=environment,
        )
        try:
            assert playing.stdout.readline() == b"ready\n"
            recording = subprocess.run(
                [tap, "--json", "--count", str(COUNT)],
                check=True,
                stdout=subprocess.PIPE,
                env=environment,
                timeout=60,
            ).stdout
        finally:
            playing.kill()
            playing.wait()
            playing.stdout.close()
    lines = checked_lines(recording)
    assert len(lines) == COUNT + 1, len(lines)
    kinds = {line.get("notification") for line in lines[1:]}
    assert kinds == {"RegionData", "RegionVisibility", "Palette"}, kinds


main(sys.argv[1:])
