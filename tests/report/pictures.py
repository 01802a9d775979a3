#!/usr/bin/python3
"""The pictures of docs/report.md: how they are made, and how one is compared with another.

They are what the page has to look like, so each was looked at by a person:

    ctest --test-dir build/dev -R report    leaves what differs in build/dev/pictures
    tests/report/pictures.py NAME...        takes these over from there, once they are right
"""

import io
import os
import shutil
import sys
from dataclasses import dataclass
from pathlib import Path

from PIL import Image, ImageChops

HERE = Path(__file__).resolve().parent
WANTED = HERE.parent.parent / "docs" / "pictures"
MADE = Path(os.environ.get("TARVEX_BINARY_DIR", HERE.parent.parent / "build" / "dev")) / "pictures"

TILE = 16  # pixels; letters drawn a little otherwise leave its mean colour alone
MOST_APART = 14  # of 255, in any colour of a tile's mean
MOST_LONGER = 0.02  # another release of the browser may lay out a line otherwise


@dataclass(frozen=True)
class Picture:
    name: str
    page: str
    width: int
    scheme: str
    first: str  # what it begins with
    last: str  # what it ends with; selectors

    @property
    def file(self):
        return f"{self.name}.png"


MAP = "figure:has(.map)"
CURVE = ".test figure:has(.xy-graph)"
TIMES = ".test figure:has(.histogram-graph)"
PICTURES = (
    Picture("report", "visits", 1200, "light", ".top", ".courses .grid figure:nth-child(2)"),
    Picture("report-verdict", "failing", 900, "light", ".top", ".overview"),
    Picture("report-passed", "healthy", 420, "dark", ".top", ".next"),
    Picture("report-map", "failing", 760, "light", MAP, MAP),
    Picture("report-map-narrow", "failing", 360, "dark", MAP, MAP),
    Picture("report-rates", "failing", 760, "light", CURVE, CURVE),
    Picture("report-times", "failing", 760, "light", TIMES, TIMES),
    Picture("report-times-dark", "failing", 760, "dark", TIMES, TIMES),
    Picture("report-courses", "course", 900, "light", ".grid", ".grid"),
)


def taken(browser, pages, picture):
    """What the browser shows of a page between two of its elements."""
    browser.view(picture.width, scheme=picture.scheme)
    browser.open(pages[picture.page])
    edge = "document.querySelector({!r}).getBoundingClientRect()"
    top = browser.ask(f"{edge.format(picture.first)}.top + scrollY")
    bottom = browser.ask(f"{edge.format(picture.last)}.bottom + scrollY")
    with Image.open(io.BytesIO(browser.picture())) as page:
        return page.convert("RGB").crop((0, max(0, round(top) - 8), page.width, round(bottom) + 8))


def differences(wanted, made):
    """Tiles of two pictures that are not alike, as their places; or that they have other sizes."""
    if wanted.width != made.width or abs(wanted.height - made.height) > wanted.height * MOST_LONGER:
        return [f"{made.width}x{made.height} in place of {wanted.width}x{wanted.height}"]
    made = made.resize(wanted.size)
    tiles = (-(-wanted.width // TILE), -(-wanted.height // TILE))
    one, other = (picture.convert("RGB").resize(tiles, Image.Resampling.BOX) for picture in (wanted, made))
    apart = ImageChops.difference(one, other)
    return [
        (column * TILE, row * TILE)
        for row in range(tiles[1])
        for column in range(tiles[0])
        if max(apart.getpixel((column, row))) > MOST_APART
    ]


def keep(picture, made):
    """For who looks at what differs."""
    MADE.mkdir(exist_ok=True)
    made.save(MADE / picture.file, optimize=True)


def main(names):
    for picture in PICTURES:
        if picture.name in names:
            WANTED.mkdir(exist_ok=True)
            shutil.copyfile(MADE / picture.file, WANTED / picture.file)


if __name__ == "__main__":
    main(sys.argv[1:])
