"""Texts, numbers and axes as a person reads them."""

import math
import time

import pytest
from tarvex_report import scale, texts

SPACE = texts.THIN_SPACE


@pytest.mark.parametrize(
    "given, shown",
    [
        ("Disk A", "Disk A"),
        ("a\x00b\x1b[31m\x07", "a�b�[31m�"),
        ("\u202egnp\u202c\u2066x\u2069\u200b\u200f\ufeff", "�gnp��x����"),
        ("\ud800", "�"),
        ("a\nb\tc\u2028d", "a�b�c�d"),
        ("e" + "\u0301" * 4 + "o" + "\u0489" * 5 + "u", "e" + "\u0301" * 4 + "o" + "\u0489" * 4 + "u"),
        ("<b>&amp;\"'", "<b>&amp;\"'"),  # the template's concern
        ("Größe 5\u202fµs 磁盘 👍", "Größe 5\u202fµs 磁盘 👍"),
    ],
)
def test_a_text_from_outside_steers_nothing(given, shown):
    assert texts.clean(given) == shown


def test_a_text_of_no_sensible_length_is_cut():
    assert texts.clean("x" * 2000) == "x" * 2000
    assert texts.clean("x" * 2001) == "x" * 2000 + " [cut]"


@pytest.mark.parametrize(
    "value, unit, shown",
    [
        (182400000, "B/s", "182 MB/s"),
        (999, "B", "999 B"),
        (1000, "B", "1 kB"),
        (256060514304, "B", "256 GB"),
        (0, "B", "0 B"),
        (0.0042, "s", "4.2 ms"),
        (3.98, "s", "3.98 s"),
        (0.00000091, "s", "910 ns"),
        (0, "s", "0 s"),
        (7421, "s", "2 h 3 min"),
        (-12, "C", "-12 °C"),
        (29114, "h", "29 114 h"),
        (1234567, "", "1 234 567"),
        (0.5209, "", "0.5209"),
        (2**63, "", "9.22e+18"),
        (10**18, "", "1e+18"),
        (10**18 - 2**8, "", "999 999 999 999 999 744"),
        (0.00005, "", "5e-05"),
        (0.0001, "", "0.0001"),
        (-0.25, "", "-0.25"),
        (None, "B", "no number"),
        (1.5, "furlongs", "1.5 furlongs"),
    ],
)
def test_a_value_is_shown_with_its_unit(value, unit, shown):
    assert texts.quantity(value, unit).replace(SPACE, " ") == shown


@pytest.mark.parametrize(
    "seconds, shown",
    [
        (None, "not known"),
        (0, "0.0 s"),
        (9.94, "9.9 s"),
        (10, "10 s"),
        (59.6, "1 min 0 s"),
        (192, "3 min 12 s"),
        (3599.7, "1 h 0 min"),
        (7500, "2 h 5 min"),
    ],
)
def test_a_length_of_time_is_worded(seconds, shown):
    assert texts.duration(seconds).replace(SPACE, " ") == shown


@pytest.mark.parametrize(
    "name, shown",
    [
        ("outer-read-rate", "Outer read rate"),
        ("smart-5-reallocated-sectors", "SMART 5 reallocated sectors"),
        ("interface-crc-errors", "Interface CRC errors"),
        ("--", "--"),
    ],
)
def test_a_measurement_has_a_title(name, shown):
    assert texts.title(name) == shown




@pytest.mark.parametrize("text", [None, "yesterday", "2026-13-01T00:00:00Z"])
def test_what_is_no_time_is_not_known(text):
    assert texts.shown_time(texts.moment(text)) == "not known"


@pytest.mark.parametrize(
    "low, high, most, wanted",
    [
        (0, 200, 5, [0, 50, 100, 150, 200]),
        (0, 500118191, 9, [0, 1e8, 2e8, 3e8, 4e8, 5e8]),
        (31, 39, 4, [32, 34, 36, 38]),
        (0.1, 0.35, 4, [0.1, 0.2, 0.3]),
        (-5, 5, 5, [-4, -2, 0, 2, 4]),
    ],
)
def test_ticks_are_round(low, high, most, wanted):
    assert scale.ticks(low, high, most) == pytest.approx(wanted)


@pytest.mark.parametrize("low, high", [(0, 1e-9), (1, 1e18), (0, 3), (-1e6, 1e6), (7, 7.0001)])
@pytest.mark.parametrize("most", [2, 4, 5, 9])
def test_ticks_are_few_and_within(low, high, most):
    found = scale.ticks(low, high, most)
    assert 1 <= len(found) <= most
    assert all(low - (high - low) * 1e-6 <= value <= high + (high - low) * 1e-6 for value in found)


@pytest.mark.parametrize("value", [1e-7, 0.3, 1, 7.2, 181.6e6, 1e18])
def test_an_axis_ends_at_a_round_number_near_above(value):
    end = scale.ceiling(value)
    assert value <= end * (1 + 1e-9) and end <= value * 1.5 + 1e-12 and math.isfinite(end)


@pytest.fixture
def tokyo(monkeypatch):
    monkeypatch.setenv("TZ", "Asia/Tokyo")
    time.tzset()
    yield
    monkeypatch.undo()
    time.tzset()


def test_a_time_that_the_zone_cannot_show_is_not_known(tokyo):
    assert texts.moment("9999-12-31T23:59:59.999Z") is None


def test_a_time_is_shown_in_the_zone_of_who_reads_it(tokyo):
    assert texts.shown_time(texts.moment("2026-11-21T08:00:00.000Z")) == "2026-11-21 17:00:00 JST"
