"""Folders and files that a stranger may have had his hands on: what is checked is what is used."""

import fcntl
import json
import os
import shutil
import subprocess

import pytest
from planted import module_folder
from program import BINARY_DIR

HOST_FAILED = 1


def lists_modules(world):
    found = world.run(["-A"])
    assert found.returncode == 0
    return b"storage" in found.stdout


@pytest.fixture
def real(world):
    """A world without a simulated machine, for what lies around the plug-ins."""
    del world.environment["ORVAN_SCENARIO"]
    return world


class TestModules:
    def test_those_of_a_folder_of_roots_are_loaded(self, real, place):
        real.environment["ORVAN_MODULE_DIR"] = str(module_folder(place))
        assert lists_modules(real)

    def test_those_of_a_strangers_folder_are_not(self, real, stranger):
        stranger.plants()
        real.environment["ORVAN_MODULE_DIR"] = str(stranger.folder)
        assert not lists_modules(real)
        assert stranger.has_run() == []

    def test_none_is_loaded_over_a_strangers_link(self, real, place, stranger):
        folder = module_folder(place)
        stranger.does("ln", "-s", str(folder), "link")
        real.environment["ORVAN_MODULE_DIR"] = str(stranger.folder / "link")
        assert not lists_modules(real)

    def test_none_is_loaded_below_a_strangers_folder(self, real, stranger):
        real.environment["ORVAN_MODULE_DIR"] = str(module_folder(stranger.folder, "of-root"))
        assert not lists_modules(real)

    def test_none_is_loaded_from_a_strangers_working_folder(self, real, stranger):
        module_folder(stranger.folder, "of-root")
        real.work_dir = stranger.folder / "of-root"
        real.environment["ORVAN_MODULE_DIR"] = "."
        assert not lists_modules(real)

    @pytest.mark.parametrize("what", ["above", "modules", "modules/storage.so"])
    def test_none_is_loaded_that_a_group_may_write(self, real, place, what):
        module_folder(place / "above")
        real.environment["ORVAN_MODULE_DIR"] = str(place / "above" / "modules")
        path = place / "above" if what == "above" else place / "above" / what
        path.chmod(path.stat().st_mode | 0o020)
        assert not lists_modules(real)

    def test_the_storage_controller_library_that_a_group_may_write_is_not(self, real, place):
        folder = place / "installed" / "bin"
        folder.mkdir(parents=True)
        (folder.parent / "lib").symlink_to(BINARY_DIR / "lib")
        shutil.copy2(BINARY_DIR / "bin" / "TarvexDiagnosticsCLI", folder)
        shutil.copy(BINARY_DIR / "tests" / "strangers_library.so", folder / "storelib.dll")
        ran = folder / "storelib.dll.ran"
        for mode, is_loaded in ((0o644, True), (0o664, False)):
            (folder / "storelib.dll").chmod(mode)
            assert real.run(["-v"], program=folder / "TarvexDiagnosticsCLI").returncode == 0
            assert ran.exists() == is_loaded
            ran.unlink(missing_ok=True)


class TestRunFolder:
    def test_a_strangers_lock_is_none(self, world, stranger):
        stranger.writes("instance.lock", "")
        world.environment["TARVEX_RUN_DIR"] = str(stranger.folder)
        with open(stranger.folder / "instance.lock", "rb") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            assert world.run(["-v"]).returncode == HOST_FAILED

    def test_nothing_is_made_behind_a_strangers_link(self, world, place, stranger):
        (place / "precious").mkdir(mode=0o755)
        stranger.does("ln", "-s", str(place / "precious"), "link")
        world.environment["TARVEX_RUN_DIR"] = str(stranger.folder / "link")
        assert world.run(["-v"]).returncode == HOST_FAILED
        assert os.listdir(place / "precious") == []

    def test_a_group_that_may_write_the_folder_makes_it_nobodys(self, world):
        world.run_dir.chmod(0o770)
        assert world.run(["-v"]).returncode == HOST_FAILED
        world.run_dir.chmod(0o750)
        assert world.run(["-v"]).returncode == 0


