"""What other software reads: metrics for Prometheus, JUnit's XML, and files that are replaced."""

import os
import json
import re
import stat
from xml.etree import ElementTree

import pytest
from histories import answer, history
from made_logs import disk, result_of, write_run
from prometheus_client.parser import text_string_to_metric_families

# Source: Prometheus, "Data model" and "Metric and label naming".
NAME = re.compile(r"tarvex_[a-z][a-z_]*[a-z]")
ODD = 'Disk "A" \\new <b>&'


@pytest.fixture(name="state")
def fixture_state(tmp_path):
    log = tmp_path / "log"
    disks = (disk(0, ODD), disk(1, "Disk B", "S-2"))
    write_run(log, 0, [result_of("SMART_STATUS_TEST", on=1, temperature=(55, "C"))], disks)
    write_run(
        log,
        1,
        [
            result_of("SMART_STATUS_TEST", temperature=(31, "C"), power_on_hours=(2, "h"), odd=7),
            result_of("LINEAR_READ_TEST", "failed", read_rate=(3e8, "B/s"), unreadable_sectors=3),
            result_of("RANDOM_READ_TEST", "invalid"),
            result_of("FUNNEL_READ_TEST", "canceled"),
            result_of("WRITE_TEST", "not applicable"),
            result_of("PERFORMANCE_READ_TEST", "warning"),
        ],
        disks,
    )
    return tmp_path


def families(text):
    return {family.name: family for family in text_string_to_metric_families(text)}


def test_metrics_keep_the_format_and_have_help_and_type(state):
    text = history("--prometheus", state=state).stdout.decode()
    found = families(text)
    assert found
    for name, family in found.items():
        assert NAME.fullmatch(name)
        assert family.documentation.endswith(".")
        assert family.type == "gauge"
        labels = [tuple(sorted(sample.labels.items())) for sample in family.samples]
        assert len(labels) == len(set(labels))
    # Each metric's lines stand together, behind its help and type.
    assert [line.split()[2] for line in text.splitlines() if line.startswith("# TYPE")] == sorted(found)
    assert text.endswith("\n")


def value(found, metric, **labels):
    (sample,) = [
        sample for sample in found[metric].samples if labels.items() <= sample.labels.items()
    ]
    return sample.value


def test_metrics_tell_the_last_run_of_each_machine_and_device(state):
    found = families(history("--prometheus", state=state).stdout.decode())
    assert value(found, "tarvex_last_run_verdict", machine="workshop", verdict="failed") == 1
    assert value(found, "tarvex_last_run_verdict", machine="workshop", verdict="passed") == 0
    assert value(found, "tarvex_last_run_tests", verdict="canceled") == 1
    assert value(found, "tarvex_last_run_start_timestamp_seconds") == 1793606400
    assert value(found, "tarvex_device_info", key="wwn-S-1", name=ODD, serial="S-1") == 1
    assert value(found, "tarvex_device_temperature_celsius", key="wwn-S-1") == 31
    assert value(found, "tarvex_device_temperature_celsius", key="wwn-S-2") == 55
    assert value(found, "tarvex_device_power_on_seconds", key="wwn-S-1") == 7200
    assert value(found, "tarvex_device_read_bytes_per_second", test="LINEAR_READ_TEST") == 3e8
    assert value(found, "tarvex_device_unreadable_sectors", test="LINEAR_READ_TEST") == 3
    assert value(found, "tarvex_device_measurement", name="odd", unit="") == 7
    assert value(found, "tarvex_test_verdict", test="LINEAR_READ_TEST") == 1
    verdict = {"test": "LINEAR_READ_TEST", "verdict": "failed", "key": "wwn-S-1"}
    assert value(found, "tarvex_test_verdict", **verdict) == 1


UNITS = (
    ("temperature", (31, "C"), "tarvex_device_temperature_celsius", 31),
    ("power-on-hours", (2, "h"), "tarvex_device_power_on_seconds", 7200),
    ("percentage-used", (103, "%"), "tarvex_device_used_ratio", 1.03),
    ("available-spare", (99, "%"), "tarvex_device_available_spare_ratio", 0.99),
    ("reallocated-sectors", 4, "tarvex_device_reallocated_sectors", 4),
    ("pending-sectors", 5, "tarvex_device_pending_sectors", 5),
    ("unreadable-sectors", 6, "tarvex_device_unreadable_sectors", 6),
    ("slow-answers", 7, "tarvex_device_slow_answers", 7),
    ("slowest-answer", (0.25, "s"), "tarvex_device_slowest_answer_seconds", 0.25),
    ("read-rate", (3e8, "B/s"), "tarvex_device_read_bytes_per_second", 3e8),
    ("write-rate", (2e8, "B/s"), "tarvex_device_write_bytes_per_second", 2e8),
    # In a unit that is not the metric's.
    ("temperature", (304, "K"), "tarvex_device_measurement", 304),
)


