"""Reads and writes lists of wrong changes of the product: file, old text and new text."""

import json
import pathlib
import re
import tomllib
from typing import NamedTuple

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
LISTS = sorted(HERE.glob("*.toml"))


class Change(NamedTuple):
    """An entry of a list."""

    name: str
    file: str  # path below the root of the tree
    old: str  # occurs once in the file
    new: str

    def row(self):
        """Returns the row of rows.toml that this change breaks, or None."""
        match = re.match(r"([A-Z]\d+): ", self.name)
        return match and match[1]

    def folder(self):
        return self.file.rpartition("/")[0]

    def problem(self, root=ROOT):
        """Returns why the change cannot be made in a tree, or None."""
        path = pathlib.Path(root, self.file)
        times = path.read_text(encoding="utf-8").count(self.old) if path.exists() else 0
        return (
            None if times == 1 else f"stale: {self.file} has the old text {times} times, not once"
        )

    def make(self, root):
        path = pathlib.Path(root, self.file)
        path.write_text(path.read_text(encoding="utf-8").replace(self.old, self.new), "utf-8")


def load(path):
    with open(path, "rb") as file:
        return [Change(name, **fields) for name, fields in tomllib.load(file).items()]


def literal(text):
    """Returns a readable string in TOML."""
    if "\n" in text or ("'" in text and ('"' in text or "\\" in text)):
        return f"'''\n{text}'''"
    return f'"{text}"' if "'" in text else f"'{text}'"


def save(path, changes):
    """Writes a list, and keeps the comment at the beginning of its file."""
    path = pathlib.Path(path)
    comment = re.match(r"(#.*\n)*", path.read_text("utf-8") if path.exists() else "")[0]
    entries = (
        f"[{json.dumps(change.name)}]\n"
        + "".join(f"{key} = {literal(getattr(change, key))}\n" for key in ("file", "old", "new"))
        for change in changes
    )
    path.write_text("\n".join([comment, *entries] if comment else entries), "utf-8")
