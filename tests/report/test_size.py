"""However much was measured, the page stays small, and nothing that is worth seeing gets lost."""

import functools
import math
import re
from xml.etree import ElementTree

import pytest
import sample_runs
from tarvex_report import charts, page, surface, thin
from tarvex_report.run import run_of

MANY = 1_000_000
MOST_OF_PAGE = 6_000_000
MOST_OF_FIGURE = 150_000
SPACE = "\N{NARROW NO-BREAK SPACE}"


def run_at(number, tests, verdict="passed", **more):
    """The tests of a machine on that day."""
    start = f"2026-{1 + number // 28:02}-{1 + number % 28:02}T08:00:00.000Z"
    more = {"run": f"tarvex-{number}", "file": f"/log/tarvex-{number}", "start": start} | more
    return sample_runs.run(tests, verdict, **more)


def measured(number, verdict="passed"):
    """A test with two pictures and five measurements."""
    test = sample_runs.failing()["tests"][1]
    return test | {"test": f"T{number}", "testName": f"Test {number}", "verdict": verdict}


def page_of(documents):
    return page.page_of([run_of(document, "it") for document in documents], "5.0.0.0")


def sections(text):
    """What the page has of each run, by the number of the run."""
    found = re.findall(r'<section class="run".*?</section>', text, re.S)
    return {int(re.search(r"/log/tarvex-(\d+)", one)[1]): one for one in found}


def pictures_in(text):
    return text.count('class="chart wide"')


def series_of(points, kind="CURVE", axis="lba", axis_unit=None, unit="B/s"):
    series = sample_runs.series("it", kind, points, unit, axis, axis_unit)
    test = run_of(sample_runs.run([sample_runs.test_of("T", "Test", series=[series])]), "it").tests[0]
    return test.series[0]


def size_of(figure):
    return sum(map(len, figure.pictures)) + sum(len(cell) for row in figure.rows for cell in row)


# ---- Many points ----------------------------------------------------------------------------------


@functools.cache
def long_curve():
    """Of a million points at 100, one at 3 and one at 180."""
    points = [[number, 100] for number in range(MANY)]
    points[333_333][1], points[777_777][1] = 3, 180
    return series_of(points)


