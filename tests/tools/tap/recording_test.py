#!/usr/bin/env python3
"""Records the demo and replays it: recording_test.py PROGRAMS SCENARIO.

Checks the recordings of tap and service, the journal and a saved state with schema and Python. A
console prints the same about the scenario and about the tap's recording.
"""

import os
import re
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [
    os.path.join(HERE, folder) for folder in ("../../unit/recording", "../../../python")
]
sys.dont_write_bytecode = True  # keeps the source folder clean

# pylint: disable=wrong-import-position
from pytest_subtitle import DrivenService, PipedConsole, Workspace
from recorded_lines import checked_line, checked_lines

LAST = "palette 13 7 t 0102\n"


def contents(lines):
    """Returns the notifications without what only one of the two programs knows."""
    own = ("monoUs", "wallUs", "receivers")
    return [
        {name: value for name, value in line.items() if name not in own}
        for line in lines
        if "notification" in line
    ]


def subscribe(console):
    console.key("1")
    console.expect("Subscribing for PaletteUpdate")


def shown(console):
    """Returns what a console prints about the notifications up to the last."""
    console.expect("*** PalettData:  13")
    console.key("x")
    console.wait()
    return re.findall(rb"(?:CLI: |Unexpected |\*\*\* ).*", console.output)


def recorded(workspace, scenario):
    """Returns what a console prints about a scenario, and the files of tap and service."""
    paths = [workspace.new_path(name) for name in ("recording", "journal", "state")]
    tap = workspace.program("SubtitleMgrTap")
    with DrivenService(workspace, ["--record", paths[0], "--journal", paths[1]]) as service:
        service.start()
        with PipedConsole(workspace, ["--json"], program=tap) as tapping, PipedConsole(
            workspace, ["-i"]
        ) as console:
            subscribe(console)
            service.await_journal("Subscribe", 12)  # six of each
            service.command("play %s rate=10" % scenario)
            transcript = shown(console)
            tapping.expect('"regionId":13,')
            tapping.expect('"backgroundCode":7}\n')
        service.command("save " + paths[2])
        service.stop()
    return transcript, tapping.output, *(open(path, "rb").read() for path in paths)


def replayed(workspace, recording):
    """Returns what a console prints about a recording that the service reads as it comes."""
    options = ["--rate", "10", "--play", "-"]
    with PipedConsole(workspace, options, program=workspace.service) as playing:
        playing.expect("ready\n")
        with PipedConsole(workspace, ["-i"]) as console:
            subscribe(console)
            playing.wait_for(lambda: b"Subscribe 10," in playing.errors, "the subscriptions")
            playing.type(recording)
            playing.end_input()
            playing.wait_for(lambda: not playing.untyped, "the end of the recording")
            return shown(console)


def main(arguments):
    """Runs the test."""
    programs, scenario = arguments
    with Workspace(programs) as workspace:
        path = workspace.new_path("scenario")
        with open(scenario, encoding="utf-8") as original, open(path, "w", encoding="utf-8") as own:
            own.write(original.read() + LAST)
        transcript, of_tap, of_service, journal, state = recorded(workspace, path)
        again = replayed(workspace, of_tap)
    lines = checked_lines(of_tap)
    of_service = checked_lines(of_service)
    assert contents(of_service) == contents(lines), of_service
    assert [line for line in of_service if "request" in line and "data" not in line] == [
        checked_line(line) for line in journal.splitlines(keepends=True)
    ], journal
    assert len(checked_lines(state)) > 8, state
    kinds = {line.get("notification") for line in lines[1:]}
    assert kinds == {"RegionData", "RegionVisibility", "Palette"}, kinds
    assert len(transcript) > 15, transcript
    assert transcript == again, f"{transcript}\n{again}"


main(sys.argv[1:])
