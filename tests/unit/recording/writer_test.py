#!/usr/bin/env python3
"""Compares the output of recording_lines with Python's modules: writer_test.py PROGRAM."""

import base64
import subprocess
import sys
import unittest

import jsonschema
from recorded_lines import VALIDATOR, checked_lines

KINDS = (
    "RegionData RegionVisibility Palette Ping Quit Subscribe Unsubscribe SetRegionData "
    "SetRegionVisibility SetPaletteData InvertRegionData RefreshRegions SendSensorUpdate "
    "GetLogLevel SetLogLevel"
).split()
SIZES = [*range(100), 30720]


def data_of_size(size):
    return bytes((size * 31 + i * i * 7 + i * 13) % 256 for i in range(size))


class Writer(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        recording = subprocess.run(sys.argv[1:], capture_output=True, check=True, timeout=60)
        cls.lines = checked_lines(recording.stdout)

    def test_writes_every_kind_with_its_own_data(self):
        self.assertEqual(self.lines[0]["writer"], 'a "writer"\n\x01\u00e4\ufffd')
        kinds = [line.get("notification", line.get("request")) for line in self.lines[1:]]
        self.assertEqual(kinds, KINDS * len(SIZES))
        for number, line in enumerate(self.lines[1:]):
            size = SIZES[number // len(KINDS)]
            if "size" in line:
                self.assertEqual(line["size"], size)
                with_bytes = "notification" in line or size % 2 == 0
                self.assertEqual("data" in line, with_bytes)
            if "data" in line:
                self.assertEqual(base64.b64decode(line["data"]), data_of_size(size))

    def test_obeys_a_schema_that_refuses_wrong_lines(self):
        for line in self.lines[: len(KINDS) + 1]:
            kind = next(name for name in ("writer", "notification", "request") if name in line)
            for name in line:
                wrong = [{key: value for key, value in line.items() if key != name}]
                wrong += [dict(line, **{name: value}) for value in (None, -1, 1.5, [], "?")]
                if name == "data":
                    del wrong[0]  # a journal's line
                if name in ("writer", "service"):
                    del wrong[-1]
                for one in wrong:
                    with self.subTest(kind=line[kind], name=name, line=one):
                        self.assertRaises(jsonschema.ValidationError, VALIDATOR.validate, one)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
