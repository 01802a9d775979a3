"""Documents that are runs, and documents that are none."""

import copy
import re

import pytest
import sample_runs
from tarvex_report import page, verdicts
from tarvex_report.faults import ReportFault
from tarvex_report.page import page_of
from tarvex_report.run import run_of


def test_a_run_is_what_its_document_says():
    run = run_of(sample_runs.failing(), "it")
    assert (run.machine, run.verdict, run.seconds) == ("workshop", verdicts.FAILED, 7486)
    assert [device.serial for device in run.devices] == ["S-1234", "N-77-0815"]
    assert [test.device for test in run.tests] == [0, 0, 0, 1, 1]
    assert run.tests[2].parameters == {"slow_ms": "3000"}
    assert run.tests[2].series[0].points[1] == (150035000, 4096)


def test_what_is_not_known_is_null():
    document = sample_runs.healthy()
    for name in ("machine", "program", "kernel", "start", "end"):
        document[name] = None
    document["devices"][0] = dict.fromkeys(document["devices"][0])
    test = document["tests"][0]
    for name in ("module", "diagnostic", "diagnosticName", "test", "testName", "device", "start"):
        test[name] = None
    test["seconds"] = None
    test["measurements"] = [sample_runs.measurement("rate", None)]
    run = run_of(document, "it")
    assert (run.machine, run.start, run.seconds) == ("Unnamed machine", None, None)
    assert run.devices[0].name == "Unnamed device"
    assert run.tests[0].measurements[0].value is None


def paths_of(value, path=()):
    """Every place in a document."""
    yield path
    inner = value.items() if isinstance(value, dict) else enumerate(value) if isinstance(value, list) else ()
    for key, one in inner:
        yield from paths_of(one, (*path, key))


def value_at(document, path):
    for key in path:
        document = document[key]
    return document


def replaced(document, path, value):
    made = copy.deepcopy(document)
    inner = made
    for key in path[:-1]:
        inner = inner[key]
    if value is ...:
        del inner[path[-1]]
    else:
        inner[path[-1]] = value
    return made


@pytest.mark.parametrize("value", [..., None, True, -1, 1e400, float("nan"), "x", [], {}, [[]], 10**400])
def test_no_document_breaks_it_whatever_stands_where(value):
    """Each place of a document gets a value of another kind: it is taken, or said to be wrong."""
    document = sample_runs.small()
    for path in paths_of(document):
        if path and not (value is ... and isinstance(path[-1], int)):
            try:
                run_of(replaced(document, path, value), "it")
            except ReportFault as fault:
                assert "it" in str(fault) or "run" in str(fault)


@pytest.mark.parametrize(
    "path, value, said",
    [
        (("schema",), 2, "it is a run of schema 2, and this program reads 1"),
        (("schema",), ..., "it is a run of schema none"),
        (("verdict",), "superb", 'it has the verdict "superb", which is none'),
        (("machine",), 7, '"machine" of it is no text'),
        (("tests",), {}, '"tests" of it is no list'),
        (("tests", 0), 3, "tests[0] of it is no object"),
        (("tests", 0, "device"), 2, "tests[0] of it is of a device that the run does not have"),
        (("tests", 0, "device"), -1, "tests[0] of it is of a device that the run does not have"),
        (("tests", 0, "device"), 0.5, "tests[0] of it is of a device that the run does not have"),
        (("tests", 0, "seconds"), True, '"seconds" of tests[0] of it is no number'),
        (("tests", 1, "series", 0, "points", 0), [1], "a point of series[0] of tests[1] of it is no pair"),
        (("simulated",), ..., 'it has no "simulated"'),
    ],
)
def test_what_is_wrong_is_named(path, value, said):
    with pytest.raises(ReportFault) as fault:
        run_of(replaced(sample_runs.failing(), path, value), "it")
    assert str(fault.value).startswith(said)


@pytest.mark.parametrize("document", [None, [], "run", 7])
def test_what_is_no_object_is_no_run(document):
    with pytest.raises(ReportFault):
        run_of(document, "it")


