"""The abort key during reads of real block devices, on a pseudo terminal."""


from disk import device_id, needs_devices
from pace import Stopwatch
from terminal import Terminal

pytestmark = needs_devices

CANCELED = 25


def reading(world, identifier):
    """The program with a linear read under way and its progress on the screen."""
    terminal = Terminal(world, ["-Mstorage", "-El", identifier])
    terminal.expect(rb"=> Linear Read Test\r\n")
    terminal.expect(rb"   \d+% . \d+ seconds? \r")
    return terminal


def expect_end_within_a_second_of_escape(terminal):
    assert terminal.reads_single_keys()
    stopwatch = Stopwatch()
    terminal.press(b"\x1b")
    terminal.expect(rb"Test Status: Canceled!\r\n")
    terminal.expect(rb"Final Result Code: \S+-CANCELED-\d+\r\n")
    assert terminal.wait(5) == CANCELED
    assert stopwatch.seconds() < 1.0
    assert terminal.is_as_before()


def test_escape_ends_a_read_within_a_second(world, endless_disk):
    with reading(world, device_id(world, endless_disk.kernel_name)) as terminal:
        expect_end_within_a_second_of_escape(terminal)
    # Nobody is left behind who goes on reading.
    reads = int(endless_disk.command("reads"))
    device_id(world, endless_disk.kernel_name)
    assert int(endless_disk.command("reads")) - reads < 64


def test_escape_does_not_wait_for_a_read_that_hangs(world, disk):
    identifier = device_id(world, disk.kernel_name)
    (world.config_dir / "service.ini").write_text(
        "[storage]\ninclude_loop=1\ntimeout_seconds=30\n", encoding="utf-8"
    )
    # Not where a search for partitions reads too.
    disk.command("hang", 20000, 1000)
    with reading(world, identifier) as terminal:
        disk.command("wait")
        expect_end_within_a_second_of_escape(terminal)
