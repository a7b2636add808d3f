#!/usr/bin/env python3
"""Shows that play.py finds a difference in each kind of expectation, and prints its line.

play_test.py PROGRAMS
"""

import os
import re
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # keeps the source folder clean

# pylint: disable=wrong-import-position
from byte_words import byte_words

PROGRAMS = sys.argv.pop(1)
HERE = os.path.dirname(os.path.abspath(__file__))

RIGHT = """\
=== Right
--- file bitmap: 01 02
--- file pal: 1024*00
--- console -p -i
Let's Ping
Successful Ping
{menu unsubscribed}
<3>
Enter region ID: <3>
Enter filename:  <bitmap>
Enter file size: <2>
{menu unsubscribed}
<5 2 pal t f k>
Enter region ID:   Enter filename:    RGB palette (t/f): Converting palette of size 1024...Done

Transparent pixel? (t/f): {menu unsubscribed}
! Shut down Requested
Quit issued
{menu unsubscribed}
=> service ends
<x>
--- requests
Ping
SetRegionData regionId=3 subtitleFormat=0: 01 02
SetPaletteData regionId=2 fill=false backgroundCode=1: 256*(10 80 80 00)
Quit
--- log
level=8 SubtitleRegion::UpdateRegionFile() - Successfully opened file bitmap
level=8 SubtitleRegion::UpdateRegionFile() - Successfully opened file pal
level=8 Successfully opened output file pal.out
--- file pal.out: 256*(10 80 80 00)
"""
ENDLESS = """\
=== Right
--- on pipe
--- console
{menu unsubscribed}
<s>
{for ever}
{report}
{menu unsubscribed}
"""
OUTPUT = "standard output differs"
STREAM = "standard (output|error) differs"  # on a terminal they are one
REQUESTS = "the requests differ from number %d on"
ENTRIES = "the log entries differ from number 2 on"
OPENED_PAL = "level=8 SubtitleRegion::UpdateRegionFile() - Successfully opened file pal\n"
LEAVE_A_FILE = "through sh -c 'touch $LINX_DIR/left; exec \"$@\"' sh\n"
# Changes of a correct session: old text, new text, the number of the reported line (the session's
# head is 1) and the message.
PLANTED = [
    ("Successful Ping", "Successful Pong", 6, OUTPUT),
    ("Let's Ping\n", "", 5, OUTPUT),
    ("Enter file size: <2>", "Enter file size:<2>", 11, OUTPUT),
    ("{menu unsubscribed}\n<5", "{menu subscribed}\n<5", 12, OUTPUT),
    ("! Shut down Requested", "! Shut down requested", 17, STREAM),
    ("! Shut down Requested\n", "", None, STREAM),
    ("<x>\n", "<x>\nMore\n", 22, OUTPUT),
    ("Ping\nSetRegion", "SetRegion", 23, REQUESTS % 1),
    ("regionId=3", "regionId=4", 24, REQUESTS % 2),
    ("=0: 01 02", "=0: 01 03", 24, REQUESTS % 2),
    ("Quit\n---", "---", 25, REQUESTS % 4),
    (OPENED_PAL, "", 29, ENTRIES),
    ("file bitmap\nlevel=8", "file bitmap\nlevel=2", 29, ENTRIES),
    ("pal.out: 256*(10", "pal.out: 256*(11", 31, "file 'pal.out' differs at byte 0"),
    ("--- file pal.out: 256*(10 80 80 00)\n", "", 1, "a file 'pal.out' was made"),
    ("--- file pal.out", "--- file none: 00\n--- file pal.out", 31, "there is no file 'none'"),
    ("--- requests", "--- exits SIGINT\n--- requests", 4, "the client ends with 0"),
    ("console", LEAVE_A_FILE + "--- console", 1, r"the messaging directory .* \['left'\]"),
    ("=> service ends", "=> service sleeps", 20, "no such event: service sleeps"),
    ("=0: 01 02", "=0: 01 2", 24, "not bytes:  2"),
]
PLANTED_ENDLESS = [
    ("<s>", "<s>\n{report}\n{menu unsubscribed}\n<x>", 3, "the client ends"),
    ("{report}\n", "", 7, OUTPUT),
    ("{for ever}\n", "", None, OUTPUT),
]
HANGING = (
    "=== Hangs\n--- fifo pipe\n--- console\n{menu unsubscribed}\n<3 3 pipe 4>\n"
    "Enter region ID: Enter filename:  Enter file size: {menu unsubscribed}\n<x>\n"
)


