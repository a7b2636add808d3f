#!/usr/bin/env python3
"""Records the demo with tap and service: schema_test.py TAP SERVICE SCENARIO.

Checks both recordings, the journal and a saved state with schema and Python, and compares the
recordings.
"""

import os
import socket
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "../../unit/recording"))
sys.dont_write_bytecode = True  # keeps the source folder clean

# pylint: disable=wrong-import-position
from recorded_lines import checked_line, checked_lines

COUNT = 20


def contents(lines):
    """Returns the notifications without what only one of the two programs knows."""
    own = ("monoUs", "wallUs", "receivers")
    return [
        {name: value for name, value in line.items() if name not in own}
        for line in lines
        if "notification" in line
    ]


def main(arguments):
    tap, service, scenario = arguments
    with tempfile.TemporaryDirectory() as folder:
        environment = dict(os.environ, LINX_DIR=os.path.join(folder, "linx"))
        written = [os.path.join(folder, name) for name in ("recording", "journal", "state")]
        options = ["--play", scenario, "--loop", "--record", written[0], "--journal", written[1]]
        playing = subprocess.Popen(
            ["setpriv", "--pdeathsig=KILL", service, "--quiet", *options],
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
            with socket.socket(socket.AF_UNIX) as control:
                control.settimeout(60)
                control.connect(os.path.join(folder, "linx", "SubtitleMgr.control"))
                control.sendall(f"save {written[2]}\n".encode())
                assert control.recv(100).startswith(b'{"ok":true')
        finally:
            playing.terminate()
            playing.wait()
            playing.stdout.close()
        of_service, journal, state = [open(path, "rb").read() for path in written]
    lines = checked_lines(recording)
    assert len(lines) == COUNT + 1, len(lines)
    recorded = checked_lines(of_service)
    assert contents(recorded)[:COUNT] == contents(lines), recorded
    assert [line for line in recorded if "request" in line and "data" not in line] == [
        checked_line(line) for line in journal.splitlines(keepends=True)
    ], journal
    assert len(checked_lines(state)) > 8, state
    kinds = {line.get("notification") for line in lines[1:]}
    assert kinds == {"RegionData", "RegionVisibility", "Palette"}, kinds


main(sys.argv[1:])
