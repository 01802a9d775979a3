"""The page looks as its pictures in docs/report.md do, and a change of it does not go unseen."""

import re

import pytest
from conftest import SOURCE_DIR
from PIL import Image
from pictures import MADE, PICTURES, WANTED, differences, keep, taken


def wanted_of(picture):
    with Image.open(WANTED / picture.file) as image:
        return image.convert("RGB")


@pytest.mark.parametrize("picture", PICTURES, ids=lambda one: one.name)
def test_the_page_looks_as_it_should(browser, pages, picture):
    made = taken(browser, pages, picture)
    found = differences(wanted_of(picture), made) if (WANTED / picture.file).exists() else ["new"]
    if found:
        keep(picture, made)
    assert found == [], f"look at {MADE / picture.file}"


# What is changed in a page: a cell of the map, a bar, a dip of the line, a colour, the sign, a line.
PLANTED = (
    ("report-map", r'<rect class="cell bad"[^>]*/>', '<rect/>', 1),
    ("report-times", r'<rect [^>]*class="rect reactive[^>]*/>', "<rect/>", 1),
    ("report-rates", r'(<g class="series serie-1.*?<path d="M[^"]*?)L[^"]*"', r'\1"', 1),
    ("report-verdict", r"#sign-failed", "#sign-passed", 1),
    ("report-verdict", r'<section class="banner failed', '<section class="banner warning', 1),
    ("report-verdict", r"<li>.*?</li>", "", 1),
    ("report-courses", r'(<g class="series serie-0.*?)<path [^>]*/>', r"\1", 0),
)


@pytest.mark.parametrize("name, what, by, number", PLANTED, ids=lambda one: str(one)[:20])
def test_what_is_planted_is_seen(browser, pages, tmp_path, name, what, by, number):
    picture = next(one for one in PICTURES if one.name == name)
    text = pages[picture.page].read_text(encoding="utf-8")
    changed, times = re.subn(what, by, text, count=number, flags=re.S)
    assert times > 0, "nothing was planted"
    page = tmp_path / "planted.html"
    page.write_text(changed, encoding="utf-8")
    assert differences(wanted_of(picture), taken(browser, {picture.page: page}, picture)) != []


def test_each_picture_is_shown_in_the_handbook():
    text = (SOURCE_DIR / "docs" / "report.md").read_text(encoding="utf-8")
    files = {path.name for path in WANTED.glob("report*.png")}
    assert files == {picture.file for picture in PICTURES}
    assert files == set(re.findall(r"\(pictures/(report[\w-]*\.png)\)", text))
