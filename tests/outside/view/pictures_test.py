"""The pictures of the documents are those that the script makes."""

import itertools
import pathlib
import subprocess

import pytest
from pictures import REGIONS, WIDTH, bitmap

ROOT = pathlib.Path(__file__).parents[3]
KEPT = ROOT / "docs" / "pictures"
BLACK, WHITE, MAGENTA = (0, 0, 0, 255), (255, 255, 255, 255), (255, 0, 255, 255)
INKS = {1: WHITE, 2: (255, 255, 0, 255), 3: (0, 255, 1, 255)}


@pytest.fixture(name="made", scope="module")
def fixture_made(tmp_path_factory):
    """The folder of new pictures."""
    folder = tmp_path_factory.mktemp("pictures")
    subprocess.run([ROOT / "script" / "pictures", folder], check=True, timeout=600)
    return folder


def runs(row):
    """The runs of a colour in a row, with their lengths."""
    return [(colour, len(list(run))) for colour, run in itertools.groupby(row)]


def shows(line, row):
    """Whether runs of a picture contain the runs of a row, of any width."""
    for i in range(len(line) - len(row) + 1):
        part = line[i : i + len(row)]
        scale = sum(length for _, length in part) / WIDTH
        if scale >= 1 and all(
            seen == colour and abs(length - scale * pixels) <= 2
            for (seen, length), (colour, pixels) in zip(part, row)
        ):
            return True
    return False


def test_region_has_the_same_pixels(page, made):
    new, kept = (
        page.pixels_of_png((folder / "region.png").read_bytes()) for folder in (made, KEPT)
    )
    assert new == kept
    assert [row[::8] for row in new[::8]][5].count(INKS[2]) > 5


@pytest.mark.parametrize("which", ("made", "kept"))
def test_page_shows_the_regions(page, made, which):
    folder = made if which == "made" else KEPT
    lines = {tuple(runs(row)) for row in page.pixels_of_png((folder / "page.png").read_bytes())}
    for region, text in REGIONS.items():
        pixels = bitmap(text, 2)
        for row in range(2, 9):
            content = pixels[row * WIDTH : (row + 1) * WIDTH]
            expected = runs(INKS[region] if byte == 2 else BLACK for byte in content)
            if (region, row) != (3, 5):  # with the wrong value
                assert any(shows(line, expected) for line in lines), (region, row)
    assert any(MAGENTA == colour for line in lines for colour, _ in line)
