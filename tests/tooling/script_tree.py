"""A copy of script/ in a tree of its own, so that what a script builds or leaves harms nothing."""

import os
import pathlib
import shutil
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]


class ScriptTree:
    """Folders of one test: tree/script, caller (where the user is) and tmp (TMPDIR)."""

    def __init__(self):
        self.folder = tempfile.TemporaryDirectory(prefix="scripts.")
        top = pathlib.Path(self.folder.name)
        self.root, self.caller, self.tmp = top / "tree", top / "caller", top / "tmp"
        self.caller.mkdir()
        self.tmp.mkdir()
        shutil.copytree(ROOT / "script", self.root / "script")
        self.environment = {**os.environ, "TMPDIR": str(self.tmp)}

    def replace(self, script, text):
        """Puts another text in the place of a script."""
        (self.root / "script" / script).write_text("#!/bin/sh\n" + text, encoding="utf-8")

    def link(self, name, target):
        """Makes a file or folder of the tree that leads elsewhere."""
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.symlink_to(target)

    def files(self):
        """All paths in the folders of the test."""
        return sorted(pathlib.Path(self.folder.name).rglob("*"))

    def close(self):
        self.folder.cleanup()
