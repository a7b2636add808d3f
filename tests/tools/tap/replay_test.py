#!/usr/bin/env python3
"""Shows that a console cannot tell a replay: replay_test.py TAP SERVICE CLIENT SCENARIO.

The tap records the scenario. A console sees the scenario and then the recording, and prints the
same about both.
"""

import os
import re
import subprocess
import sys
import tempfile
import threading

LAST = "palette 13 7 t 0102\n"
LAST_SHOWN = b"*** PalettData:  13"
SECONDS = 60


class Program:
    """A program that ends with the with-block; its lines can be awaited."""

    def __init__(self, *arguments, environment):
        self.process = subprocess.Popen(
            ["setpriv", "--pdeathsig=KILL", *arguments],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            env=environment,
        )
        self.output = b""
        self.limit = threading.Timer(SECONDS, self.process.kill)

    def __enter__(self):
        self.limit.start()
        return self

    def __exit__(self, *_):
        self.limit.cancel()
        self.process.terminate()
        self.process.communicate()

    def await_text(self, text):
        """Reads until text has come."""
        while text not in self.output:
            piece = os.read(self.process.stdout.fileno(), 65536)
            assert piece, f"ended before it showed {text}: {self.output}"
            self.output += piece

    def write(self, data):
        """Gives it input."""
        self.process.stdin.write(data)
        self.process.stdin.flush()


def shown(client, environment, play=None):
    """Returns what a console prints about notifications; play() begins when it has subscribed."""
    with Program(client, "-i", environment=environment) as console:
        console.write(b"1\n")
        if play:
            play()
        console.await_text(LAST_SHOWN)
        console.write(b"x\n")
        rest, _ = console.process.communicate()
        return re.findall(rb"(?:CLI: |Unexpected |\*\*\* ).*", console.output + rest)


def main(arguments):
    """Runs the test."""
    tap, service, client, scenario = arguments
    with tempfile.TemporaryDirectory() as folder:
        environment = dict(os.environ, LINX_DIR=os.path.join(folder, "linx"))
        path = os.path.join(folder, "scenario")
        with open(scenario, encoding="utf-8") as original, open(path, "w", encoding="utf-8") as own:
            own.write(original.read() + LAST)
        with Program(service, "--rate", "10", "--play", path, environment=environment) as playing:
            playing.await_text(b"ready\n")
            before = shown(client, environment)
        with Program(service, "--rate", "10", "--play", path, environment=environment) as playing:
            playing.await_text(b"ready\n")
            with Program(tap, "--json", environment=environment) as tapping:
                tapping.await_text(b'"regionId":13,')
                tapping.await_text(b'"backgroundCode":7}\n')
                recording = tapping.output
        with Program(service, "--rate", "10", "--play", "-", environment=environment) as playing:
            playing.await_text(b"ready\n")

            def play():
                playing.await_text(b"Subscribe 10,")
                playing.write(recording)

            after = shown(client, environment, play)
    assert len(before) > 15, before
    assert before == after, f"{before}\n{after}"


main(sys.argv[1:])
