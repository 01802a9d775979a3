"""The role, by Debian's own Ansible, on a machine in a folder: this one's root below a layer of memory."""

import json
import os
import re
import shutil
import subprocess
from pathlib import Path

import pytest

BINARY_DIR = Path(os.environ["TARVEX_BINARY_DIR"])
ROLES = Path(os.environ["TARVEX_SOURCE_DIR"]) / "fleet" / "ansible" / "roles"
SECONDS = 120
CONTROL = """Package: tarvex-diagnostics
Version: 5.0.0.0
Architecture: amd64
Maintainer: Test <test@example.invalid>
Description: what the build installs
"""
# In mounts of its own, which end with it.
ENTER = """
mkdir -p {layer}/upper {layer}/work {layer}/root
mount -t tmpfs none {layer}
mkdir {layer}/upper {layer}/work {layer}/root
mount -t overlay -o lowerdir=/,upperdir={layer}/upper,workdir={layer}/work none {layer}/root
for folder in proc sys dev tmp; do mount --rbind /$folder {layer}/root/$folder; done
rm -rf {layer}/root/var/lib/tarvex {layer}/root/etc/tarvex
"""


# What says that a log is fetched.
ITEM = "(item=tarvex-"


class Dry(dict):
    """The variables of a play that is only to say what it would change."""


def scenario(status, duration):
    test = {
        "name": "READ_TEST", "option": "r", "longName": "read",
        "outcome": {"status": status, "durationMs": duration},
        "key": {"major": 5, "minor": 1, "build": 0, "identifier": 100},
    }  # fmt: skip
    diagnostic = {
        "name": "QUICK_TEST", "option": "Q", "longName": "quick", "tests": [test],
        "key": {"major": 1, "minor": 1, "build": 0, "identifier": 1},
    }  # fmt: skip
    disk = {"id": "0", "name": "Disk A", "entries": []}
    return {"modules": [{"name": "storage", "diagnostics": [diagnostic], "devices": [disk]}]}


@pytest.fixture(scope="module")
def package(tmp_path_factory):
    """What the build installs, as a package."""
    tree = tmp_path_factory.mktemp("package")
    subprocess.run(["cmake", "--install", BINARY_DIR, "--strip"], check=True, capture_output=True,
                   env={**os.environ, "DESTDIR": str(tree / "tree")})  # fmt: skip
    (tree / "tree" / "DEBIAN").mkdir()
    (tree / "tree" / "DEBIAN" / "control").write_text(CONTROL, encoding="ascii")
    made = tree / "tarvex-diagnostics_5.0.0.0_amd64.deb"
    subprocess.run(["dpkg-deb", "-Znone", "--root-owner-group", "--build", tree / "tree", made],
                   check=True, capture_output=True)  # fmt: skip
    shutil.rmtree(tree / "tree")
    return made


class Fleet:
    """Runs playbooks on one machine, which begins anew with each call of `play`."""

    def __init__(self, folder, package):
        self.folder = folder
        self.logs = folder / "logs"
        self.layer = folder / "layer"
        self.layer.mkdir()
        self.package = package
        (folder / "inventory").write_text(
            f"machine-1 ansible_host={self.layer}/root ansible_connection=community.general.chroot "
            "ansible_python_interpreter=/usr/bin/python3\n", encoding="ascii")  # fmt: skip

    def play(self, *runs, then=""):
        """A playbook of one role for each of `runs`, its variables, one after the other in one machine, or a
        command of the shell; what Ansible and the command `then` say. `{root}` is the machine's."""
        commands = [ENTER]
        for number, variables in enumerate(runs):
            if isinstance(variables, str):
                commands.append(variables + "\n")
                continue
            # No systemd runs in a folder; what is switched on there is so from its next start on.
            play = [{"hosts": "all", "gather_facts": False, "environment": {"SYSTEMD_OFFLINE": "1"},
                     "roles": [{"role": "tarvex_diagnostics", "tarvex_package": str(self.package),
                                **variables}]}]  # fmt: skip
            path = self.folder / f"play-{number}.json"
            path.write_text(json.dumps(play), encoding="utf-8")
            dry = "--check" if isinstance(variables, Dry) else ""
            commands.append(f"ansible-playbook -i {self.folder}/inventory {dry} {path} || :\n")
        script = "".join(commands).format(layer=self.layer) + then.format(root=f"{self.layer}/root")
        environment = {
            "PATH": "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
            "HOME": str(self.folder),
            "LC_ALL": "C.UTF-8",
            "ANSIBLE_ROLES_PATH": str(ROLES),
            "ANSIBLE_NOCOLOR": "1",
            "ANSIBLE_PIPELINING": "1",
            "ANSIBLE_LOCALHOST_WARNING": "0",
        }
        done = subprocess.run(["unshare", "--mount", "--propagation", "private", "sh", "-euc", script],
                              env=environment, capture_output=True, text=True, check=False,
                              stdin=subprocess.DEVNULL, timeout=SECONDS)  # fmt: skip
        assert done.returncode == 0, done.stdout + done.stderr
        return done.stdout

    def scenario(self, status, duration=0):
        path = self.folder / f"scenario-{status}-{duration}.json"
        path.write_text(json.dumps(scenario(status, duration)), encoding="utf-8")
        return {"ORVAN_SCENARIO": str(path)}

    def home(self):
        """The runs whose logs were brought home: (folder, verdict)."""
        said = subprocess.run([BINARY_DIR / "bin" / "tarvex-history", "--logs", self.logs, "list", "--json"],
                              check=True, capture_output=True).stdout  # fmt: skip
        return [(Path(run["file"]).parent.name, run["verdict"]) for run in json.loads(said)["runs"]]


