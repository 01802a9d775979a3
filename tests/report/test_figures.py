"""Pictures: when there is one, what it says in words, and what is in it."""

import math
import re
from xml.etree import ElementTree

import pytest
import sample_runs
from conftest import SOURCE_DIR
from tarvex_report import advice, charts, courses, limits, room, svg, surface, verdicts
from tarvex_report.page import page_of
from tarvex_report.run import Limit, Measurement, run_of

SPACE = "\N{NARROW NO-BREAK SPACE}"


def series_of(points, kind="CURVE", unit="B/s", axis="lba", axis_unit=None):
    series = sample_runs.series("read-rate", kind, points, unit, axis, axis_unit)
    run = sample_runs.run([sample_runs.test_of("T", "Test", series=[series])])
    return run_of(run, "it").tests[0].series[0]


def courses_of(runs):
    return courses.courses_of(runs, room.Room(math.inf))


def marks_of(figure, size=0):
    """How many cells of each kind a map has."""
    tree = ElementTree.fromstring(figure.pictures[size])
    classes = [one.get("class") for one in tree.iter("rect")]
    (calm,) = [one.get("d", "") for one in tree.iter("path") if one.get("class") == "cell calm"]
    return {kind: classes.count(f"cell {kind}") for kind in ("bad", "slow")} | {"calm": calm.count("M")}


def test_a_curve_says_what_is_to_be_seen():
    figure = charts.curve(series_of([[0, 200e6], [500, 50e6], [1000, 100e6]]))
    assert figure.summary.replace(SPACE, " ") == (
        "200 MB/s at the begin, 100 MB/s at the end; median 100 MB/s, lowest 50 MB/s at LBA 500."
    )
    assert len(figure.pictures) == 2 and len(figure.rows) == 3
    for picture in figure.pictures:
        paths = [one.get("d") for one in ElementTree.fromstring(picture).iter("path")]
        assert any(path.count(" ") >= 5 for path in paths), "no line through three points"


@pytest.mark.parametrize(
    "points", [[], [[0, 1]], [[5, 1], [5, 2]], [[5, 1], [1, 2]], [[2**53 - 1, 1], [2**53, 2]], [[1, 1], [1 + 1e-15, 2]]]
)
def test_too_little_is_no_curve(points):
    assert charts.curve(series_of(points)) is None


@pytest.mark.parametrize("points", [[[0, 0], [1, 0]], [[0, -3], [1, -1]], [[0, 1e-300], [1, 1e-301]], [[0, 0], [2**53, 2**53]]])
def test_odd_curves_are_drawn(points):
    assert charts.curve(series_of(points)) is not None


def test_a_histogram_says_how_many_are_within():
    points = [[0.001, 50], [0.002, 49], [0.01, 0], [1.0, 1]]
    figure = charts.histogram(series_of(points, "HISTOGRAM", None, "time", "s"))
    assert figure.summary.replace(SPACE, " ") == (
        "100 answers: half within 1 ms, 99 of 100 within 2 ms, all within 1 s."
    )
    bars = [one for one in ElementTree.fromstring(figure.pictures[0]).iter("rect")
            if "background" not in one.get("class", "")]  # fmt: skip
    assert len(bars) == 3
    # 50, 49 and 1 from one half on, in powers of ten; 2, 6.9897 and 1: 5 and 1 decades wide.
    heights = [float(bar.get("height")) for bar in bars]
    assert heights[0] / heights[2] == pytest.approx(2 / 0.30103, rel=0.02)
    widths = [float(bar.get("width")) for bar in bars]
    assert widths[2] / widths[1] == pytest.approx(2 / 0.30103, rel=0.02)


@pytest.mark.parametrize("points", [[], [[1, 0]], [[0, 5]], [[-1, 5]], [[2, 1], [1, 1]], [[1, -5], [2, 5]], [[1, 0.001]]])
def test_what_cannot_be_counted_is_no_histogram(points):
    assert charts.histogram(series_of(points, "HISTOGRAM", None, "time", "s")) is None


def test_the_map_shows_bad_before_slow():
    run = run_of(sample_runs.failing(), "it")
    figure = surface.surface_map([test for test in run.tests if test.device == 0])
    # 480 cells of 1,041,913 sectors: LBA 1000 in cell 0; 150034000 (slow) to 150039096 in 143 and
    # 144; 150300000 in 144; 360900000 in 346; slow at 402000000 in 385 and at 411000000 in 394.
    assert marks_of(figure) == {"bad": 4, "slow": 2, "calm": 474}
    assert figure.summary.replace(SPACE, " ") == (
        "4 places with bad sectors, the first at LBA 1 000; 3 slow answers, the first at LBA 150 034 000."
    )
    assert figure.rows[0] == (f"1{SPACE}000", "2 sectors", "Linear Read Test: Unreadable ranges")


