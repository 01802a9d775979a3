"""The tables of docs/worker.md, below "What is said of it", which these tests hold the program to."""

import re

from program import SOURCE_DIR


def rows(heading):
    """The rows of the table below that heading, by the deed: lists of cells behind it."""
    text = (SOURCE_DIR / "docs" / "worker.md").read_text(encoding="utf-8")
    section = text.split(f"\n### {heading}\n", 1)[1].split("\n## ", 1)[0].split("\n### ", 1)[0]
    cells = [
        [cell.strip().replace("`", "") for cell in line.strip("|").split("|")]
        for line in section.splitlines()
        if line.startswith("| `")
    ]
    found = {deed: rest for deed, *rest in cells}
    assert len(found) == len(cells) > 0
    return found


def matches(expected, text):
    """N stands for a number, and ... for anything."""
    escaped = re.sub(r"\bN\b", r"[0-9]+", re.escape(expected).replace(r"\.\.\.", ".*"))
    return re.fullmatch(escaped, text)


ILL = rows("Ill deeds")
GOOD = rows("Good deeds")
ENDLESS = rows("Deeds without end")
SEARCHES = rows("Searches")
RESOURCES = rows("Looks at resources")
ENDLESS_SEARCHES = rows("Searches without end")

# The sanitizers put their own words before these, or keep their own books of the memory.
OTHERWISE_SANITIZED = {"grow", "allocate-at-once", "overflow"}
