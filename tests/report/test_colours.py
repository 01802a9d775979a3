"""Every pair of colours that stand on each other has the contrast that is wanted (WCAG 2, AA)."""

import re

import pytest
from conftest import SOURCE_DIR

STYLE = SOURCE_DIR / "companions" / "report" / "tarvex_report" / "templates" / "style.css"
TEXT, SIGN = 4.5, 3.0
GROUNDS = ("page", "sheet")
TONES = ("failed", "warning", "passed", "open", "none")
PAIRS = (
    *((ink, ground, TEXT) for ink in ("ink", "soft", "link") for ground in GROUNDS),
    *((tone, ground, TEXT) for tone in TONES for ground in (*GROUNDS, f"{tone}-wash")),
    *(("ink", f"{tone}-wash", TEXT) for tone in TONES),
    *(("soft", f"{tone}-wash", TEXT) for tone in TONES),
    *(("on", tone, TEXT) for tone in TONES),
    ("data", "sheet", SIGN),
    ("failed", "faint", SIGN),
    ("slow", "faint", SIGN),
    ("on", "slow", SIGN),
)


def palettes():
    """The colours of light, dark and paper, by name."""
    blocks = re.findall(r":root \{(.*?)\}", STYLE.read_text(encoding="utf-8"), re.S)
    return [dict(re.findall(r"--([\w-]+): (#[0-9a-f]{6})\b", block)) for block in blocks]


def luminance(colour):
    parts = [int(colour[place : place + 2], 16) / 255 for place in (1, 3, 5)]
    linear = [part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4 for part in parts]
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]


def contrast(one, other):
    low, high = sorted((luminance(one), luminance(other)))
    return (high + 0.05) / (low + 0.05)


@pytest.mark.parametrize("number, name", enumerate(["light", "dark", "paper"]))
def test_what_stands_on_what_can_be_read(number, name):
    palette = palettes()[number]
    short = {
        f"{ink} on {ground}": round(contrast(palette[ink], palette[ground]), 2)
        for ink, ground, least in PAIRS
        if contrast(palette[ink], palette[ground]) < least
    }
    assert short == {}, name


def test_the_contrast_is_that_of_the_standard():
    assert contrast("#000000", "#ffffff") == pytest.approx(21)
    assert contrast("#777777", "#ffffff") == pytest.approx(4.48, abs=0.01)
