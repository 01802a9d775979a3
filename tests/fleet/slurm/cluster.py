"""A Slurm cluster of one node: Debian's slurmctld, slurmd and munged, in a temporary folder."""

import os
import re
import shutil
import socket
import subprocess
import tempfile
import time
from pathlib import Path

from mortal import mortal

NODE = "node1"
SECONDS = 30


def free_port():
    with socket.socket() as one:
        one.bind(("127.0.0.1", 0))
        return one.getsockname()[1]


def settings(folder, more):
    return "\n".join((
        "ClusterName=test",
        f"SlurmctldHost={socket.gethostname()}(127.0.0.1)",
        f"SlurmctldPort={free_port()}",
        "SlurmUser=root",
        "AuthType=auth/munge",
        f"AuthInfo=socket={folder}/munge.socket",
        f"StateSaveLocation={folder}/state",
        f"SlurmdSpoolDir={folder}/spool",
        f"SlurmctldPidFile={folder}/slurmctld.pid",
        f"SlurmdPidFile={folder}/slurmd.pid",
        "ProctrackType=proctrack/linuxproc",
        "TaskPlugin=task/none",
        "JobAcctGatherType=jobacct_gather/none",
        "SwitchType=switch/none",
        "MpiDefault=none",
        "ReturnToService=2",
        "SlurmdTimeout=300",
        *more,
        f"NodeName={NODE} NodeAddr=127.0.0.1 NodeHostname={socket.gethostname()} Port={free_port()} CPUs=1",
        f"PartitionName=all Nodes={NODE} Default=YES State=UP",
        "",
    ))  # fmt: skip


class Cluster:
    """Runs from entry to exit. `more` are lines of its slurm.conf."""

    def __init__(self, *more):
        self.folder = Path(tempfile.mkdtemp(prefix="tarvex-slurm-"))
        self.started = []
        for name in ("state", "spool"):
            (self.folder / name).mkdir()
        self.conf = self.folder / "slurm.conf"
        self.conf.write_text(settings(self.folder, more), encoding="ascii")
        self.environment = {"PATH": os.environ["PATH"], "SLURM_CONF": str(self.conf)}

    def __enter__(self):
        try:
            key = self.folder / "munge.key"
            key.write_bytes(os.urandom(128))
            key.chmod(0o600)
            self.start("munged", "--foreground", "--force", f"--key-file={key}",
                       f"--socket={self.folder}/munge.socket", f"--pid-file={self.folder}/munge.pid",
                       f"--log-file={self.folder}/munge.log", f"--seed-file={self.folder}/munge.seed")  # fmt: skip
            self.wait_for((self.folder / "munge.socket").exists)
            self.start("slurmctld", "-D", "-f", self.conf)
            self.wait_for(lambda: self.call("scontrol", "ping").returncode == 0)
            self.start("slurmd", "-D", "-f", self.conf, "-N", NODE)
            return self
        except BaseException:
            self.__exit__()
            raise

    def __exit__(self, *_):
        # One after another, for slurmd would tell the controller what became of its jobs, and tries for minutes.
        for process in reversed(self.started):
            process.terminate()
            try:
                process.wait(5)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait(SECONDS)
        shutil.rmtree(self.folder)

    def start(self, *words):
        log = (self.folder / f"{words[0]}.log").open("wb")
        self.started.append(subprocess.Popen(mortal(words, "KILL"), stdin=subprocess.DEVNULL, stdout=log,
                                             stderr=log, env=self.environment))  # fmt: skip

    def said(self):
        """What the daemons said, for a test that fails."""
        return "\n".join(path.read_text(errors="replace") for path in self.folder.glob("*.log"))

    def wait_for(self, holds):
        deadline = time.monotonic() + SECONDS
        while not (found := holds()):
            assert time.monotonic() < deadline, self.said()
            assert all(process.poll() is None for process in self.started), self.said()
            time.sleep(0.05)
        return found

    def call(self, *words):
        return subprocess.run(list(map(str, words)), env=self.environment, capture_output=True,
                              text=True, check=False, timeout=SECONDS)  # fmt: skip

    def node(self):
        """(state, reason) as scontrol shows them."""
        said = self.call("scontrol", "--oneliner", "show", "node", NODE).stdout
        state = re.search(r" State=(\S+)", said)
        reason = re.search(r" Reason=(.*?) \[", said)
        return (state[1] if state else "", reason[1] if reason else "")

    def wait_until_idle(self):
        self.wait_for(lambda: self.node()[0] == "IDLE")

    def resume(self):
        self.call("scontrol", "update", f"NodeName={NODE}", "State=RESUME")
        self.wait_until_idle()
