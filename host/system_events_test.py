#!/usr/bin/env python3
"""System events, against a simulated login manager on a private system bus."""

import ctypes
import os
import queue
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest

import dbus
import dbus.bus
import dbus.lowlevel

PROBE = os.environ['HOST_PROBE']
DEADLINE = 60
MANAGER = 'org.freedesktop.login1'
PATH = '/org/freedesktop/login1'
SESSION = '/org/freedesktop/login1/session/c1'
MOCK = 'org.freedesktop.DBus.Mock'
USER = 1234

SUSPEND = '536 4'
RESUME = '536 6'
CONSOLE_GONE = '689 2'
LOCKED = '689 7'
LOG_OFF = '17 2147483648'
SHUTDOWN = '17 0'

BUS_CONFIGURATION = '''<busconfig>
  <type>system</type>
  <listen>{address}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_type="method_call"/>
    <allow send_type="signal"/>
    <allow send_type="method_return"/>
    <allow send_type="error"/>
    <allow receive_type="method_call"/>
    <allow receive_type="signal"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
  </policy>
</busconfig>
'''


LIBC = ctypes.CDLL(None)
PR_SET_PDEATHSIG = 1


def end_with_this_test():
    LIBC.prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


def wait_until(condition, what):
    end = time.monotonic() + DEADLINE
    while not condition():
        if time.monotonic() > end:
            raise AssertionError('waited in vain for ' + what)
        time.sleep(0.01)


class Lines:
    """The lines of a stream, each waited for with a deadline."""

    def __init__(self, stream):
        self.lines = queue.Queue()
        self.thread = threading.Thread(target=self.read, args=(stream,))
        self.thread.start()

    def read(self, stream):
        with stream:
            for line in stream:
                self.lines.put(line.rstrip('\n'))
        self.lines.put(None)

    def next(self):
        return self.lines.get(timeout=DEADLINE)

    def next_within(self, seconds):
        """The next line, None when there is none in that time."""
        try:
            return self.lines.get(timeout=seconds)
        except queue.Empty:
            return None


class SystemEventsTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        self.socket = os.path.join(self.folder, 'bus')
        self.address = 'unix:path=' + self.socket
        self.environment = dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS=self.address)
        self.daemon = None
        self.start_bus()
        self.start_manager()

    def start(self, *command, **options):
        process = subprocess.Popen(command, env=self.environment, text=True,
                                   preexec_fn=end_with_this_test, **options)
        self.addCleanup(self.stop, process)
        return process

    @staticmethod
    def stop(process):
        process.kill()
        process.wait()
        if process.stdin:
            process.stdin.close()

    def start_bus(self):
        configuration = os.path.join(self.folder, 'bus.conf')
        with open(configuration, 'w', encoding='ascii') as file:
            file.write(BUS_CONFIGURATION.format(address=self.address))
        self.daemon = self.start('dbus-daemon', '--nofork', '--config-file=' + configuration,
                                 '--print-address', stdout=subprocess.PIPE)
        self.daemon_lines = Lines(self.daemon.stdout)
        self.assertIn(self.address, self.daemon_lines.next())
        self.bus = dbus.bus.BusConnection(self.address)
        self.bus.set_exit_on_disconnect(False)
        self.addCleanup(self.bus.close)

    def start_manager(self, session=True):
        self.mock = self.start('/usr/bin/python3', '-m', 'dbusmock', '--system', '--template',
                               'logind', stdout=subprocess.DEVNULL)
        wait_until(lambda: self.bus.name_has_owner(MANAGER), 'the login manager')
        self.manager = dbus.Interface(self.bus.get_object(MANAGER, PATH), MOCK)
        if session:
            self.manager.AddSession('c1', 'seat0', dbus.UInt32(USER), 'operator', True)
            self.manager.AddMethod(MANAGER + '.Manager', 'GetSessionByPID', 'u', 'o',
                                   f'ret = "{SESSION}"')
            self.session = dbus.Interface(self.bus.get_object(MANAGER, SESSION), MOCK)

    def stop_bus(self):
        self.stop(self.mock)
        self.stop(self.daemon)
        os.unlink(self.socket)

    def start_probe(self):
        self.probe = self.start(PROBE, 'events', self.socket, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.lines = Lines(self.probe.stdout)
        self.assertEqual(self.lines.next(), 'ready')

    def watch(self):
        """Starts the probe and waits until it knows its session, whose user it learns last."""
        self.start_probe()
        self.wait_for_inhibitor()
        heard = None
        while heard is None:
            self.emit('UserRemoved', 'uo', dbus.UInt32(USER), dbus.ObjectPath(PATH + '/user/y'))
            heard = self.lines.next_within(0.05)
        self.sleep(False)
        while heard != 'done ' + RESUME:
            heard = self.lines.next()

    def inhibitors(self):
        manager = dbus.Interface(self.bus.get_object(MANAGER, PATH), MANAGER + '.Manager')
        return [tuple(str(field) for field in row[:4]) for row in manager.ListInhibitors()]

    def wait_for_inhibitor(self):
        expected = ('shutdown', 'Tarvex Diagnostics', 'Diagnostics are running', 'delay')
        wait_until(lambda: self.inhibitors() == [expected], 'the inhibitor')

    def tell(self, line):
        self.probe.stdin.write(line + '\n')
        self.probe.stdin.flush()

    def expect(self, *events):
        for event in events:
            self.assertEqual(self.lines.next(), 'event ' + event)
            self.assertEqual(self.lines.next(), 'done ' + event)

    def emit(self, member, signature, *values):
        self.manager.EmitSignal(MANAGER + '.Manager', member, signature, list(values))

    def sleep(self, begins):
        self.emit('PrepareForSleep', 'b', begins)

    def shutdown(self, begins):
        self.emit('PrepareForShutdown', 'b', begins)

    def change(self, **properties):
        self.session.UpdateProperties(MANAGER + '.Session', properties)

    def test_sleep_and_resume(self):
        self.watch()
        self.sleep(True)
        self.sleep(False)
        self.expect(SUSPEND, RESUME)

    def test_lock_of_the_own_session_only(self):
        self.watch()
        self.manager.AddSession('c2', 'seat0', dbus.UInt32(USER + 1), 'other', True)
        other = dbus.Interface(self.bus.get_object(MANAGER, SESSION[:-1] + '2'), MOCK)
        other.EmitSignal(MANAGER + '.Session', 'Lock', '', [])
        other.UpdateProperties(MANAGER + '.Session', {'Active': False, 'State': 'closing'})
        self.session.EmitSignal(MANAGER + '.Session', 'Lock', '', [])
        self.expect(LOCKED)

    def test_console_gone_when_the_session_becomes_inactive(self):
        self.watch()
        self.change(Active=False)
        self.expect(CONSOLE_GONE)
        self.change(Active=True)
        self.change(Active=False)
        self.expect(CONSOLE_GONE)

    def test_console_gone_when_the_session_is_removed(self):
        self.watch()
        self.emit('SessionRemoved', 'so', 'c2', dbus.ObjectPath(SESSION[:-1] + '2'))
        self.emit('SessionRemoved', 'so', 'c1', dbus.ObjectPath(SESSION))
        self.expect(CONSOLE_GONE)

    def test_log_off_when_the_session_is_closing(self):
        self.watch()
        self.change(State='online')
        self.change(State='closing')
        self.expect(LOG_OFF)

    def test_log_off_when_the_user_is_removed(self):
        self.watch()
        self.emit('UserRemoved', 'uo', dbus.UInt32(USER + 1), dbus.ObjectPath(PATH + '/user/x'))
        self.emit('UserRemoved', 'uo', dbus.UInt32(USER), dbus.ObjectPath(PATH + '/user/y'))
        self.expect(LOG_OFF)

    def test_shutdown_waits_for_the_handler(self):
        self.watch()
        self.tell('hold')
        self.assertEqual(self.lines.next(), 'is hold')
        self.shutdown(True)
        self.assertEqual(self.lines.next(), 'event ' + SHUTDOWN)
        self.assertEqual(len(self.inhibitors()), 1)
        self.tell('free')
        self.assertEqual({self.lines.next(), self.lines.next()}, {'is free', 'done ' + SHUTDOWN})
        wait_until(lambda: self.inhibitors() == [], 'the release of the inhibitor')

    def test_cancelled_shutdown_is_waited_for_again(self):
        self.watch()
        self.shutdown(True)
        self.expect(SHUTDOWN)
        wait_until(lambda: self.inhibitors() == [], 'the release of the inhibitor')
        self.shutdown(False)
        self.wait_for_inhibitor()
        self.shutdown(True)
        self.expect(SHUTDOWN)

    def test_signals_of_others_do_not_count(self):
        self.watch()
        for name in self.bus.list_names():
            if not name.startswith(':') or name == self.bus.get_unique_name():
                continue
            message = dbus.lowlevel.SignalMessage(PATH, MANAGER + '.Manager', 'PrepareForShutdown')
            message.append(True, signature='b')
            message.set_destination(name)
            self.bus.send_message(message)
        self.bus.flush()
        self.sleep(True)
        self.expect(SUSPEND)

    def test_works_without_a_session(self):
        self.stop(self.mock)
        wait_until(lambda: not self.bus.name_has_owner(MANAGER), 'the end of the manager')
        self.start_manager(session=False)
        self.start_probe()
        self.wait_for_inhibitor()
        self.sleep(True)
        self.expect(SUSPEND)

    def test_finds_a_login_manager_that_comes_later_or_anew(self):
        self.stop(self.mock)
        wait_until(lambda: not self.bus.name_has_owner(MANAGER), 'the end of the manager')
        self.start_probe()
        for _ in range(2):
            self.start_manager(session=False)
            self.wait_for_inhibitor()
            self.sleep(True)
            self.expect(SUSPEND)
            self.stop(self.mock)
            wait_until(lambda: not self.bus.name_has_owner(MANAGER), 'the end of the manager')

    def test_finds_a_lost_bus_again(self):
        self.watch()
        self.stop_bus()
        self.start_bus()
        self.start_manager()
        self.wait_for_inhibitor()
        self.sleep(True)
        self.expect(SUSPEND)

    def assert_exits_at_once(self):
        begin = time.monotonic()
        self.tell('exit')
        self.assertEqual(self.probe.wait(timeout=DEADLINE), 0)
        # Far less than the shortest wait that an end could sit out: the bus's own 25 s.
        self.assertLess(time.monotonic() - begin, 10)

    def test_exits_at_once(self):
        self.watch()
        self.assert_exits_at_once()
        wait_until(lambda: self.inhibitors() == [], 'the release of the inhibitor')

    def test_exits_at_once_without_a_bus(self):
        self.stop_bus()
        self.start_probe()
        self.assert_exits_at_once()

    def test_exits_while_a_handler_is_held(self):
        self.watch()
        self.tell('hold')
        self.assertEqual(self.lines.next(), 'is hold')
        self.shutdown(True)
        self.assertEqual(self.lines.next(), 'event ' + SHUTDOWN)
        self.assert_exits_at_once()


if __name__ == '__main__':
    sys.exit(unittest.main())
