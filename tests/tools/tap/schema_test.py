#!/usr/bin/env python3
"""Records the demo with tap and service: schema_test.py PROGRAMS SCENARIO.

Checks both recordings, the journal and a saved state with schema and Python, and compares the
recordings.
"""

import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [
    os.path.join(HERE, folder) for folder in ("../../unit/recording", "../../../python")
]
sys.dont_write_bytecode = True  # keeps the source folder clean

# pylint: disable=wrong-import-position
from pytest_subtitle import DrivenService, PipedConsole, Workspace
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
    programs, scenario = arguments
    with Workspace(programs) as workspace:
        written = [workspace.new_path(name) for name in ("recording", "journal", "state")]
        options = [
            "--play",
            scenario,
            "--loop",
            "--rate",
            "10",
            "--record",
            written[0],
            "--journal",
            written[1],
        ]
        tap = workspace.program("SubtitleMgrTap")
        with DrivenService(workspace, options) as service:
            service.start()
            with PipedConsole(workspace, ["--json", "--count", str(COUNT)], program=tap) as tapping:
                assert tapping.wait() == 0, tapping.errors
                recording = tapping.output
            service.command("save " + written[2])
            service.stop()
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
