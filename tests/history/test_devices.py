"""Devices over several runs: which there are, their course, and what got worse."""

import csv
import io

import pytest
from histories import answer, history
from made_logs import disk, result_of, write_run

HOUR = (100, "h")


@pytest.fixture(name="state")
def fixture_state(tmp_path):
    """Three runs on disk A; the second one on disk B, too."""
    log = tmp_path / "log"
    disks = (disk(0), disk(1, "Disk B", "S-2"))
    write_run(log, 0, [result_of("LINEAR_READ_TEST", read_rate=(5e8, "B/s"), unreadable_sectors=0)])
    write_run(
        log,
        1,
        [
            result_of("SMART_STATUS_TEST", temperature=(30, "C"), power_on_hours=HOUR),
            result_of("SMART_STATUS_TEST", on=1, temperature=(41, "C")),
        ],
        disks,
    )
    write_run(
        log,
        2,
        [
            result_of("SMART_STATUS_TEST", "warning", temperature=(31, "C"), power_on_hours=(101, "h")),
            result_of(
                "LINEAR_READ_TEST",
                "failed",
                bad=[(2048, 3)],
                read_rate=(3.5e8, "B/s"),
                unreadable_sectors=3,
            ),
        ],
    )
    return tmp_path


def test_each_device_is_listed_once_as_its_last_run_found_it(state):
    told = answer("devices", state=state)
    assert told["schema"] == 1
    assert [
        (one["device"]["key"], one["machine"], one["verdict"], one["runs"], one["lastStart"])
        for one in told["devices"]
    ] == [
        ("wwn-S-1", "workshop", "failed", 3, "2026-11-03T08:00:00.000Z"),
        ("wwn-S-2", "workshop", "passed", 1, "2026-11-02T08:00:00.000Z"),
    ]
    lines = history("devices", state=state).stdout.decode().splitlines()
    assert len(lines) == 3
    assert lines[1].split() == [
        *("Disk", "A", "S-1", "workshop", "2026-11-03", "08:00:00", "failed", "3", "wwn-S-1"),
    ]


@pytest.mark.parametrize("name", ["wwn-S-1", "S-1", "Disk A"])
def test_a_devices_course_is_told_from_its_first_run_on(name, state):
    told = answer("device", name, state=state)
    assert told["device"] == {
        "key": "wwn-S-1",
        "name": "Disk A",
        "serial": "S-1",
        "place": "storage 0, pci-0000:00:17.0",
        "module": "storage",
    }
    assert [run["start"][:10] for run in told["runs"]] == ["2026-11-01", "2026-11-02", "2026-11-03"]
    assert [run["verdict"] for run in told["runs"]] == ["passed", "passed", "failed"]
    last = told["runs"][2]
    assert last["values"]["temperature"] == {"value": 31, "unit": "C", "test": "SMART_STATUS_TEST"}
    assert last["values"]["unreadable-sectors"]["unit"] is None
    assert [(one["module"], one["diagnostic"], one["test"], one["testName"]) for one in last["tests"]] == [
        ("storage", "QUICK_TEST", "SMART_STATUS_TEST", "Smart Status Test"),
        ("storage", "QUICK_TEST", "LINEAR_READ_TEST", "Linear Read Test"),
    ]
    assert last["tests"][1]["values"]["read-rate"] == {"value": 350000000, "unit": "B/s"}


def test_the_course_in_csv_has_a_line_for_each_value(state):
    text = history("device", "S-1", "--csv", state=state).stdout.decode()
    rows = list(csv.DictReader(io.StringIO(text, newline="")))
    assert len(rows) == 8
    assert {row["key"] for row in rows} == {"wwn-S-1"}
    assert [row["value"] for row in rows if row["measurement"] == "temperature"] == ["30", "31"]


def test_the_course_for_people_has_the_runs_beside_each_other(state):
    text = history("device", "S-1", state=state).stdout.decode()
    assert text.startswith("Disk A (wwn-S-1), last at storage 0, pci-0000:00:17.0 of workshop\n3 runs\n")
    rows = [line.split("  ") for line in text.splitlines()]
    rows = [[cell.strip() for cell in row if cell.strip()] for row in rows]
    assert ["Linear Read Test", "passed", "-", "failed"] in rows
    assert ["read-rate", "500 MB/s", "-", "350 MB/s"] in rows


def test_a_key_is_taken_before_a_serial_number_and_that_before_a_name(tmp_path):
    disks = [disk(0, "one", "S-1", "two"), disk(1, "two", "S-2", "three"), disk(2, "S-2", "S-3", "x")]
    write_run(tmp_path / "log", 0, [result_of("T", on=on) for on in range(3)], disks)
    for name, key in (("two", "two"), ("S-2", "three"), ("one", "two")):
        assert answer("device", name, state=tmp_path)["device"]["key"] == key


