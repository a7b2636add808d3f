#!/usr/bin/env python3
"""Turns PNG files of every type, which zlib alone makes, into regions: from_png_test.py PROGRAM"""

import os
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

PROGRAM = os.path.abspath(sys.argv.pop(1))
GREY, RGB, INDEXED, GREY_ALPHA, RGB_ALPHA = 0, 2, 3, 4, 6

# The pictures have 4 x 2 pixels. Y = 16 + 219 x grey / 255, so these have exact entries.
BLACK, WHITE = (16, 128, 128), (235, 128, 128)
RED = (81, 90, 240)  # of 254, 0, 0
TRANSPARENT = (0, 128, 128)


def chunk(kind, data):
    checksum = zlib.crc32(kind + data)
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", checksum)


def png(kind, depth, rows, *more, width=4, interlace=0):
    """Makes a file; more are chunks, and rows are packed bytes."""
    header = struct.pack(">IIBBBBB", width, 2, depth, kind, 0, 0, interlace)
    data = zlib.compress(b"".join(b"\0" + row for row in rows))
    chunks = chunk(b"IHDR", header) + b"".join(more) + chunk(b"IDAT", data) + chunk(b"IEND", b"")
    return b"\x89PNG\r\n\x1a\n" + chunks


def palette(*colours):
    return chunk(b"PLTE", bytes(part for colour in colours for part in colour))


def alphas(*values):
    return chunk(b"tRNS", bytes(values))


COLOURS = palette((0, 0, 0), (255, 255, 255), (254, 0, 0))
GOOD = png(INDEXED, 8, [b"\2\0\1\2"] * 2, COLOURS)


