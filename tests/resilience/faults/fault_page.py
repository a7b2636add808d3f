#!/usr/bin/env python3
"""Makes the tables of docs/reliability.md from rows.toml: fault_page.py [--check]

With --check it writes nothing, and fails when page and rows differ.
"""

import difflib
import pathlib
import re
import sys
import tomllib

HERE = pathlib.Path(__file__).resolve().parent
PAGE = HERE.parents[2] / "docs/reliability.md"
BREAKS = HERE.parents[1] / "mutants/breaks.toml"
TABLE = re.compile(r"(<!-- rows ([A-Z]) -->\n).*?(<!-- end of rows -->\n)", re.DOTALL)


def load():
    """Returns the rows by their names, in the order of the file."""
    with open(HERE / "rows.toml", "rb") as file:
        rows = tomllib.load(file)
    for row in rows.values():
        row.setdefault("tests", [])
        row["breaks"] = []
    with open(BREAKS, "rb") as file:
        for name in tomllib.load(file):
            row, _, text = name.partition(": ")
            rows[row]["breaks"].append(text)
    return rows


def line(name, row):
    """Returns one row of a table."""
    cells = [
        name + " ▲" * row.get("first", False),
        row["fault"],
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
        return (
            match[1]
            + "\n| | fault | what we do | test | break that is seen |\n|---|---|---|---|---|\n"
            + "".join(line(name, row) for name, row in rows.items() if name[0] == match[2])
            + "\n"
            + match[3]
        )

    return TABLE.sub(table, page)


def main():
    """Writes or compares. Returns the exit status."""
    before = PAGE.read_text(encoding="utf-8")
    after = made(before, load())
    if sys.argv[1:] != ["--check"]:
        PAGE.write_text(after, encoding="utf-8")
        return 0
    sys.stdout.writelines(
        difflib.unified_diff(
            before.splitlines(True),
            after.splitlines(True),
            "docs/reliability.md",
            "made from rows.toml",
            n=0,
        )
    )
    if before != after:
        print("docs/reliability.md: run tests/resilience/faults/fault_page.py")
    return before != after


if __name__ == "__main__":
    sys.exit(main())
