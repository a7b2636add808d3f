#!/usr/bin/env python3
"""Lists the tests that a run has left out or skipped, each with its reason.

not_run.py BUILD RESULTS    RESULTS is what ctest --output-junit has written
"""

import os
import re
import sys
import xml.etree.ElementTree


def left_out(build):
    with open(os.path.join(build, "tests_left_out"), encoding="utf-8") as file:
        return file.read().splitlines()


def skipped(results):
    for test in xml.etree.ElementTree.parse(results).iter("testcase"):
        output = test.findtext("system-out") or ""
        if test.get("status") not in ("run", "fail"):
            reason = re.search(r"^\S+:\d+: Skipped\n(.*)$", output, re.MULTILINE)
            yield "%s: %s" % (test.get("name"), reason[1] if reason else "no reason is known")
        # A part of one that is a Python script.
        for part, reason in re.findall(r"^test_(\w+) \(.* skipped ['\"](.*)['\"]$", output,
                                       re.MULTILINE):
            yield "%s, %s: %s" % (test.get("name"), part, reason)


def main():
    build, results = sys.argv[1:]
    lines = sorted(left_out(build) + list(skipped(results)))
    if lines:
        print("\n".join(["", "Not run here:"] + lines))


main()
