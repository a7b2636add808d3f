#!/usr/bin/env python3
"""Fails when a test of one build is missing from another without a reason.

no_silent_gaps.py DESK_BUILD BUILD

Each GoogleTest program counts as one test: its test cases depend on its sources only, and a skipped
case prints its reason.
"""

import os
import sys

sys.dont_write_bytecode = True  # keeps the source folder clean
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "harness"))

# pylint: disable=wrong-import-position
from test_names import names_in


def main():
    desk, build = sys.argv[1], sys.argv[2]
    expected, present = names_in(desk), names_in(build)
    with open(os.path.join(build, "tests_left_out"), encoding="utf-8") as file:
        reasons = dict(line.rstrip("\n").split(": ", 1) for line in file)
    problems = [
        "not run, and no reason is given: " + name
        for name in sorted(expected - present - set(reasons))
    ]
    problems += ["left out, but it exists: " + name for name in sorted(present & set(reasons))]
    problems += [
        "left out, but no such test exists: " + name for name in sorted(set(reasons) - expected)
    ]
    if "test_unit_stats" not in expected:
        problems.append("no tests of the desk are in " + desk)
    print("\n".join(problems))
    return 1 if problems else 0


sys.exit(main())
