"""Runs to make reports of: documents as `tarvex-history run RUN --json` makes them."""

import math

SECTORS = 500118192  # 256 GB
KINDS = ("CURVE", "HISTOGRAM", "RANGES")


def measurement(name, value, unit=None, *limits):
    return {
        "name": name,
        "value": value,
        "unit": unit,
        "limits": [{"kind": kind, "value": number} for kind, number in limits],
    }


def series(name, kind, points, unit=None, axis="lba", axis_unit=None):
    return {
        "name": name,
        "kind": kind,
        "unit": unit,
        "axis": axis,
        "axisUnit": axis_unit,
        "points": points,
    }


def test_of(key, name, verdict="passed", **more):
    document = {
        "step": "0",
        "module": "storage",
        "diagnostic": "EXTENDED_TEST",
        "diagnosticName": "Extended Test",
        "test": key,
        "testName": name,
        "device": 0,
        "start": "2026-11-21T08:00:00.000Z",
        "end": "2026-11-21T08:00:12.000Z",
        "seconds": 12.0,
        "verdict": verdict,
        "words": [],
        "parameters": {},
        "measurements": [],
        "series": [],
    }
    return document | more


def device(name="Tarvex Test Disk (sda)", key="naa.5000c500a1b2c3d4", serial="S-1234"):
    return {
        "key": key,
        "name": name,
        "serial": serial,
        "place": "storage 0, pci-0000:00:17.0",
        "module": "storage",
    }


def run(tests, verdict="passed", devices=None, **more):
    document = {
        "schema": 1,
        "run": "tarvex-20261121T080000.000Z-4711",
        "file": "/var/lib/tarvex/log/tarvex-20261121T080000.000Z-4711.jsonl",
        "state": "complete",
        "machine": "workshop",
        "machineId": None,
        "program": "5.0.0.0",
        "kernel": "6.1.0-28-amd64",
        "modules": [{"name": "storage", "version": "5.0.0.0"}],
        "start": "2026-11-21T08:00:00.000Z",
        "end": "2026-11-21T08:13:07.000Z",
        "simulated": False,
        "verdict": verdict,
        "devices": [device()] if devices is None else devices,
        "tests": tests,
        "errors": [],
        "notes": [{"severity": "INFO", "text": "run of storage on 0 ends"}],
        "faults": [],
    }
    return document | more


def word(text, severity="INFO"):
    return {"severity": severity, "text": text}


def rates():
    """A rotating disk: slower toward its inner edge, with two dips."""
    points = []
    for number in range(128):
        share = number / 127
        dip = 0.45 if number in (40, 41) else 0.7 if number == 90 else 1
        points.append([round(share * (SECTORS - 1)), round((182e6 - 88e6 * share**1.3) * dip)])
    return series("read-rate-over-surface", "CURVE", points, "B/s")


def latencies():
    """Ten bounds to a decade, most answers about 8 ms, and three that were very late."""
    points = []
    for place in range(-35, 7):
        count = round(420 * math.exp(-(((place + 21) / 4.2) ** 2)))
        count = 2 if place == 4 else 1 if place == 6 else count
        points.append([10 ** (place / 10), count])
    return series("random-read-times", "HISTOGRAM", points, axis="time", axis_unit="s")


def failing():
    """A disk with bad sectors, and a sound one."""
    ranges = [[1000, 2], [150035000, 4096], [150300000, 12], [360900000, 1]]
    slow = [[150034000, 3.9], [402000000, 4.4], [411000000, 3.2]]
    none = ("EQUAL", 0)
    tests = [
        test_of(
            "SMART_STATUS_TEST",
            "Smart Status Test",
            "warning",
            words=[word("Pending sectors: 24 (limit 0)"), word("smart-status-warning", "WARNING")],
            seconds=0.2,
            measurements=[
                measurement("temperature", 38, "C"),
                measurement("power-on-hours", 29114, "h"),
                measurement("smart-5-reallocated-sectors", 16),
                measurement("pending-sectors", 24, None, none),
            ],
        ),
        test_of(
            "PERFORMANCE_TEST",
            "Performance Test",
            seconds=41.7,
            measurements=[
                measurement("outer-read-rate", 181.6e6, "B/s", ("GREATER_THAN_OR_EQUAL", 100 << 20)),
                measurement("inner-read-rate", 94.6e6, "B/s"),
                measurement("inner-to-outer", 0.5209),
                measurement("random-read-median", 0.0081, "s"),
                measurement("random-read-slowest", 3.98, "s"),
            ],
            series=[rates(), latencies()],
        ),
        test_of(
            "LINEAR_READ_TEST",
            "Linear Read Test",
            "failed",
            seconds=7421.0,
            parameters={"slow_ms": "3000"},
            words=[
                word("Unreadable sector at LBA 1000"),
                word(
                    "Unreadable sectors: first LBA 1000, count 4111, error 61 (critical medium"
                    " error), sectors 1000-1001, 150035000-150039095, 150300000-150300011, 360900000"
                ),
                word("linear-read-test-failed", "FAIL"),
            ],
            measurements=[
                measurement("first-lba", 0),
                measurement("last-lba", SECTORS - 1),
                measurement("bytes-read", SECTORS * 512, "B"),
                measurement("read-rate", 138.2e6, "B/s"),
                measurement("slowest-answer", 4.4, "s"),
                measurement("slow-answers", 3, None, none),
                measurement("unreadable-sectors", 4111, None, none),
            ],
            series=[
                series("unreadable-ranges", "RANGES", ranges),
                series("slow-answers-at", "RANGES", slow, "s"),
            ],
        ),
        test_of("FUNNEL_TEST", "Funnel Read Test", device=1, seconds=3.1),
        test_of(
            "SHORT_SELF_TEST",
            "Short Self Test",
            "not applicable",
            device=1,
            seconds=0.0,
            words=[word("The drive has no self-tests")],
        ),
    ]
    second = device("Sound Disk 2 (nvme0n1)", "eui.0025385b71b0a1c2", "N-77-0815")
    return run(tests, "failed", [device(), second], end="2026-11-21T10:04:46.000Z")


