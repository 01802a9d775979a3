"""What a drive is called: the same after each boot, whatever the kernel calls it."""

from dataclasses import replace

import pytest
from machine import Machine
from machines import KINDS, MACHINES
from outcome import PASSED, devices


class Names:
    """What the program and the kernel call the drives of a machine, by their serial numbers."""

    def __init__(self, machine, name):
        world = machine.world(name)
        listed = devices(world.run(["-Mstorage", "-D"]).stdout)
        self.ids = {entry["Serial Number"]: entry["Id"] for entry in listed}
        self.kernel = {entry["Serial Number"]: entry["Kernel Name"] for entry in listed}
        run = world.run(["-Mstorage", "-W", "-Qf", *self.ids.values()])
        assert run.returncode == PASSED
        in_order = [record["device_udi"] for record in world.records()]
        self.unique = dict(zip(self.ids, in_order, strict=True))


@pytest.fixture(scope="module")
def boots():
    """Names at a first boot, with drivers and drives in another order, and with drives exchanged."""
    row = MACHINES["five"]
    turned = replace(row, drivers=row.drivers[::-1], drives=row.drives[::-1])
    count = len(row.drives)
    exchanged = replace(
        row, drives=tuple(replace(drive, slot=count + 1 - drive.slot) for drive in row.drives)
    )
    found = []
    with Machine(row) as machine:
        for boot, other in enumerate((row, turned, exchanged)):
            if boot:
                machine.cut_power()
                machine.boot(other)
            found.append(Names(machine, f"boot-{boot}"))
    return found


def test_ids_follow_the_place_and_not_the_order_of_detection(boots):
    first, turned, _ = boots
    assert first.ids == {kind: str(place) for place, kind in enumerate(KINDS)}
    assert turned.ids == first.ids
    # It really was another order.
    assert turned.kernel != first.kernel


def test_unique_ids_are_the_same_after_each_boot(boots):
    first, turned, _ = boots
    assert len(set(first.unique.values())) == len(KINDS)
    assert turned.unique == first.unique


def test_unique_id_stays_with_a_drive_that_is_moved_and_the_id_with_its_place(boots):
    first, _, exchanged = boots
    assert exchanged.ids == {kind: str(place) for place, kind in enumerate(reversed(KINDS))}
    assert exchanged.unique == first.unique
