"""What the laboratory's tests have in common: machines that several tests share, worlds of their
own in them, and an end of every test that hangs, with the console of its machine."""

import re
import signal

import pytest
from machine import Machine

TEST_SECONDS = 300  # that one test may take, the first with the boot of its machine
SHARED = pytest.StashKey()


class Overdue(Exception):
    """A test did not end in time."""


def end_it(*_):
    raise Overdue("the test did not end in time")


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_protocol(item):
    limit = item.get_closest_marker("seconds")
    signal.signal(signal.SIGALRM, end_it)
    signal.alarm(limit.args[0] if limit else TEST_SECONDS)
    yield
    signal.alarm(0)


def pytest_configure(config):
    config.addinivalue_line("markers", "seconds(N): how long the test may take")


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item):
    report = (yield).get_result()
    booted = item.session.stash.get(SHARED, None)
    if report.failed and booted:
        report.sections.append(("console of the machine", booted.last_words()))


@pytest.fixture(scope="module")
def booted(request):
    """The machine that the file names as MACHINE, booted once for all its tests."""
    with Machine(request.module.MACHINE) as machine:
        request.session.stash[SHARED] = machine
        yield machine
    del request.session.stash[SHARED]


@pytest.fixture
def machine(booted):
    """The file's machine, with sound drives; on again, should a test have switched it off."""
    booted.mend()
    if booted.emulator.has_ended():
        booted.boot()
    yield booted
    booted.mend()


@pytest.fixture
def world(machine, request):
    """Folders of the test's own in the machine."""
    return machine.world(re.sub(r"\W+", "-", request.node.name))
