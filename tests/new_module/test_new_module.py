"""What scripts/new_module.sh makes is a module: it builds, lists, passes, is covered and laid out."""

import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

import pytest

from program import BINARY_DIR, SANITIZE, SOURCE_DIR, World

sys.path.insert(0, str(SOURCE_DIR / "tests" / "layering"))
import house  # noqa: E402
import layering  # noqa: E402

NAME = "fan_speed2"
# The SDK comes from the build under test; the rest is what a module's folder is built with.
PROJECT = """
cmake_minimum_required(VERSION 3.25)
project(Copy LANGUAGES CXX)
set(TARVEX_TESTS ON)
list(APPEND CMAKE_MODULE_PATH "${{CMAKE_SOURCE_DIR}}/cmake")
include(TarvexBuild)
add_library(sdk INTERFACE)
target_link_libraries(sdk INTERFACE "{sdk}")
add_subdirectory(service/modules/{name})
"""


def cache_value(name):
    """The value that the build under test was configured with."""
    text = (BINARY_DIR / "CMakeCache.txt").read_text()
    return re.search(rf"^{name}:\w+=(.*)$", text, re.M).group(1)


class Tree:
    """A copy of as much of the source tree as a module needs."""

    def __init__(self, root):
        self.root = root
        self.build = root / "build"
        for folder in ("boundary", "cmake", "scripts", "service/sdk"):
            shutil.copytree(SOURCE_DIR / folder, root / folder)
        self.modules = root / "service/modules"
        self.modules.mkdir()

    def make(self, *arguments):
        return subprocess.run(
            [str(self.root / "scripts/new_module.sh"), *arguments],
            capture_output=True,
            text=True,
            check=False,
        )


def run(*command, **options):
    result = subprocess.run(
        [str(word) for word in command], capture_output=True, text=True, check=False, **options
    )
    assert result.returncode == 0, result.stdout[-4000:] + result.stderr[-4000:]
    return result.stdout


@pytest.fixture(scope="module")
def tree(tmp_path_factory):
    """A copy in which the module was made and built."""
    tree = Tree(tmp_path_factory.mktemp("tree") / "copy")
    made = tree.make(NAME)
    assert made.returncode == 0, made.stderr
    sdk = BINARY_DIR / "archive/libsdk.a"
    (tree.root / "CMakeLists.txt").write_text(PROJECT.format(sdk=sdk, name=NAME))
    compiler = cache_value("CMAKE_CXX_COMPILER")
    run(
        *("cmake", "-G", "Ninja", "-S", tree.root, "-B", tree.build),
        *(f"-DCMAKE_CXX_COMPILER={compiler}", "-DCMAKE_CXX_FLAGS=-O0 --coverage"),
        f"-DTARVEX_SANITIZE={SANITIZE}",
    )
    run("cmake", "--build", tree.build)
    return tree


def plain_text(result):
    assert result.stderr == b"", result.stderr
    return result.stdout.decode()


@pytest.fixture
def world(tree, tmp_path):
    world = World(tmp_path)
    world.environment["ORVAN_MODULE_DIR"] = str(tree.build / "lib/orvan/modules")
    return world


def test_it_keeps_the_rules_of_the_house(tree):
    assert layering.check_sources(tree.root) == []
    tables = house.check_room_tables(tree.root)
    assert [line for line in tables if NAME in line] == []
    assert house.check_sizes(tree.root) == []
    left = [path for path in tree.modules.rglob("*") if path.is_file() and "@" in path.read_text()]
    assert left == []


@pytest.mark.skipif(shutil.which("clang-format") is None, reason="clang-format is not installed")
def test_it_is_laid_out_as_the_rest_is(tree):
    folder = tree.modules / NAME
    sources = [*folder.glob("*.cpp"), *folder.glob("*.h")]
    assert len(sources) >= 8
    run("clang-format", f"--style=file:{SOURCE_DIR}/.clang-format", "--dry-run", "--Werror", *sources)


def test_it_exports_its_entry_and_nothing_else(tree):
    plugin = tree.build / f"lib/orvan/modules/{NAME}.so"
    assert layering.check_exports(str(plugin), layering.MODULE_ENTRIES) == []


def test_it_lists(world):
    listed = plain_text(world.run(["-A"]))
    assert f"  - {NAME}\n" in listed
    listed = plain_text(world.run([f"-M{NAME}", "-L"]))
    assert "Clock Steps Test" in listed
    assert "looks=10000" in plain_text(world.run([f"-M{NAME}", "-P"]))
    assert "This Machine" in plain_text(world.run([f"-M{NAME}", "-D"]))
    assert "Fan_speed2: looks at the clock.\n" in plain_text(world.run([f"-M{NAME}", "-h"]))


def test_it_passes_its_test(world):
    result = world.run([f"-M{NAME}", "-Qc(looks=100)", "0"])
    assert result.returncode == 0, result.stdout
    assert "Test Status: Passed!" in plain_text(result)


def test_its_unit_tests_pass_and_cover_it(tree, tmp_path):
    run(tree.build / f"tests/{NAME}_code_test")
    objects = tree.build / f"service/modules/{NAME}/CMakeFiles/{NAME}_code.dir"
    notes = sorted(objects.glob("*.gcda"))
    assert len(notes) == 3, notes
    gcov = re.sub(r"(g|c)\+\+", "gcov", cache_value("CMAKE_CXX_COMPILER"))
    run(gcov, *notes, cwd=tmp_path)
    listings = [path.read_text() for path in sorted(tmp_path.glob("*.gcov"))]
    own = [text for text in listings if f"/service/modules/{NAME}/" in text.splitlines()[0]]
    assert len(own) >= 3
    # "#####" is what nothing executed; what only an exception would execute is marked otherwise.
    assert [line for text in own for line in text.splitlines() if " #####:" in line] == []


@pytest.mark.parametrize(
    "name,reason",
    [
        ("", "is no name"),
        ("Fans", "is no name"),
        ("2fans", "is no name"),
        ("fan-speed", "is no name"),
        ("fan speed", "is no name"),
        ("fans\n", "is no name"),
        ("../fans", "is no name"),
        ("f" * 33, "is no name"),
        ("fans", "there is a module"),
        ("sdk", "is a room of the service"),
        ("class", "is a word of C++"),
        ("std", "is a word of C++"),
    ],
)
def test_a_name_that_cannot_be_is_refused(tmp_path, name, reason):
    tree = Tree(tmp_path / "copy")
    (tree.modules / "fans").mkdir()
    made = tree.make(name)
    assert made.returncode == 2
    assert reason in made.stderr
    assert made.stdout == ""
    assert os.listdir(tree.modules) == ["fans"]
    assert os.listdir(tree.modules / "fans") == []


@pytest.mark.parametrize("arguments", [[], ["one", "two"]])
def test_one_name_is_wanted(tmp_path, arguments):
    tree = Tree(tmp_path / "copy")
    assert tree.make(*arguments).returncode == 2
    assert os.listdir(tree.modules) == []
