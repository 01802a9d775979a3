"""A system that has no thread left: the program says so, and never looks like a run that passed."""

import resource

import pytest

HOST_FAILED = 1
LINE = (
    b"TarvexDiagnosticsCLI: cannot start the thread of the diagnostic service: Resource temporarily "
    b"unavailable; nothing was done. Free memory or raise the limits of processes and threads, and "
    b"try again\n"
)


def refuse_threads():
    """A thread's stack is as large as this limit, and no address space has room for that."""
    hard = resource.getrlimit(resource.RLIMIT_STACK)[1]
    resource.setrlimit(resource.RLIMIT_STACK, (1 << 47, hard))


@pytest.mark.parametrize(
    "words",
    [[], ["-h"], ["-v"], ["-A"], ["-Mstorage", "-Qf", "0"], ["-U"], ["-r"], ["--HDK", "-Mstorage"]],
    ids=" ".join,
)
def test_every_command_says_so_and_ends_with_one(world, words):
    result = world.run(words, preexec_fn=refuse_threads)
    assert (result.returncode, result.stdout, result.stderr) == (HOST_FAILED, b"", LINE)
    assert list(world.state_dir.iterdir()) == []
