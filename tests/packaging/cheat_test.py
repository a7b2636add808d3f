#!/usr/bin/env python3
"""Runs every example of the cheat sheet in one shell: cheat_test.py BIN_DIR."""

import os
import re
import subprocess
import sys
import tempfile

PROGRAMS = {"SubtitleMgr" + name for name in ("Cli", "Ctl", "Sim", "Tap", "View")}
# The console ends with the key x. A service or page that starts is awaited before the next command.
SHELL = r"""
mkfifo started
trap 'kill $(jobs -p) 2>/dev/null' EXIT
while IFS= read -r command; do
    case $command in
    SubtitleMgrSim*) eval "${command%&} >started &"; read -r _ <started ;;
    *page*) eval "${command%&} >started &"; page=$!; read -r address <started; echo "$address" ;;
    *) eval "$command" <<<x ;;
    esac || { echo "$command: status $?" >&2; exit 1; }
done <commands
trap - EXIT
kill "$page" 2>/dev/null
wait "$page"
for job in $(jobs -p); do wait "$job" || exit 1; done
"""


def main(bin_dir):
    environment = {**os.environ, "LC_ALL": "C", "PATH": bin_dir + ":" + os.environ["PATH"]}
    sheet = subprocess.run(
        ["SubtitleMgrCtl", "cheat"], env=environment, capture_output=True, text=True, check=True
    ).stdout.splitlines()
    assert len(sheet) < 24, "with a prompt, the sheet does not fit into 24 lines"
    assert max(map(len, sheet)) <= 80, max(sheet, key=len)
    commands = [re.split("  +", line.strip())[0] for line in sheet if line.startswith("  ")]
    assert {command.split()[0] for command in commands} == PROGRAMS, commands
    with tempfile.TemporaryDirectory() as folder:
        environment["LINX_DIR"] = folder + "/linx"
        environment["SUBTITLE_LOG"] = folder + "/log"
        with open(folder + "/commands", "w", encoding="utf-8") as file:
            file.write("\n".join(commands) + "\n")
        result = subprocess.run(
            ["bash", "-c", SHELL],
            cwd=folder,
            env=environment,
            capture_output=True,
            timeout=60,
            check=False,
        )
        sys.stderr.buffer.write(result.stderr)
        assert result.returncode == 0 and result.stderr == b"", result.stdout.decode()
        # What the examples promise.
        shown = result.stdout.decode()
        for text in ("Successful Ping", " visibility region 3 visible", "REGION", "http://127"):
            assert text in shown, text
        assert os.path.exists(folder + "/png/screen.png")


main(os.path.abspath(sys.argv[1]))