class FromPng(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def run_it(self, content, *options, name="logo.png", output="."):
        with open(os.path.join(self.folder, name), "wb") as file:
            file.write(content)
        return subprocess.run(
            [PROGRAM, "from-png", *options, "-o", output, name],
            cwd=self.folder,
            capture_output=True,
            text=True,
            timeout=60,
            check=False,
        )

    def read(self, name):
        with open(os.path.join(self.folder, name), "rb") as file:
            return file.read()

    def check(self, content, indices, *entries):
        ended = self.run_it(content)
        self.assertEqual((ended.returncode, self.read("logo.bitmap")), (0, bytes(indices)))
        table = self.read("logo.ycbcr")
        self.assertEqual(len(table), 1024)
        found = [tuple(table[i : i + 3]) for i in range(0, 4 * len(entries), 4)]
        self.assertEqual(found, list(entries))

    def test_reads_every_colour_type(self):
        rows = (
            (png(GREY, 1, [b"\x60"] * 2), [0, 1, 1, 0], BLACK, WHITE),
            (png(GREY, 16, [b"\0\0\xff\xff\xff\xff\0\0"] * 2), [0, 1, 1, 0], BLACK, WHITE),
            (png(GREY, 8, [b"\0\xff\xff\0"] * 2, alphas(0, 255)), [1, 0, 0, 1], TRANSPARENT, BLACK),
            (png(RGB, 8, [b"\xfe\0\0" + b"\xff" * 9] * 2), [0, 1, 1, 1], RED, WHITE),
            (png(INDEXED, 1, [b"\x50"] * 2, COLOURS), [0, 1, 0, 1], BLACK, WHITE),
            (
                png(INDEXED, 8, [b"\2\0\1\2"] * 2, COLOURS, alphas(0)),
                [2, 0, 1, 2],
                *(TRANSPARENT, WHITE, RED),
            ),
            (
                png(GREY_ALPHA, 8, [b"\0\xff\xff\xff\xff\0\7\0"] * 2),
                [1, 2, 0, 0],
                *(TRANSPARENT, BLACK, WHITE),
            ),
            (
                png(RGB_ALPHA, 16, [b"\xff" * 24 + b"\0" * 8] * 2),
                [1, 1, 1, 0],
                *(TRANSPARENT, WHITE),
            ),
        )
        for number, (content, indices, *entries) in enumerate(rows):
            with self.subTest(number):
                self.check(content, 2 * indices, *entries)

    def test_reads_an_interlaced_picture(self):
        # Pass 1: (0,0); pass 4: (2,0); pass 6: (1,0), (3,0); pass 7: row 1.
        passes = [b"\2", b"\0", b"\1\2", b"\2\2\2\2"]
        content = png(INDEXED, 8, passes, COLOURS, interlace=1)
        self.check(content, [2, 1, 0, 2, 2, 2, 2, 2], BLACK, WHITE, RED)

    def test_gives_all_transparent_pixels_one_index(self):
        content = png(INDEXED, 8, [b"\2\1\0\1"] * 2, COLOURS, alphas(255, 0, 0))
        ended = self.run_it(content, "--region", "7")
        self.assertEqual(self.read("logo.bitmap"), b"\2\2\0\2" * 2)
        self.assertIn("5 7 ./logo.rgb t t 2\n", ended.stdout)

    def test_makes_half_transparent_pixels_opaque_or_transparent(self):
        row = b"\xff\xff\xff\x80" + b"\xff\xff\xff\x7f" + b"\xff" * 8
        ended = self.run_it(png(RGB_ALPHA, 8, [row] * 2))
        self.assertEqual(self.read("logo.bitmap"), b"\1\0\1\1" * 2)
        self.assertIn("half transparent pixels became opaque or transparent\n", ended.stderr)

    def test_shows_the_keys(self):
        ended = self.run_it(GOOD)
        self.assertEqual(ended.stdout, "3 1 ./logo.bitmap 8\n5 1 ./logo.rgb t f\n4 1 t\n")
        self.assertEqual(
            ended.stderr,
            "SubtitleMgrView: for the exact palette: 5 1 ./logo.ycbcr f 1 f\n"
            "SubtitleMgrView: the rows have 4 pixels, not 640\n",
        )
        # Blue, green, red and opacity; key 5 makes 16,128,128 of 1,1,1, and 81,90,240 of 255,0,0.
        self.assertEqual(self.read("logo.rgb")[:12], b"\1\1\1\xff\xff\xff\xff\xff\0\0\xff\xff")
        self.assertEqual(
            sorted(os.listdir(self.folder))[1:], ["logo.png", "logo.rgb", "logo.ycbcr"]
        )

    def test_takes_256_colours(self):
        greys = bytes(range(256))
        self.assertEqual(self.run_it(png(GREY, 8, [greys] * 2, width=256)).returncode, 0)
        self.assertEqual(self.read("logo.bitmap"), greys * 2)
        more = b"".join(bytes([grey] * 3) for grey in greys) + b"\1\2\3"
        ended = self.run_it(png(RGB, 8, [more] * 2, width=257))
        self.assertEqual(ended.returncode, 2)
        self.assertEqual(ended.stderr, "SubtitleMgrView: logo.png: more than 256 colours\n")

    def test_refuses_what_is_no_picture(self):
        huge = struct.pack(">IIBBBBB", 65536, 65536, 8, GREY, 0, 0, 0)
        for content, why in (
            (b"", "the file is not complete"),
            (b"GIF89a  " + GOOD, "Not a PNG file"),
            (GOOD[:60], "the file is not complete"),
            (GOOD[:42] + b"x" + GOOD[43:], "PLTE: CRC error"),
            (
                GOOD[:8] + chunk(b"IHDR", huge) + chunk(b"IDAT", b""),
                "more pixels than a message carries",
            ),
        ):
            ended = self.run_it(content)
            self.assertEqual(ended.stderr, "SubtitleMgrView: logo.png: %s\n" % why)
            self.assertEqual((ended.returncode, ended.stdout), (2, ""))
            self.assertEqual(os.listdir(self.folder), ["logo.png"])

    def test_refuses_a_name_that_the_console_cannot_read(self):
        ended = self.run_it(GOOD, name="my logo.png")
        self.assertEqual(ended.returncode, 2)
        self.assertEqual(
            ended.stderr,
            "SubtitleMgrView: './my logo': the console reads no file name with a blank\n",
        )
        self.assertEqual(os.listdir(self.folder), ["my logo.png"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
