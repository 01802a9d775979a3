"""The program: what it takes, where it writes, and what it says when it cannot."""

import json
import os
import resource
import shutil
import signal
import stat
import subprocess
from html.parser import HTMLParser

import pytest
import sample_runs
from conftest import PROGRAM, SOURCE_DIR, made_by_program

ALLOWED = frozenset(
    "article html head meta title link style body a svg symbol path circle rect use header main section div h1"
    " h2 h3 h4 h5 span p bdi strong ul li dl dt dd table caption thead tbody tr th td details summary"
    " figure figcaption g text footer".split()
)
VOID = {"meta", "link"}


class Outline(HTMLParser):
    """Elements, attributes and texts of a page, which has to be well formed."""

    def __init__(self, text):
        super().__init__()
        self.open = []
        self.elements = []
        self.texts = []
        self.feed(text)
        self.close()
        assert self.open == []

    def handle_starttag(self, tag, attributes):
        self.elements.append((tag, dict(attributes)))
        assert len(dict(attributes)) == len(attributes), (tag, attributes)
        if tag not in VOID:
            self.open.append(tag)

    def handle_startendtag(self, tag, attributes):
        self.elements.append((tag, dict(attributes)))

    def handle_endtag(self, tag):
        assert self.open and self.open.pop() == tag, (tag, self.getpos())

    def handle_data(self, data):
        self.texts.append(data)

    def values(self, name):
        return [attributes[name] for _, attributes in self.elements if name in attributes]


def test_whatever_a_drive_calls_itself_is_text(desk):
    text = desk.page([sample_runs.hostile()]).read_text(encoding="utf-8")
    outline = Outline(text)
    assert {tag for tag, _ in outline.elements} <= ALLOWED
    names = {name for _, attributes in outline.elements for name in attributes}
    assert not [name for name in names if name.startswith("on")]
    assert not names & {"style", "src", "srcset", "action", "formaction", "background"}
    assert all(value.startswith("#") or value == "data:," for value in outline.values("href"))
    shown = "".join(outline.texts)
    for hostile in sample_runs.HOSTILE[:6]:
        assert hostile in shown
    assert all(letter.isprintable() or letter in "\n\N{NARROW NO-BREAK SPACE}" for letter in text)


@pytest.mark.parametrize("name", ["failing", "healthy", "hostile"])
def test_a_page_is_well_formed(desk, name):
    outline = Outline(desk.page([getattr(sample_runs, name)()]).read_text(encoding="utf-8"))
    ids = outline.values("id")
    assert len(ids) == len(set(ids))
    pointed = {one for value in outline.values("aria-labelledby") for one in value.split()}
    pointed |= {value[1:] for value in outline.values("href") if value.startswith("#")}
    assert pointed <= set(ids)


def test_the_same_runs_give_the_same_page(desk):
    runs = sample_runs.course()
    one = desk.page(runs, "one.html").read_bytes()
    assert one == desk.page(list(reversed(runs)), "other.html").read_bytes()


def test_a_run_is_taken_from_standard_input(desk):
    document = json.dumps(sample_runs.healthy()).encode()
    done = made_by_program(["-", "-o", "-"], input=document)
    assert (done.returncode, done.stderr) == (0, b"")
    assert done.stdout.startswith(b"\n<!doctype html>") or done.stdout.startswith(b"<!doctype html>")
    assert done.stdout.endswith(b"</html>") or done.stdout.endswith(b"</html>\n")


def test_a_file_is_replaced_as_a_whole(desk):
    page = desk.folder / "report.html"
    page.write_text("an older one", encoding="utf-8")
    page.chmod(0o600)
    with page.open() as reader:
        assert desk.page([sample_runs.healthy()]) == page
        assert reader.read() == "an older one"
    assert stat.S_IMODE(page.stat().st_mode) == 0o644 & ~current_umask()
    assert sorted(path.name for path in desk.folder.iterdir()) == ["report.html", "report.html-0.json"]


def current_umask():
    mask = os.umask(0)
    os.umask(mask)
    return mask


def refused(desk, path):
    """What is said when the page is to go there; nothing is left behind in the folder."""
    document = desk.document(sample_runs.healthy())
    before = sorted(desk.folder.iterdir())
    done = made_by_program([document, "-o", path], cwd=desk.folder)
    assert (done.returncode, done.stdout) == (1, b"")
    assert sorted(desk.folder.iterdir()) == before
    return done.stderr.decode()


def test_the_longest_name_there_is_will_do(desk):
    page = desk.folder / ("ö" * 125 + ".html")
    done = made_by_program([desk.document(sample_runs.healthy()), "-o", page.name], cwd=desk.folder)
    assert (done.returncode, done.stderr) == (0, b"")
    assert page.is_file()


def test_a_link_in_the_way_is_not_followed(desk):
    target = desk.folder / "precious"
    target.write_text("precious", encoding="utf-8")
    (desk.folder / "link.html").symlink_to(target)
    assert "is there and is no file" in refused(desk, "link.html")
    assert target.read_text(encoding="utf-8") == "precious"


def test_a_pipe_in_the_way_is_left_alone(desk):
    os.mkfifo(desk.folder / "pipe.html")
    assert "is there and is no file" in refused(desk, "pipe.html")


@pytest.mark.parametrize(
    "path, said",
    [
        ("missing/report.html", "missing/report.html cannot be written: No such file or directory"),
        ("./", "./ is a folder: name a file in it"),
        ("n" * 300, "cannot be written: File name too long"),
        ("run.json/report.html", "cannot be written: Not a directory"),
    ],
)
def test_a_page_that_cannot_be_written_is_said(desk, path, said):
    assert said in refused(desk, path)


