"""Each rule of layering.py fires on a made-up tree that breaks it, and only then."""

import itertools
import subprocess

import layering
import pytest


@pytest.fixture
def tree(tmp_path):
    """Writes files (path -> text) below a fresh root and returns the violations found there."""
    numbers = itertools.count()

    def check(files):
        root = tmp_path / str(next(numbers))
        for path, text in files.items():
            place = root / path
            place.parent.mkdir(parents=True, exist_ok=True)
            place.write_text(text)
        return layering.check_sources(str(root))

    return check


HEADERS = {
    path: "#pragma once\n"
    for path in (
        "boundary/a.h",
        "os/a.h",
        "os/terminal_wait.h",
        "system/a.h",
        "system/filesystem/a.h",
        "host/a.h",
        "host/records/a.h",
        "views/a.h",
        "views/message_keys.h",
        "tools/a.h",
        "frontend/a.h",
        "service/sdk/a.h",
        "service/machine/a.h",
        "service/core/a.h",
        "service/log/a.h",
        "service/scenario/a.h",
        "service/library/a.h",
        "service/modules/one/a.h",
        "service/modules/two/a.h",
        "service/modules/one/disk_test_support.h",
        "tests/fakes/a.h",
    )
}

REFUSED = [
    ("boundary/x.h", "system/a.h"),
    ("boundary/x.h", "os/a.h"),
    ("os/x.cpp", "boundary/a.h"),
    ("os/x.cpp", "system/a.h"),
    ("host/records/x.cpp", "host/a.h"),
    ("system/filesystem/x.cpp", "host/a.h"),
    ("views/x.cpp", "os/a.h"),
    ("tools/x.cpp", "os/a.h"),
    ("frontend/x.cpp", "os/terminal_wait.h"),
    ("service/sdk/x.h", "os/a.h"),
    ("service/log/x.cpp", "service/core/a.h"),
    ("service/log/x.cpp", "host/records/a.h"),
    ("service/machine/x.cpp", "system/a.h"),
    ("service/modules/one/x.cpp", "os/a.h"),
    ("service/modules/one/x.cpp", "service/modules/one/disk_test_support.h"),
    ("service/sdk/x_test_support.h", "tests/fakes/a.h"),
    ("system/x.cpp", "host/a.h"),
    ("system/x.cpp", "views/a.h"),
    ("host/x.cpp", "views/a.h"),
    ("host/x.cpp", "service/core/a.h"),
    ("views/x.cpp", "frontend/a.h"),
    ("views/x.cpp", "host/a.h"),
    ("views/x.cpp", "service/sdk/a.h"),
    ("tools/x.cpp", "frontend/a.h"),
    ("tools/smart/x.cpp", "views/a.h"),
    ("tools/recover/x.cpp", "service/core/a.h"),
    ("frontend/x.cpp", "service/core/a.h"),
    ("frontend/x.cpp", "host/a.h"),
    ("frontend/x_test.cpp", "service/core/a.h"),
    ("views/x_test.cpp", "host/a.h"),
    ("service/sdk/x.h", "service/core/a.h"),
    ("service/sdk/x.h", "system/a.h"),
    ("service/core/x.cpp", "service/machine/a.h"),
    ("service/core/x.cpp", "service/modules/one/a.h"),
    ("service/core/x.cpp", "host/a.h"),
    ("service/modules/one/x.cpp", "service/core/a.h"),
    ("service/modules/one/x.cpp", "service/modules/two/a.h"),
    ("service/modules/one/x.cpp", "system/a.h"),
    ("service/scenario/x.cpp", "service/machine/a.h"),
    ("service/scenario/x.cpp", "frontend/a.h"),
    ("service/modules/one/x.cpp", "service/machine/a.h"),
    ("service/core/x.cpp", "service/library/a.h"),
    ("service/remote/x.cpp", "service/machine/a.h"),
    ("service/protocol/x.cpp", "system/a.h"),
    ("frontend/x.cpp", "service/library/a.h"),
    ("service/kitchen/x.cpp", "boundary/a.h"),
    ("kitchen/x.cpp", "boundary/a.h"),
]


@pytest.mark.parametrize("path,target", REFUSED)
def test_refuses(tree, path, target):
    assert len(tree({**HEADERS, path: f'#include "{target}"\n'})) == 1


ALLOWED = [
    ("system/x.cpp", "boundary/a.h"),
    ("system/x.cpp", "os/a.h"),
    ("system/x.cpp", "system/filesystem/a.h"),
    ("host/x.cpp", "host/records/a.h"),
    ("host/records/x.cpp", "os/a.h"),
    ("tools/x.cpp", "os/terminal_wait.h"),
    ("service/machine/x.cpp", "os/a.h"),
    ("service/core/x.cpp", "service/log/a.h"),
    ("service/log/x.cpp", "os/a.h"),
    ("host/x.cpp", "system/a.h"),
    ("views/x.cpp", "system/a.h"),
    ("tools/smart/x.cpp", "views/message_keys.h"),
    ("tools/smart/x.cpp", "tools/a.h"),
    ("frontend/x.cpp", "views/a.h"),
    ("frontend/x_test.cpp", "tests/fakes/a.h"),
    ("service/sdk/x.h", "boundary/a.h"),
    ("service/machine/x.cpp", "service/sdk/a.h"),
    ("service/core/x.cpp", "system/a.h"),
    ("service/core/x_test.cpp", "service/modules/one/a.h"),
    ("service/modules/one/x_test.cpp", "service/modules/one/disk_test_support.h"),
    ("service/modules/one/x_test_support.h", "tests/fakes/a.h"),
    ("service/worker/x.cpp", "service/machine/a.h"),
    ("service/modules/one/x.cpp", "service/modules/one/a.h"),
    ("service/scenario/x.cpp", "service/core/a.h"),
    ("tests/contract/x.cpp", "host/a.h"),
]


