"""Texts from outside made harmless, and numbers, times and names put into words.

What a drive calls itself is anybody's choice. Markup is kept out by the template, which escapes
all it is given; what steers a terminal or a browser's order of letters is taken out here.
"""

import math
import unicodedata
from datetime import datetime, timezone

REPLACEMENT = "\N{REPLACEMENT CHARACTER}"
MOST_CHARACTERS = 2000
# Invisible, and able to show text in another order than it has.
STEERING_CATEGORIES = frozenset(["Cc", "Cf", "Cs", "Zl", "Zp"])
# Marks of one letter: more than any script has pile up over the lines above, a verdict's too.
MARK_CATEGORIES = frozenset(["Mn", "Me"])
MOST_MARKS = 4

THIN_SPACE = "\N{NARROW NO-BREAK SPACE}"
DASH = "\N{EN DASH}"

# Factor and prefix, the largest first.
PREFIXES = ((1e12, "T"), (1e9, "G"), (1e6, "M"), (1e3, "k"), (1, ""))
SHORT_TIMES = ((1, "s"), (1e-3, "ms"), (1e-6, "\N{MICRO SIGN}s"), (1e-9, "ns"))
# Units as they are measured, and as they are shown.
UNITS = {"C": "°C", "Cel": "°C", "min": "min"}
# Words that are written otherwise than by a capital at the begin of the name.
WORDS = {"smart": "SMART", "lba": "LBA", "crc": "CRC", "nvme": "NVMe", "ata": "ATA", "ecc": "ECC"}


def clean(text: str) -> str:
    """The text without what steers what shows it, cut when it is of no sensible length."""
    shown = []
    marks = 0
    for letter in text[:MOST_CHARACTERS]:
        category = unicodedata.category(letter)
        marks = marks + 1 if category in MARK_CATEGORIES else 0
        if marks <= MOST_MARKS:
            shown.append(REPLACEMENT if category in STEERING_CATEGORIES else letter)
    return "".join(shown) + (" [cut]" if len(text) > MOST_CHARACTERS else "")


def grouped(number: float) -> str:
    """1234567 as "1 234 567", 0.5 as "0.5"; at most four digits behind the point."""
    if number == int(number) and abs(number) < 1e18:
        return f"{int(number):,}".replace(",", THIN_SPACE)
    if abs(number) >= 1e18 or 0 < abs(number) < 1e-4:
        return f"{number:.3g}"
    return f"{number:,.4f}".rstrip("0").rstrip(".").replace(",", THIN_SPACE)


def three_digits(number: float) -> str:
    """At least three digits, none of them behind the point when there are as many before it."""
    if number == 0:
        return "0"
    behind = max(0, 2 - math.floor(math.log10(abs(number))))
    text = f"{number:,.{min(behind, 6)}f}"
    text = text.rstrip("0").rstrip(".") if "." in text else text
    return text.replace(",", THIN_SPACE)


def with_prefix(number: float, unit: str) -> str:
    """182400000 B/s as "182 MB/s"."""
    factor, prefix = next((row for row in PREFIXES if abs(number) >= row[0]), PREFIXES[-1])
    return f"{three_digits(number / factor)}{THIN_SPACE}{prefix}{unit}"


def short_time(seconds: float) -> str:
    """0.0042 as "4.2 ms"; from a minute on as a length of time."""
    if abs(seconds) >= 60:
        return duration(seconds)
    factor, unit = next((row for row in SHORT_TIMES if abs(seconds) >= row[0]), SHORT_TIMES[-1])
    return f"{three_digits(seconds / factor)}{THIN_SPACE}{unit}" if seconds else f"0{THIN_SPACE}s"


def duration(seconds: float | None) -> str:
    """How long something took: "0.2 s", "3 min 12 s", "2 h 5 min"."""
    if seconds is None:
        return "not known"
    if seconds < 10:
        return f"{seconds:.1f}{THIN_SPACE}s"
    whole = round(seconds)
    if whole < 60:
        return f"{whole}{THIN_SPACE}s"
    minutes, rest = divmod(whole, 60)
    if minutes < 60:
        return f"{minutes}{THIN_SPACE}min {rest}{THIN_SPACE}s"
    hours, minutes = divmod(minutes, 60)
    return f"{hours}{THIN_SPACE}h {minutes}{THIN_SPACE}min"


def quantity(value: float | None, unit: str) -> str:
    """A measured value with its unit, as a person reads it."""
    if value is None:
        return "no number"
    if unit in ("B", "B/s"):
        return with_prefix(value, unit)
    if unit == "s":
        return short_time(value)
    if unit == "":
        return grouped(value)
    shown = UNITS.get(unit, unit)
    return f"{grouped(value)}{THIN_SPACE}{shown}"


def title(name: str) -> str:
    """The name of a measurement as a title: "outer-read-rate" as "Outer read rate"."""
    words = [WORDS.get(word, word) for word in name.split("-") if word]
    text = " ".join(words) or name
    return text[:1].upper() + text[1:]


def moment(text: str | None) -> datetime | None:
    """The time of a log, 2026-11-21T08:00:00.000Z, in the zone of who makes the report."""
    if text is None:
        return None
    try:
        read = datetime.fromisoformat(text)
        return (read if read.tzinfo else read.replace(tzinfo=timezone.utc)).astimezone()
    except (ValueError, OverflowError):  # the latter: the first or last day there is, in another zone
        return None


def shown_time(time: datetime | None) -> str:
    return time.strftime("%Y-%m-%d %H:%M:%S %Z") if time else "not known"


def counted(number: int, one: str, more: str | None = None) -> str:
    """1 test, 2 tests."""
    return f"{grouped(number)} {one if number == 1 else more or one + 's'}"
