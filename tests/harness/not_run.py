"""Lists the tests that a run has left out or skipped, with the reasons."""

import os
import re


def left_out(build):
    """The lines that leave_out() of tests/CMakeLists.txt wrote."""
    with open(os.path.join(build, "tests_left_out"), encoding="utf-8") as file:
        return file.read().splitlines()


def skipped(results):
    """A line for each skipped test or part of one; results is the root of a JUnit file."""
    for test in results.iter("testcase"):
        output = test.findtext("system-out") or ""
        if test.get("status") not in ("run", "fail"):
            reason = re.search(r"^\S+:\d+: Skipped\n(.*)$", output, re.MULTILINE)
            yield f"{test.get('name')}: {reason[1] if reason else 'unknown reason'}"
        # A skipped part of a test that is a Python script.
        parts = re.findall(r"^test_(\w+) \(.* skipped ['\"](.*)['\"]$", output, re.MULTILINE)
        for part, reason in parts:
            yield f"{test.get('name')}, {part}: {reason}"


def lines(build, results):
    return sorted(left_out(build) + list(skipped(results)))
