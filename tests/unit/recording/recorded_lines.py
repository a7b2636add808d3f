"""Checks lines of recordings against the schema, and their data against Python's own modules."""

import base64
import json
import os
import zlib

import jsonschema

SCHEMA = os.path.join(
    os.path.dirname(os.path.abspath(__file__)), "../../../docs/subtitle-recording.schema.json"
)

with open(SCHEMA, encoding="utf-8") as _file:
    VALIDATOR = jsonschema.Draft202012Validator(json.load(_file))

# The order in which fields are written.
HEADER_FIELDS = ["subtitleRecording", "writer", "service", "wallUs", "monoUs"]
FIELDS = (
    "monoUs wallUs notification request client subscription itemId regionId subtitleFormat size "
    "crc32 data visible fill on backgroundCode sensor level result receivers"
).split()


def checked_line(line):
    """Checks a line, given as bytes, and returns its object."""
    assert line.endswith(b"\n") and b"\n" not in line[:-1], line
    fields = json.loads(line.decode("utf-8"))
    VALIDATOR.validate(fields)
    order = HEADER_FIELDS if "subtitleRecording" in fields else FIELDS
    assert list(fields) == [name for name in order if name in fields], line
    data = fields.get("data")
    if data is not None:
        content = base64.b64decode(data, validate=True)
        assert base64.b64encode(content).decode() == data, line
        assert len(content) == fields["size"], line
        assert "%08x" % zlib.crc32(content) == fields["crc32"], line
    if "writer" not in fields:
        assert json.dumps(fields, separators=(",", ":")).encode() + b"\n" == line
    return fields


def checked_lines(recording):
    """Checks a complete recording, given as bytes, and returns the objects after its header."""
    lines = [checked_line(line) for line in recording.splitlines(keepends=True)]
    assert "subtitleRecording" in lines[0] and all(
        "subtitleRecording" not in line for line in lines[1:]
    ), recording
    times = [line["monoUs"] for line in lines]
    assert times == sorted(times), times
    return lines