def test_what_is_no_finite_number_is_no_value(tmp_path):
    write_run(tmp_path / "log", 0, [result_of("T", good=1, bad_one=None)])
    (run,) = answer("device", "S-1", state=tmp_path)["runs"]
    assert list(run["values"]) == ["good"]


def test_a_device_that_is_not_there_or_not_the_only_one_is_said(state):
    told = history("device", "S-9", state=state)
    assert (told.returncode, told.stdout) == (1, b"")
    assert b"S-9: no run has tested such a device; see tarvex-history devices" in told.stderr
    write_run(state / "log", 3, [result_of("T")], [disk(0, serial="S-7")])
    told = history("device", "Disk A", state=state)
    assert told.returncode == 1
    assert told.stderr == (
        b"tarvex-history: Disk A: 2 devices are called so; name one alone, "
        b"as by wwn-S-1 or wwn-S-7\n"
    )


@pytest.mark.parametrize("numbers", [("1a", "2b"), ("", "")])
def test_a_device_without_a_serial_number_is_another_one_on_another_machine(numbers, tmp_path):
    for machine, number in zip(("one", "other"), numbers):
        loop = disk(0, "Loop", serial="", key="file:/image")
        write_run(tmp_path / "log", 0, [result_of("T")], [loop], machine, number)
    devices = answer("devices", state=tmp_path)["devices"]
    assert [one["machine"] for one in devices] == ["one", "other"]
    assert [one["runs"] for one in devices] == [1, 1]


@pytest.fixture(name="loops")
def fixture_loops(tmp_path):
    """Devices of one key on three machines, two of which have one name."""
    for day, (machine, number) in enumerate((("a", "1a"), ("b", "2b"), ("b", "3c"))):
        loop = disk(0, "Loop", serial="", key="file:/image")
        write_run(tmp_path / number, day, [result_of("T")], [loop], machine, number)
    return tmp_path


@pytest.mark.parametrize("name,day", [("a", 1), ("1a", 1), ("2b", 2), ("3c", 3)])
def test_devices_that_share_a_key_are_told_apart_by_their_machines(name, day, loops):
    told = answer("device", f"file:/image@{name}", "--logs", loops)
    assert [run["start"][:10] for run in told["runs"]] == [f"2026-11-0{day}"]


@pytest.mark.parametrize(
    "name,number,ways",
    [
        ("file:/image", 3, ("file:/image@1a", "file:/image@2b", "file:/image@3c", "file:/image@a")),
        ("file:/image@b", 2, ("file:/image@2b", "file:/image@3c")),
    ],
)
def test_a_key_that_is_shared_is_said_with_names_that_are_not(name, number, ways, loops):
    told = history("device", name, "--logs", loops)
    assert (told.returncode, told.stdout) == (1, b"")
    said = told.stderr.decode()
    assert f"{name}: {number} devices are called so" in said
    offered = said.strip().split("as by ")[1].split(" or ")
    assert len(set(offered)) == 2
    assert set(offered) <= set(ways)


def test_a_device_without_a_serial_number_stays_the_same_when_its_machine_is_renamed(tmp_path):
    loop = disk(0, "Loop", serial="", key="file:/image")
    for day, machine in enumerate(("old", "new")):
        write_run(tmp_path / "log", day, [result_of("T")], [loop], machine)
    (device,) = answer("devices", state=tmp_path)["devices"]
    assert (device["machine"], device["machineId"], device["runs"]) == ("new", "8f0a", 2)


def test_devices_that_share_a_key_in_one_run_are_two(tmp_path):
    twins = (disk(0, "Twin", key="twin"), disk(1, "Twin", key="twin"))
    for day, bad in enumerate((0, 3)):
        tests = [
            result_of("T", unreadable_sectors=0),
            result_of("T", on=1, unreadable_sectors=bad),
        ]
        write_run(tmp_path / "log", day, tests, twins)
    (one,) = answer("worse", state=tmp_path)["worse"]
    assert (one["place"], one["before"], one["after"]) == ("storage 1, pci-0000:00:17.0", "0", "3")
    assert len(answer("devices", state=tmp_path)["devices"]) == 2
    told = answer("device", "twin@storage 1, pci-0000:00:17.0", state=tmp_path)
    assert [run["values"]["unreadable-sectors"]["value"] for run in told["runs"]] == [0, 3]
    told = history("device", "twin", state=tmp_path)
    assert told.stderr.decode().count("twin@storage ") == 2


def test_a_device_that_changes_its_name_amid_a_run_is_the_same(tmp_path):
    write_run(tmp_path / "log", 0, [result_of("T")])
    renamed = disk(1, "Renamed") | {"place": "storage 0, pci-0000:00:17.0"}
    tests = [result_of("S"), result_of("T", "failed", on=1)]
    write_run(tmp_path / "log", 1, tests, [disk(0), renamed])
    (device,) = answer("devices", state=tmp_path)["devices"]
    assert (device["runs"], device["verdict"]) == (2, "failed")
    (one,) = answer("worse", state=tmp_path)["worse"]
    assert (one["test"], one["before"], one["after"]) == ("T", "passed", "failed")


