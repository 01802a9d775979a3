"""The tree of this project keeps the rules of layering.py."""

import glob
import os

import layering

ROOT = os.environ["TARVEX_SOURCE_DIR"]
BUILD = os.environ["TARVEX_BINARY_DIR"]


def modules():
    return sorted(glob.glob(os.path.join(BUILD, "lib/orvan/modules/*.so")))


def test_sources_include_only_what_their_room_allows():
    assert list(layering.source_files(ROOT))
    assert layering.check_sources(ROOT) == []


def test_targets_depend_only_on_what_their_room_allows():
    with open(os.path.join(BUILD, "layering.txt"), encoding="utf-8") as file:
        text = file.read()
    assert "TarvexDiagnosticsCLI" in layering.read_targets(text)
    assert layering.check_targets(text) == []


def test_every_module_exports_its_entry_and_nothing_else():
    assert modules()
    for module in modules():
        assert layering.check_exports(module, layering.MODULE_ENTRIES) == []


def test_host_layer_exports_its_18_entries_and_nothing_else():
    assert len(layering.HOST_ENTRIES) == 18
    library = os.path.join(BUILD, "lib/libhostlayer.so")
    assert layering.check_exports(library, layering.HOST_ENTRIES) == []


def test_service_exports_its_entries_and_nothing_else():
    library = os.path.join(BUILD, "lib/liborvan_service.so")
    assert (
        layering.check_exports(library, layering.SERVICE_ENTRIES, layering.is_service_entry) == []
    )


def test_what_loads_runs_exports_its_entry_and_nothing_else():
    library = os.path.join(BUILD, "lib/libhistory_postgresql.so")
    assert layering.check_exports(library, layering.LOADER_ENTRIES) == []


def test_program_exports_what_a_tool_is_made_of_and_nothing_else():
    program = os.path.join(BUILD, "bin/TarvexDiagnosticsCLI")
    entries = layering.PROGRAM_ENTRIES
    assert layering.check_exports(program, entries, layering.is_program_entry) == []


def test_the_history_does_without_what_loads_runs():
    libraries = layering.needed(os.path.join(BUILD, "bin/tarvex-history"))
    assert "libc.so.6" in libraries
    assert [name for name in libraries if name.startswith(("libpq", "libhistory"))] == []


def test_nothing_that_few_runs_need_is_loaded_at_the_start():
    for name in ("bin/TarvexDiagnosticsCLI", "lib/libhostlayer.so", "lib/liborvan_service.so"):
        libraries = layering.needed(os.path.join(BUILD, name))
        assert "libc.so.6" in libraries
        heavy = [library for library in libraries if library.startswith(("libsqlite", "liburing", "libQt"))]
        assert heavy == [], name


def test_programs_name_first_the_libraries_in_which_most_symbols_are():
    for name in ("bin/TarvexDiagnosticsCLI", "lib/orvan/orvan-worker"):
        libraries = layering.needed(os.path.join(BUILD, name))
        if any(library.startswith(("libasan", "libtsan")) for library in libraries):
            return  # a sanitizer's own library has to be the first
        assert libraries[:2] == ["libc.so.6", "libstdc++.so.6"], name
