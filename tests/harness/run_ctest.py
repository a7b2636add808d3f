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


def shorten(name, width):
    return name if len(name) <= width else "..." + name[3 - width :]


class Lane:
    """Reads what CTest writes, line by line. A terminal shows the progress on one line."""

    def __init__(self, verbose):
        self.verbose = verbose
        self.has_progress = False
        self.next_part = 1
        self.begin = time.monotonic()
        self.running = {}
        self.failed = []
        self.in_failure = False
        self.summary = None

    def print(self, text=""):
        if self.has_progress:
            sys.stdout.write("\r\x1b[K")
            self.has_progress = False
        for line in text.split("\n"):
            for at in range(0, len(line) or 1, COLUMNS):
                print(line[at : at + COLUMNS])
        sys.stdout.flush()

    def print_progress(self, done, count):
        seconds = time.monotonic() - self.begin
        text = f"{done}/{count} tests, {len(self.failed)} failed, {seconds:.0f} s"
        if sys.stdout.isatty():
            running = next(iter(self.running.values()), "")
            width = min(shutil.get_terminal_size().columns - 1, COLUMNS)
            sys.stdout.write("\r\x1b[K" + shorten(f"{text}: {running}", width))
            sys.stdout.flush()
            self.has_progress = True
        elif done * PARTS >= count * self.next_part:
            self.next_part = done * PARTS // count + 1
            self.print(text)

    def read(self, line):
        started, ended = STARTED.match(line), ENDED.match(line)
        if SUMMARY.match(line):
            self.summary, self.in_failure = line, False
        elif self.verbose:
            self.print(line)
        elif started:
            self.running[started[1]] = started[2]
            self.in_failure = False
        elif ended:
            self.end(*ended.groups())
        elif self.in_failure or not HIDDEN.match(line):
            self.print(line)

    def end(self, done, count, number, name, status, seconds):
        self.running.pop(number, None)
        self.in_failure = status != "   Passed" and "***Skipped" not in status
        if self.in_failure:
            self.failed.append(name)
        self.print_progress(int(done), int(count))
        if self.in_failure:
            self.print(f"FAILED: {name} ({status.strip(' *')}, {seconds} s)")

    def print_results(self, build, again):
        path = os.path.join(build, RESULTS)
        results = xml.etree.ElementTree.parse(path)
        tests = [
            (float(test.get("time") or 0), test.get("name")) for test in results.iter("testcase")
        ]
        self.print("\nSlowest:")
        for seconds, name in sorted(tests, reverse=True)[:SLOWEST]:
            self.print(f"{seconds:8.2f} s  {shorten(name, COLUMNS - 12)}")
        lines = not_run(build, results)
        if lines:
            self.print("\nNot run here:")
        for line in lines:
            self.print(textwrap.fill(line, COLUMNS, subsequent_indent="    "))
        self.print(f"\nResults (JUnit): {path}\nOne test again:  {again} NAME")
        for name in self.failed:
            pattern = shlex.quote("^" + re.escape(name) + "$")
            # A long command goes on two lines.
            separator = " " if len(again) + 1 + len(pattern) <= COLUMNS else " \\\n    "
            self.print(again + separator + pattern)


def not_run(build, results):
    """The tests that this build leaves out, and skipped tests and parts, with the reasons."""
    with open(os.path.join(build, "tests_left_out"), encoding="utf-8") as file:
        lines = file.read().splitlines()
    for test in results.iter("testcase"):
        name = test.get("name")
        output = test.findtext("system-out") or ""
        if test.get("status") not in ("run", "fail"):
            reason = re.search(r"^\S+:\d+: Skipped\n(.*)$", output, re.MULTILINE)
            lines.append(f"{name}: {reason[1] if reason else 'unknown reason'}")
        # A skipped part of a test that is a Python script.
        parts = re.findall(r"^test_(\w+) \(.* skipped ['\"](.*)['\"]$", output, re.MULTILINE)
        lines += [f"{name}, {part}: {reason}" for part, reason in parts]
    return sorted(lines)


def main(words):
    verbose = words[0] == "-v"
    build, again, *ctest = words[1:] if verbose else words
    path = os.path.join(build, RESULTS)
    if os.path.exists(path):
        os.remove(path)
    lane = Lane(verbose)
    with subprocess.Popen(
        [*ctest, "--output-junit", RESULTS],
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        errors="replace",
    ) as process:
        for line in process.stdout:
            lane.read(line.rstrip("\n"))
    if os.path.exists(path):
        lane.print_results(build, again)
    if lane.summary:
        lane.print("\n" + lane.summary)
    return process.returncode


if __name__ == "__main__":
    try:
        sys.exit(main(sys.argv[1:]))
    except KeyboardInterrupt:
        sys.exit(130)