def test_a_page_that_finds_no_room_leaves_nothing_behind(desk):
    document = desk.document(sample_runs.healthy())
    page = desk.folder / "report.html"
    page.write_text("an older one", encoding="utf-8")
    done = made_by_program(
        [document, "-o", page],
        preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096)),
    )
    assert (done.returncode, done.stdout) == (1, b"")
    assert done.stderr.decode() == f"tarvex-report: {page} cannot be written: File too large\n"
    assert sorted(path.name for path in desk.folder.iterdir()) == ["report.html", "run.json"]
    assert page.read_text(encoding="utf-8") == "an older one"


def test_a_file_of_no_sensible_length_is_refused(desk):
    path = desk.folder / "long.json"
    with path.open("wb") as file:
        file.truncate((64 << 20) + 1)
    done = made_by_program([path, "-o", "-"])
    assert (done.returncode, done.stdout) == (1, b"")
    assert done.stderr.decode() == f"tarvex-report: {path} has more than 64 MiB\n"


@pytest.mark.parametrize(
    "text, said",
    [
        (b"{}", "there is no tarvex-history here"),
        (b'{"schema": 7}', "is a run of schema 7, and this program reads 1"),
        (b'{"schema": 1}', 'has no "devices"'),
        (b'{"schema": 1, "x": NaN}', "is no JSON document: NaN is no number"),
    ],
)
def test_a_document_that_is_no_run_is_said(desk, program_alone, text, said):
    path = desk.folder / "strange.json"
    path.write_bytes(text)
    done = program_alone([path, "-o", "-"], stub(desk, refuse=True))
    assert (done.returncode, done.stdout) == (1, b"")
    assert said in done.stderr.decode(), done.stderr


@pytest.fixture
def program_alone(desk):
    """The program without a tarvex-history beside it; both take what the search path has."""
    alone = desk.folder / "alone" / "tarvex-report"
    alone.parent.mkdir()
    shutil.copy(PROGRAM, alone)

    def run(words, path):
        return made_by_program(words, program=alone, environment={"PATH": path})

    return run


def stub(desk, refuse=False, document=None):
    """A folder with a tarvex-history that answers so, and writes down what it was asked."""
    folder = desk.folder / "bin"
    folder.mkdir()
    answer = "echo 'there is no tarvex-history here' >&2; exit 1" if refuse else f"cat {document}"
    program = folder / "tarvex-history"
    program.write_text(f'#!/bin/sh\necho "$@" > {folder}/asked\n{answer}\n', encoding="utf-8")
    program.chmod(0o755)
    return f"{folder}:/usr/bin:/bin"


def test_the_history_is_asked_for_what_is_no_document(desk, program_alone):
    path = stub(desk, document=desk.document(sample_runs.healthy()))
    done = program_alone(["--logs", "/a", "--logs", "/b", "--state", "/c", "last", "-o", "-"], path)
    assert (done.returncode, done.stderr) == (0, b"")
    assert b"workshop" in done.stdout
    asked = (desk.folder / "bin" / "asked").read_text(encoding="utf-8")
    assert asked == "--json --logs /a --logs /b --state /c run last\n"


ENDING = [signal.SIGINT, signal.SIGTERM, signal.SIGHUP]


@pytest.mark.parametrize("number", ENDING)
def test_a_signal_ends_it_without_a_word(desk, number):
    reads, writes = os.pipe()
    words = [PROGRAM, "-", "-o", desk.folder / "report.html"]
    with subprocess.Popen(words, stdin=reads, stderr=subprocess.PIPE) as process:
        os.close(reads)
        # More than the pipe has room for: once this is written, the program has begun to read.
        os.write(writes, b" " * (1 << 17))
        process.send_signal(number)
        assert process.stderr.read() == b""
        assert process.wait(timeout=60) == -number
    os.close(writes)
    assert list(desk.folder.iterdir()) == []


# The page is written while somebody wants the program to end.
ENDED_AMID = """
import os, sys
sys.path.insert(0, sys.argv[1])
from tarvex_report import output
flush = os.fsync
os.fsync = lambda number: (flush(number), os.kill(os.getpid(), int(sys.argv[2])))
output.write(sys.argv[3], "a page")
"""


@pytest.mark.parametrize("number", ENDING)
def test_a_signal_amid_the_writing_leaves_a_whole_page(desk, number):
    package = SOURCE_DIR / "companions" / "report"
    page = desk.folder / "report.html"
    words = ["/usr/bin/python3", "-c", ENDED_AMID, package, str(int(number)), page]
    done = subprocess.run(words, stderr=subprocess.DEVNULL)
    assert done.returncode == -number
    assert [path.name for path in desk.folder.iterdir()] == ["report.html"]
    assert page.read_text(encoding="utf-8") == "a page"


@pytest.mark.parametrize("words", [[], ["last"], ["-o", "x"], ["--nonsense", "last", "-o", "x"]])
def test_a_wrong_command_line_has_a_status_of_its_own(words):
    done = made_by_program(words)
    assert (done.returncode, done.stdout) == (2, b"")
    assert b"usage: tarvex-report" in done.stderr


def test_help_and_version_are_told():
    assert b"tarvex-report last -o report.html" in made_by_program(["--help"]).stdout
    assert made_by_program(["--version"]).stdout.startswith(b"tarvex-report ")
