#!/usr/bin/env python3
"""Fails when a test of one build is missing from another without a reason.

no_silent_gaps.py DESK_BUILD BUILD

Programs of GoogleTest count as one test each: what they hold depends on their sources alone, and a
case that is skipped says why.
"""

import os
import sys

sys.dont_write_bytecode = True  # nothing of a run stays in the sources
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "harness"))

# pylint: disable=wrong-import-position
from test_names import names_in


def main():
    desk, build = sys.argv[1:]
    expected, present = names_in(desk), names_in(build)
    with open(os.path.join(build, "tests_left_out"), encoding="utf-8") as file:
        reasons = dict(line.rstrip("\n").split(": ", 1) for line in file)
    problems = [
        "neither run nor left out with a reason: " + name
        for name in sorted(expected - present - set(reasons))
    ]
    problems += ["left out and yet there: " + name for name in sorted(present & set(reasons))]
    problems += [
        "left out, but there is no such test: " + name for name in sorted(set(reasons) - expected)
    ]
    if "test_unit_stats" not in expected:
        problems.append("the desk's tests were not found in " + desk)
    print("\n".join(problems))
    return 1 if problems else 0


sys.exit(main())
