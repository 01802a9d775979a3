"""What a drive says of itself, one fault at a time: the test that is for it says so, and no other."""

import re

import pytest
from ata_drive import Error
from emulator import wait_for
from outcome import FAILED, MEDIUM, PASSED, WARNING, outcomes, unreadable
from scsi_drive import FAILED_SEGMENT, LOG_SENSE

MACHINE = "told"
QUICK = ("Smart Status Test", "Error Log Test", "Funnel Read Test", "Random Read Test",
         "Short Self Test")  # fmt: skip
STATUS, ERRORS, FUNNEL, RANDOM, SELF_TEST = QUICK
# What a test says on its way.
ASIDE = ("Reading in random order with seed ", "Unreadable sector at LBA ",
         "Short self-test started, the drive expects it to take ")  # fmt: skip
BAD = 5000


def attribute(number, **changes):
    def plant(drive):
        for name, value in changes.items():
            setattr(drive.attributes[number], name, value)

    return plant


def put(**values):
    def plant(drive):
        for name, value in values.items():
            setattr(drive, name, value)

    return plant


def several_numbers(drive):
    for number, raw in {5: 8, 187: 7, 198: 1}.items():
        drive.attributes[number].raw = raw


def fail_self_test(drive):
    drive.self_tests.result, drive.self_tests.lba = FAILED_SEGMENT, BAD


def fail_to_read(drive):
    drive.medium.fail(BAD)


def fail_to_write(drive):
    drive.uncorrected[0x02] = 3


UNREADABLE = unreadable(BAD, 1, MEDIUM, str(BAD))
# fault -> drive, what is planted, and by test its verdict and its words.
FAULTS = {
    "status": ("sata", put(is_exceeded=True), {
        STATUS: ("Failed", "SMART RETURN STATUS: a threshold is exceeded")}),
    "threshold": ("sata", attribute(1, value=6, worst=6), {
        STATUS: ("Failed", "Raw read error rate: value 6 (threshold 6)")}),
    "threshold-once": ("sata", attribute(1, worst=6), {
        STATUS: ("Warning", "Raw read error rate: once value 6 (threshold 6)")}),
    "advisory-threshold": ("sata", attribute(194, value=20, worst=20, threshold=30), {
        STATUS: ("Warning", "Temperature: value 20 (threshold 30)")}),
    "pending": ("sata", attribute(197, raw=2), {
        STATUS: ("Warning", "Pending sectors: 2 (limit 0)")}),
    "numbers": ("sata", several_numbers, {
        STATUS: ("Warning", "Reallocated sectors: 8 (limit 0). Offline uncorrectable sectors: 1 "
                 "(limit 0). Reported uncorrectable errors: 7 (limit 0)")}),
    "logged-error": ("sata", put(errors=[Error(123456)]), {
        ERRORS: ("Warning", "1 error in the drive's error log, which no earlier run has seen, the "
                 "newest: uncorrectable data (UNC) at LBA 123456, READ DMA EXT, at power-on hour "
                 "4000")}),
    "ata-self-test": ("sata", fail_self_test, {
        SELF_TEST: ("Failed", "The short self-test failed: the read element of the test failed, "
                    f"first at LBA {BAD}")}),
    "ata-sector": ("sata", fail_to_read, {
        FUNNEL: ("Failed", UNREADABLE), RANDOM: ("Failed", UNREADABLE)}),
    "prediction": ("sas", put(exception=(0x5D, 0x10)), {
        STATUS: ("Failed", "Pending exception: failure of the drive is predicted: hardware, general "
                 "failure (5Dh/10h)")}),
    "exception": ("sas", put(exception=(0x0B, 0x01)), {
        STATUS: ("Warning", "Pending exception: warning: the specified temperature is exceeded "
                 "(0Bh/01h)")}),
    "used": ("sas", put(used=100), {
        STATUS: ("Warning", "Percentage used: 100 % (limit 100 %)")}),
    # A number past its limit, and new since the last run.
    "uncorrected": ("sas", fail_to_write, {
        STATUS: ("Warning", "Write errors not corrected: 3 (limit 0)"),
        ERRORS: ("Warning", "3 errors of writes that the drive could not correct, which no earlier "
                 "run has seen")}),
    "scanned": ("sas", put(scanned=[(4000, 3, 0x11, 0, 777)]), {
        ERRORS: ("Warning", "1 error in the background scan, which no earlier run has seen, the "
                 "newest: unrecovered read error at LBA 777, reassigned by the drive, at power-on "
                 "hour 4000")}),
    "scsi-self-test": ("sas", fail_self_test, {
        SELF_TEST: ("Failed", "The short self-test failed: failed in a segment, number 3, medium "
                    f"error: unrecovered read error (11h/00h), first at LBA {BAD}")}),
    "scsi-sector": ("sas", fail_to_read, {
        FUNNEL: ("Failed", UNREADABLE), RANDOM: ("Failed", UNREADABLE)}),
}  # fmt: skip