@pytest.fixture
def fleet(tmp_path, package):
    return Fleet(tmp_path, package)


def recaps(said):
    """(changed, failed) of each playbook."""
    found = re.findall(r"^machine-1 .*changed=(\d+).*failed=(\d+)", said, re.M)
    return [(int(changed), int(failed)) for changed, failed in found]


def test_machine_is_set_up_once_runs_and_sends_its_logs_home(fleet):
    settings = {"storage": {"timeout_seconds": 20, "include_loop": True}}
    setup = {"tarvex_settings": settings, "tarvex_timer": True, "tarvex_logs": str(fleet.logs)}
    run = {"tarvex_run": ["-Mstorage", "-Q"], "tarvex_environment": fleet.scenario(0)}
    said = fleet.play(
        setup | run, setup, {"tarvex_timer": False},
        then="cat {root}/etc/tarvex/service.ini; stat -c %U:%a {root}/etc/tarvex/service.ini;"
             "chroot {root} dpkg-query -W tarvex-diagnostics;"
             "ls {root}/etc/systemd/system/timers.target.wants",
    )  # fmt: skip
    first, second, third = recaps(said)
    assert first[1] == 0, said
    # Package, its file, timer, folder, settings, run and log.
    assert first[0] == 7, said
    assert second == (0, 0), said
    # The timer alone.
    assert third == (1, 0), said
    assert "[storage]\ninclude_loop=1\ntimeout_seconds=20\n" in said
    assert "root:644\n" in said
    assert "tarvex-diagnostics\t5.0.0.0" in said
    assert "tarvex-diagnostics.timer" not in said.split("tarvex-diagnostics\t5.0.0.0")[1]
    assert fleet.home() == [("machine-1", "passed")]


def test_machine_whose_hardware_fails_is_failed_after_its_logs_are_home(fleet):
    logs = {"tarvex_run": ["-Mstorage", "-Q"], "tarvex_logs": str(fleet.logs)}
    said = fleet.play(
        logs | {"tarvex_environment": fleet.scenario(6)},
        logs | {"tarvex_environment": fleet.scenario(1)},
    )
    invalid, failed = recaps(said)
    assert invalid[1] == 0, "what could not be tried is no failure of the machine"
    assert failed[1] == 1, said
    assert "the diagnostics ended with status 21 on machine-1" in said
    assert sorted(fleet.home()) == [("machine-1", "failed"), ("machine-1", "invalid")]


def test_misspelt_variable_is_refused(fleet):
    said = fleet.play({"tarvex_timer": "sometimes"})
    assert recaps(said) == [(0, 1)]
    assert "sometimes" in said


def test_nothing_is_changed_in_a_dry_run(fleet):
    setup = {"tarvex_settings": {"storage": {"include_loop": False}}, "tarvex_timer": True,
             "tarvex_run": ["-Mstorage", "-Q"], "tarvex_logs": str(fleet.logs)}  # fmt: skip
    said = fleet.play(Dry(setup), then="ls {root}/etc/tarvex {root}/var/lib/tarvex 2>&1 || :")
    ((_, failed),) = recaps(said)
    assert failed == 0, said
    assert said.count("No such file or directory") == 2, said
    assert not fleet.logs.exists()


def test_logs_come_home_once_and_whole(fleet):
    logs = {"tarvex_logs": str(fleet.logs)}
    run = logs | {"tarvex_run": ["-Mstorage", "-Q"], "tarvex_environment": fleet.scenario(0)}
    said = fleet.play(
        run,
        logs,
        f"truncate -s 100 {fleet.logs}/machine-1/*",
        logs,
    )
    again, cut = said.split("\nPLAY RECAP")[1:3]
    assert ITEM not in again, "what is home already is not even looked at"
    assert ITEM in cut
    assert recaps(said)[1:] == [(0, 0), (1, 0)], said
    assert fleet.home() == [("machine-1", "passed")]


def test_run_that_cannot_be_is_told_of_and_another_run_is_no_failure(fleet):
    command = {"tarvex_run": ["-Mstorage", "-Q"], "tarvex_environment": fleet.scenario(0)}
    own = {name: str(fleet.folder / name) for name in ("TARVEX_RUN_DIR", "TARVEX_STATE_DIR")}
    nothing = fleet.folder / "nothing.json"
    nothing.write_text('{"service": {"loadModules": "null"}, "modules": []}', encoding="utf-8")
    busy = " ".join(f"{name}={value}" for name, value in (fleet.scenario(0, 600_000) | own).items())
    said = fleet.play(
        command | {"tarvex_environment": {"ORVAN_SCENARIO": str(nothing)}},
        command | {"tarvex_run": ["-Mnone", "-Q"]},
        command | {"tarvex_environment": {"PATH": "/no/such/folder"}},
        f"{busy} {BINARY_DIR}/bin/TarvexDiagnosticsCLI -Mstorage -Q >/dev/null 2>&1 & busy=$!\n"
        f"until grep -qs READ_TEST {own['TARVEX_STATE_DIR']}/log/*; do sleep 0.1; done",
        command | {"tarvex_environment": fleet.scenario(0) | own},
        "kill $busy; wait $busy || :",
    )
    *none, busy = recaps(said)
    assert [failed for _, failed in none] == [1, 1, 1], said
    assert busy == (0, 0), said
    assert "the diagnostics did not run on machine-1: " in said
    assert "(status 0)" in said
    assert "(status 30)" in said
    assert "No such file or directory" in said
