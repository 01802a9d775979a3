"""The packages, as somebody meets them: installed, run, upgraded, removed and purged in a Debian."""

import json
import os
import re
import shutil
import stat
import subprocess

import debian
import pexpect
import pytest
import spdx
from browser import Browser
from program import BINARY_DIR, SOURCE_DIR

pytestmark = pytest.mark.skipif(os.geteuid() != 0, reason="only root can make a Debian of its own")

NAME = "tarvex-diagnostics"
PROGRAM = "TarvexDiagnosticsCLI"
SCENARIOS = SOURCE_DIR / "tests/golden/scenarios"
LIBRARIES = f"usr/lib/[a-z0-9_]+-linux-gnu[a-z0-9]*/{NAME}"
# Where Debian wants what kind of file.
PLACES = re.compile(
    rf"usr/bin/[A-Za-z-]+|{LIBRARIES}/lib\w+\.so|{LIBRARIES}/orvan/orvan-worker|{LIBRARIES}/tarvex-[a-z]+"
    rf"|{LIBRARIES}/orvan/modules/\w+\.so|lib/systemd/system/tarvex-[a-z]+\.(service|timer)"
    rf"|usr/share/man/man[1578]/[A-Za-z.-]+\.[1578]\.gz|usr/share/doc/{NAME}(-report)?/\S+"
    r"|usr/share/bash-completion/completions/[A-Za-z-]+|usr/share/zsh/vendor-completions/_[A-Za-z-]+"
    rf"|usr/share/fish/vendor_completions\.d/[A-Za-z-]+\.fish|usr/share/{NAME}/\S+"
    r"|usr/share/lintian/overrides/\S+"
    # What Debian's Python calls when another version of it becomes the usual one.
    rf"|usr/share/python3/runtime\.d/{NAME}-report\.rtupdate"
)
LOWER = "4.9.0.0"
# What a user made, and no package takes away.
OWN = {
    "etc/tarvex": None,
    "etc/tarvex/service.ini": "[storage]\ntimeout_seconds=20\n",
    "var/lib/tarvex": None,
    "var/lib/tarvex/log": None,
    "var/lib/tarvex/log/notes.txt": "the left disk is the old one\n",
    "var/lib/tarvex/log/tarvex-old.jsonl": None,  # a folder, whatever it is called
    "root/report.txt": "kept\n",
}
# More than the words of one command can name.
MANY_LOGS = 40000
# Of dpkg, apt and the linker, which remember what they did.
THEIRS = re.compile(
    r"(var/(lib/(dpkg|apt|systemd/catalog)|cache|log|lib/(misc|polkit-1|ucf))|packages|tmp|etc/ld\.so\.cache)(/|$)"
)


def project_version():
    cache = (BINARY_DIR / "CMakeCache.txt").read_text()
    return re.search(r"^CMAKE_PROJECT_VERSION:STATIC=(.*)$", cache, re.M).group(1)


def state_of(root):
    """What the program keeps: path -> bytes."""
    folder = root / "var/lib/tarvex"
    return {str(path): path.read_bytes() for path in folder.rglob("*") if path.is_file()}


def diagnose(root, *words, scenario="verdicts.json"):
    """Runs the installed program on a simulated machine."""
    environment = {} if scenario is None else {"ORVAN_SCENARIO": f"/packages/{scenario}"}
    return root.run(PROGRAM, *words, environment=environment)


def passed_run(root):
    run = diagnose(root, "-Mstorage", "-Qp", "0", "-W")
    assert (run.returncode, run.stderr) == (0, ""), run.stdout
    return run.stdout


def older(packages, folder):
    """The same packages with a lower version, as an earlier release would have been."""
    found = []
    for name, file in packages.items():
        tree = folder / name
        subprocess.run(["dpkg-deb", "-R", file, tree], check=True)
        control = tree / "DEBIAN/control"
        control.write_text(control.read_text().replace(project_version(), LOWER))
        found.append(folder / f"{name}_{LOWER}.deb")
        subprocess.run(["dpkg-deb", "-b", tree, found[-1]], check=True, capture_output=True)
    return found


