"""The run that the timer starts: in a machine that systemd runs, with the program installed."""

import os
import re
import subprocess
import tempfile
from pathlib import Path

import pytest
from guest_world import BINARY_DIR
from services import ERROR, INFO, NOTICE, SERVICE, STATE, TIMER, Services

MACHINE = "services"
DRIVES = ("nvme", "ahci", "scsi")
# systemd-analyze's exposure in tenths: 0 is closed, 100 open to all.
MOST_EXPOSURE = 25
BINARIES = "/usr/local/bin"
PROGRAM = f"{BINARIES}/TarvexDiagnosticsCLI"


@pytest.fixture(scope="module")
def installed(booted):
    """What `cmake --install` puts into /usr/local is there, in the machine's own layer."""
    with tempfile.TemporaryDirectory(dir=BINARY_DIR) as folder:
        subprocess.run(["cmake", "--install", BINARY_DIR], check=True, capture_output=True,
                       env={**os.environ, "DESTDIR": folder})  # fmt: skip
        assert list(Path(folder).iterdir()) == [Path(folder) / "usr"], "another prefix"
        # No tar, for that would keep the owner of the build.
        booted.guest.said("cp", "-r", "--no-preserve=ownership", f"{folder}/usr/local/.", "/usr/local")
    booted.guest.said("systemctl", "daemon-reload")
    return booted


@pytest.fixture
def services(machine, installed):
    machine.guest.run("systemctl", "reset-failed", SERVICE)
    machine.guest.said("rm", "-rf", STATE)
    return Services(machine.guest, BINARIES)


def test_is_off_until_it_is_switched_on(services):
    assert services.guest.run("systemctl", "is-enabled", TIMER).stdout == b"disabled\n"
    assert services.property("ActiveState", TIMER) == "inactive"


def test_units_have_no_fault_and_are_closed(services):
    verified = services.guest.run("systemd-analyze", "verify", SERVICE, TIMER)
    named = [line for line in verified.stderr.decode().splitlines() if "tarvex" in line]
    assert (verified.returncode, named) == (0, [])
    services.guest.said("systemd-analyze", "security", f"--threshold={MOST_EXPOSURE}", "--no-pager", SERVICE)


def test_what_is_closed_takes_nothing_from_the_tests(services):
    """The same verdicts as in a run by hand, with no word of refusal."""
    assert services.start()
    closed = services.verdicts()
    assert services.guest.run(PROGRAM, "-Uq").returncode == 0
    assert closed == services.verdicts()
    for kind in ("READ", "SMART"):
        assert any(kind in test and verdict == "passed" for test, _, verdict in closed), closed
    assert {place.split(",")[0] for _, place, _ in closed} == {f"Storage {id}" for id in range(3)}
    (entry,) = services.entries()
    assert entry.priority == INFO
    assert re.match(r"The scheduled run passed; \d+ tests on 3 devices: ", entry.text), entry.text


def test_bad_sector_is_an_error_that_names_the_drive(machine, services):
    machine.drives["nvme"].fail(0, 64)
    assert not services.start()
    assert services.property("Result") == "exit-code"
    assert services.property("ExecMainStatus") == "21"
    errors = [entry.text for entry in services.entries() if entry.priority == ERROR]
    assert errors, services.entries()
    assert any("serial number nvme" in text and "Read Test: failed" in text and "LBA" in text
               for text in errors), errors  # fmt: skip
    assert errors[-1].startswith("The scheduled run failed; ")


def test_metrics_are_made_anew_after_a_run_that_failed(machine, services):
    """As docs/timer.md has it; the plus is for a folder that the unit itself may not write."""
    metrics = "/srv/tarvex.prom"
    services.guest.write(f"/run/systemd/system/{SERVICE}.d/metrics.conf",
                         f"[Service]\nExecStopPost=-+{BINARIES}/tarvex-history --prometheus={metrics}\n",
                         mode=0o644)  # fmt: skip
    services.guest.said("systemctl", "daemon-reload")
    machine.drives["nvme"].fail(0, 64)
    assert not services.start()
    services.guest.said("rm", f"/run/systemd/system/{SERVICE}.d/metrics.conf")
    services.guest.said("systemctl", "daemon-reload")
    told = services.guest.said("cat", metrics)
    assert re.search(r'^tarvex_last_run_verdict\{machine="[^"]*",verdict="failed"\} 1$', told, re.M), told


def test_a_persons_run_goes_on_undisturbed(machine, services):
    machine.drives["nvme"].hang(0)
    running = services.guest.start([PROGRAM, "-Mstorage", "-Qf", "0"])
    running.expect(rb"Funnel Read Test")
    assert services.start()
    machine.drives["nvme"].release()
    assert running.wait().returncode == 0
    (entry,) = [entry for entry in services.entries() if "scheduled run" in entry.text]
    assert entry.priority == NOTICE
    assert "was skipped: another run goes on" in entry.text


def test_the_timer_starts_it(services):
    assert services.run_soon()
    (entry,) = services.entries()
    assert "The scheduled run passed; " in entry.text


def test_stopping_it_cancels_the_run(machine, services):
    machine.drives["nvme"].hang(0)
    services.guest.said("systemctl", "start", "--no-block", SERVICE)
    services.wait_until(f"grep -q FUNNEL {STATE}/log/*")
    services.guest.said("systemctl", "stop", SERVICE)
    machine.drives["nvme"].release()
    assert services.guest.run("systemctl", "is-failed", SERVICE).stdout == b"inactive\n"
    (entry,) = [entry for entry in services.entries() if "scheduled run" in entry.text]
    assert (entry.priority, entry.text.split(";")[0]) == (NOTICE, "The scheduled run was canceled")
