"""Two namespaces of one NVMe controller, which share its serial number and its word about itself."""

from outcome import FAILED, MEDIUM, PASSED, devices, outcomes, unreadable

MACHINE = "shared"
KEY = "Kernel Name"
FIRST, SECOND = "nvme0n1", "nvme0n2"
BAD = 5000


def test_each_is_a_disk_of_its_own(machine, world):
    listed = devices(world.run(["-Mstorage", "-D"]).stdout)
    assert [(entry["Id"], entry[KEY]) for entry in listed] == [("0", FIRST), ("1", SECOND)]
    assert {entry["Serial Number"] for entry in listed} == {"SHARED"}
    assert world.run(["-Mstorage", "-W", "-Qf"]).returncode == PASSED
    assert len({record["device_udi"] for record in world.records()}) == 2


def test_a_bad_sector_is_that_of_its_namespace(machine, world):
    machine.drives["namespace-2"].fail(BAD)
    result = world.run(["-Mstorage", "-Qs,e,f,t"])
    found = outcomes(result.stdout, KEY)
    sound = ["Passed", "Passed", "Passed", "Not Applicable"]
    assert [test.verdict for test in found[FIRST]] == sound
    assert [test.verdict for test in found[SECOND]] == [*sound[:2], "Failed", sound[3]]
    assert found[SECOND][2].said[-1] == unreadable(BAD, 1, MEDIUM, str(BAD))
    assert result.returncode == FAILED


def test_a_warning_of_the_controller_is_one_of_each(machine, world):
    machine.warn("controller", 0x04)
    try:
        result = world.run(["-Mstorage", "-Qs"])
    finally:
        machine.warn("controller", 0)
    found = outcomes(result.stdout, KEY)
    assert [found[name][0].verdict for name in (FIRST, SECOND)] == ["Failed", "Failed"]
    shown = world.run(["-Mstorage", "-Tsmart", "-i"]).stdout
    assert shown.count(b"Critical warnings") == 2
