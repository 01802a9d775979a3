"""The steps that make a fleet's tables."""

import shutil
import subprocess

from conftest import MIGRATE

STEPS = sorted(path.name for path in (MIGRATE.parent / "migrations").iterdir())
LIST = "SELECT version FROM tarvex.schema_version ORDER BY 1"


def folder_of(tmp_path, steps):
    """A copy of the script beside some steps."""
    (tmp_path / "migrations").mkdir()
    shutil.copy(MIGRATE, tmp_path)
    for step in steps:
        shutil.copy(MIGRATE.parent / "migrations" / step, tmp_path / "migrations")
    return tmp_path / MIGRATE.name


def test_each_step_says_its_number():
    assert [int(step.split("-")[0]) for step in STEPS] == list(range(1, len(STEPS) + 1))


def test_a_new_database_gets_every_step(empty_database):
    said = empty_database.migrate()
    assert (said.returncode, said.stderr) == (0, "")
    assert empty_database.query(LIST) == [[str(n + 1)] for n in range(len(STEPS))]


def test_an_older_one_gets_what_it_lacks_and_keeps_its_rows(empty_database, tmp_path):
    assert empty_database.migrate(folder_of(tmp_path, STEPS[:1])).returncode == 0
    empty_database.query("INSERT INTO tarvex.machine (key, name) VALUES ('k', 'n')")
    assert empty_database.migrate().returncode == 0
    assert empty_database.value("SELECT max(version) FROM tarvex.schema_version") == str(len(STEPS))
    assert empty_database.query("SELECT key, name FROM tarvex.machine") == [["k", "n"]]


def test_a_second_time_changes_nothing(database):
    before = database.query("SELECT version, applied FROM tarvex.schema_version ORDER BY 1")
    said = database.migrate()
    assert (said.returncode, said.stdout, said.stderr) == (0, "", "")
    after = database.query("SELECT version, applied FROM tarvex.schema_version ORDER BY 1")
    assert after == before


def test_two_at_once_take_each_step_once(empty_database):
    both = [
        subprocess.Popen([str(MIGRATE), empty_database.address], stderr=subprocess.PIPE, text=True)
        for _ in range(2)
    ]
    errors = [process.communicate(timeout=120)[1] for process in both]
    assert [process.returncode for process in both] == [0, 0], errors
    assert len(empty_database.query(LIST)) == len(STEPS)


def test_a_step_that_breaks_leaves_nothing(empty_database, tmp_path):
    script = folder_of(tmp_path, STEPS[:1])
    broken = "CREATE TABLE tarvex.half (); SELECT 1 / 0;"
    (tmp_path / "migrations" / "0002-broken.sql").write_text(broken, encoding="utf-8")
    said = empty_database.migrate(script)
    assert said.returncode == 1
    assert "step 2 failed" in said.stderr
    assert empty_database.query(LIST) == [["1"]]
    assert empty_database.value("SELECT to_regclass('tarvex.half') IS NULL") == "t"


def test_tables_of_a_newer_version_are_left_alone(database):
    database.query("INSERT INTO tarvex.schema_version (version) VALUES (99)")
    said = database.migrate()
    assert said.returncode == 1
    assert "newer" in said.stderr


def test_a_folder_with_blanks_will_do(empty_database, tmp_path):
    folder = tmp_path / "with some blanks"
    folder.mkdir()
    assert empty_database.migrate(folder_of(folder, STEPS)).returncode == 0
    assert len(empty_database.query(LIST)) == len(STEPS)
