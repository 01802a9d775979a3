#!/usr/bin/env python3
"""The host layer's rules that only whole processes can show: instance lock, signals, exports."""

import os
import signal
import subprocess
import sys
import tempfile
import unittest

PROBE = os.environ['HOST_PROBE']
LIBRARY = os.environ['HOST_LIBRARY']

ENTRY_POINTS = sorted([
    'get_string_handler()', 'get_time_handler()', 'get_number_handler()', 'get_signal_handler()',
    'get_console()', 'release_console_instance(HostConsole*)', 'get_filesystem()', 'get_timer()',
    'GetNewSemaphore()', 'ReleaseSemaphoreInstance(HostSemaphore*)', 'get_thread()',
    'GetSystemEvents()', 'get_module()', 'get_app_mutex()', 'release_app_mutex(HostAppMutex*)',
    'CreatUserAccountInstance()', 'ReleaseUserAccountInstance(HostUserAccount*)', 'get_cim()',
])


class ProbeTest(unittest.TestCase):
    def probe(self, *arguments, **options):
        process = subprocess.Popen([PROBE, *arguments], stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, text=True, **options)
        self.addCleanup(self.end, process)
        return process

    @staticmethod
    def end(process):
        process.kill()
        process.wait()
        process.stdin.close()
        process.stdout.close()

    @staticmethod
    def tell(process, line):
        process.stdin.write(line + '\n')
        process.stdin.flush()

    @staticmethod
    def hear(process):
        return process.stdout.readline().rstrip('\n')


class InstanceLockTest(ProbeTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = os.path.join(folder.name, 'run')

    def ask(self, process):
        self.tell(process, 'go')
        return self.hear(process)

    def test_exactly_one_of_ten_processes_at_once_takes_it(self):
        for _ in range(5):
            processes = [self.probe('lock', self.folder) for _ in range(10)]
            for process in processes:
                self.tell(process, 'go')
            answers = sorted(self.hear(process) for process in processes)
            self.assertEqual(answers, ['running'] * 9 + ['taken'])
            for process in processes:
                process.kill()
                process.wait()

    def test_kill_leaves_no_lock(self):
        holder = self.probe('lock', self.folder)
        self.assertEqual(self.ask(holder), 'taken')
        self.assertEqual(self.ask(self.probe('lock', self.folder)), 'running')
        holder.kill()
        self.assertEqual(holder.wait(), -signal.SIGKILL)
        self.assertEqual(self.ask(self.probe('lock', self.folder)), 'taken')

    def test_started_programs_do_not_inherit_it(self):
        holder = self.probe('lock', self.folder)
        self.assertEqual(self.ask(holder), 'taken')
        lock = os.path.join(self.folder, 'instance.lock')
        descriptors = f'/proc/{holder.pid}/fd'
        held = [n for n in os.listdir(descriptors)
                if os.path.realpath(os.path.join(descriptors, n)) == os.path.realpath(lock)]
        self.assertEqual(len(held), 1)
        with open(f'/proc/{holder.pid}/fdinfo/{held[0]}', encoding='ascii') as info:
            flags = next(int(line.split()[1], 8) for line in info if line.startswith('flags:'))
        self.assertTrue(flags & os.O_CLOEXEC)

    def test_reports_a_folder_that_cannot_be(self):
        self.assertEqual(self.ask(self.probe('lock', '/proc/no/such/folder')), 'failed')


class SignalsTest(ProbeTest):
    def test_ends_only_when_told_otherwise(self):
        process = self.probe('signals')
        self.assertEqual(self.hear(process), 'ready')
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            process.send_signal(number)
            self.assertEqual(self.hear(process), f'signal {int(number)}')
        process.stdin.close()
        self.assertEqual(process.wait(), 0)

    def test_a_signal_ignored_at_the_start_stays_ignored(self):
        process = self.probe(
            'signals', preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        self.assertEqual(self.hear(process), 'ready')
        process.send_signal(signal.SIGHUP)
        process.send_signal(signal.SIGTERM)
        self.assertEqual(self.hear(process), f'signal {int(signal.SIGTERM)}')
        process.stdin.close()
        self.assertEqual(process.stdout.read(), '')


class ExportsTest(unittest.TestCase):
    def test_shows_its_entry_points_and_nothing_else(self):
        listing = subprocess.run(['nm', '--dynamic', '--defined-only', '--demangle', LIBRARY],
                                 check=True, capture_output=True, text=True).stdout
        names = sorted(line.split(' ', 2)[2] for line in listing.splitlines())
        self.assertEqual(names, ENTRY_POINTS)


if __name__ == '__main__':
    sys.exit(unittest.main())