def test_simulated_hardware_is_another_than_that_which_is_called_alike(tmp_path):
    disks = [disk(0, "Disk", serial="", key="pci-0000:00:17.0")]
    for day, (bad, simulated) in enumerate(((1, False), (0, True), (3, False), (7, True))):
        verdict = "passed" if simulated else "failed"
        tests = [result_of("T", verdict, unreadable_sectors=bad)]
        write_run(tmp_path / "log", day, tests, disks, simulated=simulated)
    devices = answer("devices", state=tmp_path)["devices"]
    assert sorted((one["simulated"], one["verdict"], one["runs"]) for one in devices) == [
        (False, "failed", 2),
        (True, "passed", 2),
    ]
    text = history("devices", state=tmp_path).stdout.decode()
    assert (text.count("failed  "), text.count("passed, simulated  ")) == (1, 1)
    lines = history("devices", "--csv", state=tmp_path).stdout.decode().splitlines()
    assert sorted(line.rpartition(",")[2] for line in lines) == ["false", "simulated", "true"]
    # The real one is meant.
    told = answer("device", "pci-0000:00:17.0", state=tmp_path)
    assert [run["values"]["unreadable-sectors"]["value"] for run in told["runs"]] == [1, 3]
    for run, before, after in (("last", "0", "7"), ("tarvex-20261103", "1", "3")):
        (one,) = answer("worse", run, state=tmp_path)["worse"]
        assert (one["before"], one["after"]) == (before, after)


def test_the_course_for_people_shows_the_newest_runs_of_all(tmp_path):
    for day in range(8):
        write_run(tmp_path / "log", day, [result_of("T", degrees=(day, "C"))])
    lines = history("device", "S-1", state=tmp_path).stdout.decode().splitlines()
    assert lines[1] == "8 runs"
    assert lines[3].split()[2::2] == [f"2026-11-0{day}" for day in range(4, 9)]
    assert lines[5].split() == ["degrees", "3", "C", "4", "C", "5", "C", "6", "C", "7", "C"]
    assert len(answer("device", "S-1", state=tmp_path)["runs"]) == 8


def test_what_got_worse_is_told_against_the_last_run_that_knew_it(state):
    told = answer("worse", state=state)
    assert told["run"].startswith("tarvex-20261103")
    first, second = "tarvex-20261101T080000.000Z-4719", "tarvex-20261102T080000.000Z-4719"
    assert [
        (one["test"], one["what"], one["name"], one["before"], one["after"], one["runBefore"])
        for one in told["worse"]
    ] == [
        ("SMART_STATUS_TEST", "verdict", None, "passed", "warning", second),
        ("LINEAR_READ_TEST", "verdict", None, "passed", "failed", first),
        ("LINEAR_READ_TEST", "value", "read-rate", "500 MB/s", "350 MB/s", first),
        ("LINEAR_READ_TEST", "value", "unreadable-sectors", "0", "3", first),
        ("LINEAR_READ_TEST", "sectors", None, None, "3 at new places, from LBA 2048", first),
    ]
    assert told["worse"][2]["valueBefore"] == 5e8
    text = history("worse", state=state).stdout.decode()
    assert len(text.splitlines()) == 6


def test_what_got_worse_in_an_earlier_run_does_not_know_later_ones(state):
    assert answer("worse", "tarvex-20261102", state=state)["worse"] == []
    text = history("worse", "tarvex-20261102", state=state).stdout.decode()
    assert text == "Nothing is worse in tarvex-20261102T080000.000Z-4719 than it was before.\n"


def test_bad_sectors_that_were_known_are_not_new(state):
    same = result_of("LINEAR_READ_TEST", "failed", bad=[(2049, 1)], unreadable_sectors=3)
    write_run(state / "log", 3, [same])
    assert answer("worse", state=state)["worse"] == []
    other = result_of("LINEAR_READ_TEST", "failed", bad=[(2049, 1), (9000, 2)], unreadable_sectors=3)
    write_run(state / "log", 4, [other])
    (one,) = answer("worse", state=state)["worse"]
    assert (one["what"], one["valueAfter"]) == ("sectors", 2)


def test_verdicts_that_say_nothing_of_the_hardware_are_not_compared(state):
    for day, verdict in enumerate(["canceled", "invalid", "not applicable"], 3):
        write_run(state / "log", day, [result_of("SMART_STATUS_TEST", verdict)])
        assert answer("worse", state=state)["worse"] == []
    write_run(state / "log", 9, [result_of("SMART_STATUS_TEST", "failed")])
    (one,) = answer("worse", state=state)["worse"]
    assert (one["before"], one["after"]) == ("warning", "failed")