@pytest.fixture(scope="module")
def packages():
    built = debian.packages()
    assert NAME in built
    return built


@pytest.fixture(scope="module")
def installed(packages, tmp_path_factory):
    """A root that had an earlier release and logs of it, and now has this one."""
    folder = tmp_path_factory.mktemp("debian")
    root = debian.Root.copy_of(debian.base(), folder / "root")
    root.before = root.files()
    real = {name: file for name, file in packages.items() if not name.endswith("-dbgsym")}
    root.apt("update")
    root.apt("install", "--no-install-recommends", *root.take(*older(real, folder)))
    root.take(SCENARIOS / "verdicts.json", SCENARIOS / "smart.json")
    passed_run(root)
    root.kept = state_of(root)
    root.apt("install", "--no-install-recommends", *root.take(*real.values()))
    yield root
    shutil.rmtree(folder, ignore_errors=True)


@pytest.fixture(scope="module")
def own(installed):
    """What the installed packages have: path -> its status."""
    listed = installed.must("dpkg", "-L", NAME, *reports(installed)).split()
    paths = [path.lstrip("/") for path in listed if path != "/."]
    return {path: os.lstat(installed / path) for path in paths}


def reports(root):
    return [f"{NAME}-report"] if (root / "usr/bin/tarvex-report").exists() else []


def test_an_upgrade_keeps_what_was_recorded_and_brings_the_new_version(installed):
    versions = installed.must("dpkg-query", "-W", "-f", "${Version}\n", NAME, *reports(installed))
    assert set(versions.split()) == {project_version()}
    assert len([path for path in installed.kept if path.endswith(".jsonl")]) == 1
    assert len([path for path in installed.kept if path.endswith("records.db")]) == 1
    assert state_of(installed) == installed.kept


def test_every_file_is_where_debian_wants_it_and_is_roots(installed, own):
    # Debian's /lib is a link to a folder.
    files = {path: status for path, status in own.items() if not (installed / path).is_dir()}
    assert f"usr/bin/{PROGRAM}" in files
    assert sorted(path for path in files if not PLACES.fullmatch(path)) == []
    for path, status in own.items():
        mode = stat.S_IMODE(status.st_mode)
        is_program = path.startswith(("usr/bin/", "usr/lib/", "usr/share/python3/"))
        is_program = is_program and not path.endswith(".so")
        if stat.S_ISREG(status.st_mode) and not path.startswith(f"usr/share/{NAME}/"):
            assert mode == (0o755 if is_program else 0o644), f"{path}: {mode:o}"
        elif not stat.S_ISLNK(status.st_mode):
            assert mode in (0o755, 0o644), f"{path}: {mode:o}"
        assert (status.st_uid, status.st_gid) == (0, 0), path


def test_units_name_documents_that_are_there(installed, own):
    units = [path for path in own if path.startswith("lib/systemd/system/")]
    assert len(units) == 2
    for unit in units:
        named = re.findall(r"^Documentation=file:(.*)$", (installed / unit).read_text(), re.M)
        assert named and all((installed / path).is_file() for path in named), unit


def test_every_library_is_found(installed, own):
    missing = {}
    for path, status in own.items():
        if stat.S_ISREG(status.st_mode) and (installed / path).read_bytes()[:4] == b"\x7fELF":
            told = installed.run("ldd", f"/{path}")
            missing[path] = [line for line in told.stdout.splitlines() if "not found" in line]
    assert len(missing) >= 6
    # The database's is loaded on demand, and only suggested.
    lacking = {path.split("/")[-1]: [line.split()[0] for line in lines] for path, lines in missing.items() if lines}
    assert lacking == {"libhistory_postgresql.so": ["libpq.so.5"]}


def test_it_lists_its_modules(installed):
    listed = diagnose(installed, "-A", scenario=None)
    assert (listed.returncode, listed.stderr) == (0, "")
    assert "\n  - storage\n" in listed.stdout


def test_it_tests_and_records(installed):
    logs = set((installed / "var/lib/tarvex/log").iterdir())
    assert "Test Status: Passed!" in passed_run(installed)
    (log,) = set((installed / "var/lib/tarvex/log").iterdir()) - logs
    assert "passed" in log.read_text()
    assert diagnose(installed, "-Mstorage", "-Qf", "0").returncode == 21


