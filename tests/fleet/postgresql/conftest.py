"""What the tests of a fleet's database share: a server, databases on it, and a fleet's logs."""

import itertools
import os
import re
import subprocess

import pytest
from cluster import Cluster
from program import BINARY_DIR, SOURCE_DIR
from simulated_fleet import run_fleet

MIGRATE = SOURCE_DIR / "fleet" / "postgresql" / "migrate.sh"
ROLES = SOURCE_DIR / "fleet" / "postgresql" / "roles.sql"
HISTORY = BINARY_DIR / "bin" / "tarvex-history"

# What must be the same after a load that was broken off, repeated or shared.
CONTENT = """
    SELECT machine.name, run.name, run.state, run.verdict,
           (SELECT count(*) FROM tarvex.run_device WHERE run_device.run = run.id),
           (SELECT string_agg(concat_ws(' ', position, test.test, verdict, key), ',' ORDER BY position)
            FROM tarvex.test_result AS result
            JOIN tarvex.test ON test.id = result.test
            JOIN tarvex.device ON device.id = result.device
            WHERE result.run = run.id),
           (SELECT string_agg(text, ',' ORDER BY result, position)
            FROM tarvex.test_word WHERE test_word.run = run.id)
    FROM tarvex.run JOIN tarvex.machine ON machine.id = run.machine
    ORDER BY machine.name, run.name
"""


class Database:
    """A database of its own, with the tables of a fleet unless it says otherwise."""

    numbers = itertools.count()

    def __init__(self, cluster, migrated=True):
        self.cluster = cluster
        self.name = f"fleet_{next(Database.numbers)}"
        self.address = cluster.address(self.name)
        cluster.query("postgres", f"CREATE DATABASE {self.name}")
        if migrated:
            said = self.migrate()
            assert said.returncode == 0, said.stderr

    def migrate(self, script=MIGRATE):
        return subprocess.run(
            [str(script), self.address], capture_output=True, text=True, timeout=120, check=False
        )

    def query(self, text, **options):
        return self.cluster.query(self.name, text, **options)

    def value(self, text):
        ((value,),) = self.query(text)
        return value

    def content(self):
        return self.query(CONTENT)


class Loaded:
    """What a load said: its status, the runs that it counted, and its other lines."""

    def __init__(self, status, errors):
        self.status = status
        lines = errors.splitlines()
        self.lines = lines[:-1] if "runs loaded" in lines[-1] else lines
        numbers = re.findall(r"(\d+) (runs loaded|brought|already|refused)", lines[-1])
        self.counts = [int(number) for number, _ in numbers]


def start_load(logs, address, environment=None):
    return subprocess.Popen(
        [str(HISTORY), "--logs", str(logs), "--to", address],
        env={**os.environ, **(environment or {})},
        stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.PIPE,
        text=True,
    )


def end_of(process):
    errors = process.communicate(timeout=120)[1]
    return Loaded(process.returncode, errors)


def load(logs, address, environment=None):
    return end_of(start_load(logs, address, environment))


@pytest.fixture(scope="session")
def cluster():
    made = Cluster()
    yield made
    made.close()


@pytest.fixture
def empty_database(cluster):
    return Database(cluster, migrated=False)


@pytest.fixture
def database(cluster):
    return Database(cluster)


@pytest.fixture(scope="session")
def fleet(tmp_path_factory):
    """The folder with the logs of a thousand machines."""
    folder = tmp_path_factory.mktemp("fleet")
    run_fleet(folder)
    return folder


@pytest.fixture(scope="session")
def loaded(cluster, fleet):
    """A database with all of the fleet. For reading only."""
    made = Database(cluster)
    made.first = load(fleet, made.address)
    made.query("UPDATE tarvex.setting SET count_simulated = true")
    return made
