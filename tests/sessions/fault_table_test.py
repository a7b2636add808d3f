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


class Cell:
    """One run of the client in words of the page."""

    def __init__(self, text):
        parts = [PART.fullmatch(part) for part in text.split(", then ")]
        if None in parts:
            raise ValueError("not understood: " + text)
        self.has_no_end = parts[0][2] is not None
        self.errors = [part[3] for part in parts]  # None for what is done
        self.seconds = sum(float(part[4] or 0) for part in parts)

    def of_ping(self):
        error = "Error running ping" if self.has_no_end else self.errors[0]
        text = "Let's Ping\n" + ("" if error else "Successful Ping\n")
        return ["-p"], "", text, error + "\n" if error else ""

    def of_level(self):
        error = self.errors[0]
        text = "Error setting the log level of SubtitleMgr: %s\n" % error if error else ""
        return ["-s", "7"], "", "", text

    def of_refreshes(self):
        outcomes = ["  " + error if error else "\n" for error in self.errors]
        turns = ["Sending RefreshRegions\n" + outcome + MENU for outcome in outcomes]
        return ["-i"], "r\nr\nx\n", MENU + "".join(turns), ""


def play(programs, fault, text, run):
    """Plays a cell. Returns what differs, or None."""
    cell = Cell(text)
    options, typed, output, errors = run(cell)
    with Workspace(programs) as workspace, Service(workspace, ["--fault", fault]) as service:
        service.start()
        begin = time.monotonic()
        with PipedConsole(workspace, options) as client:
            client.type(typed.encode())
            if cell.has_no_end:
                service.await_journal("Ping")
                service.kill()
            client.wait()
            found = (client.output.decode(), client.errors.decode())
        seconds = time.monotonic() - begin
    if found != (output, errors):
        return "%s with %s:\n- %r\n+ %r" % (fault, options, (output, errors), found)
    if seconds < cell.seconds - CLOCKS:
        return "%s with %s ends after %.2f s already" % (fault, options, seconds)
    return None


def main():
    """Plays the table and prints what differs. Returns the exit status."""
    programs = sys.argv[1]
    rows = table()
    problems = []
    described = {fault.split()[0] for fault, _ in rows}
    if described != kinds(programs):
        problems.append("the page has %s, the service %s" % (described, kinds(programs)))
    runs = (Cell.of_ping, Cell.of_level, Cell.of_refreshes)
    with concurrent.futures.ThreadPoolExecutor(12) as pool:
        plays = [
            pool.submit(play, programs, fault, text, run)
            for fault, cells in rows
            for text, run in zip(cells, runs, strict=True)
        ]
        problems += [result.result() for result in plays if result.result()]
    print("\n".join(problems))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
