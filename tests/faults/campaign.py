"""Makes each system call of a run of the real program fail once, and looks at what came of it."""

import os
import re
import shutil
import subprocess
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, field
from errno import (
    EACCES,
    EAGAIN,
    EBUSY,
    ECHILD,
    ECONNREFUSED,
    ECONNRESET,
    EINTR,
    EINVAL,
    EIO,
    EMFILE,
    ENOLCK,
    ENOMEM,
    ENOSPC,
    EPERM,
    ESRCH,
)
from pathlib import Path

from program import BINARY_DIR, PROGRAM

INJECTOR = BINARY_DIR / "tests" / "fail_call"
NUMBERS = Path("/usr/include/x86_64-linux-gnu/asm/unistd_64.h")
PATIENCE = 120  # seconds; the longest way to an end is some ten, on a machine of its own

# What each call may fail with; a call that is in no table fails with EIO.
ERRORS = {
    "access": [EACCES],
    "accept4": [EMFILE],
    "chmod": [EPERM],
    "clock_nanosleep": [EINTR],
    "clone": [EAGAIN],
    "clone3": [EAGAIN],
    "connect": [ECONNREFUSED],
    "dup": [EMFILE],
    "epoll_create1": [EMFILE],
    "eventfd2": [EMFILE],
    "execve": [ENOMEM],
    "faccessat": [EACCES],
    "fallocate": [ENOSPC],
    "fcntl": [ENOLCK],
    "flock": [ENOLCK],
    "fstat": [EIO],
    "ftruncate": [ENOSPC],
    "getrandom": [EAGAIN],
    "inotify_init1": [EMFILE],
    "io_uring_enter": [EIO, EBUSY],
    "io_uring_register": [ENOMEM],
    "io_uring_setup": [ENOMEM],
    "kill": [ESRCH],
    "madvise": [EINVAL],
    "mkdir": [ENOSPC],
    "mkdirat": [ENOSPC],
    "mlock": [ENOMEM],
    "mmap": [ENOMEM],
    "mprotect": [ENOMEM],
    "mremap": [ENOMEM],
    "open": [EMFILE, EACCES],
    "openat": [EMFILE, EACCES],
    "pipe2": [EMFILE],
    "poll": [EINTR],
    "ppoll": [EINTR],
    "prctl": [EPERM],
    "prlimit64": [EPERM],
    "pwrite64": [ENOSPC],
    "recvfrom": [ECONNRESET],
    "recvmsg": [ECONNRESET],
    "sched_getaffinity": [ESRCH],
    "sched_setaffinity": [EINVAL],
    "sendmsg": [ECONNRESET],
    "sendto": [ECONNRESET],
    "setpriority": [EACCES],
    "setsid": [EPERM],
    "setsockopt": [ENOMEM],
    "signalfd4": [EMFILE],
    "socket": [EMFILE],
    "socketpair": [EMFILE],
    "timerfd_create": [EMFILE],
    "vfork": [EAGAIN],
    "wait4": [ECHILD],
    "write": [ENOSPC],
    "writev": [ENOSPC],
}

# Calls without a way to fail, or whose failure no caller can be told of: the kernel answers them
# for as long as the process lives, or the C library ends the process itself (futex, munmap).
NEVER_FAIL = {
    "arch_prctl",
    "brk",
    "exit",
    "exit_group",
    "futex",
    "geteuid",
    "getegid",
    "getgid",
    "getpid",
    "getpgrp",
    "getppid",
    "gettid",
    "getuid",
    "munmap",
    "restart_syscall",
    "rseq",
    "rt_sigaction",
    "rt_sigprocmask",
    "rt_sigreturn",
    "rt_sigtimedwait",
    "sched_yield",
    "set_robust_list",
    "set_tid_address",
    "sigaltstack",
    "umask",
}


@dataclass(frozen=True)
class Call:
    """One system call of a run: the `time`-th one with that name by a thread of that name."""

    thread: str
    number: int
    name: str
    time: int
    error: int

    def __str__(self):
        return f"{self.thread}: {self.name} {self.time} answers {os.strerror(self.error)!r}"


@dataclass
class Outcome:
    """What a run left: its status (128 and the signal after a crash; None: it did not end)."""

    call: Call
    world: object
    status: int | None
    output: str
    errors: str
    was_hit: bool = False
    left: list = field(default_factory=list)  # threads that outlived the program


def call_names():
    found = re.findall(r"#define __NR_(\w+) (\d+)", NUMBERS.read_text(encoding="ascii"))
    return {int(number): name for name, number in found}


def run_traced(world, mode, target, arguments, call=None):
    notes = world.root / "notes"
    process = subprocess.Popen(
        [str(INJECTOR), mode, str(notes), *target, str(PROGRAM), *arguments(world)],
        env=world.environment,
        cwd=world.work_dir,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        start_new_session=True,
    )
    try:
        output, errors = process.communicate(timeout=PATIENCE)
        status = process.returncode
    except subprocess.TimeoutExpired:
        process.kill()
        output, errors = process.communicate()
        status = None
    lines = notes.read_text(encoding="ascii").splitlines() if notes.exists() else []
    return Outcome(
        call,
        world,
        status,
        output.decode(errors="replace"),
        errors.decode(errors="replace"),
        "hit" in lines,
        [line[5:] for line in lines if line.startswith("left ")],
    ), lines


def calls_of(world, arguments):
    """The undisturbed run, and each call of it with each error that it may answer."""
    outcome, lines = run_traced(world, "count", [], arguments)
    names = call_names()
    calls = []
    for line in lines:
        if line.startswith("left "):
            continue
        thread, number, times = line.split()
        name = names.get(int(number), number)
        if name in NEVER_FAIL:
            continue
        for error in ERRORS.get(name, [EIO]):
            calls += [
                Call(thread, int(number), name, time, error) for time in range(1, int(times) + 1)
            ]
    return outcome, calls


def run_with_fault(make_world, arguments, call):
    world = make_world()
    target = [call.thread, str(call.number), str(call.time), str(call.error)]
    return run_traced(world, "fail", target, arguments, call)[0]


def campaign(make_world, arguments, judge, jobs=None):
    """Runs the line once for each call of it; (how many were made to fail, what went wrong).

    `make_world` gives a world of its own to each run, `arguments(world)` the words of the line, and
    `judge(outcome, healthy)` yields what is wrong with an outcome, in words.
    """
    healthy, calls = calls_of(make_world(), arguments)
    assert calls, "nothing was traced"
    faults = [f"undisturbed: {words}" for words in judge(healthy, healthy)]
    hits = 0

    def one(call):
        outcome = run_with_fault(make_world, arguments, call)
        words = [f"{call}: {words}" for words in judge(outcome, healthy)]
        shutil.rmtree(outcome.world.root, ignore_errors=True)
        return outcome.was_hit, words

    with ThreadPoolExecutor(jobs or os.cpu_count()) as pool:
        for was_hit, words in pool.map(one, calls):
            hits += was_hit
            faults += words
    return hits, len(calls), faults
