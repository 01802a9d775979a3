"""Who may do what: a loader loads and reads, a reader reads, and no password is on a command line."""

import stat

import pytest
from conftest import ROLES, Database, load

SECRET = "correct horse"


@pytest.fixture(scope="module")
def guarded(cluster):
    """A database with its roles, and a user of each; that of the loader has a password."""
    made = Database(cluster)
    for _ in range(2):
        cluster.psql(made.name, ["-f", str(ROLES)])
    made.query(
        f"CREATE ROLE collector LOGIN PASSWORD '{SECRET}'; GRANT tarvex_loader TO collector;"
        "CREATE ROLE viewer LOGIN; GRANT tarvex_reader TO viewer; CREATE ROLE stranger LOGIN"
    )
    return made


@pytest.fixture
def one_log(fleet):
    return fleet / "failing-0" / "state" / "log"


def test_a_loader_needs_no_more_than_its_role(guarded, one_log, tmp_path, cluster):
    passwords = tmp_path / "passwords"
    passwords.write_text(f"*:*:*:collector:{SECRET}\n", encoding="utf-8")
    passwords.chmod(stat.S_IRUSR | stat.S_IWUSR)
    address = cluster.address(guarded.name, "collector")
    said = load(one_log, address, {"PGPASSFILE": str(passwords)})
    assert (said.status, said.counts) == (0, [1, 0, 0])
    # And none less: what is brought up to date is replaced.
    guarded.query("UPDATE tarvex.run SET state = 'running'")
    said = load(one_log, address, {"PGPASSFILE": str(passwords)})
    assert (said.status, said.counts) == (0, [0, 1, 0])


def test_without_its_password_it_is_told_where_one_is_written(guarded, one_log, cluster, tmp_path):
    address = cluster.address(guarded.name, "collector")
    said = load(one_log, address, {"PGPASSFILE": str(tmp_path / "none")})
    assert said.status == 1
    assert "PGPASSFILE" in said.lines[0]


def test_a_password_in_the_address_is_refused_and_not_shown(guarded, one_log):
    said = load(one_log, f"postgresql://collector:{SECRET.replace(' ', '%20')}@/{guarded.name}")
    assert said.status == 1
    assert "PGPASSFILE" in said.lines[0]
    assert "horse" not in said.lines[0]


@pytest.mark.parametrize("user", ["viewer", "stranger"])
def test_others_do_not_load(guarded, one_log, cluster, user):
    said = load(one_log, cluster.address(guarded.name, user))
    assert said.status == 1
    assert "permission denied" in said.lines[0]
    assert "GRANT tarvex_loader" in said.lines[0]


def test_a_reader_reads_and_changes_nothing(guarded):
    views = guarded.query(
        "SELECT table_name FROM information_schema.tables WHERE table_schema = 'tarvex'"
    )
    for (view,) in views:
        guarded.query(f"SELECT count(*) FROM tarvex.{view}", user="viewer")
    for change in (
        "DELETE FROM tarvex.run",
        "UPDATE tarvex.setting SET count_simulated = true",
        "INSERT INTO tarvex.machine (key, name) VALUES ('x', 'x')",
        "SELECT tarvex.forget_runs_before(now())",
    ):
        said = guarded.cluster.psql(guarded.name, ["-c", change], user="viewer", check=False)
        assert "permission denied" in said.stderr, change


def test_a_loader_removes_no_run_and_changes_no_setting(guarded, cluster, monkeypatch):
    monkeypatch.setenv("PGPASSWORD", SECRET)
    for change in (
        "DELETE FROM tarvex.run",
        "UPDATE tarvex.setting SET count_simulated = true",
        "DROP VIEW tarvex.worst_device",
        "UPDATE tarvex.test_result SET verdict = 'passed'",
    ):
        said = cluster.psql(guarded.name, ["-c", change], user="collector", check=False)
        assert "permission denied" in said.stderr or "must be owner" in said.stderr, change
