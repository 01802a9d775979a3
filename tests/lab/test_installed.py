"""The packages in a Debian of their own, on a machine that has drives and that systemd runs."""

from dataclasses import replace

import debian
import pytest
from conftest import SHARED
from machine import Machine
from machines import MACHINES
from services import INFO, STATE, TIMER, Services

BINARIES = "/usr/bin"
PROGRAM = f"{BINARIES}/TarvexDiagnosticsCLI"
PACKAGES = ("tarvex-diagnostics", "tarvex-diagnostics-report")
# The packages may have to be built first.
pytestmark = pytest.mark.seconds(1500)


@pytest.fixture(scope="module")
def booted(request):
    row = replace(MACHINES["services"], root=str(debian.machine().folder))
    with Machine(row) as machine:
        request.session.stash[SHARED] = machine
        yield machine
    del request.session.stash[SHARED]


@pytest.fixture
def services(machine):
    return Services(machine.guest, BINARIES)


def test_the_quick_test_of_a_drive_passes(machine):
    done = machine.guest.run(PROGRAM, "-Mstorage", "-Q", "0")
    assert done.returncode == 0, done.stdout
    assert b"Test Status: Passed!" in done.stdout


def test_the_timer_is_off_and_runs_when_it_is_switched_on(services):
    assert services.guest.run("systemctl", "is-enabled", TIMER).stdout == b"disabled\n"
    assert services.run_soon()
    (entry,) = services.entries()
    assert entry.priority == INFO
    assert "The scheduled run passed; " in entry.text


def test_an_upgrade_leaves_the_timer_as_it_was(services):
    package = f"/packages/{debian.packages()['tarvex-diagnostics'].name}"
    for switch, state in (("enable", "active"), ("disable", "inactive")):
        services.guest.said("systemctl", switch, "--now", TIMER)
        # What dpkg calls an upgrade, to the same version as well.
        services.guest.said("dpkg", "--install", package, seconds=300)
        assert services.guest.run("systemctl", "is-active", TIMER).stdout == f"{state}\n".encode()


def test_a_purge_leaves_what_the_user_made(services):
    report = "/root/report.html"
    services.guest.said(f"{BINARIES}/tarvex-report", "last", "-o", report)
    services.guest.said("systemctl", "enable", "--now", TIMER)
    services.guest.said("dpkg", "--purge", *PACKAGES)
    left = services.guest.said("find", "/etc", "/usr", "/var", "/root", "-xdev", "-iname", "*tarvex*")
    assert left.split() == []
    assert services.guest.run("test", "-e", STATE).returncode != 0
    assert services.guest.run("test", "-s", report).returncode == 0
    assert services.guest.run("systemctl", "is-active", TIMER).stdout == b"inactive\n"
