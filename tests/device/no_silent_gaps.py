#!/usr/bin/env python3
"""Fails when a test of one build is missing from another without a reason.

no_silent_gaps.py DESK_BUILD BUILD

Programs of GoogleTest count as one test each: what they hold depends on their sources alone, and a
case that is skipped says why.
"""

import os
import re
import sys


def tests_of(folder):
    """Reads CTest's own files: another CTest would overwrite the log of the one that runs this."""
    path = os.path.join(folder, "CTestTestfile.cmake")
    if not os.path.exists(path):  # a folder configured before testing is enabled
        return set()
    with open(path, encoding="utf-8") as file:
        text = file.read()
    names = set(re.findall(r"add_test\((?:\[=*\[|\")?(.+?)(?:\]=*\]|\"| )", text))
    names.update(re.findall(r"include\(\".*/(test_\w+)\[\d+\]_include\.cmake\"\)", text))
    for subfolder in re.findall(r"^subdirs\(\"(.*)\"\)$", text, re.MULTILINE):
        names |= tests_of(os.path.join(folder, subfolder))
    return names


def main():
    desk, build = sys.argv[1:]
    expected, present = tests_of(desk), tests_of(build)
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