def test_the_worst_verdict_counts():
    everything = list(verdicts.ALL)
    assert verdicts.worst(everything) is verdicts.FAILED
    assert verdicts.worst([verdicts.PASSED, verdicts.NOT_APPLICABLE]) is verdicts.PASSED
    assert verdicts.worst([verdicts.PASSED, verdicts.INVALID]) is verdicts.INVALID
    assert verdicts.worst([]) is verdicts.NOT_APPLICABLE
    assert verdicts.counts([verdicts.PASSED, verdicts.FAILED, verdicts.PASSED]) == [
        (verdicts.FAILED, 1),
        (verdicts.PASSED, 2),
    ]


@pytest.mark.parametrize("value", [0, -1, 5e-324, 2**53, 1e300])
def test_odd_numbers_make_no_page_fail(value):
    document = sample_runs.small()
    earlier = sample_runs.small() | {"run": "earlier", "start": "2026-11-20T08:00:00.000Z"}
    for path in list(paths_of(document)):
        is_number = isinstance(value_at(document, path), (int, float))
        if is_number and ("measurements" in path or "points" in path):
            changed = replaced(document, path, value)
            try:
                runs = [run_of(earlier, "it"), run_of(changed, "it")]
            except ReportFault:
                continue
            assert "</html>" in page_of(runs, "5.0.0.0")


@pytest.mark.parametrize("blank", [None, "", " ", "\N{IDEOGRAPHIC SPACE}\N{NO-BREAK SPACE}"])
def test_what_has_no_name_is_called_something(blank):
    document = sample_runs.small() | {"machine": blank, "kernel": blank}
    document["devices"][0]["name"] = blank
    document["tests"][0]["testName"] = blank
    for one in document["tests"][0]["series"]:
        one["axis"] = blank
    run = run_of(document, "it")
    assert (run.machine, run.kernel) == ("Unnamed machine", "?")
    assert (run.devices[0].name, run.tests[0].name) == ("Unnamed device", "READ_TEST")
    text = page_of([run], "5.0.0.0")
    assert "B/s over Position" in text and "lowest 1" in text and "at position 0" in text.replace("&#39;", "'")
    assert "answers by value, both" in text and "Value up to" in text


@pytest.mark.parametrize(
    "name, shown",
    [
        ("tarvex-20261121T080000.000Z-4711", "tarvex-20261121T080000.000Z-4711"),
        ("-o", "RUN"),
        ("x; reboot", "RUN"),
        ("$(reboot)", "RUN"),
        ("x\n", "RUN"),
        ("", "RUN"),
    ],
)
def test_the_page_tells_nobody_to_type_what_a_log_is_called(monkeypatch, name, shown):
    monkeypatch.setattr(page, "FOR_RUNS", 0)
    runs = [run_of(sample_runs.small() | {"run": one}, "it") for one in ("other", name)]
    assert f"tarvex-report {shown} -o FILE" in page_of(runs, "5.0.0.0")


@pytest.mark.parametrize(
    "got, verdict, told",
    [
        (["passed", "passed"], "passed", "2 tests of 1 device. Nothing was found."),
        (["passed", "invalid"], "passed", "2 tests of 1 device, 1 could not be tested. Nothing was found."),
        (["invalid", "canceled"], "canceled", "2 tests of 1 device, 1 could not be tested. It was stopped."),
        (["not applicable"], "not applicable", "1 test of 1 device. There is nothing to test."),
        (["passed", "failed"], "failed", "1 of 1 device: <bdi>Tarvex Test Disk (sda)</bdi>. A fault was found."),
    ],
)
def test_the_headline_leaves_nothing_untold(got, verdict, told):
    tests = [sample_runs.test_of(f"T{number}", "Test", one) for number, one in enumerate(got)]
    assert f"<p>{told}</p>" in page_of([run_of(sample_runs.run(tests, verdict), "it")], "5.0.0.0")


@pytest.mark.parametrize("number, named", [(3, "Disk 0, Disk 1, Disk 2"), (4, "Disk 0, Disk 1, Disk 2, ...")])
def test_the_headline_names_a_few_devices(number, named):
    devices = [sample_runs.device(f"Disk {one}", f"key {one}") for one in range(number)]
    tests = [sample_runs.test_of("T", "Test", "failed", device=one) for one in range(number)]
    text = page_of([run_of(sample_runs.run(tests, "failed", devices), "it")], "5.0.0.0")
    (headline,) = re.findall(r"<p>(.* A fault was found\.)</p>", text)
    assert re.sub("<.*?>", "", headline) == f"{number} of {number} devices: {named}. A fault was found."
