"""What is left of a run when the power goes in its middle."""

import pytest
from emulator import wait_for
from machines import MIB
from outcome import PASSED

MACHINE = "five"
STATE = "virtio"  # the drive on which the program's folders lie; another one is tested
TESTED = "nvme"
SLOW = MIB


def mount_state(machine):
    disk = f"/dev/{machine.kernel_names()[STATE]}"
    machine.guest.make_folder("/lab/state")
    machine.guest.said("mount", "-t", "ext4", disk, "/lab/state")
    return machine.world("state/program")


@pytest.mark.seconds(300)
def test_records_of_tests_that_ended_stay_and_the_log_names_the_one_that_was_running(machine):
    disk = f"/dev/{machine.kernel_names()[STATE]}"
    machine.guest.said("mkfs.ext4", "-q", disk)
    world = mount_state(machine)
    assert world.run(["-Mstorage", "-W", "-Qf", "1"]).returncode == PASSED
    machine.drives[TESTED].throttle(SLOW)
    running = world.start(["-Mstorage", "-W", "-El", "1"])
    running.expect(rb"=> Linear Read Test")
    before = machine.drives[TESTED].bytes_read()
    # The log promises a start once the disk had time for it.
    wait_for("reading", lambda: machine.drives[TESTED].bytes_read() > before + 2 * MIB, 60)
    machine.restart()

    world = mount_state(machine)
    assert [(record["test_name"], record["test_status"]) for record in world.records()] == [
        ("FUNNEL_READ_TEST", "PASSED")
    ]
    machine.drives[TESTED].throttle(None)
    assert world.run(["-Mstorage", "-W", "-El", "1"]).returncode == PASSED
    whole, cut, after = world.logs()
    assert whole[-1]["testRunArtifact"]["testRunEnd"]["result"] == "PASS"
    assert "testRunEnd" not in cut[-1].get("testRunArtifact", {})
    errors = [line["testRunArtifact"]["error"] for line in after
              if "error" in line.get("testRunArtifact", {})]  # fmt: skip
    assert [error["symptom"] for error in errors] == ["earlier-run-unfinished"]
    assert "LINEAR_READ_TEST" in errors[0]["message"]
