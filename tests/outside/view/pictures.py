#!/usr/bin/env python3
"""Makes the pictures of the documents: pictures.py PROGRAMS DIR"""

import pathlib
import shutil
import subprocess
import sys
import tempfile

from browser import Recording, open_browser, page_server
from pytest_subtitle import Workspace

WIDTH, HEIGHT = 64, 11
REGIONS = {1: "NEXT STOP", 2: "HARBOUR", 3: "DOORS OPEN"}
FORMAT = 2

# Columns of seven pixels, the top one in the lowest bit.
LETTERS = {
    "A": "7e1111117e",
    "B": "7f49494936",
    "D": "7f4141221c",
    "E": "7f49494941",
    "H": "7f0808087f",
    "N": "7f0408107f",
    "O": "3e4141413e",
    "P": "7f09090906",
    "R": "7f09192946",
    "S": "4649494931",
    "T": "01017f0101",
    "U": "3f4040403f",
    "X": "6314081463",
    " ": "0000000000",
}
# Transparent, black, white, yellow or green.
PALETTE = "00808000 108080ff eb8080ff {}ff"
YELLOW, GREEN = "d21092", "913622"


def bitmap(text, ink):
    """Draws a text on a black ground with transparent corners."""
    rows = [bytearray([1] * WIDTH) for _ in range(HEIGHT)]
    for row in (rows[0], rows[-1]):
        row[0] = row[-1] = 0
    for place, letter in enumerate(text):
        for across, column in enumerate(bytes.fromhex(LETTERS[letter])):
            for down in range(7):
                if column >> down & 1:
                    rows[2 + down][3 + 6 * place + across] = ink
    return b"".join(rows)


def announcement():
    """A recording of an announcement: doors that open, with a wrong value."""
    recording = Recording()
    for region, text in REGIONS.items():
        ink = 2 if region == 1 else 3
        colours = PALETTE.format(GREEN if region == 3 else YELLOW)
        recording.palette(10 * region, region, bytes.fromhex(colours))
        recording.bitmap(10 * region + 1, region, bitmap(text, ink), form=FORMAT)
        recording.visibility(10 * region + 2, region, True)
    damaged = bytearray(bitmap(REGIONS[3], 3))
    damaged[5 * WIDTH + 27] = 7
    recording.bitmap(1500, 3, bytes(damaged), form=FORMAT)
    recording.visibility(4000, 3, False)
    return recording


def show(page, address):
    """Opens the page at the moment of the wrong value, and points at it."""
    page.open(address)
    page.run("document.getElementById('position').focus()")
    page.press("\ue010")  # end
    page.shows("#time", "0:00:03.990 of 0:00:03.990, message 11 of 11")
    page.press(",")
    page.shows("#time", "0:00:01.490 of 0:00:03.990, message 10 of 11")
    page.wait_for(lambda: page.is_there("#region-3 .wrong"), True)
    page.click("#region-3 .wrong")
    page.run("document.activeElement.blur(); scrollTo(0, 0)")


def make(programs, folder):
    """Makes region.png, and page.png without its texts' exact form."""
    folder = pathlib.Path(folder)
    folder.mkdir(exist_ok=True)
    with Workspace(programs) as workspace, tempfile.TemporaryDirectory() as profile:
        drive = announcement().write(pathlib.Path(workspace.files) / "drive.jsonl")
        made = pathlib.Path(workspace.files) / "made"
        options = ["--width", str(WIDTH), "--scale", "8", "--region", "2", "-o", made]
        subprocess.run(
            [programs / "SubtitleMgrView", "png", *options, drive], check=True, capture_output=True
        )
        shutil.copy(made / "region-02.png", folder / "region.png")
        with open_browser(pathlib.Path(profile)) as page:
            with page_server(workspace, programs, "--width", WIDTH, drive) as (address, _):
                show(page, address)
                page.driver.save_screenshot(str(folder / "page.png"))


if __name__ == "__main__":
    make(pathlib.Path(sys.argv[1]), sys.argv[2])