def test_a_machine_without_disks_is_told_so(installed):
    run = diagnose(installed, "-Mstorage", "-Q", "0", scenario=None)
    assert (run.returncode, run.stderr) == (31, ""), run.stdout


def test_it_reads_a_config_file(installed):
    """With the library that is loaded for it alone, and what that one needs."""
    (installed / "config.ini").write_text("[STORAGE]\nENABLE_TARVEX_DRIVE_INFO=1\n")
    try:
        told = diagnose(installed, "-Mstorage", "-Tsmart", "-i", scenario="smart.json")
    finally:
        (installed / "config.ini").unlink()
    assert (told.returncode, told.stderr) == (0, "")
    assert "Serial" in told.stdout


PAGES = ((8, PROGRAM), (7, "tarvex-storage"), (5, NAME), (1, "tarvex-history"), (1, "tarvex-report"))


@pytest.mark.parametrize("section,page", PAGES)
def test_a_manual_page_is_shown(installed, section, page):
    shown = installed.must("man", str(section), page)
    assert "\nNAME\n" in shown and f"{page}({section})".lower() in shown.lower()


# Shells write what was typed, and more, into the home of their user.
HOME = {"HOME": "/packages", "TMPDIR": "/packages", "XDG_RUNTIME_DIR": "/packages"}
# What each shell is told before the first prompt, all else being as Debian has it.
SHELLS = {
    "bash": (
        ["bash", "--norc", "--noprofile", "-i"],
        ". /usr/share/bash-completion/bash_completion; PS1=REA''DY'> '",
    ),
    "zsh": (["zsh", "-f", "-i"], "autoload -U compinit; compinit -u -D; PROMPT=REA''DY'> '"),
    "fish": (["fish", "-i"], "function fish_prompt; echo -n REA''DY'> '; end"),
}


@pytest.mark.parametrize("shell", sorted(SHELLS))
def test_a_shell_completes(installed, shell):
    """The line lists the module's tests only when the shell has written the module's name to its end."""
    words, setup = SHELLS[shell]
    command, *arguments = installed.command(*words, alone=False)
    terminal = pexpect.spawn(
        command, arguments, env=debian.ENVIRONMENT | HOME, encoding="utf-8", dimensions=(60, 200), timeout=60
    )
    try:
        terminal.send(f"{setup}\r")
        terminal.expect_exact("READY>")
        terminal.send(f"{PROGRAM} -Msto\t-L\r")
        terminal.expect_exact("Quick Test")
    finally:
        terminal.close(force=True)


def test_a_run_is_in_the_history_and_on_a_page(installed, tmp_path):
    passed_run(installed)
    history = json.loads(installed.must("tarvex-history", "list", "--json"))
    assert history["runs"][0]["verdict"] == "passed"
    installed.must("tarvex-report", "last", "-o", "/root/report.html")
    page = shutil.move(installed / "root/report.html", tmp_path / "report.html")
    with Browser(tmp_path) as browser:
        browser.open(page)
        assert "passed" in browser.ask("document.querySelector('main').innerText").lower()


def test_there_is_one_version(installed, packages):
    version = project_version()
    assert f"CLI - version {version}\n" in diagnose(installed, "-v").stdout
    for program in ("tarvex-history", "tarvex-report"):
        assert version in installed.must(program, "--version").split()
    log = sorted((installed / "var/lib/tarvex/log").glob("*.jsonl"))[-1].read_text()
    assert f'"name":"Tarvex Diagnostics","version":"{version}"' in log
    for name, file in packages.items():
        assert file.name.startswith(f"{name}_{version}_")
        told = subprocess.run(["dpkg-deb", "-f", file, "Version"], capture_output=True, text=True)
        assert told.stdout == f"{version}\n"
    changelog = installed.must("zcat", f"/usr/share/doc/{NAME}/changelog.gz")
    assert changelog.startswith(f"{NAME} ({version}) ")


def bills(packages):
    for name, file in packages.items():
        if not name.endswith("-dbgsym"):
            yield name, json.loads(file.with_suffix(".spdx.json").read_text())