def verdicts(machine, world, name):
    """The status, and by test its verdict and what it says beside its opening."""
    result = world.run(["-Mstorage", "-Q", machine.id_of(name)])
    found = {
        test.name: (test.verdict, [text for text in test.said if not text.startswith(ASIDE)])
        for test in outcomes(result.stdout)[name]
    }
    return result.returncode, found


def expected(found):
    """Of each test: nothing to say, but for what was found."""
    sound = ("Passed",)
    return {test: (found.get(test, sound)[0], list(found.get(test, sound)[1:])) for test in QUICK}


@pytest.mark.parametrize("name", ["sas", "sata"])
def test_sound_drive_passes(machine, world, name):
    assert verdicts(machine, world, name) == (PASSED, expected({}))


@pytest.mark.parametrize("fault", FAULTS)
def test_fault_is_found_by_its_test_and_no_other(machine, world, fault):
    name, plant, found = FAULTS[fault]
    plant(machine.told[name])
    status = FAILED if any(verdict == "Failed" for verdict, *_ in found.values()) else WARNING
    assert verdicts(machine, world, name) == (status, expected(found))
    assert machine.told[name].medium.changes() == []


def test_what_was_said_once_is_no_news(machine, world):
    drive = machine.told["sata"]
    drive.errors = [Error(1000)]
    drive.attributes[199].raw = 5
    assert verdicts(machine, world, "sata")[1][STATUS] == ("Passed", [])
    assert verdicts(machine, world, "sata") == (PASSED, expected({}))
    drive.errors = [Error(2000, hour=4001), *drive.errors]
    drive.attributes[199].raw = 6
    new = ("1 new error in the drive's error log, the newest: uncorrectable data (UNC) at LBA 2000, "
           "READ DMA EXT, at power-on hour 4001")  # fmt: skip
    crc = "Interface CRC errors: 6 (at the last run 5)"
    assert verdicts(machine, world, "sata") == (
        WARNING, expected({STATUS: ("Warning", crc), ERRORS: ("Warning", new)})
    )  # fmt: skip
    assert verdicts(machine, world, "sata") == (PASSED, expected({}))


def test_critical_warning_that_comes_while_a_run_is_under_way_fails_the_drive(machine, world):
    gate = machine.told["sas"]
    gate.holding = lambda cdb: cdb[0] == LOG_SENSE
    running = world.start(["-Mstorage", "-Q", machine.id_of("sas"), machine.id_of("nvme")])
    wait_for("the first drive's command", lambda: machine.adapter.is_held(gate), 60)
    machine.warn("nvme", 0x04)
    gate.holding = lambda cdb: False
    machine.adapter.release(gate)
    try:
        result = running.wait()
    finally:
        machine.warn("nvme", 0)
    found = outcomes(result.stdout)
    words = "Critical warning: its reliability is degraded by errors"
    by_name = {test.name: test for test in found["nvme"]}
    assert (by_name[STATUS].verdict, by_name[STATUS].said) == ("Failed", [words])
    # The emulator's NVMe drive has no self-tests.
    assert [by_name[test].verdict for test in QUICK[1:]] == ["Passed"] * 3 + ["Not Applicable"]
    assert [test.verdict for test in found["sas"]] == ["Passed"] * len(QUICK)
    assert result.returncode == FAILED


@pytest.mark.parametrize("name", ["sas", "sata", "nvme"])
def test_slow_sector_is_named_by_who_reads_it_and_by_no_other(machine, world, name):
    medium = machine.drives[name] if name in machine.drives else machine.told[name].medium
    medium.delay(BAD, 1.5)
    tests = "-El(slow_ms=1000,block_kib=1024),s"
    result = world.run(["-Mstorage", tests, machine.id_of(name)])
    by_name = {test.name: test for test in outcomes(result.stdout)[name]}
    # Of the block of 1 MiB that has the sector.
    slow = r"Slow answers: count 1, slowest 1\.\d seconds at LBA 4096, sectors 4096-6143"
    assert by_name["Linear Read Test"].verdict == "Warning"
    assert re.fullmatch(slow, by_name["Linear Read Test"].said[-1]), by_name
    assert (by_name[STATUS].verdict, by_name[STATUS].said) == ("Passed", [])
    assert result.returncode == WARNING