def test_what_two_tests_found_is_one_place():
    tests = [
        sample_runs.test_of(key, key, series=[sample_runs.series("bad", "RANGES", points)])
        for key, points in (("A", [[100, 8], [200, 1]]), ("B", [[96, 8], [103, 2], [300, 1]]))
    ]
    figure = surface.surface_map(list(run_of(sample_runs.run(tests), "it").tests))
    assert figure.summary == "3 places with bad sectors, the first at LBA 96."
    assert len(figure.rows) == 5


def test_nothing_found_is_no_map():
    assert surface.surface_map(list(run_of(sample_runs.healthy(), "it").tests)) is None


@pytest.mark.parametrize("points", [[[0, 0]], [[-5, 3]], [[2**53, 1]], [[0, 2**53]], [[0.25, 0.5]]])
def test_odd_places_are_shown(points):
    document = sample_runs.run(
        [sample_runs.test_of("T", "T", series=[sample_runs.series("bad", "RANGES", points)])]
    )
    figure = surface.surface_map(list(run_of(document, "it").tests))
    assert marks_of(figure)["bad"] >= 1


def test_only_shapes_get_into_the_page():
    strange = ElementTree.fromstring(
        "<svg xmlns='http://www.w3.org/2000/svg' xmlns:x='http://www.w3.org/1999/xlink' onload='x()'>"
        "<script>x()</script><style>*{}</style><defs><g/></defs><foreignObject/><a x:href='//x'/>"
        "<g class='plot' style='color:red' id='i'><path d='M1.23456 2' onclick='x()'/>"
        "<text>&lt;b&gt;</text><image x:href='//x'/><use x:href='#i'/></g><!-- c --></svg>"
    )
    assert svg.picture(strange, "chart", "<&\"words\">") == (
        '<svg class="chart" role="img" aria-label="&lt;&amp;&quot;words&quot;&gt;"><g class="plot">'
        '<path d="M1.2 2" /><text>&lt;b&gt;</text></g></svg>'
    )


def test_a_course_goes_over_the_runs_of_one_device():
    runs = [run_of(one, "it") for one in sample_runs.course()]
    (course,) = courses_of(runs)
    assert course.tests == ("Smart Status Test", "Random Read Test")
    assert [row[1][0] for row in course.runs] == [verdicts.PASSED] * 4 + [verdicts.WARNING] * 4
    titles = [figure.title for figure in course.figures]
    assert titles == ["Temperature", "SMART 5 reallocated sectors", "Slowest answer"]
    assert course.figures[1].summary == "From 0 to 16 (+16) over 8 runs."
    assert {one.name for one in course.changed} == {
        "temperature", "smart-5-reallocated-sectors", "power-on-hours", "slowest-answer"
    }  # fmt: skip
    assert course.unchanged == 1


def test_what_wavers_is_drawn_when_it_is_much():
    def runs_with(name, first, last):
        documents = [sample_runs.weekly(0), sample_runs.weekly(1)]
        for document, value in zip(documents, (first, last)):
            test = sample_runs.test_of("T", "Test", measurements=[sample_runs.measurement(name, value)])
            document["tests"] = [test]
        return [run_of(document, "it") for document in documents]

    def drawn(*values):
        (course,) = courses_of(runs_with(*values))
        assert [one.name for one in course.changed] == [values[0]]
        return len(course.figures)

    assert drawn("read-rate", 100, 76) == 0
    assert drawn("read-rate", 100, 74) == 1
    assert drawn("pending-sectors", 100, 101) == 1
    assert drawn("power-on-hours", 100, 300) == 0
    assert drawn("smart-5-reallocated-sectors-value", 100, 30) == 0


@pytest.mark.parametrize("value", [math.nextafter(40, 50), 40 + 1e-13])
def test_a_change_that_no_axis_shows_is_not_drawn(value):
    documents = [sample_runs.weekly(0), sample_runs.weekly(1)]
    for document, one in zip(documents, (40, value)):
        document["tests"] = [
            sample_runs.test_of("T", "Test", measurements=[sample_runs.measurement("pending-sectors", one)])
        ]
    (course,) = courses_of([run_of(document, "it") for document in documents])
    assert (len(course.changed), course.figures) == (1, ())


def test_one_thing_with_two_names_is_drawn_once():
    documents = [sample_runs.weekly(number) for number in range(8)]
    for document in documents:
        first = document["tests"][0]["measurements"]
        first.append(first[1] | {"name": "reallocated-sectors"})
    (course,) = courses_of([run_of(document, "it") for document in documents])
    titles = [figure.title for figure in course.figures]
    assert titles == ["Temperature", "SMART 5 reallocated sectors", "Slowest answer"]