@pytest.mark.parametrize("path,target", ALLOWED)
def test_allows(tree, path, target):
    assert tree({**HEADERS, path: f'#include "{target}"\n'}) == []


def test_refuses_an_include_that_is_not_written_from_the_root(tree):
    assert len(tree({**HEADERS, "frontend/x.cpp": '#include "a.h"\n'})) == 1


def test_refuses_an_own_header_in_angle_brackets_too(tree):
    assert len(tree({**HEADERS, "frontend/x.cpp": "#include <host/a.h>\n"})) == 1


OS_HEADERS = """unistd.h fcntl.h sys/stat.h sys/ioctl.h linux/fs.h scsi/sg.h poll.h termios.h
signal.h pthread.h dlfcn.h dirent.h libudev.h blkid/blkid.h libmount/libmount.h liburing.h
systemd/sd-bus.h""".split()


@pytest.mark.parametrize("header", OS_HEADERS)
def test_refuses_a_system_header_outside_its_rooms(tree, header):
    line = f"#include <{header}>\n"
    assert len(tree({"frontend/x.cpp": line})) == 1
    assert len(tree({"service/modules/one/x.cpp": line})) == 1
    assert len(tree({"boundary/x.h": line})) == 1


@pytest.mark.parametrize("header", OS_HEADERS)
def test_allows_a_system_header_in_its_rooms(tree, header):
    line = f"#include <{header}>\n"
    places = ("os/x.cpp", "host/x.cpp", "host/records/x.cpp", "service/machine/x.cpp", "system/x.cpp", "views/x_test.cpp")
    assert tree({place: line for place in places}) == []


def test_an_exception_is_for_one_file_and_its_headers_only(tree):
    assert tree({"service/core/platform.cpp": "#include <dlfcn.h>\n"}) == []
    assert len(tree({"service/core/executor.cpp": "#include <dlfcn.h>\n"})) == 1
    assert len(tree({"service/core/platform.cpp": "#include <termios.h>\n"})) == 1


def test_standard_headers_are_free(tree):
    assert tree({"frontend/x.cpp": "#include <vector>\n#include <getopt.h>\n"}) == []


def test_targets_are_held_to_the_same_rules():
    text = "\n".join(
        [
            "boundary|boundary|",
            "hostlayer|host|boundary",
            "views|views|boundary hostlayer",
            "sneaky|frontend|views hostlayer",
            "storage_code|service/modules/storage|PkgConfig::UDEV",
            "machine|service/machine|PkgConfig::BLKID",
            "orvan_service|service/library|boundary hostlayer",
            "TarvexDiagnosticsCLI|frontend|views hostlayer orvan_service",
            "stray|kitchen|",
        ]
    )
    found = layering.check_targets(text)
    assert [line.split(":")[0] for line in found] == ["views", "sneaky", "storage_code", "stray"]


def build_library(tmp_path, source):
    (tmp_path / "library.cpp").write_text(source)
    library = tmp_path / "library.so"
    subprocess.run(
        ["g++", "-shared", "-fPIC", "-o", str(library), str(tmp_path / "library.cpp")], check=True
    )
    return str(library)


def test_exports_too_many_and_too_few_are_seen(tmp_path):
    good = build_library(tmp_path, 'extern "C" int OrvanModuleEntry() { return 0; }')
    assert layering.check_exports(good, layering.MODULE_ENTRIES) == []
    more = build_library(
        tmp_path, 'extern "C" int OrvanModuleEntry() { return 0; } int Helper(int x) { return x; }'
    )
    assert layering.check_exports(more, layering.MODULE_ENTRIES) == ["library.so: exports Helper"]
    none = build_library(tmp_path, "static int unused [[maybe_unused]] = 0;")
    assert layering.check_exports(none, layering.MODULE_ENTRIES) == [
        "library.so: does not export OrvanModuleEntry"
    ]


def test_templates_of_the_standard_library_are_no_export(tmp_path):
    source = """#include <vector>
    extern "C" int OrvanModuleEntry() { std::vector<long> x; x.push_back(1); return (int)x[0]; }"""
    assert layering.check_exports(build_library(tmp_path, source), layering.MODULE_ENTRIES) == []


def test_the_program_exports_its_classes_whole_and_nothing_else():
    for name in ("ToolCli::SetProperty", "vtable for ToolCli", "typeinfo name for ToolCli", "_end"):
        assert layering.is_program_entry(name), name
    for name in ("Cli::Parse", "vtable for RbsCli", "ToolClient::Run", "main"):
        assert not layering.is_program_entry(name), name
