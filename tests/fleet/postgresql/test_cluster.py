"""What the other tests stand on."""

from abandoned import left_behind


def test_a_server_does_not_outlive_who_started_it():
    assert left_behind("from cluster import Cluster; cluster = Cluster()", "[cluster.server.pid]") == []
