#!/usr/bin/env python3
"""Checks docs/reliability.md: all rows are there, and every test that it names.

page_check.py ROOT BUILD CTEST
"""

import json
import pathlib
import re
import subprocess
import sys

ROWS = {"A": 18, "B": 19, "C": 15, "D": 17, "E": 8, "F": 10, "G": 11, "H": 19, "I": 7, "J": 8}
NAME = re.compile(r"`((?:unit|system|packaging|fuzz|faults|device)\.[^`\s]+)`")


def rows(text):
    """The cells of each row of the tables, by the row's name."""
    found = {}
    for line in text.splitlines():
        match = re.match(r"\| ([A-J]\d+)( ▲)? \|", line)
        if match:
            cells = [cell.strip() for cell in re.split(r"(?<!\\)\|", line)[1:-1]]
            if match.group(1) in found:
                raise SystemExit(f"{match.group(1)} stands there twice")
            found[match.group(1)] = (bool(match.group(2)), cells)
    return found


def tests_of(build, ctest):
    """The names of all tests of a build that run; a disabled one counts as missing."""
    text = subprocess.run([ctest, "--test-dir", build, "--show-only=json-v1"], check=True,
                          stdout=subprocess.PIPE, text=True).stdout
    names = []
    for test in json.loads(text[text.index("{"):])["tests"]:
        properties = {entry["name"]: entry["value"] for entry in test.get("properties", [])}
        if not properties.get("DISABLED"):
            names.append(test["name"])
    return names


def tests_of_devices(root):
    """Tests that only a build for another machine has, as their sources name them."""
    for path in (root / "tests/device").glob("*.cpp"):
        for suite, test in re.findall(r"TEST_F?\((\w+), (\w+)\)", path.read_text()):
            yield f"{suite}.{test}"


def is_there(name, tests, left_out, devices):
    matches = (lambda test: test.startswith(name)) if name.endswith(".") else (
        lambda test: test == name or test.split(" ")[0] == name
        or test.startswith((name + "/", name + ".")))
    if any(matches(test) for test in tests):
        return True
    if any(name.startswith(entry) or entry.startswith(name) for entry in left_out):
        return True
    suite = ".".join(name.split(".")[2:])
    return name.startswith("device.") and any(test.startswith(suite) for test in devices)


def main():
    root, build, ctest = pathlib.Path(sys.argv[1]), sys.argv[2], sys.argv[3]
    page = (root / "docs/reliability.md").read_text(encoding="utf-8")
    found = rows(page)
    problems = [f"no row {letter}{number}" for letter, last in ROWS.items()
                for number in range(1, last + 1) if f"{letter}{number}" not in found]
    for name, (comes_first, cells) in found.items():
        if len(cells) != 5 or not all(cells[:4]):
            problems.append(f"{name}: not five cells, or an empty one")
        elif not NAME.search(cells[3]) and not cells[3].startswith("none:"):
            problems.append(f"{name}: names no test")
        elif comes_first and len(cells[4]) < 10:
            problems.append(f"{name}: no break is recorded")
    tests = tests_of(build, ctest)
    left_out = [line.split(":")[0] for line in
                (pathlib.Path(build) / "tests_left_out").read_text().splitlines()]
    if "all that the preset does not name" in left_out:
        print("this preset runs a choice of tests; the names are checked in the others")
        tests_are_complete = False
    else:
        tests_are_complete = True
    devices = list(tests_of_devices(root))
    named = sorted(set(NAME.findall(page)))
    for name in named if tests_are_complete else ():
        if not is_there(name, tests, left_out, devices):
            problems.append(f"no such test: {name}")
    for problem in problems:
        print(problem)
    print(f"{len(found)} rows, {len(named)} names of tests")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
