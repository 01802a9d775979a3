"""The inhibitor against a login manager on a private system bus."""

import os
import socket
import subprocess
import sys
import tempfile
import time
import unittest

import dbus
import dbusmock

PROBE = sys.argv.pop()


def start_probe(*arguments):
    return subprocess.Popen([PROBE, *arguments], text=True,
                            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def system_bus_socket():
    """Of the private bus: "unix:path=SOCKET,guid=..."."""
    return os.environ["DBUS_SYSTEM_BUS_ADDRESS"].removeprefix("unix:path=").split(",")[0]


def end_probe(probe):
    rest, errors = probe.communicate(timeout=60)
    return probe.returncode, rest, errors


class WithLoginManager(dbusmock.DBusTestCase):
    @classmethod
    def setUpClass(cls):
        cls.start_system_bus()
        cls.bus = cls.get_dbus(True)

    def setUp(self):
        self.manager, self.proxy = self.spawn_server_template(
            "logind", {}, stdout=subprocess.DEVNULL)

    def tearDown(self):
        self.manager.terminate()
        self.manager.wait()

    def inhibitors(self):
        manager = dbus.Interface(self.proxy, "org.freedesktop.login1.Manager")
        return [tuple(map(str, entry[:4])) for entry in manager.ListInhibitors()]

    def test_is_held_for_the_objects_life(self):
        probe = start_probe(system_bus_socket(), "patient")
        self.assertEqual(probe.stdout.readline(), "held\n")
        self.assertEqual(self.inhibitors(), [
            ("idle:sleep", "Tarvex Diagnostics", "Diagnostics are running", "block")])
        self.assertEqual(end_probe(probe), (0, "", ""))
        deadline = time.monotonic() + 60
        while self.inhibitors() and time.monotonic() < deadline:
            time.sleep(0.01)
        self.assertEqual(self.inhibitors(), [])


class WithoutLoginManager(dbusmock.DBusTestCase):
    @classmethod
    def setUpClass(cls):
        cls.start_system_bus()

    def test_says_nothing(self):
        probe = start_probe(system_bus_socket(), "patient")
        self.assertEqual(end_probe(probe), (0, "not held\n", ""))


class WithoutBus(unittest.TestCase):
    def test_says_nothing(self):
        probe = start_probe("/nonexistent/bus", "patient")
        self.assertEqual(end_probe(probe), (0, "not held\n", ""))

    def test_mute_bus_does_not_hold_up_the_start(self):
        with tempfile.TemporaryDirectory() as folder, socket.socket(socket.AF_UNIX) as mute:
            mute.bind(folder + "/bus")
            mute.listen()
            start = time.monotonic()
            probe = start_probe(folder + "/bus")
            self.assertEqual(probe.stdout.readline(), "not held\n")
            # The greeting's own limit is 90 seconds.
            self.assertLess(time.monotonic() - start, 10)
            self.assertEqual(end_probe(probe), (0, "", ""))


if __name__ == "__main__":
    unittest.main()
