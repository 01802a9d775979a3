"""What the other tests stand on."""

from abandoned import left_behind

START = """
from cluster import Cluster
cluster = Cluster().__enter__()
"""


def test_no_daemon_outlives_who_started_it():
    assert left_behind(START, "[process.pid for process in cluster.started]") == []