def test_one_dip_and_one_peak_of_a_million_points_are_drawn():
    figure = charts.curve(long_curve())
    assert size_of(figure) < MOST_OF_FIGURE
    cells = {row[0].replace(SPACE, ""): row[1] for row in figure.rows}
    assert cells["333333"].startswith("3") and cells["777777"].startswith("180")
    assert {"0", "999999"} <= set(cells)
    assert f"lowest 3{SPACE}B/s at LBA 333{SPACE}333" in figure.summary
    for picture in figure.pictures:
        (path, *_) = [
            one.get("d") for one in ElementTree.fromstring(picture).iter("path") if one.get("class", "").startswith("line")
        ]
        heights = [float(place.split()[-1]) for place in re.findall(r"[\d.]+ [\d.]+", path)]
        usual = sorted(heights)[len(heights) // 2]
        # The axis goes from 0 to 200: the dip is nearly as far below 100 as the peak is above.
        assert max(heights) - usual == pytest.approx((usual - min(heights)) * 97 / 80, abs=1)
        assert max(heights) - usual > 60


def test_the_numbers_say_that_there_are_more():
    figure = charts.curve(long_curve())
    shown = f"{len(figure.rows):,}".replace(",", SPACE)
    assert figure.left_out == (
        f"{shown} of 1{SPACE}000{SPACE}000 points are here: the first, lowest, highest and last of each part."
    )
    assert charts.curve(series_of([[0, 1], [1, 2]])).left_out == ""


@pytest.mark.parametrize("number, is_all", [(256, True), (thin.MOST_POINTS, True), (thin.MOST_POINTS + 1, False)])
def test_what_has_few_points_keeps_them_all(number, is_all):
    points = [(float(at), float(at % 2)) for at in range(number)]
    assert (thin.line(points) == points) is is_all


def test_what_goes_up_and_down_keeps_both_ends_of_each_strip():
    points = [(float(at), math.sin(at)) for at in range(100_000)]
    kept = thin.line(points)
    assert len(kept) <= thin.MOST_POINTS and kept == sorted(kept)
    strip = 100_000 // thin.STRIPS
    for first in range(0, 100_000 - strip, 20 * strip):
        near = [value for at, value in kept if first <= at < first + 2 * strip]
        assert min(near) < -0.99 and max(near) > 0.99


def test_one_late_answer_behind_a_hundred_thousand_bounds_is_drawn():
    points = [[0.001 * 1.0001**number, 7] for number in range(100_000)]
    points[-1][1] = 1
    for number in range(90_000, 99_999):
        points[number][1] = 0
    figure = charts.histogram(series_of(points, "HISTOGRAM", "time", "s", None))
    assert size_of(figure) < MOST_OF_FIGURE and 2 < len(figure.rows) <= thin.MOST_BARS
    assert sum(int(row[1].replace(SPACE, "")) for row in figure.rows) == 630_001
    assert figure.rows[-1][1] == "1"
    assert figure.left_out.endswith("of 100\N{NARROW NO-BREAK SPACE}000 points are here: near ones are counted together.")


def test_bounds_that_are_all_but_one_are_drawn():
    bounds = [1.0]
    while len(bounds) <= 2 * thin.MOST_BARS:
        bounds.append(math.nextafter(bounds[-1], 2))
    figure = charts.histogram(series_of([[one, 1] for one in bounds], "HISTOGRAM", "time", "s", None))
    assert len(figure.rows) >= 1


def test_one_bad_sector_among_many_slow_places_is_on_the_map():
    slow = sample_runs.series("slow", "RANGES", [[number * 10, 4.0] for number in range(100_000)], "s")
    bad = sample_runs.series("bad", "RANGES", [[700_003, 1]])
    tests = [sample_runs.test_of("T", "Test", series=[slow, bad])]
    figure = surface.surface_map(list(run_of(sample_runs.run(tests), "it").tests))
    assert size_of(figure) < 2 * MOST_OF_FIGURE
    assert [picture.count('"cell bad"') for picture in figure.pictures] == [1, 1]
    assert len(figure.rows) == thin.MOST_ROWS
    assert [row[1] for row in figure.rows].count("1 sector") == 1
    assert figure.rows[0][0] == "0" and figure.rows[-1][1] == "1 sector"
    assert figure.left_out.startswith(f"500 of 100{SPACE}001 places are here")


# ---- Many runs ------------------------------------------------------------------------------------


@pytest.fixture(scope="module")
def many():
    """Fifty runs of a hundred tests; a test of one run in the middle failed."""
    documents = [run_at(day, [measured(number) for number in range(100)]) for day in range(50)]
    documents[20]["verdict"] = "failed"
    documents[20]["tests"][70] = measured(70, "failed")
    return page_of(documents)


def test_fifty_runs_of_a_hundred_tests_make_a_page_that_can_be_mailed(many):
    assert len(many) < MOST_OF_PAGE
    assert many.count('<article class="test ') == 5000


def test_the_newest_run_is_whole_and_then_comes_what_is_worst(many):
    by_run = sections(many)
    assert list(by_run) == list(reversed(range(50)))
    assert pictures_in(by_run[49]) == 200 and "Pictures and measurements" not in by_run[49]
    # Of the failed run there is room for some, and what failed is among them.
    (failed,) = re.findall(r'<article class="test failed".*?</article>', by_run[20], re.S)
    assert pictures_in(failed) == 2 and "Outer read rate" in failed
    # Nobody gets any where a worse one found no room.
    assert pictures_in(by_run[48]) == 0 and "Outer read rate" not in by_run[48]


def test_what_is_left_out_is_said_with_the_way_to_it(many):
    wanted = 'are in a report of this run alone: <span class="code">tarvex-report {} -o FILE</span>'
    by_run = sections(many)
    for number in (0, 20, 48):
        assert wanted.format(f"tarvex-{number}") in by_run[number]
    few = page_of([run_at(day, [measured(0)]) for day in range(3)])
    assert "report of this run alone" not in few and pictures_in(few) == 6


def test_a_run_alone_is_whole(monkeypatch):
    monkeypatch.setattr(page, "FOR_RUNS", 1000)
    assert pictures_in(page_of([run_at(0, [measured(0), measured(1)])])) == 4
    assert pictures_in(page_of([run_at(day, [measured(0)]) for day in range(2)])) == 0


def test_the_courses_of_many_devices_have_a_bound():
    devices = [sample_runs.device(f"Disk {number}", f"key-{number}") for number in range(60)]

    def tests(day):
        return [
            sample_runs.test_of(
                "T", "Test", device=number,
                measurements=[sample_runs.measurement(f"errors-{one}", day * (one + 1) + number) for one in range(8)],
            )
            for number in range(60)
        ]  # fmt: skip

    text = page_of([run_at(day, tests(day), devices=devices) for day in range(12)])
    (drawn,) = re.findall(r'<section class="courses".*?</section>', text, re.S)
    assert 8 * 10 < pictures_in(drawn) < 8 * 60
    assert drawn.count("no room for its pictures") == 60 - pictures_in(drawn) // 8
    assert drawn.count("8 measurements that changed") == 60


def test_a_course_over_hundreds_of_runs_is_a_line():
    tests = [
        sample_runs.test_of("T", "Test", measurements=[sample_runs.measurement("errors", day)])
        for day in range(300)
    ]
    text = page_of([run_at(day, [test]) for day, test in enumerate(tests)])
    (drawn,) = re.findall(r'<section class="courses".*?</section>', text, re.S)
    assert pictures_in(drawn) == 1 and "<circle" not in drawn


def test_a_map_without_room_is_left_out_and_said_to_be(monkeypatch):
    monkeypatch.setattr(page, "FOR_RUNS", 0)
    ranges = sample_runs.series("bad", "RANGES", [[7, 1]])
    documents = [run_at(day, [sample_runs.test_of("T", "Test", "failed", series=[ranges])]) for day in range(2)]
    text = page_of(documents)
    assert text.count("report of this run alone") == 2 and "Map of the surface" not in text
    text = page_of([run_at(day, [sample_runs.test_of("T", "Test")]) for day in range(2)])
    assert "report of this run alone" not in text  # where nothing is left out
