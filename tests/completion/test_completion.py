"""What TAB makes of a typed line, in the real shells and with the real modules."""

import json
import os
import sys
import time

import pytest
from program import BINARY_DIR, SANITIZE, SOURCE_DIR, World
from shells import KINDS, Shell

PROGRAM = "TarvexDiagnosticsCLI"
COMPLETER = BINARY_DIR / "bin" / "tarvex-complete"
TAB = "\t"
NEEDS_ROOT = pytest.mark.skipif(os.geteuid() != 0, reason="only root searches for devices")

# Typed and a TAB behind it -> the line. Each follows from the options, and from the tables of the
# storage module.
SAME_IN_ALL = {
    "-Msto": "-Mstorage ",
    "--module=sto": "--module=storage ",
    "--list-mod": "--list-modules ",
    "-Mstorage --exten": "-Mstorage --extended",
    "-Mstorage -Tsm": "-Mstorage -Tsmart ",
    "-Mstorage -Tsmart --in": "-Mstorage -Tsmart --info ",
    "-Mstorage -Qsmart": "-Mstorage -Qsmart-status ",
    "-Mstorage -Qf,smart": "-Mstorage -Qf,smart-status ",
    "-Uq,only": "-Uq,only-unattended ",
    "-o/etc/host": "-o/etc/host",
    "-Qf": "-Qf",
    "-Mstorage -Qnone": "-Mstorage -Qnone",
}
# The same in quotes, where zsh writes a word anew.
PARAMETER = {
    "bash": '-Mstorage -Q"s,f(block_kib=',
    "fish": '-Mstorage -Q"s,f(block_kib=',
    "zsh": r"-Mstorage -Qs,f\(block_kib=",
}
VALUE = {
    "bash": "-Mstorage -E'w(destructive=yes",
    "fish": "-Mstorage -E'w(destructive=yes",
    "zsh": r"-Mstorage -Ew\(destructive=yes",
}


@pytest.fixture(params=sorted(KINDS))
def kind(request):
    return request.param


def scenario_of(tmp_path, modules):
    path = tmp_path / "scenario.json"
    path.write_text(json.dumps({"modules": modules}), encoding="utf-8")
    return path


def diagnostic(option, long_name, tests):
    return {
        "name": "CHECK",
        "option": option,
        "longName": long_name,
        "key": {"minor": 1, "identifier": 1},
        "tests": tests,
    }


def test_tab_completes_from_the_installed_tables(kind, tmp_path):
    with Shell(kind, World(tmp_path)) as shell:
        for typed, line in SAME_IN_ALL.items():
            # The first kill of the line is for what the last case left.
            got = shell.line_after(f"\x15{PROGRAM} {typed}{TAB}")
            assert got.rstrip() == f"{PROGRAM} {line}".rstrip(), typed
            if line.endswith(" "):
                assert got.endswith(" "), f"{typed}: the word is whole, and so are blanks"


def test_tab_completes_the_other_programs(kind, tmp_path):
    world = World(tmp_path)
    (world.state_dir / "log").mkdir()
    (world.state_dir / "log" / "tarvex-20261121T080000.000Z-4711.jsonl").touch()
    with Shell(kind, world) as shell:
        run = shell.line_after(f"tarvex-history --js{TAB}run tar{TAB}")
        assert run == "tarvex-history --json run tarvex-20261121T080000.000Z-4711 "
        report = shell.line_after(f"\x15tarvex-report la{TAB}--outp{TAB}")
        assert report == "tarvex-report last --output="


def test_tab_completes_where_the_output_goes(kind, tmp_path):
    world = World(tmp_path)
    (world.work_dir / "answer.txt").touch()
    with Shell(kind, world) as shell:
        for typed in ("> answ", ">>answ", "2>answ"):
            line = f"tarvex-history {typed}"
            assert shell.line_after(f"\x15{line}{TAB}") == f"{line}er.txt "
        # Behind that the program's own words go on.
        assert shell.line_after(f"--js{TAB}") == f"{line}er.txt --json "
        line = "tarvex-history --logs 'a>b' --js"
        assert shell.line_after(f"\x15{line}{TAB}") == f"{line}on "


def test_tab_completes_inside_quotes(kind, tmp_path):
    with Shell(kind, World(tmp_path)) as shell:
        got = shell.line_after(f'{PROGRAM} -Mstorage -Q"s,f(block_{TAB}')
        assert got == f"{PROGRAM} {PARAMETER[kind]}"
        got = shell.line_after(f"\x15{PROGRAM} -Mstorage -E'w(destructive=y{TAB}")
        assert got == f"{PROGRAM} {VALUE[kind]}"


