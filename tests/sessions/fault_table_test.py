#!/usr/bin/env python3
"""Plays the table of faults in docs/simulator.md: what the client prints under each of them.

fault_table_test.py PROGRAMS
"""

import concurrent.futures
import os
import re
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
sys.path.insert(0, os.path.join(ROOT, "python"))

# pylint: disable=wrong-import-position
from pytest_subtitle import PipedConsole, Service, Workspace
from session_file import global_text

PAGE = os.path.join(ROOT, "docs", "simulator.md")
HEAD = "| `--fault` | `-p` | `-s 7` | keys `r` and `r` |"
PART = re.compile(r"(?:(done)|(no end)|`([^`]+)`)(?: after ([\d.]+) s)?")
MENU = global_text("menu").replace("{1}", "unsubscribed") + "\n"
CLOCKS = 0.02  # seconds that clocks of two processes may differ


def table():
    """Returns the rows of the page: a fault and the cells of three runs."""
    with open(PAGE, encoding="utf-8") as file:
        lines = file.read().split(HEAD + "\n", 1)[1].split("\n\n", 1)[0].split("\n")
    rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in lines[1:]]
    return [(row[0].strip("`"), row[1:]) for row in rows]


def kinds(programs):
    """Returns the kinds that the service names, without the older names of refusals."""
    refusal = subprocess.run(
        [os.path.join(programs, "SubtitleMgrSim"), "--fault", "?"],
        capture_output=True,
        text=True,
        timeout=60,
        check=False,
    ).stderr
    names = refusal.split("there are ", 1)[1].split("\n")[0].split(", ")
    return {name for name in names if not name.startswith("refuse-")}


# For each column, from the errors in its cell: options, typed text, standard output and errors. An
# error is None for what is done.


def ping(errors):
    text = "Let's Ping\n" + ("" if errors[0] else "Successful Ping\n")
    return ["-p"], "", text, errors[0] + "\n" if errors[0] else ""


def log_level(errors):
    text = "Error setting the log level of SubtitleMgr: %s\n" % errors[0] if errors[0] else ""
    return ["-s", "7"], "", "", text


def refreshes(errors):
    turns = ["Sending RefreshRegions\n%s%s" % ("  " + e if e else "\n", MENU) for e in errors]
    return ["-i"], "r\nr\nx\n", MENU + "".join(turns), ""


def play(programs, fault, cell, run):
    """Plays a cell. Returns what differs, or None."""
    parts = [PART.fullmatch(part) for part in cell.split(", then ")]
    has_no_end = parts[0][2] is not None
    seconds = sum(float(part[4] or 0) for part in parts)
    options, typed, *expected = run(
        ["Error running ping"] if has_no_end else [part[3] for part in parts]
    )
    with Workspace(programs) as workspace, Service(workspace, ["--fault", fault]) as service:
        service.start()
        begin = time.monotonic()
        with PipedConsole(workspace, options) as client:
            client.type(typed.encode())
            if has_no_end:
                service.await_journal("Ping")
                service.kill()
            client.wait()
            found = [client.output.decode(), client.errors.decode()]
        taken = time.monotonic() - begin
    if found != expected:
        return "%s with %s:\n- %r\n+ %r" % (fault, options, expected, found)
    if taken < seconds - CLOCKS:
        return "%s with %s ends after %.2f s already" % (fault, options, taken)
    return None


def main():
    """Plays the table and prints what differs. Returns the exit status."""
    programs = sys.argv[1]
    rows = table()
    problems = []
    described = {fault.split()[0] for fault, _ in rows}
    if described != kinds(programs):
        problems.append("the page has %s, the service %s" % (described, kinds(programs)))
    with concurrent.futures.ThreadPoolExecutor(12) as pool:
        plays = [
            pool.submit(play, programs, fault, cell, run)
            for fault, cells in rows
            for cell, run in zip(cells, (ping, log_level, refreshes), strict=True)
        ]
        problems += [result.result() for result in plays if result.result()]
    print("\n".join(problems))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
