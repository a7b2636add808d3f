"""A copy of script/ in a separate tree, so that scripts cannot change the real tree."""

import os
import pathlib
import shutil
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]


class ScriptTree:
    """Folders of one test: tree/script, caller (the working directory) and tmp (TMPDIR)."""

    def __init__(self):
        self.folder = tempfile.TemporaryDirectory(prefix="scripts.")
        top = pathlib.Path(self.folder.name)
        self.root, self.caller, self.tmp = top / "tree", top / "caller", top / "tmp"
        self.caller.mkdir()
        self.tmp.mkdir()
        shutil.copytree(ROOT / "script", self.root / "script")
        self.environment = {**os.environ, "TMPDIR": str(self.tmp)}

    def replace(self, script, text):
        """Replaces the text of a script."""
        (self.root / "script" / script).write_text("#!/bin/sh\n" + text, encoding="utf-8")

    def link(self, name, target):
        """Makes a symbolic link in the tree."""
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.symlink_to(target)

    def files(self):
        """Returns all paths in the folders of the test."""
        return sorted(pathlib.Path(self.folder.name).rglob("*"))

    def close(self):
        self.folder.cleanup()
