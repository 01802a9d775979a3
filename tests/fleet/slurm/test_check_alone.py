"""What the check does where Slurm does not answer, or its settings are wrong: a script stands for scontrol."""

import json
import os
import socket
import subprocess

import pytest
from test_node_check import BINARY_DIR, CHECK, FAILED, PASSED, scenario


class Check:
    """Runs the check. `scontrol` is the body of the script that is called so; its calls are kept."""

    def __init__(self, folder):
        self.folder = folder
        self.calls = folder / "calls"
        (folder / "bin").mkdir()

    def run(self, status, *more, scontrol="exit 0", node=None):
        (self.folder / "scenario.json").write_text(json.dumps(scenario(status, 0)), encoding="utf-8")
        script = self.folder / "bin" / "scontrol"
        script.write_text(f'#!/bin/sh\necho "$*" >>{self.calls}\n{scontrol}\n', encoding="ascii")
        script.chmod(0o755)
        lines = (
            f"PATH={self.folder}/bin:$PATH",
            f"PROGRAM={BINARY_DIR}/bin/TarvexDiagnosticsCLI",
            f"SCHEDULED={BINARY_DIR}/bin/tarvex-scheduled",
            f"export ORVAN_SCENARIO={self.folder}/scenario.json",
            f"export TARVEX_RUN_DIR={self.folder}/run TARVEX_STATE_DIR={self.folder}/state",
            *more,
        )
        settings = self.folder / "node-check.conf"
        settings.write_text("".join(f"{line}\n" for line in lines), encoding="ascii")
        environment = {"TARVEX_NODE_CHECK_CONF": str(settings)}
        if node:
            environment["SLURMD_NODENAME"] = node
        return subprocess.run([CHECK], env=environment, stdin=subprocess.DEVNULL, capture_output=True,
                              text=True, check=False, timeout=60)  # fmt: skip


@pytest.fixture
def check(tmp_path):
    return Check(tmp_path)


def test_the_node_is_the_one_that_slurm_names(check):
    assert check.run(FAILED, node="rack1.node-7").returncode == 1
    asked, drained = check.calls.read_text(encoding="ascii").splitlines()
    assert asked == "--oneliner show node rack1.node-7"
    assert drained.startswith("update NodeName=rack1.node-7 State=DRAIN Reason=tarvex: Disk ")


def test_without_that_it_is_the_machine_by_its_short_name(check):
    check.run(FAILED)
    name = socket.gethostname().split(".")[0]
    assert check.calls.read_text(encoding="ascii").startswith(f"--oneliner show node {name}\n")


def test_the_settings_may_name_the_node(check):
    assert check.run(FAILED, "SLURMD_NODENAME=node-7").returncode == 1
    assert check.calls.read_text(encoding="ascii").startswith("--oneliner show node node-7\n")


def test_who_cannot_drain_does_not_say_so(check):
    said = check.run(FAILED, scontrol="echo no controller >&2; exit 1", node="n")
    assert said.returncode == 1, "a prolog that ends so drains the node by itself"
    assert "tarvex-node-check: node n could not be drained: tarvex: Disk " in said.stderr
    assert "is drained" not in said.stderr


@pytest.mark.parametrize("state", ["IDLE+DRAIN", "DOWN*", "MIXED+DRAIN"])
def test_a_node_out_of_service_keeps_its_reason(check, state):
    said = check.run(FAILED, scontrol=f"echo NodeName=n State={state} Reason=fan", node="n")
    assert "node n is out of service already" in said.stderr
    assert check.calls.read_text(encoding="ascii") == "--oneliner show node n\n"


@pytest.mark.parametrize(
    "line",
    ["if then", "CHECK='", "exit 3 )", ". /no/such/file", "exit 0"],
    ids=["syntax", "quote", "bracket", "file", "end"],
)
def test_settings_with_a_slip_cost_no_node(check, line):
    said = check.run(FAILED, line, node="n")
    assert said.returncode == 0, said.stderr
    assert "node n stays: the settings cannot be read: " in said.stderr
    assert not check.calls.exists()


@pytest.mark.parametrize("line", ["[ -e /no/such/file ] && CHECK=-Mnone", ": $NO_SUCH_NAME", "false"])
def test_settings_whose_last_line_is_false_are_none_with_a_slip(check, line):
    assert check.run(PASSED, line).returncode == 0
    assert check.run(FAILED, line, node="n").returncode == 1


def test_a_check_that_tested_nothing_costs_no_node_and_is_told(check):
    nothing = check.folder / "nothing.json"
    nothing.write_text('{"service": {"loadModules": "null"}, "modules": []}', encoding="ascii")
    said = check.run(PASSED, f"ORVAN_SCENARIO={nothing}", node="n")
    assert (said.returncode, check.calls.exists()) == (0, False)
    assert "node n stays: tarvex: The scheduled run passed, and tells of no test" in said.stderr
    assert check.run(PASSED, node="n").stderr == ""


def test_a_program_that_is_not_there_costs_no_node(check):
    for line in ("SCHEDULED=/no/such/program", "SECONDS_AT_MOST=soon"):
        said = check.run(FAILED, line, node="n")
        assert (said.returncode, check.calls.exists()) == (0, False), line
        assert "node n stays: the check ended with status " in said.stderr
