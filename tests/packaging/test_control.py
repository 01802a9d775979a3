"""What the packages are built with is what this tree says it is built with."""

import re
import subprocess

from program import SOURCE_DIR

# Every build of Debian's has these, or takes another name for them.
GIVEN = {"g++", "pkg-config"}
# What makes a package of a built tree, and what the report is made of, which nothing compiles.
PACKAGING = {"debhelper-compat", "dh-python", "pkgconf", "python3"}
REPORT = {"python3-jinja2", "python3-markupsafe", "python3-pygal"}


def control():
    return (SOURCE_DIR / "packaging/debian/control").read_text()


def names_of(stanza, field):
    """The packages that a field of a stanza names."""
    value = re.search(rf"^{field}:((?:\n [^\n]+)+)", stanza, re.M).group(1)
    return {re.split(r"[ ,:(<]", line.strip())[0] for line in value.strip().splitlines()}


def test_build_dependencies_are_those_of_the_tree():
    told = subprocess.run(
        [SOURCE_DIR / "scripts/dependencies.sh", "--list", "build"],
        capture_output=True,
        text=True,
        check=True,
    ).stdout
    assert names_of(control(), "Build-Depends") == (set(told.split()) - GIVEN) | PACKAGING | REPORT


def test_the_report_needs_what_it_is_tried_with():
    report = control().split("\n\n")[2]
    assert "Package: tarvex-diagnostics-report\n" in report
    assert REPORT <= names_of(report, "Depends")