def healthy():
    return run([test_of("FUNNEL_TEST", "Funnel Read Test"), test_of("RANDOM_TEST", "Random Read Test")])


def small():
    """A little of everything."""
    test = test_of(
        "READ_TEST",
        "Read Test",
        "failed",
        words=[word("Unreadable sector at LBA 7")],
        parameters={"blocks": "8"},
        measurements=[measurement("rate", 4, "B/s", ("EQUAL", 0)), measurement("last-lba", 99)],
        series=[
            series("rates", "CURVE", [[0, 1], [7, 2]], "B/s"),
            series("times", "HISTOGRAM", [[0.1, 1], [0.2, 2]], None, "time", "s"),
            series("unreadable-ranges", "RANGES", [[7, 1]]),
            series("slow-answers-at", "RANGES", [[9, 1.5]], "s"),
        ],
    )
    return run([test], "failed", errors=[{"symptom": "a", "text": "b"}], faults=["c"])


def weekly(number):
    """The same disk week after week: it gets warmer, and loses sectors from the fourth week on."""
    bad = max(0, number - 3) ** 2
    tests = [
        test_of(
            "SMART_STATUS_TEST",
            "Smart Status Test",
            "warning" if bad else "passed",
            measurements=[
                measurement("temperature", 31 + number % 3 + number, "C"),
                measurement("smart-5-reallocated-sectors", bad),
                measurement("power-on-hours", 12000 + 168 * number, "h"),
            ],
        ),
        test_of(
            "RANDOM_TEST",
            "Random Read Test",
            measurements=[
                measurement("slowest-answer", 0.02 * 1.4**number, "s"),
                measurement("read-rate", 61e6, "B/s"),
            ],
        ),
    ]
    day = 1 + 7 * (number % 4)
    time = f"2026-{9 + number // 4:02}-{day:02}T06:00:00.000Z"
    name = f"tarvex-2026{9 + number // 4:02}{day:02}T060000.000Z-{number}"
    return run(
        tests, "warning" if bad else "passed", start=time, end=time.replace(":00:00", ":02:10"), run=name
    )


def course():
    return [weekly(number) for number in range(8)]


HOSTILE = (
    "<script>document.title='owned'</script>",
    "</title><img src=x onerror=document.title='owned'>",
    "]]></style></svg><iframe src='https://example.com/'></iframe>",
    "\" onmouseover=\"document.title='owned'\" x=\"",
    "' style='background:url(https://example.com/x)",
    "{{ 7 * 7 }}{% raw %}<!--",
    "Disk \u202egnp.exe\u202c \u200b\u2066zero\u2069",
    "NUL \u0000 ESC \u001b[31m BEL \u0007 lone \ud800",
    "W" * 400,
    "javascript:document.title='owned'//",
    "\u05d3\u05d9\u05e1\u05e7 123 (\u0642\u0631\u0635) <b>7</b>",
    "Z" + "\u0301\u0336\u0489" * 300,
    "x" * 100_000,
    "$(reboot); `reboot` & \\ %00 --output=/etc/passwd",
)
INNOCENT = tuple(f"name {number}" for number in range(len(HOSTILE)))


def hostile(names=HOSTILE):
    """Everything that comes from outside tries to become markup, order or a program."""
    devices = [
        device(text, key=text + str(index), serial=text) | {"place": text}
        for index, text in enumerate(names)
    ]
    tests = [
        test_of(
            text,
            text,
            "warning",
            device=index,
            diagnosticName=text,
            words=[word(text, text), word(text, "FAIL")],
            parameters={text: text},
            measurements=[measurement(text, 1.5, text, (text, 2))],
            series=[
                series(text, "CURVE", [[0, 1], [7, 2]], text, text, text),
                series(text, "HISTOGRAM", [[0.1, 1], [0.2, 2]], text, text, text),
                series(text, "RANGES", [[3, 1]], text, "lba", text),
            ],
        )
        for index, text in enumerate(names)
    ]
    return run(
        tests,
        "warning",
        devices,
        machine=names[1],
        kernel=names[0],
        file=names[2],
        modules=[{"name": names[3], "version": names[0]}],
        errors=[{"symptom": text, "text": text} for text in names],
        faults=list(names),
        notes=[word(text, text) for text in names],
        run=names[-1],
        program=names[4],
    )
