"""A load that is broken off halfway: nothing half is left, and the next one goes on."""

import contextlib
import subprocess
import time

from conftest import end_of, load, start_load
from simulated_fleet import RUNS

BATCH = 500
LOADERS = "application_name = 'tarvex-history' AND datname = current_database()"


def wait_for(test):
    deadline = time.monotonic() + 60
    while not test():
        assert time.monotonic() < deadline, "it never came"
        time.sleep(0.01)


@contextlib.contextmanager
def held_machine(database, key):
    """While this lasts, nobody gets on who adds the machine with that key."""
    session = subprocess.Popen(
        ["psql", "-X", "-q", "-A", "-t", "-d", database.address],
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        text=True,
    )
    session.stdin.write(
        f"BEGIN; INSERT INTO tarvex.machine (key, name) VALUES ('{key}', 'held');\n\\echo held\n"
    )
    session.stdin.flush()
    assert session.stdout.readline() == "held\n"
    try:
        yield
    finally:
        session.stdin.close()
        assert session.wait(60) == 0


def newest_machine(database):
    return database.value(
        "SELECT key FROM tarvex.machine JOIN tarvex.run ON run.machine = machine.id"
        " ORDER BY run.name DESC LIMIT 1"
    )


def is_waiting(database):
    waiting = f"SELECT count(*) FROM pg_stat_activity WHERE {LOADERS} AND wait_event_type = 'Lock'"
    return database.value(waiting) == "1"


def assert_goes_on(database, loaded, fleet):
    again = load(fleet, database.address)
    assert (again.status, again.counts) == (0, [RUNS - 2 * BATCH, 0, 2 * BATCH])
    assert database.content() == loaded.content()


def assert_whole_batches(database):
    wait_for(lambda: database.value(f"SELECT count(*) FROM pg_stat_activity WHERE {LOADERS}") == "0")
    assert database.value("SELECT count(*) FROM tarvex.run") == str(2 * BATCH)
    results = "SELECT count(DISTINCT run), count(*) FROM tarvex.test_result"
    assert database.query(results) == [[str(2 * BATCH), str(8 * BATCH)]]


def test_a_load_that_is_killed_is_gone_on_with(database, loaded, fleet):
    with held_machine(database, newest_machine(loaded)):
        process = start_load(fleet, database.address)
        wait_for(lambda: is_waiting(database))
        process.kill()
        process.wait()
    # The server notices once nothing holds it up.
    assert_whole_batches(database)
    assert_goes_on(database, loaded, fleet)


def test_a_server_that_goes_away_is_told_of(database, loaded, fleet):
    with held_machine(database, newest_machine(loaded)):
        process = start_load(fleet, database.address)
        wait_for(lambda: is_waiting(database))
        database.query(f"SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE {LOADERS}")
        said = end_of(process)
    assert (said.status, said.counts) == (1, [2 * BATCH, 0, 0])
    assert len(said.lines) == 1
    assert "terminating connection" in said.lines[0]
    assert said.lines[0].endswith("; the server ended the session; run this again, it goes on here")
    assert_whole_batches(database)
    assert_goes_on(database, loaded, fleet)


def test_a_session_in_the_way_is_not_waited_for_without_end(database, loaded, fleet):
    # The user's own limit counts, and not the minute without one.
    with held_machine(database, newest_machine(loaded)):
        begin = time.monotonic()
        said = load(fleet, database.address, {"PGOPTIONS": "-c lock_timeout=200ms"})
        assert time.monotonic() - begin < 30
    assert (said.status, said.counts) == (1, [2 * BATCH, 0, 0])
    assert "lock timeout" in said.lines[0]
    assert "run this again, it goes on here" in said.lines[0]
    assert_goes_on(database, loaded, fleet)


def test_a_database_that_is_not_there_is_told_of(cluster, fleet):
    said = load(fleet, cluster.address("nowhere"))
    assert (said.status, said.counts) == (1, [0, 0, 0])
    assert 'database "nowhere" does not exist' in said.lines[0]


def test_a_database_without_tables_says_how_to_make_them(empty_database, fleet):
    said = load(fleet, empty_database.address)
    assert (said.status, said.counts) == (1, [0, 0, 0])
    assert "migrate.sh" in said.lines[0]


def test_a_database_of_other_texts_is_not_loaded_into(cluster, fleet):
    cluster.query("postgres", "CREATE DATABASE latin ENCODING 'LATIN1' LOCALE 'C' TEMPLATE template0")
    said = load(fleet, cluster.address("latin"))
    assert said.status == 1
    assert "LATIN1" in said.lines[0]
    assert "ENCODING 'UTF8'" in said.lines[0]
