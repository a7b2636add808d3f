#!/usr/bin/env python3
"""Shows that transcripts.py finds errors in a guide: transcripts_test.py BIN_DIR"""

import os
import pathlib
import subprocess
import sys
import tempfile

TRANSCRIPTS = pathlib.Path(__file__).with_name("transcripts.py")
PING = (
    "<!-- service: --quiet -->\n```console\n$ SubtitleMgrCli -p\nLet's Ping\nSuccessful Ping\n```\n"
)
WRONG = PING.replace("Successful Ping", "Successful Pong")


def check(guide):
    """Returns the exit status and the output."""
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / "guide.md"
        path.write_text(guide, encoding="utf-8")
        command = [sys.executable, TRANSCRIPTS, sys.argv[1], path]
        environment = {**os.environ, "SUBTITLE_TEST_SECONDS": "5"}
        result = subprocess.run(
            command, env=environment, capture_output=True, text=True, timeout=60, check=False
        )
        return result.returncode, result.stdout


assert check("Text alone.\n")[0] == 1
assert check(PING.replace("Ping\n```", "Ping\nMore\n```"))[0] == 1
status, output = check(WRONG)
assert status == 1 and "\n-Successful Pong\n+Successful Ping\n" in output, output
