#!/usr/bin/env python3
"""Shows that a console cannot tell a replay: replay_test.py PROGRAMS SCENARIO.

The tap records the scenario. A console sees the scenario and then the recording, and prints the
same about both.
"""

import os
import re
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../python"))
sys.dont_write_bytecode = True  # keeps the source folder clean

# pylint: disable=wrong-import-position
from pytest_subtitle import PipedConsole, Service, Workspace

LAST = "palette 13 7 t 0102\n"
LAST_SHOWN = "*** PalettData:  13"


def shown(workspace, play=None):
    """Returns what a console prints about notifications; play() begins when it has subscribed."""
    with PipedConsole(workspace, ["-i"]) as console:
        console.key("1")
        console.expect("Subscribing for PaletteUpdate")
        if play:
            play()
        console.expect(LAST_SHOWN)
        console.key("x")
        console.wait()
        return re.findall(rb"(?:CLI: |Unexpected |\*\*\* ).*", console.output)


def replayed(workspace, recording):
    """Returns what a console prints about a recording that the service reads as it comes."""
    options = ["--rate", "10", "--play", "-"]
    with PipedConsole(workspace, options, program=workspace.service) as playing:
        playing.expect("ready\n")

        def play():
            playing.wait_for(lambda: b"Subscribe 10," in playing.errors, "the subscriptions")
            playing.type(recording)
            playing.end_input()
            playing.wait_for(lambda: not playing.untyped, "the end of the recording")

        return shown(workspace, play)


def main(arguments):
    """Runs the test."""
    programs, scenario = arguments
    with Workspace(programs) as workspace:
        path = workspace.new_path("scenario")
        with open(scenario, encoding="utf-8") as original, open(path, "w", encoding="utf-8") as own:
            own.write(original.read() + LAST)
        with Service(workspace, ["--rate", "10", "--play", path]) as service:
            service.start()
            before = shown(workspace)
        with Service(workspace, ["--rate", "10", "--play", path]) as service:
            service.start()
            tap = workspace.program("SubtitleMgrTap")
            with PipedConsole(workspace, ["--json"], program=tap) as tapping:
                tapping.expect('"regionId":13,')
                tapping.expect('"backgroundCode":7}\n')
                recording = tapping.output
        after = replayed(workspace, recording)
    assert len(before) > 15, before
    assert before == after, f"{before}\n{after}"


main(sys.argv[1:])
