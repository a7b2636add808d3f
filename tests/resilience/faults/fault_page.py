#!/usr/bin/env python3
"""Makes the tables of docs/reliability.md from rows.toml: fault_page.py [--check BUILD CTEST]

With --check it writes nothing. It fails when page and rows differ, or when a row is incomplete or
names a test that the build does not have.
"""

import difflib
import json
import pathlib
import re
import subprocess
import sys
import tomllib

HERE = pathlib.Path(__file__).resolve().parent
TESTS = HERE.parents[1]
PAGE = TESTS.parent / "docs/reliability.md"
TABLE = re.compile(r"(<!-- rows ([A-Z]) -->\n).*?(<!-- end of rows -->\n)", re.DOTALL)
HEADING = "\n| | fault | what we do | test | break that is seen |\n|---|---|---|---|---|\n"
WORST = "▲ "


def load():
    """Returns the rows by their names, in the order of the file."""
    rows = tomllib.loads((HERE / "rows.toml").read_text(encoding="utf-8"))
    for row in rows.values():
        row["breaks"] = []
    for name in tomllib.loads((TESTS / "mutants/breaks.toml").read_text(encoding="utf-8")):
        row, _, text = name.partition(": ")
        rows[row]["breaks"].append(text)
    return rows


def line(name, row):
    """Returns one row of a table."""
    cells = [
        name + " ▲" * row["fault"].startswith(WORST),
        row["fault"].removeprefix(WORST),
        row["ours"],
        ", ".join(f"`{test}`" for test in row["tests"]),
        "; ".join(row["breaks"]),
    ]
    return "| " + " | ".join(cell.replace("|", "\\|") for cell in cells) + " |\n"


def made(page, rows):
    """Returns the page with tables made from the rows."""
    letters = [match[2] for match in TABLE.finditer(page)]
    if letters != sorted({name[0] for name in rows}):
        sys.exit(f"tables in the page: {letters}; rows.toml has others")

    def table(match):
        lines = [line(name, row) for name, row in rows.items() if name[0] == match[2]]
        return match[1] + HEADING + "".join(lines) + "\n" + match[3]

    return TABLE.sub(table, page)


def incomplete(rows):
    """Yields the errors of rows, and gaps in their numbers."""
    for letter in sorted({name[0] for name in rows}):
        names = [name for name in rows if name[0] == letter]
        if names != [f"{letter}{number}" for number in range(1, len(names) + 1)]:
            yield f"{letter}: not numbered from 1 on: {names}"
    for name, row in rows.items():
        if set(row) != {"fault", "ours", "tests", "breaks"} or not all(
            row[key] for key in ("fault", "ours", "tests")
        ):
            yield f"{name}: unknown keys, or no fault, reaction or test"
        elif row["fault"].startswith(WORST) and not row["breaks"]:
            yield f"{name}: tests/mutants/breaks.toml has no break"


def tests_of(build, ctest):
    """Yields the names of enabled tests of a build, and those of single sessions."""
    command = [ctest, "--test-dir", build, "--show-only=json-v1"]
    text = subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout
    for test in json.loads(text[text.index("{") :])["tests"]:
        if {"name": "DISABLED", "value": True} not in test.get("properties", []):
            yield test["name"]
    for path in (TESTS / "sessions").glob("*.session"):
        for name in re.findall(r"^=== (.+)$", path.read_text("latin-1"), re.MULTILINE):
            yield f"sessions.{path.stem}.{name}"
    # Only a build for another machine has these.
    device = TESTS / "device"
    for test in re.findall(r"TEST_F\((\w+), (\w+)\)", (device / "numbers_test.cpp").read_text()):
        yield "device.numbers." + ".".join(test)
    for name in re.findall(r"^add_pair_test\((\w+)", (device / "CMakeLists.txt").read_text(), re.M):
        yield "device.pairs." + name


def is_named(name, test):
    """Whether a name in a row is the name of a test, or its beginning up to a dot."""
    return (
        test.startswith(name)
        if name.endswith(".")
        else (name in (test, test.split(" ")[0]) or test.startswith((name + "/", name + ".")))
    )


def missing(rows, build, ctest):
    """Yields the names of tests that the build neither has nor leaves out with a reason."""
    left_out = [
        line.split(":")[0]
        for line in pathlib.Path(build, "tests_left_out").read_text(encoding="utf-8").splitlines()
    ]
    if "all that the preset does not name" in left_out:
        print("this preset runs only some tests; other presets check the names")
        return
    tests = list(tests_of(build, ctest))
    for row, name in ((row, name) for row in rows for name in rows[row]["tests"]):
        if not any(is_named(name, test) for test in tests) and not any(
            name.startswith(entry) or entry.startswith(name) for entry in left_out
        ):
            yield f"{row}: no such test: {name}"


def main():
    """Writes or compares. Returns the exit status."""
    before, rows = PAGE.read_text(encoding="utf-8"), load()
    after = made(before, rows)
    if sys.argv[1:2] != ["--check"]:
        PAGE.write_text(after, encoding="utf-8")
        return 0
    found = [*incomplete(rows), *missing(rows, sys.argv[2], sys.argv[3])]
    if before != after:
        found.append("docs/reliability.md: run tests/resilience/faults/fault_page.py")
        found += difflib.unified_diff(before.splitlines(), after.splitlines(), n=0, lineterm="")
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
