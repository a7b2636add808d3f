#!/usr/bin/env python3
"""Compares the output of recording_lines with Python's modules: writer_test.py PROGRAM."""

import base64
import subprocess
import sys

from recorded_lines import VALIDATOR, checked_lines

KINDS = 15
SIZES = [*range(20), 30720]


def data_of_size(size):
    return bytes((size * 31 + i * i * 7 + i * 13) % 256 for i in range(size))


def wrong_lines(line):
    """Yields the line without each of its fields, and with a wrong value of each."""
    for name in line:
        if name != "data":  # a journal's line has none
            yield {key: value for key, value in line.items() if key != name}
        for value in (None, -1, 1.5, [], "?")[: 4 if name in ("writer", "service") else 5]:
            yield {**line, name: value}


header, *written = checked_lines(
    subprocess.run(sys.argv[1:], capture_output=True, check=True).stdout
)
assert header["writer"] == 'a "writer"\n\x01\u00e4\ufffd'
assert len(written) == KINDS * len(SIZES)
assert len({line.get("notification", line.get("request")) for line in written}) == KINDS
for number, line in enumerate(written):
    if "size" in line:
        assert line["size"] == SIZES[number // KINDS], line
        assert ("data" in line) == ("notification" in line or line["size"] % 2 == 0), line
    if "data" in line:
        assert base64.b64decode(line["data"]) == data_of_size(line["size"]), line
for line in (header, *written[:KINDS]):
    for wrong in wrong_lines(line):
        assert not VALIDATOR.is_valid(wrong), wrong
