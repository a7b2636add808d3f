"""The script makes the pictures of the documents."""

import pathlib
import subprocess

ROOT = pathlib.Path(__file__).parents[3]
MAGENTA = (255, 0, 255, 255)


def test_pictures_are_made_again(page, tmp_path):
    made, kept = tmp_path, ROOT / "docs" / "pictures"
    subprocess.run([ROOT / "script" / "pictures", made], check=True, timeout=600)
    assert (made / "region.png").read_bytes() == (kept / "region.png").read_bytes()
    for folder in (made, kept):  # fonts differ from machine to machine
        rows = page.pixels_of_png((folder / "page.png").read_bytes())
        assert any(MAGENTA in row for row in rows)