def test_other_modules_change_the_answer(kind, tmp_path):
    test = {"name": "COUNT_TEST", "option": "c", "longName": "count", "key": {"identifier": 7}}
    module = {"name": "MEMORY", "diagnostics": [diagnostic("K", "counters", [test])]}
    with Shell(kind, World(tmp_path, scenario_of(tmp_path, [module]))) as shell:
        assert shell.line_after(f"{PROGRAM} -Mm{TAB}") == f"{PROGRAM} -Mmemory "
        assert shell.line_after(f"--coun{TAB}").rstrip() == f"{PROGRAM} -Mmemory --counters"
        # What is not installed is not offered.
        assert shell.line_after(f"\x15{PROGRAM} -Msto{TAB}") == f"{PROGRAM} -Msto"


@NEEDS_ROOT
def test_tab_completes_devices(kind, tmp_path):
    devices = [{"id": "disk7", "name": "Fast One"}, {"id": "tape1", "name": "Slow One"}]
    module = {"name": "storage", "devices": devices}
    with Shell(kind, World(tmp_path, scenario_of(tmp_path, [module]))) as shell:
        assert shell.line_after(f"{PROGRAM} -Mstorage di{TAB}") == f"{PROGRAM} -Mstorage disk7 "


HOSTILE = (
    *("$(touch made)", "`touch made`", ";touch made;", "a\ntouch made\n", "'; touch made; '"),
    "evil;touch made",
    *('"; touch made; "', "<(touch made)", "(touch made)", "a\ttouch made", "\x1b]0;x\x07", "\\"),
)


def hostile_modules():
    """All that a module or a drive may call itself is hostile, and one name beside each is not."""
    tests = [
        {"name": name, "option": name, "longName": name + "l", "key": {"identifier": 100 + index}}
        for index, name in enumerate(HOSTILE)
    ]
    parameter = {"name": "$(touch made)", "label": "`touch made`", "initialValue": "$(touch made)"}
    plain = {"name": "PLAIN", "option": "p", "longName": "plain", "key": {"identifier": 99}}
    tests.append(plain | {"parameters": [parameter]})
    devices = [{"id": name, "name": name} for name in HOSTILE]
    devices.append({"id": "plain7", "name": "$(touch made)"})
    modules = [{"name": name} for name in HOSTILE]
    return [
        *modules,
        {"name": "odd", "diagnostics": [diagnostic("K", "$(touch made)", tests)], "devices": devices},
    ]


@NEEDS_ROOT
def test_hostile_names_stay_words(kind, tmp_path):
    world = World(tmp_path, scenario_of(tmp_path, hostile_modules()))
    with Shell(kind, world) as shell:
        for typed, line in {
            "-Mo": "-Modd ",
            "-Modd -Kpl": "-Modd -Kplain",
            "-Modd pl": "-Modd plain7 ",
            # Entered, these would do what they say.
            "-Mevil": "-Mevil",
            "-Modd evil": "-Modd evil",
            "-Modd -Kevil": "-Modd -Kevil",
        }.items():
            got = shell.line_after(f"\x15{PROGRAM} {typed}{TAB}")
            assert got.rstrip() == f"{PROGRAM} {line}".rstrip()
        for typed in ("-M", "-Modd -K", "-Modd -K'plain(", "-Modd -- ", "-Modd -"):
            screen, _ = shell.screen_after(f"\x15{PROGRAM} {typed}{TAB}{TAB}")
            assert "\x1b]0;x" not in screen
        # What is typed is not run to be completed, either; but for the expansion that zsh makes
        # itself of any word in front of a completion.
        if kind == "zsh":
            shell.process.send("\x15bindkey '^I' complete-word\r")
        shell.line_after(f'\x15{PROGRAM} -Modd -K"$(touch made),p{TAB}{TAB}')
        shell.line_after(f"\x15{PROGRAM} -Modd '$(touch made)' p{TAB}{TAB}")
    assert list(world.work_dir.iterdir()) == []


def complete(world, *words):
    run = world.run([str(len(words)), PROGRAM, *words], program=COMPLETER)
    assert run.stderr == b""
    assert run.returncode == 0
    return [line.split("\t")[0] for line in run.stdout.decode().splitlines()]


@NEEDS_ROOT
def test_tab_completes_devices_of_earlier_runs(tmp_path):
    tests = [{"name": "READ_TEST", "option": "r", "longName": "read", "key": {"identifier": 7}}]
    device = {"id": "0", "name": "Fast One"}
    device["entries"] = [{"label": "SERIAL_NUMBER", "value": "SN-4711"}]
    module = {"name": "storage", "diagnostics": [diagnostic("Q", "quick", tests)]}
    module["devices"] = [device]
    world = World(tmp_path, scenario_of(tmp_path, [module]))
    assert world.run(["-Mstorage", "-Q"]).returncode == 0
    run = world.run(["2", "tarvex-history", "device", "SN"], program=COMPLETER)
    assert run.stdout.decode().split() == ["SN-4711", "Fast", "One"]


