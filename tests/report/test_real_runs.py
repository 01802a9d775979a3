"""From the real program over its log and tarvex-history to the page."""

import re

import pytest
from conftest import SOURCE_DIR, made_by_program
from program import World

VERDICTS = SOURCE_DIR / "tests" / "golden" / "scenarios" / "verdicts.json"
# Of that scenario, in its order.
SHOWN = ["Passed", "Failed", "Could not be tested", "Not applicable", "Canceled", "Warning",
         "Could not be tested"]  # fmt: skip


@pytest.fixture
def world(tmp_path):
    made = World(tmp_path, VERDICTS)
    made.run(["-Mstorage", "-Q"])
    return made


def only_log(world):
    (path,) = (world.state_dir / "log").iterdir()
    return path


def page_of(world, *runs, **more):
    done = made_by_program([*runs, "--state", world.state_dir, "-o", "-"], **more)
    assert (done.returncode, done.stderr) == (0, b"")
    return done.stdout.decode()


def verdicts_in(page):
    """Of each test of a page, what stands beside its name."""
    blocks = re.findall(r"<article class=\"test.*?</article>", page, re.S)
    return [re.search(r"</svg>\s*([\w ]+?)</span>", block)[1] for block in blocks]


def test_a_run_of_the_program_becomes_a_page(world):
    page = page_of(world, "last")
    assert verdicts_in(page) == SHOWN
    assert re.search(r'<h1 id="verdict">Failed', page)
    assert str(only_log(world)) in page and "Disk A" in page
    assert "Not this machine's own hardware: it was simulated, or played from a recording." in page
    assert "Repeat the test. What fails again is repaired or replaced." in page


def test_a_run_goes_by_its_name_and_by_its_log(world):
    log = only_log(world)
    page = page_of(world, "last")
    assert page_of(world, log.stem) == page
    assert page_of(world, log) == page
    # Neither its folder nor the archive matters when the file is named.
    copy = world.work_dir / "copy.jsonl"
    copy.write_bytes(log.read_bytes())
    named = made_by_program(["copy.jsonl", "-o", "-"], cwd=world.work_dir)
    assert (named.returncode, named.stderr) == (0, b"")
    assert named.stdout.decode() == page.replace(str(log), str(copy))


def test_a_failing_disk_becomes_a_page(visited):
    page = page_of(visited, "last")
    assert verdicts_in(page) == ["Passed", "Passed", "Passed", "Warning", "Failed", "Failed"]
    assert "1 of 2 devices: <bdi>Workshop Disk (sda)</bdi>. A fault was found." in page
    advice = re.search(r'<ul class="advice">(.*?)</ul>', page, re.S)[1]
    assert advice.count("<li>") == 2
    assert "Copy the data now, other data first and these sectors last; then replace" in advice
    assert "replace the disk when the number rises from run to run." in advice
    (wide, narrow) = re.findall(r'<svg [^>]*class="chart map.*?</svg>', page, re.S)
    # 13 sectors in three places, one of them found twice; the late place near sector 51,200.
    assert "3 places with bad sectors" in wide and "1 slow answer," in wide
    assert [wide.count(f'"cell {kind}"') for kind in ("bad", "slow")] == [3, 1]
    assert narrow.count('"cell slow"') == 1
    assert page.count("xy-graph vertical") == 2 * 2 and page.count("histogram-graph") == 2 * 2


def test_a_disk_that_gets_worse_has_a_course(visited):
    page = page_of(visited, *sorted((visited.state_dir / "log").iterdir()))
    course = re.search(r'<section class="courses".*?</section>', page, re.S)[0]
    assert course.index("Workshop Disk") < course.index("QEMU NVMe Ctrl")
    summaries = re.findall(r"<strong>([\w ]+)</strong>.*?<p class=\"summary\"[^>]*>(.*?)</p>", course, re.S)
    told = {title: text.replace("\N{NARROW NO-BREAK SPACE}", " ") for title, text in summaries}
    assert told["Temperature"] == "From 31 °C to 47 °C (+16 °C) over 3 runs."
    assert told["Reallocated sectors"] == "From 0 to 184 (+184) over 3 runs."
    assert told["Pending sectors"] == "From 0 to 13 (+13) over 3 runs."
    assert "SMART 5 reallocated sectors" not in told


def test_a_run_that_was_cut_is_said_to_be(world):
    log = only_log(world)
    text = log.read_bytes()
    log.write_bytes(text[: len(text) // 2])
    done = made_by_program([log, "-o", "-"])
    assert done.returncode == 0
    page = done.stdout.decode()
    assert "The log ends before the run does" in page
    assert len(verdicts_in(page)) < len(SHOWN)


def test_of_two_runs_there_is_a_course(world):
    world.run(["-Mstorage", "-Q"])
    logs = sorted((world.state_dir / "log").iterdir())
    page = page_of(world, *logs)
    assert page.count('<section class="run"') == 2
    assert "Courses over runs" in page and "the newest of 2 runs" in page
    # The same run twice is one.
    assert "Courses over runs" not in page_of(world, "last", logs[-1])


def test_a_run_that_is_not_there_is_said_in_the_words_of_the_history(world):
    done = made_by_program(["tarvex-1999", "--state", world.state_dir, "-o", "-"])
    assert (done.returncode, done.stdout) == (1, b"")
    assert done.stderr.startswith(b"tarvex-report: ") and b"tarvex-1999" in done.stderr


def test_what_is_no_log_is_no_run(world):
    path = world.work_dir / "notes.txt"
    path.write_text("dear diary", encoding="utf-8")
    done = made_by_program([path, "-o", "-"])
    assert (done.returncode, done.stdout) == (1, b"")
    assert b"notes.txt" in done.stderr
