#!/usr/bin/env python3
"""Adds up the test reports of several builds and ends with "N passed, M failed".

Reads the JUnit files that ctest writes. A GoogleTest or pytest program counts with the number of
test cases it says it ran; one that says nothing counts as one. Every failed and every skipped
test is named. The exit status is 0 when nothing failed and every report is there.
"""

import argparse
import os
import re
import sys
import xml.etree.ElementTree as ElementTree

# What the two test frameworks say at the end of their run.
GTEST_RAN = re.compile(r"^\[==========\] (\d+) tests? from \d+ test suites? ran", re.M)
GTEST_PASSED = re.compile(r"^\[  PASSED  \] (\d+) tests?\.", re.M)
GTEST_SKIPPED = re.compile(r"^\[  SKIPPED \] (\d+) tests?[.,]", re.M)
GTEST_NAME = re.compile(r"^\[  FAILED  \] ([\w/]+\.[\w/]+)", re.M)
GTEST_SKIP = re.compile(r"^(\S+:\d+: Skipped\n.*)$", re.M)
PYTEST_END = re.compile(r"^=+ (.*) in [\d.]+s.*=+$", re.M)
PYTEST_COUNT = re.compile(r"(\d+) (passed|failed|errors?|skipped)")
PYTEST_SKIP = re.compile(r"^SKIPPED \[\d+\] (.*)$", re.M)
PYTEST_FAIL = re.compile(r"^(?:FAILED|ERROR) (\S+::\S+)", re.M)


def counts_of(output):
    """(passed, failed, skipped) as the frameworks in this output give them, or None."""
    total = [0, 0, 0]
    found = False
    for match in GTEST_RAN.finditer(output):
        # The brief form gives no sum of the failed.
        passed = sum(map(int, GTEST_PASSED.findall(output)))
        skipped = sum(map(int, GTEST_SKIPPED.findall(output)))
        total = [passed, int(match.group(1)) - passed - skipped, skipped]
        found = True
    for end in PYTEST_END.finditer(output):
        for number, word in PYTEST_COUNT.findall(end.group(1)):
            place = {"passed": 0, "skipped": 2}.get(word, 1)
            total[place] += int(number)
            found = True
    return tuple(total) if found else None


def read_case(case):
    """One ctest test: (passed, failed, skipped, names of failed, words about skipped)."""
    name = case.get("name", "?")
    output = "\n".join(part.text or "" for part in case.iter("system-out"))
    ran_well = case.get("status") == "run"
    if case.find("skipped") is not None or case.get("status") in ("disabled", "notrun"):
        return 0, 0, 1, [], [f"{name}: not run"]
    counts = counts_of(output)
    reasons = PYTEST_SKIP.findall(output) + GTEST_SKIP.findall(output)
    skipped_words = [f"{name}: {' '.join(text.split())}" for text in reasons]
    if counts is None:
        return (1, 0, 0, [], []) if ran_well else (0, 1, 0, [name], [])
    passed, failed, skipped = counts
    names = []
    if not ran_well or failed:
        # A crash or a time limit can leave a framework's own count without a failure.
        failed = max(failed, 1)
        inner = PYTEST_FAIL.findall(output) + sorted(set(GTEST_NAME.findall(output)))
        names = [f"{name}: {text}" for text in inner] or [name]
    return passed, failed, skipped, names, skipped_words


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("--broken", default="", help="builds that could not be built")
    arguments.add_argument("reports", nargs="*", metavar="NAME=FILE")
    options = arguments.parse_args()

    passed = failed = skipped = 0
    for build in options.broken.split():
        print(f"{build}: could not be built")
        failed += 1
    for report in options.reports:
        name, _, path = report.partition("=")
        if not os.path.exists(path):
            print(f"{name}: ended without a report")
            failed += 1
            continue
        sums = [0, 0, 0]
        for case in ElementTree.parse(path).iter("testcase"):
            good, bad, left, bad_names, left_words = read_case(case)
            for place, number in enumerate((good, bad, left)):
                sums[place] += number
            for text in bad_names:
                print(f"FAILED  {name}: {text}")
            for text in left_words:
                print(f"SKIPPED {name}: {text}")
        print(f"{name}: {sums[0]} passed, {sums[1]} failed, {sums[2]} skipped")
        passed += sums[0]
        failed += sums[1]
        skipped += sums[2]
    if passed == 0:
        failed = max(failed, 1)
    tail = f", {skipped} skipped" if skipped else ""
    print(f"{passed} passed, {failed} failed{tail}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
