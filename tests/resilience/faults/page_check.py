#!/usr/bin/env python3
"""Checks rows.toml: every row is complete, and every test that it names is in the build.

page_check.py ROOT BUILD CTEST
"""

import json
import pathlib
import re
import subprocess
import sys

sys.dont_write_bytecode = True  # keeps the source folder clean

import fault_page

KEYS = {"first", "fault", "ours", "tests", "breaks"}


def problems_of(row):
    """Yields the errors of one row."""
    if not KEYS.issuperset(row) or not all(row.get(key) for key in ("fault", "ours")):
        yield "unknown keys, no fault or no reaction"
    if not row["tests"]:
        yield "names no test"
    elif row.get("first") and not row["breaks"]:
        yield "tests/mutants/breaks.toml has no break"


def gaps(rows):
    """Yields gaps and wrong order in the numbers of the rows."""
    for letter in sorted({name[0] for name in rows}):
        names = [name for name in rows if name[0] == letter]
        if names != [f"{letter}{number}" for number in range(1, len(names) + 1)]:
            yield f"{letter}: not numbered from 1 on: {names}"


def tests_of(build, ctest):
    """Returns two lists of tests of a build: enabled ones and disabled ones."""
    text = subprocess.run(
        [ctest, "--test-dir", build, "--show-only=json-v1"],
        check=True,
        stdout=subprocess.PIPE,
        text=True,
    ).stdout
    lists = [], []
    for test in json.loads(text[text.index("{") :])["tests"]:
        properties = {entry["name"]: entry["value"] for entry in test.get("properties", [])}
        lists[bool(properties.get("DISABLED"))].append(test["name"])
    return lists


def sessions(root):
    """Returns the names of the console sessions; CTest has one test for each of their files."""
    for path in (root / "tests/sessions").glob("*.session"):
        for name in re.findall(r"^=== (.+)$", path.read_text("latin-1"), re.MULTILINE):
            yield f"sessions.{path.stem}.{name}"


def tests_of_devices(root):
    """Returns tests that only a build for another machine has, by their names in the sources."""
    for path in (root / "tests/device").glob("*.cpp"):
        for suite, test in re.findall(r"TEST_F?\((\w+), (\w+)\)", path.read_text()):
            yield f"{suite}.{test}"


def is_named(name, test):
    """Whether a name in a row is the name of a test, or its beginning up to a dot."""
    return (
        test.startswith(name)
        if name.endswith(".")
        else (name in (test, test.split(" ")[0]) or test.startswith((name + "/", name + ".")))
    )


def missing(name, build_tests, left_out, devices):
    """Returns the error of a test's name, or None."""
    running, disabled = build_tests
    if any(is_named(name, test) for test in disabled):
        return f"is disabled: {name}"
    suite = ".".join(name.split(".")[2:])
    if (
        any(is_named(name, test) for test in running)
        or any(name.startswith(entry) or entry.startswith(name) for entry in left_out)
        or (name.startswith("device.") and any(test.startswith(suite) for test in devices))
    ):
        return None
    return f"no such test: {name}"


def main():
    """Prints errors. Returns the exit status."""
    root, build, ctest = pathlib.Path(sys.argv[1]), sys.argv[2], sys.argv[3]
    rows = fault_page.load()
    found = list(gaps(rows))
    for name, row in rows.items():
        found += [f"{name}: {problem}" for problem in problems_of(row)]
    left_out = [
        line.split(":")[0]
        for line in (pathlib.Path(build) / "tests_left_out").read_text().splitlines()
    ]
    if "all that the preset does not name" in left_out:
        print("this preset runs only some tests; other presets check the names")
    else:
        build_tests, devices = tests_of(build, ctest), list(tests_of_devices(root))
        build_tests[0].extend(sessions(root))
        for name, row in rows.items():
            wrong = (missing(test, build_tests, left_out, devices) for test in row["tests"])
            found += [f"{name}: {text}" for text in wrong if text]
    print("\n".join(found))
    print(f"{len(rows)} rows, {sum(len(row['tests']) for row in rows.values())} names of tests")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
