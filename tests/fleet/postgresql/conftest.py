"""What the tests of a fleet's database share: a server, and a database with the tables of a fleet."""

import itertools
import subprocess

import pytest
from cluster import Cluster
from program import SOURCE_DIR

MIGRATE = SOURCE_DIR / "fleet" / "postgresql" / "migrate.sh"


class Database:
    """A database of its own with the tables, and without when it says so."""

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
