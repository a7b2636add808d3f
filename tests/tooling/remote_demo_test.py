#!/usr/bin/env python3
"""Closes the output of script/remote-demo, which must end and leave nothing: CLIENT SERVICE."""

import pathlib
import re
import subprocess
import sys
import unittest
import uuid

ROOT = pathlib.Path(__file__).resolve().parents[2]

PROGRAMS = []
SECONDS = 60


def processes_with(mark):
    """Returns the command lines of processes that have inherited this variable."""
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if mark.encode() in (folder / "environ").read_bytes():
                yield (folder / "cmdline").read_bytes()
        except (FileNotFoundError, ProcessLookupError, PermissionError):
            pass  # the process has ended, or belongs to another user


class RemoteDemo(unittest.TestCase):
    def setUp(self):
        self.mark = f"REMOTE_DEMO_TEST={uuid.uuid4()}"

    def test_leaves_nothing_when_its_output_is_closed(self):
        demo = subprocess.Popen(
            ["env", self.mark, ROOT / "script/remote-demo", *PROGRAMS],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
        )
        heading = demo.stdout.readline() + demo.stdout.readline()
        demo.stdout.close()
        errors = demo.stderr.read()
        demo.stderr.close()
        demo.wait(SECONDS)
        self.assertEqual(list(processes_with(self.mark)), [])
        scratch = re.search(r"a service in (/tmp/remote\.\w+)/", heading)
        self.assertFalse(pathlib.Path(scratch[1]).exists(), scratch[1])
        self.assertEqual(errors, "")


if __name__ == "__main__":
    PROGRAMS = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1], verbosity=2)