@pytest.mark.parametrize("name,measured,metric,told", UNITS)
def test_each_metric_is_in_the_base_unit_of_its_name(name, measured, metric, told, tmp_path):
    write_run(tmp_path / "log", 0, [result_of("T", **{name: measured})])
    found = families(history("--prometheus", state=tmp_path).stdout.decode())
    assert value(found, metric, test="T") == pytest.approx(told)
    assert sum(len(found[one].samples) for one in found if "device_" in one) == 3


def test_the_end_of_a_run_is_told_where_it_has_one(tmp_path):
    log = write_run(tmp_path / "log", 0, [result_of("T")], seconds=90)
    found = families(history("--prometheus", state=tmp_path).stdout.decode())
    start = value(found, "tarvex_last_run_start_timestamp_seconds")
    assert value(found, "tarvex_last_run_end_timestamp_seconds") == start + 90
    log.write_bytes(b"".join(log.read_bytes().splitlines(keepends=True)[:-1]))
    found = families(history("--prometheus", state=tmp_path).stdout.decode())
    assert "tarvex_last_run_end_timestamp_seconds" not in found


def samples_of(found, metric, *labels):
    """Of each sample its labels of these names, empty where it has none, and its value."""
    return sorted(
        (*(sample.labels.get(label, "") for label in labels), sample.value)
        for sample in found[metric].samples
    )


def test_machines_of_one_name_are_told_apart_and_others_have_no_number(tmp_path):
    loop = (disk(0, "Loop", serial="", key="file:/image"),)
    runs = (("debian", "1a", 30), ("debian", "2b", 40), ("workshop", "3c", 50), ("debian", "", 60))
    for number, (machine, key, degrees) in enumerate(runs):
        test = result_of("SMART_STATUS_TEST", temperature=(degrees, "C"))
        write_run(tmp_path / str(number), number, [test], loop, machine, key)
    told = history("--prometheus", "--logs", tmp_path)
    found = families(told.stdout.decode())
    for metric, family in found.items():
        labels = [tuple(sorted(sample.labels.items())) for sample in family.samples]
        assert len(labels) == len(set(labels)), metric
    assert samples_of(found, "tarvex_device_temperature_celsius", "machine", "machine_id") == [
        ("debian", "", 60),
        ("debian", "1a", 30),
        ("debian", "2b", 40),
        ("workshop", "", 50),
    ]
    assert b'machine_id=""' not in told.stdout
    starts = samples_of(found, "tarvex_last_run_start_timestamp_seconds", "machine_id", "machine")
    assert [start[:2] for start in starts if start[0]] == [("1a", "debian"), ("2b", "debian")]
    assert len(starts) == 4


def test_a_machine_that_was_renamed_is_one_under_its_present_name(tmp_path):
    for day, machine in enumerate(("old", "new")):
        write_run(tmp_path / "log", day, [result_of("T")], machine=machine)
    found = families(history("--prometheus", state=tmp_path).stdout.decode())
    (start,) = found["tarvex_last_run_start_timestamp_seconds"].samples
    assert start.labels == {"machine": "new"}


def test_devices_of_one_key_are_told_apart_by_their_places(tmp_path):
    twins = (disk(0, "Twin", key="twin"), disk(1, "Twin", key="twin"))
    tests = [result_of("T", on=0, degrees=1), result_of("T", "failed", on=1, degrees=2)]
    write_run(tmp_path / "log", 0, tests, twins)
    found = families(history("--prometheus", state=tmp_path).stdout.decode())
    first, second = (f"storage {number}, pci-0000:00:17.0" for number in range(2))
    assert samples_of(found, "tarvex_test_verdict", "key", "place", "verdict") == [
        ("twin", first, "passed", 1),
        ("twin", second, "failed", 1),
    ]
    assert samples_of(found, "tarvex_device_measurement", "place") == [(first, 1), (second, 2)]