def play(sessions, *options, seconds="20"):
    """Plays sessions of a file. Returns the exit status and the output."""
    with tempfile.TemporaryDirectory() as folder:
        with open(os.path.join(folder, "planted.session"), "w", encoding="utf-8") as file:
            file.write(sessions)
        result = subprocess.run(
            [
                sys.executable,
                os.path.join(HERE, "play.py"),
                "--programs",
                PROGRAMS,
                "--folder",
                folder,
                *options,
            ],
            env={**os.environ, "SUBTITLE_TEST_SECONDS": seconds},
            capture_output=True,
            text=True,
            timeout=100,
            check=False,
        )
        return result.returncode, result.stdout + result.stderr


class Play(unittest.TestCase):
    """Plays planted sessions; one process plays all of them."""

    def test_passes_correct_sessions(self):
        status, said = play(RIGHT + ENDLESS.replace("Right", "Endless"))
        self.assertEqual((status, said[:17]), (0, "0 of 3 sessions f"), said)

    def test_finds_each_planted_difference_and_its_line(self):
        text, places = "", []
        for session, planted in ((RIGHT, PLANTED), (ENDLESS, PLANTED_ENDLESS)):
            for before, after, line, what in planted:
                name = "Number%d" % len(places)
                self.assertEqual(session.count(before), 1, before)
                head = text.count("\n")
                text += session.replace("Right", name, 1).replace(before, after)
                media = ("pipe",) if session is ENDLESS else ("pipe", "terminal")
                places.append((name, media, head + line if line else None, what))
        for medium in ("pipe", "terminal"):
            status, said = play(text, "--on", medium)
            self.assertEqual(status, 1)
            for name, _, line, what in (place for place in places if medium in place[1]):
                with self.subTest(planted=name, medium=medium):
                    found = re.search(
                        r"^planted\.%s fails on a %s:\n\S*planted\.session:(\d+): "
                        r"(.*)\n((?:(?!    again).*\n)*)    again: .* planted\.%s$"
                        % (name, medium, name),
                        said,
                        re.MULTILINE,
                    )
                    self.assertTrue(found, said[-3000:])
                    if line:
                        self.assertEqual(int(found[1]), line, found[0])
                    self.assertRegex(found[2], what)
                    self.assertLessEqual(found[3].count("\n"), 5, found[0])

    def test_ends_a_client_that_hangs(self):
        status, said = play(HANGING, "--on", "pipe", seconds="1")
        self.assertEqual(status, 1)
        self.assertIn("planted.session:6: standard output differs\n", said)

    def test_refuses_unknown_words(self):
        self.assertIn(
            "planted.session:6: there is no text {Such}",
            play(RIGHT.replace("Successful Ping", "{Such}"))[1],
        )
        self.assertIn(
            "planted.session:1: no such section here: words", play("--- words\n" + RIGHT)[1]
        )
        self.assertEqual(play(RIGHT, "planted.None")[0], 1)

    def test_reads_bytes_in_words(self):
        self.assertEqual(
            byte_words('ff 2*(00 2*01) "a" b+3', {"b": b"\x01\xfe"}),
            b"\xff\x00\x01\x01\x00\x01\x01a\x04\x01",
        )
        for wrong in ("f", "(00", "00)", "2*", "fff"):
            with self.assertRaises((ValueError, KeyError), msg=wrong):
                byte_words(wrong, {})


if __name__ == "__main__":
    unittest.main(verbosity=2)
