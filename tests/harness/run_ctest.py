#!/usr/bin/env python3
"""Runs CTest and prints a summary: progress, failures, slow tests, commands to run next.

run_ctest.py [-v] BUILD AGAIN CTEST...    AGAIN is the command that runs tests by name
"""

import os
import re
import shlex
import shutil
import subprocess
import sys
import textwrap
import time
import xml.etree.ElementTree

sys.dont_write_bytecode = True
import not_run

COLUMNS = 100
SLOWEST = 5
# If standard output is not a terminal: one line for each such part of the tests.
PARTS = 10
RESULTS = "results.xml"

STARTED = re.compile(r" +Start +(\d+): (.*)$")
ENDED = re.compile(r" *(\d+)/(\d+) Test +#(\d+): (.*?) \.*(.*?) +([\d.]+) sec *$")
# Other programs count these lines, so they stay as CTest writes them.
SUMMARY = re.compile(r"\d+% tests passed, \d+ tests failed out of \d+$")
# Lists that this script prints in another form, and empty lines.
HIDDEN = re.compile(
    r"Internal ctest changing|Test project |The following tests|\t *\d+ - |Label Time Summary"
    r"|\S+ += +[\d.]+ sec\*proc|Total Test time|Errors while running|Output from these"
    r"|Use \"--rerun-failed|\s*$"
)


def fold(line, width=COLUMNS):
    return [line[at : at + width] for at in range(0, len(line), width)] or [""]


def shorten(name, width):
    return name if len(name) <= width else "..." + name[3 - width :]


class Screen:
    """Standard output with a progress line, which other lines replace on a terminal."""

    def __init__(self):
        self.is_terminal = sys.stdout.isatty()
        self.width = min(shutil.get_terminal_size().columns - 1, COLUMNS)
        self.has_progress = False
        self.next_part = 1
        self.begin = time.monotonic()

    def print(self, text=""):
        if self.has_progress:
            sys.stdout.write("\r\x1b[K")
            self.has_progress = False
        for line in text.split("\n"):
            print("\n".join(fold(line)))
        sys.stdout.flush()

    def progress(self, done, count, failed, running):
        text = f"{done}/{count} tests, {failed} failed, {time.monotonic() - self.begin:.0f} s"
        if self.is_terminal:
            text = shorten(f"{text}: {running}", self.width)
            sys.stdout.write(f"\r\x1b[K{text}")
            sys.stdout.flush()
            self.has_progress = True
        elif done * PARTS >= count * self.next_part:
            self.next_part = done * PARTS // count + 1
            self.print(text)


class Lane:
    """Reads what CTest writes, line by line."""

    def __init__(self, screen, verbose):
        self.screen = screen
        self.verbose = verbose
        self.running = {}
        self.failed = []
        self.in_failure = False
        self.summary = None

    def read(self, line):
        started, ended = STARTED.match(line), ENDED.match(line)
        if SUMMARY.match(line):
            self.summary, self.in_failure = line, False
        elif self.verbose:
            self.screen.print(line)
        elif started:
            self.running[started[1]] = started[2]
            self.in_failure = False
        elif ended:
            self.end(*ended.groups())
        elif self.in_failure or not HIDDEN.match(line):
            self.screen.print(line)

    def end(self, done, count, number, name, status, seconds):
        self.running.pop(number, None)
        self.in_failure = status != "   Passed" and "***Skipped" not in status
        if self.in_failure:
            self.failed.append(name)
        running = next(iter(self.running.values()), "")
        self.screen.progress(int(done), int(count), len(self.failed), running)
        if self.in_failure:
            self.screen.print(f"FAILED: {name} ({status.strip(' *')}, {seconds} s)")


def print_slowest(screen, results):
    tests = [(float(test.get("time") or 0), test.get("name")) for test in results.iter("testcase")]
    screen.print("\nSlowest:")
    for seconds, name in sorted(tests, reverse=True)[:SLOWEST]:
        screen.print(f"{seconds:8.2f} s  {shorten(name, COLUMNS - 12)}")


def print_not_run(screen, build, results):
    lines = not_run.lines(build, results)
    if lines:
        screen.print("\nNot run here:")
    for line in lines:
        screen.print(textwrap.fill(line, COLUMNS, subsequent_indent="    "))


def print_commands(screen, path, again, failed):
    screen.print(f"\nResults (JUnit): {path}")
    screen.print(f"One test again:  {again} NAME")
    for name in failed:
        pattern = shlex.quote("^" + re.escape(name) + "$")
        # A long command goes on two lines.
        separator = " " if len(again) + 1 + len(pattern) <= COLUMNS else " \\\n    "
        screen.print(again + separator + pattern)


def run(command, lane):
    """Runs CTest to its end. Returns its status."""
    with subprocess.Popen(
        command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace"
    ) as ctest:
        for line in ctest.stdout:
            lane.read(line.rstrip("\n"))
    return ctest.returncode


def main(words):
    verbose = words[0] == "-v"
    build, again, *ctest = words[1:] if verbose else words
    path = os.path.join(build, RESULTS)
    if os.path.exists(path):
        os.remove(path)
    screen = Screen()
    lane = Lane(screen, verbose)
    status = run([*ctest, "--output-junit", RESULTS], lane)
    if os.path.exists(path):
        results = xml.etree.ElementTree.parse(path)
        print_slowest(screen, results)
        print_not_run(screen, build, results)
        print_commands(screen, path, again, lane.failed)
    if lane.summary:
        screen.print("\n" + lane.summary)
    return status


if __name__ == "__main__":
    try:
        sys.exit(main(sys.argv[1:]))
    except KeyboardInterrupt:
        sys.exit(130)
