"""A node whose hardware fails is drained, and no other is: with Slurm itself."""

import json
import os
from pathlib import Path

import pytest
from cluster import NODE, Cluster

BINARY_DIR = Path(os.environ["TARVEX_BINARY_DIR"])
CHECK = BINARY_DIR / "fleet" / "slurm" / "tarvex-node-check"
PASSED, FAILED, CANCELED, WARNING, INVALID = 0, 1, 4, 5, 6
DEVICE = "Disk $(id) \"A\" `b` 'c'\\"


def scenario(status, seconds):
    """A machine with one disk, whose one test comes to that. The disk's name is hostile."""
    test = {
        "name": "SMART_STATUS_TEST", "option": "s", "longName": "smart-status",
        "key": {"major": 5, "minor": 1, "build": 0, "identifier": 100},
        "outcome": {"status": status, "durationMs": seconds * 1000},
    }  # fmt: skip
    diagnostic = {
        "name": "QUICK_TEST", "option": "Q", "longName": "quick", "tests": [test],
        "key": {"major": 1, "minor": 1, "build": 0, "identifier": 1},
    }  # fmt: skip
    disk = {"id": "0", "name": DEVICE, "entries": [{"label": "SERIAL_NUMBER", "value": "A-1"}]}
    return {"modules": [{"name": "storage", "diagnostics": [diagnostic], "devices": [disk]}]}


class Node:
    """A cluster whose node makes its check as `how` says; the check's surroundings are the test's."""

    def __init__(self, folder, how):
        self.folder = folder
        self.settings = folder / "node-check.conf"
        wrapper = folder / "check"
        # Slurm gives the check no environment of ours.
        wrapper.write_text(f"#!/bin/sh\nTARVEX_NODE_CHECK_CONF={self.settings} {CHECK}\nstatus=$?\n"
                           f"echo $status >>{folder}/done\nexit $status\n", encoding="ascii")  # fmt: skip
        wrapper.chmod(0o755)
        self.cluster = Cluster(*(line.format(wrapper) for line in how))
        self.machine(PASSED)

    def machine(self, status, *more, seconds=0):
        text = json.dumps(scenario(status, seconds))
        self.put(self.folder / "scenario.json", text)
        lines = [
            f"PROGRAM={BINARY_DIR}/bin/TarvexDiagnosticsCLI",
            f"SCHEDULED={BINARY_DIR}/bin/tarvex-scheduled",
            f"export ORVAN_SCENARIO={self.folder}/scenario.json",
            f"export TARVEX_RUN_DIR={self.folder}/run TARVEX_STATE_DIR={self.folder}/state",
            # A cluster's own lies where all of Slurm looks for it.
            f"export SLURM_CONF={self.cluster.conf}",
            *more,
        ]
        self.put(self.settings, "".join(f"{line}\n" for line in lines))

    @staticmethod
    def put(path, text):
        """At once, for a check may be about to read it."""
        made = path.with_suffix(".new")
        made.write_text(text, encoding="utf-8")
        made.replace(path)

    def checks(self):
        """The exit status of each check so far."""
        done = self.folder / "done"
        return done.read_text(encoding="ascii").split() if done.exists() else []

    def wait_for_checks(self, count):
        """So many checks more, of which the first may have begun before."""
        before = len(self.checks())
        self.cluster.wait_for(lambda: len(self.checks()) >= before + count)

    def wait_until_drained(self):
        state, reason = self.cluster.wait_for(
            lambda: (found := self.cluster.node()) and "DRAIN" in found[0] and found
        )
        assert "DRAIN" in state
        return reason


@pytest.fixture
def node(request, tmp_path):
    made = Node(tmp_path, request.param)
    with made.cluster:
        yield made


BEFORE_JOBS = ["Prolog={}", "PrologFlags=Alloc"]
EVERY_SECOND = ["HealthCheckProgram={}", "HealthCheckInterval=1", "HealthCheckNodeState=ANY"]
WHY_FAILED = "tarvex: Disk ?(id) ?A? ?b? ?c??, serial number A-1 (storage 0): Smart Status Test: failed"


@pytest.mark.parametrize("node", [EVERY_SECOND], indirect=True)
def test_health_check(node):
    cluster = node.cluster
    cluster.wait_until_idle()
    node.wait_for_checks(1)
    # What says nothing about the hardware leaves the node.
    for status, more in ((INVALID, ()), (CANCELED, ()), (WARNING, ()), (PASSED, ()),
                         (FAILED, ["PROGRAM=/no/such/program"]), (FAILED, ["CHECK=-Mnone"])):  # fmt: skip
        node.machine(status, *more)
        node.wait_for_checks(2)
        assert cluster.node() == ("IDLE", ""), (status, more)
    node.machine(FAILED, "SECONDS_AT_MOST=1", seconds=60)
    node.wait_for_checks(2)
    assert cluster.node() == ("IDLE", "")
    assert set(node.checks()) == {"0"}

    node.machine(WARNING, "DRAIN_ON_WARNING=yes")
    assert node.wait_until_drained().endswith("Smart Status Test: warning")

    node.machine(PASSED)
    node.wait_for_checks(2)
    assert "DRAIN" in cluster.node()[0], "who was drained stays so until somebody says otherwise"
    cluster.resume()
    node.machine(FAILED)
    assert node.wait_until_drained().startswith(WHY_FAILED)

    cluster.call("scontrol", "update", f"NodeName={NODE}", "State=DRAIN", "Reason=fan is loud")
    node.wait_for_checks(2)
    assert cluster.node()[1] == "fan is loud"


@pytest.mark.parametrize("node", [BEFORE_JOBS], indirect=True)
def test_prolog(node):
    cluster = node.cluster
    cluster.wait_until_idle()
    assert cluster.call("srun", "true").returncode == 0
    node.machine(INVALID)
    assert cluster.call("srun", "true").returncode == 0
    node.machine(FAILED)
    begun = node.folder / "begun"
    job = cluster.call("sbatch", "--parsable", "-o", "/dev/null", "--wrap", f"touch {begun}")
    assert job.returncode == 0, job.stderr
    assert node.wait_until_drained().startswith(WHY_FAILED)
    assert not begun.exists()
    assert node.checks() == ["0", "0", "1"]