def test_a_device_that_lost_its_serial_number_is_told_as_it_was_found_last(tmp_path):
    for day, (serial, verdict) in enumerate((("S-1", "failed"), ("", "passed"))):
        write_run(tmp_path / "log", day, [result_of("T", verdict)], [disk(0, "A", serial, "wwn")])
    found = families(history("--prometheus", state=tmp_path).stdout.decode())
    verdicts = samples_of(found, "tarvex_test_verdict", "key", "place", "verdict")
    assert verdicts == [("wwn", "", "passed", 1)]


def test_a_device_keeps_the_name_that_its_machine_had_when_it_was_tested_last(tmp_path):
    bay = (disk(0, "Bay", serial="", key="bay"),)
    write_run(tmp_path / "log", 0, [result_of("T")], bay, "old", "1a")
    write_run(tmp_path / "log", 1, [result_of("T")], (disk(0),), "new", "1a")
    for text in (
        [("old", "")],
        [("old", "1a"), ("old", "2b")],  # once another machine has that name
    ):
        found = families(history("--prometheus", state=tmp_path).stdout.decode())
        known = samples_of(found, "tarvex_device_info", "key", "machine", "machine_id")
        assert [one[1:3] for one in known if one[0] == "bay"] == text
        write_run(tmp_path / "log", 2, [result_of("T")], bay, "old", "2b")


def test_simulated_hardware_has_no_metrics(tmp_path):
    log = tmp_path / "log"
    write_run(log, 0, [result_of("T")])
    write_run(log, 1, [result_of("T", "failed")], (disk(0), disk(1, "B", "S-2")), simulated=True)
    text = history("--prometheus", state=tmp_path).stdout.decode()
    assert "S-2" not in text
    found = families(text)
    assert value(found, "tarvex_last_run_verdict", verdict="passed") == 1
    assert samples_of(found, "tarvex_test_verdict", "key", "verdict") == [("wwn-S-1", "passed", 1)]
    # People see both.
    assert [run["verdict"] for run in answer("list", state=tmp_path)["runs"]] == ["failed", "passed"]


def test_the_last_run_of_the_metrics_is_the_newest_that_tested_something(tmp_path):
    write_run(tmp_path / "log", 0, [result_of("T", "warning")])
    write_run(tmp_path / "log", 1, [])
    found = families(history("--prometheus", state=tmp_path).stdout.decode())
    assert value(found, "tarvex_last_run_verdict", verdict="warning") == 1


def test_a_test_that_ran_twice_has_its_worst_verdict_alone(tmp_path):
    verdicts = ("failed", "passed", "warning")
    write_run(tmp_path / "log", 0, [result_of("T", verdict) for verdict in verdicts])
    found = families(history("--prometheus", state=tmp_path).stdout.decode())
    assert samples_of(found, "tarvex_test_verdict", "test", "verdict") == [("T", "failed", 1)]


def test_metrics_of_no_run_are_none(tmp_path):
    (tmp_path / "log").mkdir()
    told = history("--prometheus", state=tmp_path)
    assert (told.returncode, told.stdout, told.stderr) == (0, b"", b"")


def test_the_collectors_file_is_replaced_as_a_whole_and_readable_by_all(state, tmp_path):
    folder = tmp_path / "textfile"
    folder.mkdir()
    path = folder / "tarvex.prom"
    path.write_text("old", encoding="ascii")
    before = open(path, encoding="ascii")
    umask = os.umask(0o077)
    try:
        told = history(f"--prometheus={path}", state=state)
    finally:
        os.umask(umask)
    assert (told.returncode, told.stdout, told.stderr) == (0, b"", b"")
    assert "tarvex_last_run_verdict" in path.read_text(encoding="ascii")
    assert before.read() == "old"
    before.close()
    assert stat.S_IMODE(path.stat().st_mode) == 0o644
    assert os.listdir(folder) == ["tarvex.prom"]


def test_a_place_that_is_no_files_is_not_written(state, tmp_path):
    for place, reason in (
        ("/dev/null", "it is no regular file"),
        (tmp_path / "none" / "x", "No such file or directory"),
        (f"{tmp_path}/", "Is a directory"),
    ):
        told = history("list", "-o", place, state=state)
        assert (told.returncode, told.stdout) == (1, b"")
        assert told.stderr == f"tarvex-history: {place}: can't be written: {reason}\n".encode()
    assert stat.S_ISCHR(os.stat("/dev/null").st_mode)