def test_each_bill_of_materials_is_sound(packages):
    for name, bill in bills(packages):
        assert spdx.faults(bill) == [], name
        assert bill["packages"][0]["versionInfo"] == project_version()


def test_each_bill_names_what_its_package_has_and_relies_on(packages, installed):
    for name, bill in bills(packages):
        field = subprocess.run(
            ["dpkg-deb", "-f", packages[name], "Depends"], capture_output=True, text=True, check=True
        ).stdout
        relied_on = {re.split(r"[ (:|]", word.strip())[0] for word in field.split(",")}
        named = {package["name"]: package["versionInfo"] for package in bill["packages"]}
        assert relied_on <= set(named), name
        files = {file["fileName"][2:] for file in bill["files"]}
        listed = set(installed.must("dpkg", "-L", name).split())
        there = {path[1:] for path in listed if (installed / path).is_file()}
        assert files == {path for path in there if not (installed / path).is_symlink()}


def test_the_bill_names_what_was_compiled_in(packages):
    bill = dict(bills(packages))[NAME]
    linked = [
        relation["relatedSpdxElement"]
        for relation in bill["relationships"]
        if relation["relationshipType"] == "STATIC_LINK"
    ]
    assert linked == ["SPDXRef-Package-nlohmann-json3-dev"]


def test_lintian_has_nothing_to_say():
    (changes,) = debian.PACKAGES.glob("*.changes")
    said = subprocess.run(
        ["lintian", "--allow-root", "--pedantic", "--info", "--fail-on", "error,warning,info,pedantic", changes],
        capture_output=True,
        text=True,
        timeout=300,
    )
    assert (said.returncode, said.stdout) == (0, ""), said.stdout + said.stderr


def test_no_program_came_without_a_hardening(installed, own):
    for path, status in own.items():
        if not stat.S_ISREG(status.st_mode) or (installed / path).read_bytes()[:4] != b"\x7fELF":
            continue
        told = subprocess.run(
            ["readelf", "--wide", "--dynamic", "--program-headers", installed / path],
            capture_output=True,
            text=True,
            check=True,
        ).stdout
        assert "GNU_RELRO" in told and re.search(r"\bFLAGS(_1)?\).*NOW", told), path
        assert re.search(r"GNU_STACK.* RW +0x", told), path
        assert "Elf file type is DYN" in told, path


@pytest.fixture(scope="module")
def removed(installed):
    """The same root after `apt remove`."""
    installed.kept = state_of(installed)
    installed.apt("remove", NAME)
    return installed


def test_removal_keeps_what_was_recorded_and_takes_every_program(removed):
    assert state_of(removed) == removed.kept
    left = {path for path in removed.files() if re.search(r"tarvex|orvan", path, re.I)}
    # Beside what dpkg, the pages' cache and systemd's helper know of a package that may come back.
    kept = re.compile(r"packages/|var/(lib/(tarvex/|dpkg/|systemd/deb-systemd-helper-)|cache/man/)")
    assert sorted(path for path in left if not kept.match(path)) == ["var/lib/tarvex"]


def test_purge_leaves_nothing_but_what_the_user_made(removed):
    removed.apt("install", "--no-install-recommends", "--reinstall", *reinstalled(removed))
    passed_run(removed)
    for path, text in OWN.items():
        if text is None:
            (removed / path).mkdir(exist_ok=True)
        else:
            (removed / path).write_text(text)
    for number in range(MANY_LOGS):
        (removed / f"var/lib/tarvex/log/tarvex-20261122T204202.276Z-{number}.jsonl").touch()
    removed.apt("purge", "--autoremove", NAME)
    left = {path for path in removed.files() - removed.before if not THEIRS.match(path)}
    assert left == set(OWN)
    for path, text in OWN.items():
        assert text is None or (removed / path).read_text() == text
    known = removed.run("dpkg-query", "-W", "-f", "${db:Status-Status}\n", NAME)
    assert known.stdout.replace("not-installed", "").strip() == ""


def reinstalled(root):
    return [f"/packages/{path.name}" for path in (root / "packages").glob(f"{NAME}*_{project_version()}_*.deb")]