def test_devices_that_share_a_key_are_completed_with_their_machines(tmp_path):
    sys.path.insert(0, str(SOURCE_DIR / "tests/history"))
    from made_logs import disk, result_of, write_run

    shared = disk(0, "Bay", serial="", key="bay-0")
    for day, machine in enumerate(("one", "other")):
        own = disk(1, "Own", serial="", key=f"bay-{machine}")
        tests = [result_of("T"), result_of("T", on=1)]
        write_run(tmp_path / machine, day, tests, [shared, own], machine, machine)
    words = ["tarvex-history", f"--logs={tmp_path}", "device", "bay"]
    run = World(tmp_path / "world").run([str(len(words) - 1), *words], program=COMPLETER)
    offered = sorted(line.split("\t")[0] for line in run.stdout.decode().splitlines())
    assert offered == ["bay-0@one", "bay-0@other", "bay-one", "bay-other"]


def test_a_serial_number_that_is_anothers_key_is_not_completed(tmp_path):
    sys.path.insert(0, str(SOURCE_DIR / "tests/history"))
    from made_logs import disk, result_of, write_run

    disks = [disk(0, "two", "S-2", "three"), disk(1, "other", "S-3", "S-2")]
    write_run(tmp_path / "log", 0, [result_of("T", on=on) for on in range(2)], disks)
    words = ["tarvex-history", f"--logs={tmp_path}", "device", ""]
    run = World(tmp_path / "world").run([str(len(words) - 1), *words], program=COMPLETER)
    offered = [line for line in run.stdout.decode().splitlines() if not line.startswith("-")]
    assert sorted(offered) == ["S-3\tother", "three\ttwo"]


def test_words_of_the_report_are_those_of_its_parser(tmp_path):
    sys.path.insert(0, str(SOURCE_DIR / "companions/report"))
    from tarvex_report import command_line

    wanted = {}
    for action in command_line.parser("1")._actions:  # argparse has no other list of them
        for string in action.option_strings:
            long_with_text = action.nargs is None and string.startswith("--")
            wanted[string + ("=" if long_with_text else "")] = action.help
    assert "--output=" in wanted
    run = World(tmp_path).run(["1", "tarvex-report", "-"], program=COMPLETER)
    assert dict(line.split("\t") for line in run.stdout.decode().splitlines()) == wanted


@NEEDS_ROOT
def test_a_run_goes_on_while_words_are_asked_for(tmp_path):
    world = World(tmp_path, SOURCE_DIR / "tests/terminal/slow.json")
    run = world.start(["-Mstorage", "-Ql", "-o", str(tmp_path / "report")])
    try:
        while not list(world.run_dir.iterdir()):
            assert run.poll() is None
        assert complete(world, "-Msto") == ["-Mstorage"]
        assert "0" in complete(world, "-Mstorage", "")
        assert run.poll() is None
    finally:
        run.terminate()
        run.wait()


def test_nothing_is_left_behind(tmp_path):
    world = World(tmp_path)
    recording = tmp_path / "kept.recording"
    recording.write_text("somebody's\n")
    world.environment["ORVAN_RECORD"] = str(recording)
    world.environment["ORVAN_MODULE_DIR"] = str(tmp_path / "none")
    assert complete(world, "-Msto") == []
    del world.environment["ORVAN_MODULE_DIR"]
    assert complete(world, "-Msto") == ["-Mstorage"]
    complete(world, "-Mstorage", "")
    assert recording.read_text() == "somebody's\n"
    assert list(world.state_dir.iterdir()) == []
    assert list(world.run_dir.iterdir()) == []


@NEEDS_ROOT
def test_a_search_that_takes_long_is_ended(tmp_path):
    module = {"name": "slow", "scanMs": 600000, "devices": [{"id": "0", "name": "Late"}]}
    world = World(tmp_path, scenario_of(tmp_path, [module]))
    assert "-D" in complete(world, "-Mslow", "")


@pytest.mark.skipif(bool(SANITIZE), reason="a sanitizer takes its own time")
def test_words_come_at_once(tmp_path):
    world = World(tmp_path)
    times = []
    for _ in range(10):
        began = time.monotonic()
        complete(world, "-Mstorage", "-Q")
        times.append(time.monotonic() - began)
    # The best of them, for the machine does other things, too.
    assert min(times) < 0.1


@pytest.mark.parametrize("arguments", [[], ["x"], ["1"], ["0", "a"], ["2", "a", "b"], ["-1", "a", "b"]])
def test_what_is_no_question_has_no_answer(tmp_path, arguments):
    run = World(tmp_path).run(arguments, program=COMPLETER)
    assert (run.returncode, run.stdout) == (2, b"")