def test_a_device_without_a_serial_number_is_that_of_its_machine_alone():
    def visit(machine, serial, **more):
        devices = [sample_runs.device(key="pci-0000:00:17.0", serial=serial)]
        return run_of(sample_runs.healthy() | {"machine": machine, "devices": devices, **more}, "it")

    assert courses_of([visit("one", None), visit("other", None)]) == []
    assert len(courses_of([visit("one", None), visit("other", None), visit("one", None)])) == 1
    assert len(courses_of([visit("one", "S-1"), visit("other", "S-1")])) == 1
    assert courses_of([visit("one", None), visit("one", None, simulated=True)]) == []


def test_a_device_that_was_tested_once_has_no_course():
    document = sample_runs.healthy()
    other = sample_runs.healthy() | {"devices": [sample_runs.device(key="another")]}
    assert courses_of([run_of(document, "it"), run_of(other, "it")]) == []


@pytest.mark.parametrize(
    "kind, value, text, is_kept",
    [
        ("EQUAL", 0, "= 0", False),
        ("NOT_EQUAL", 0, "≠ 0", True),
        ("LESS_THAN", 5, "< 5", False),
        ("LESS_THAN_OR_EQUAL", 5, "≤ 5", True),
        ("GREATER_THAN", 5, "> 5", False),
        ("GREATER_THAN_OR_EQUAL", 5, "≥ 5", True),
        ("REGEX_MATCH", 5, "regex match 5", None),
    ],
)
def test_a_limit_is_kept_or_not(kind, value, text, is_kept):
    (judged,) = limits.judged(Measurement("m", 5, "", (Limit(kind, value),)))
    assert (judged.text, judged.is_kept) == (text, is_kept)


def test_the_advice_is_that_of_the_handbook():
    """What the page says about words of a disk is about words that the handbook knows."""
    handbook = (SOURCE_DIR / "docs" / "storage.md").read_text(encoding="utf-8").lower()
    for row in advice.rows():
        if row.module == "storage":
            assert any(words in handbook.replace("the short ", "") for words in row.words), row.words


@pytest.mark.parametrize(
    "verdict, words, begin",
    [
        ("failed", "Unreadable sectors: first LBA 7, count 1, error 61 (x)", "Copy the data now"),
        ("failed", "Unreadable sectors: error 5 (input/output error)", "Try another cable"),
        ("failed", "Something new", "Repeat the test."),
        ("warning", "Slow answers: 3", "Copy the data: a disk tries"),
        ("invalid", "The drive is locked by a password", "Unlock the drive"),
        ("invalid", "nobody knows", "The test could not be tried."),
        ("unfinished", "", "The test did not end."),
        ("canceled", "", "The run was stopped"),
        ("passed", "Slow answers of others", "Nothing needs to be done."),
        ("not applicable", "", "Nothing was tested"),
    ],
)
def test_the_advice_follows_from_the_words(verdict, words, begin):
    test = sample_runs.test_of(
        "T", "Test", verdict, module="Storage", words=[sample_runs.word(words)]
    )
    (one,) = advice.advice_of(run_of(sample_runs.run([test], verdict), "it"))
    assert one.text.startswith(begin)


def test_of_many_machines_the_worst_comes_first_and_the_sound_ones_once():
    documents = [
        sample_runs.run([sample_runs.test_of("T", "Test", verdict)], verdict, machine=machine)
        for machine, verdict in (
            ("a", "passed"), ("b", "warning"), ("c", "passed"), ("d", "failed"), ("e", "failed"), ("f", "canceled"),
        )
    ]  # fmt: skip
    told = advice.advice_of_machines([run_of(document, "it") for document in documents])
    assert [(one.machines, one.advice.verdict.key) for one in told] == [
        (("d",), "failed"), (("e",), "failed"), (("b",), "warning"), (("f",), "canceled"), (("a", "c"), "passed"),
    ]  # fmt: skip
    page = page_of([run_of(document, "it") for document in documents], "5.0.0.0")
    items = re.findall(r"<li>.*?</li>", re.search(r'<ul class="advice">(.*?)</ul>', page, re.S)[1], re.S)
    heads = [re.sub(r"<.*?>", "", item).replace("\N{NARROW NO-BREAK SPACE}", " ").strip() for item in items]
    assert [head.split(", ")[0] for head in heads[:3]] == ["e", "d", "b"]
    assert heads[4].startswith("2 machines: Nothing needs to be done.")
