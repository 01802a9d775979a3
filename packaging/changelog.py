#!/usr/bin/python3
"""Writes debian/changelog of the version that CMakeLists.txt names, from CHANGELOG.md.

    changelog.py TREE TIME

TREE is the tree's folder, TIME the entry's time in seconds since 1970. The section with the version's
own heading is taken, and "Unreleased" as long as there is none. The entry goes to standard output.
"""

import re
import sys
import textwrap
from email.utils import formatdate
from pathlib import Path


def version_of(tree: Path) -> str:
    """The one version of the whole product."""
    text = (tree / "CMakeLists.txt").read_text()
    found = re.search(r"^project\(\w+ VERSION ([0-9.]+)", text, re.M)
    if found is None:
        raise SystemExit("changelog.py: CMakeLists.txt names no version")
    return found.group(1)


def section_of(changelog: str, version: str) -> str:
    """What the changelog says of a version."""
    parts = re.split(r"^## (.+)\n", changelog, flags=re.M)
    sections = dict(zip(parts[1::2], parts[2::2]))
    for heading in (version, "Unreleased"):
        if heading in sections:
            return sections[heading]
    raise SystemExit(f"changelog.py: CHANGELOG.md says nothing of {version}")


def items_of(section: str) -> list[str]:
    """The items of its lists, each on one line."""
    found = re.findall(r"^- (.*(?:\n  .*)*)", section, re.M)
    return [" ".join(item.split()) for item in found]


def entry(tree: Path, seconds: int) -> str:
    """The whole entry, as Debian wants it."""
    version = version_of(tree)
    items = items_of(section_of((tree / "CHANGELOG.md").read_text(), version))
    control = (tree / "packaging/debian/control").read_text()
    package = re.search(r"^Source: (.*)$", control, re.M).group(1)
    maintainer = re.search(r"^Maintainer: (.*)$", control, re.M).group(1)
    lines = [f"{package} ({version}) bookworm; urgency=medium", ""]
    for item in items:
        lines += textwrap.wrap(
            item, 79, initial_indent="  * ", subsequent_indent="    ", break_on_hyphens=False
        )
    lines += ["", f" -- {maintainer}  {formatdate(seconds, localtime=False)}".replace("-0000", "+0000")]
    return "\n".join(lines) + "\n"


if __name__ == "__main__":
    sys.stdout.write(entry(Path(sys.argv[1]), int(sys.argv[2])))