class TestSettings:
    @pytest.fixture
    def counts(self, real, place):
        """Whether a setting reached a module, which shows all of them in its help."""
        folder = place / "modules"
        folder.mkdir(mode=0o755)
        shutil.copy(BINARY_DIR / "tests" / "plugins" / "good.so", folder)
        (folder / "good.so").chmod(0o644)
        real.environment["ORVAN_MODULE_DIR"] = str(folder)
        return lambda: b"storage/color=red;" in real.run(["-Msmall", "-h"]).stdout

    TEXT = "[storage]\ncolor=red\n"

    def test_those_of_root_count(self, real, counts):
        (real.config_dir / "service.ini").write_text(self.TEXT)
        assert counts()

    def test_those_of_a_stranger_do_not(self, real, counts, stranger):
        stranger.writes("service.ini", self.TEXT)
        real.environment["TARVEX_CONFIG_DIR"] = str(stranger.folder)
        assert not counts()
        (log,) = (real.state_dir / "log").glob("*.jsonl")
        assert "settings-refused" in log.read_text()

    def test_those_that_a_group_may_write_do_not(self, real, counts):
        (real.config_dir / "service.ini").write_text(self.TEXT)
        (real.config_dir / "service.ini").chmod(0o664)
        assert not counts()


class TestTrace:
    """A scenario is a file of the stranger's; what its trace overwrites must not be his choice."""

    @pytest.fixture
    def run(self, world, stranger):
        def run(trace):
            world.environment["ORVAN_SCENARIO"] = str(
                stranger.writes("scenario.json", json.dumps({"trace": trace, "modules": []}))
            )
            return world.run(["-A"])

        return run

    def refusal(self, stranger, reason):
        return f"TarvexDiagnosticsCLI: {stranger.folder}/scenario.json: trace: {reason}\n".encode()

    @pytest.mark.parametrize("path", ["{place}/precious", "../precious", "a/../../precious"])
    def test_is_only_below_the_scenario(self, run, place, stranger, path):
        (place / "precious").write_text("text")
        found = run(path.format(place=place))
        assert found.stderr == self.refusal(stranger, "must be a path below the scenario's folder")
        assert (place / "precious").read_text() == "text"

    def test_goes_over_no_link(self, run, place, stranger):
        (place / "precious").write_text("")
        stranger.does("ln", "-s", str(place), "way")
        stranger.does("ln", "-s", str(place / "precious"), "end")
        for path in ("way/precious", "end"):
            assert run(path).stderr == self.refusal(stranger, "cannot be written")
        assert (place / "precious").read_text() == ""

    def test_empties_no_file_with_a_second_name(self, run, place, stranger):
        (place / "precious").write_text('{"call":"x"}\n')
        os.link(place / "precious", stranger.folder / "second")
        assert run("second").stderr == self.refusal(stranger, "cannot be written")
        assert (place / "precious").read_text() == '{"call":"x"}\n'

    def test_empties_nothing_but_a_trace(self, run, stranger):
        stranger.writes("letter", "Dear")
        assert run("letter").stderr == self.refusal(stranger, "names a file that is no trace")
        assert (stranger.folder / "letter").read_text() == "Dear"
        for text in ("", '{"call":"Old"}\n'):
            stranger.writes("trace", text)
            assert run("trace").stderr == b""
            lines = (stranger.folder / "trace").read_text().splitlines()
            assert json.loads(lines[-1]) == {"call": "Release"}
            assert "Old" not in lines[0]


LIBRARIES = ("libc.so.6", "libm.so.6", "libgcc_s.so.1", "libstdc++.so.6", "libpq.so.5", "libhostlayer.so")


class TestLibraries:
    """What the dynamic linker finds; what is planted is none, so that a program that takes it ends at once."""

    @pytest.fixture
    def planted(self, real, stranger):
        for name in LIBRARIES:
            stranger.does("cp", "/etc/hostname", name)
        real.work_dir = stranger.folder
        return real

    @pytest.mark.parametrize(
        "words",
        [
            ["TarvexDiagnosticsCLI", "-v"],
            ["TarvexDiagnosticsCLI", "-Mstorage", "-D"],  # with a worker, and with the module
            ["tarvex-history", "--version"],
            ["tarvex-history", "--to", "postgresql://nobody@127.0.0.1:1/none"],
            ["tarvex-scheduled"],
            ["tarvex-complete"],
        ],
        ids=" ".join,
    )
    def test_none_is_taken_from_a_strangers_working_folder(self, planted, words):
        program = BINARY_DIR / "bin" / words[0]
        done = subprocess.run(
            [program, *words[1:]], cwd=planted.work_dir, env=planted.environment, capture_output=True, check=False
        )
        assert b"invalid ELF header" not in done.stderr and b"too short" not in done.stderr, done.stderr
        assert done.returncode != 127