def test_an_answer_goes_into_a_file_where_one_is_named(state, tmp_path):
    out = tmp_path / "out.json"
    told = history("list", "--json", "-o", out, state=state)
    assert (told.returncode, told.stdout) == (0, b"")
    assert out.read_bytes() == history("list", "--json", state=state).stdout


def test_nothing_is_replaced_when_there_is_no_answer(state, tmp_path):
    out = tmp_path / "out.xml"
    out.write_text("old", encoding="ascii")
    assert history("--junit=none", "-o", out, state=state).returncode == 1
    assert out.read_text(encoding="ascii") == "old"


def test_junit_tells_each_test_in_its_kind(state):
    told = history("--junit", state=state)
    assert (told.returncode, told.stderr) == (0, b"")
    root = ElementTree.fromstring(told.stdout.decode())
    assert root.tag == "testsuites"
    assert {key: root.get(key) for key in ("tests", "failures", "errors")} == {
        "tests": "6",
        "failures": "1",
        "errors": "1",
    }
    (suite,) = root.findall("testsuite")
    assert suite.get("name") == f"storage: {ODD} S-1"
    assert (suite.get("skipped"), suite.get("hostname")) == ("2", "workshop")
    assert suite.get("timestamp") == "2026-11-02T08:00:00"
    cases = {case.get("name"): case for case in suite.findall("testcase")}
    kinds = {
        name: [child.tag for child in case if child.tag != "system-out"]
        for name, case in cases.items()
    }
    assert kinds == {
        "Smart Status Test": [],
        "Linear Read Test": ["failure"],
        "Random Read Test": ["error"],
        "Funnel Read Test": ["skipped"],
        "Write Test": ["skipped"],
        "Performance Read Test": [],
    }
    assert cases["Linear Read Test"].find("failure").get("message") == 'bad <sector> & "more"\ufffd'
    assert cases["Random Read Test"].find("error").get("message") == "the disk is busy"
    assert cases["Performance Read Test"].find("system-out").text.startswith("warning\n")
    assert {case.get("classname") for case in cases.values()} == {"storage.QUICK_TEST"}
    assert all(re.fullmatch(r"\d+(\.\d+)?", case.get("time")) for case in cases.values())


def test_junit_of_a_named_run(state):
    root = ElementTree.fromstring(history("--junit=tarvex-20261101", state=state).stdout)
    assert root.get("name").startswith("tarvex-20261101")
    assert root.get("failures") == "0"


def errors_of(log, state):
    root = ElementTree.fromstring(history(f"--junit={log}", state=state).stdout)
    found = [error.get("message") for error in root.iter("error")]
    assert root.get("errors") == str(len(found))
    return found


def test_a_run_that_no_test_speaks_for_is_no_success(state, tmp_path):
    (log,) = (state / "log").glob("tarvex-20261101*")
    lines = log.read_text(encoding="utf-8").splitlines(keepends=True)
    assert errors_of(log, state) == []
    broken = tmp_path / log.name
    broken.write_text("".join(lines[:-1]), encoding="utf-8")
    assert errors_of(broken, state) == ["the log has no end of the run"]
    outside = [line for line in lines if "testStep" not in line]
    error = {"sequenceNumber": 2, "testRunArtifact": {"error": {"symptom": "module-refused"}}}
    broken.write_text(
        "".join([*outside[:2], json.dumps(error) + "\n", outside[-1]]), encoding="utf-8"
    )
    assert errors_of(broken, state) == ["module-refused"]


def test_junit_has_no_finer_times_than_the_log(state):
    (log,) = (state / "log").glob("tarvex-20261102*")
    lines = log.read_text(encoding="utf-8").splitlines()
    later = (
        re.sub(r'("timestamp":\s*"[^"]*T\d\d:\d\d:)[^"]*"', rf'\g<1>{number * 0.101:06.3f}Z"', line)
        for number, line in enumerate(lines)
    )
    log.write_text("\n".join(later) + "\n", encoding="utf-8")
    root = ElementTree.fromstring(history(f"--junit={log}", state=state).stdout)
    times = [float(case.get("time")) for case in root.iter("testcase")]
    assert len(set(times)) > 1 and times[0] > 0
    (suite,) = root.findall("testsuite")
    for told in (root.get("time"), suite.get("time")):
        assert re.fullmatch(r"\d+\.\d{1,3}", told)
        assert float(told) == pytest.approx(sum(times), abs=0.0005)
