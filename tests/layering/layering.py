"""The rules of who may include, link and export what, and the functions that check a tree.

The rooms are those of ARCHITECTURE.md. `check_sources` looks at every source file below a root,
`check_targets` at the map of targets that CMake writes, `check_exports` at what a built library
shows to the outside. Each returns a list of readable violations; an empty list is a clean tree.
"""

import os
import re
import subprocess

SOURCE_SUFFIXES = (".h", ".hpp", ".cpp", ".cc", ".c", ".inc")

# room -> the rooms it may include besides itself. The longest folder wins.
ROOMS = {
    "os": (),
    "boundary": (),
    "system": ("boundary", "os"),
    "host": ("host/records", "boundary", "system", "os"),
    "host/records": ("boundary", "system", "os"),
    "views": ("system", "boundary", "os"),
    "tools": ("views", "system", "boundary", "os"),
    "frontend": ("views", "tools", "system", "boundary", "os"),
    "service/sdk": ("boundary",),
    "service/machine": ("service/sdk", "boundary", "os"),
    "service/recording": ("service/sdk", "service/machine", "boundary", "os"),
    "service/log": ("service/sdk", "boundary", "system", "os"),
    "service/protocol": ("service/sdk", "boundary", "os"),
    "service/worker": ("service/sdk", "service/protocol", "service/recording", "service/machine", "boundary", "os"),
    "service/remote": ("service/sdk", "service/protocol", "boundary", "os"),
    "service/core": (
        "service/sdk",
        "service/log",
        "service/protocol",
        "service/remote",
        "boundary",
        "system",
        "os",
    ),
    "service/scenario": (
        "service/sdk",
        "service/core",
        "service/log",
        "service/protocol",
        "service/remote",
        "boundary",
        "system",
        "os",
    ),
    # The parts of the service put together into one library.
    "service/library": (
        "service/sdk",
        "service/core",
        "service/log",
        "service/protocol",
        "service/remote",
        "service/scenario",
        "service/recording",
        "service/machine",
        "boundary",
        "system",
        "os",
    ),
    "service/modules/*": ("service/sdk",),
    # Programs beside the front end.
    "companions/complete": (
        "frontend",
        "views",
        "tools",
        "companions/history",
        "host/records",
        "service/log",
        "service/sdk",
        "system",
        "boundary",
        "os",
    ),
    "companions/manual": (
        "frontend",
        "views",
        "tools",
        "companions/history",
        "host/records",
        "service/core",
        "service/log",
        "service/protocol",
        "service/remote",
        "service/sdk",
        "system",
        "boundary",
        "os",
    ),
    "companions/scheduled": (
        "companions/history",
        "host/records",
        "service/log",
        "service/sdk",
        "system",
        "boundary",
        "os",
    ),
    "companions/history": ("host/records", "service/log", "service/sdk", "boundary", "system", "os"),
}

# Of the views, the tools may use the message keys only.
TOOLS_FROM_VIEWS = re.compile(r"^views/message_keys\.h$")

# Of the ground floor, the rooms in front of the boundary may use these files only.
OS_FILES = {
    "frontend": ("descriptor", "detached_process", "keep_awake", "process_start", "trusted_path"),
    "views": ("descriptor_writer", "input_peek", "report_file"),
    "tools": ("terminal_wait",),
}

# Rooms that meet the service and the host layer at link time only, in their tests too.
BEHIND_THE_BOUNDARY = ("frontend", "views", "tools")

# Folders that are rooms of nobody: what crosses folders, measures, or attacks.
OPEN_FOLDERS = ("tests", "bench", "fuzz")

# Headers of the operating system and of its libraries.
OS_HEADER = re.compile(
    r"^(sys|linux|scsi|asm|net|netinet|arpa|rpc|systemd|blkid|libmount|elogind)/"
    r"|^(unistd|fcntl|poll|termios|termio|signal|pthread|dlfcn|dirent|sched|spawn|mntent|pwd|grp"
    r"|semaphore|mqueue|syslog|utmp|utmpx|ucontext|libudev|liburing|liburing/\w+|sqlite3|ftw|glob"
    r"|pty|execinfo|link|elf)\.h$"
)
OS_ROOMS = ("os", "host", "host/records", "service/machine", "service/worker", "system")

# Files that need the operating system for one named reason.
OS_EXCEPTIONS = {
    # The service's own few calls: where its library lies, and what a plug-in exports.
    "service/core/platform.cpp": ("dlfcn.h", "fcntl.h", "sys/stat.h", "unistd.h"),
    # The log's own file follows no link, is locked, and is synchronized with the disk.
    "service/log/log_file.cpp": ("fcntl.h", "sys/file.h", "unistd.h"),
    # Logs that earlier runs left are listed, told from those of live runs, and removed.
    "service/log/log_folder.cpp": ("dirent.h", "fcntl.h", "sys/file.h", "sys/stat.h", "unistd.h"),
    # Several processes write one recording, so each looks how long it has become.
    "service/recording/tape.cpp": ("sys/stat.h",),
    # An older file that becomes a recording is closed to others.
    "service/recording/recording_file.cpp": ("sys/stat.h",),
    # Logs of any origin are listed and opened, and their locks looked at.
    "companions/history/log_source.cpp": ("dirent.h", "fcntl.h", "sys/file.h", "sys/stat.h", "unistd.h"),
    # The history's index is made for its owner alone, in a folder that is looked at first.
    "companions/history/index_file.cpp": ("fcntl.h", "sys/stat.h", "unistd.h"),
    # What loads runs into a database is a library, which is loaded when it is asked for; how far it is
    # is shown on a terminal only.
    "companions/history/load_command.cpp": ("dlfcn.h", "unistd.h"),
    # The log names the machine and its kernel.
    "service/log/machine_identity.cpp": ("sys/utsname.h",),
}

# Libraries of the operating system, as CMake targets, and the rooms that may link them.
OS_LIBRARY = re.compile(r"(udev|blkid|mount|uring|systemd|sqlite)", re.I)

# Where the libraries come in: they are known by boundary/ only, and linked here.
LINK_TIME_MEETING = {
    "TarvexDiagnosticsCLI": {"service/library", "host"},
    "tarvex-complete": {"service/library", "host"},
    "tarvex-manual": {"service/library", "host"},
    "orvan_service": {"host"},
}

HOST_ENTRIES = frozenset(
    """get_string_handler get_time_handler get_number_handler get_signal_handler get_filesystem
    get_timer get_thread get_module get_cim get_console release_console_instance GetNewSemaphore
    ReleaseSemaphoreInstance GetSystemEvents get_app_mutex release_app_mutex
    CreatUserAccountInstance ReleaseUserAccountInstance""".split()
)
# What loads runs into a database.
LOADER_ENTRIES = frozenset(["TarvexLoadRuns"])
SERVICE_ENTRIES = frozenset(["GetOrvanServiceInstance", "ReleaseOrvanServiceInstance"])
SERVICE_CLASSES = ("OrvanSettings", "InvalidAppKey", "FailedToVisitLocalCache", "ProductVersion")
# What the program shows to a tool that is loaded into it.
PROGRAM_ENTRIES = frozenset(
    """ToolCli::ToolCli ToolCli::~ToolCli ToolCli::operator= ToolCli::SetProperty
    OrvanSettings::OrvanSettings OrvanSettings::SetBool OrvanSettings::SetString""".split()
)
PROGRAM_CLASSES = ("ToolCli", "OrvanSettings", "InvalidAppKey", "FailedToVisitLocalCache")
# The linker's marks of the program's sections, which a shared library of the system may ask for.
SECTION_MARKS = frozenset(["__bss_start", "_edata", "_end"])
MODULE_ENTRIES = frozenset(["OrvanModuleEntry"])

# Inline functions of the standard library, the placement form of new among them.
STANDARD_LIBRARY = re.compile(r"\b(std|__gnu_cxx)::|^operator new\(unsigned long, void\*\)$")

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.M)


def room_of(path):
    """The room that a file or folder (from the root, with "/") lies in, or None."""
    parts = path.split("/")
    if parts[:2] == ["service", "modules"] and len(parts) > 2:
        return "/".join(parts[:3])
    for length in (2, 1):
        candidate = "/".join(parts[:length])
        if candidate in ROOMS:
            return candidate
    return None


def allowed_from(room):
    """The rooms that `room` may include, itself among them."""
    pattern = "service/modules/*" if room.startswith("service/modules/") else room
    return (room,) + ROOMS[pattern]


def source_files(root):
    """Every source file below root, from the root, without build folders and hidden ones."""
    for folder, folders, names in os.walk(root):
        folders[:] = sorted(
            name for name in folders if not name.startswith(".") and name != "build"
        )
        for name in sorted(names):
            if name.endswith(SOURCE_SUFFIXES):
                yield os.path.relpath(os.path.join(folder, name), root)


def is_test(path):
    """Whether a file is the tests' alone. What the SDK offers to modules' tests is of the SDK."""
    if path.endswith("_test_support.h"):
        return room_of(path) != "service/sdk"
    return path.endswith("_test.cpp") or path.split("/")[0] in OPEN_FOLDERS


def check_own_include(path, target):
    """A violation text for `path` including this project's file `target`, or None."""
    room = room_of(path)
    target_room = room_of(target)
    if is_test(path):
        inside = room in BEHIND_THE_BOUNDARY and target.split("/")[0] in ("service", "host")
        return f"a test of {room} must use tests/fakes instead of {target}" if inside else None
    if room is None:
        return f"{path.split('/')[0]}/ is no room of this house"
    if target_room not in allowed_from(room) or is_test(target):
        return f"{room} may not include {target}"
    if room == "tools" and target_room == "views" and not TOOLS_FROM_VIEWS.match(target):
        return f"tools may use the message keys of views, not {target}"
    if target_room == "os" and room in OS_FILES:
        if target not in [f"os/{name}.h" for name in OS_FILES[room]]:
            return f"{room} may use {', '.join(OS_FILES[room])} of os, not {target}"
    return None


def check_os_include(path, header):
    """A violation text for `path` including the system header `header`, or None."""
    if not OS_HEADER.search(header) or is_test(path) or room_of(path) in OS_ROOMS:
        return None
    if header in OS_EXCEPTIONS.get(path, ()):
        return None
    return f"<{header}> belongs into {', '.join(OS_ROOMS)}"


def check_sources(root):
    """Violations of the include rules in every source file below root."""
    found = []
    for path in source_files(root):
        with open(os.path.join(root, path), encoding="utf-8", errors="replace") as file:
            text = file.read()
        for bracket, target in INCLUDE.findall(text):
            violation = None
            if os.path.isfile(os.path.join(root, target)):
                violation = check_own_include(path, target)
            elif bracket == '"':
                violation = f'"{target}" is not written from the root of the tree'
            else:
                violation = check_os_include(path, target)
            if violation:
                found.append(f"{path}: {violation}")
    return found


def read_targets(text):
    """The map that CMake writes: name -> (folder, dependencies)."""
    targets = {}
    for line in text.splitlines():
        if line:
            name, folder, dependencies = line.split("|")
            targets[name] = (folder, dependencies.split())
    return targets


def check_target(name, folder, dependencies, targets):
    room = room_of(folder)
    if folder.split("/")[0] in OPEN_FOLDERS:
        return
    if room is None:
        yield f"{name}: {folder}/ is no room of this house"
        return
    meets = LINK_TIME_MEETING.get(name, ())
    for dependency in dependencies:
        if dependency in targets:
            other = room_of(targets[dependency][0])
            if other not in allowed_from(room) and other not in meets:
                yield f"{name}: {room} may not depend on {dependency} of {targets[dependency][0]}"
        elif OS_LIBRARY.search(dependency) and room not in OS_ROOMS:
            yield f"{name}: {dependency} belongs into {', '.join(OS_ROOMS)}"


def check_targets(text):
    """Violations in the text of a layering.txt."""
    targets = read_targets(text)
    return [
        violation
        for name, (folder, dependencies) in targets.items()
        for violation in check_target(name, folder, dependencies, targets)
    ]


def exported(library):
    """What a library defines for others: the demangled names without their arguments.

    Instantiations of the standard library's templates are left out: every library that uses one
    carries it, and they are nobody's entry.
    """
    text = subprocess.run(
        ["nm", "-D", "-C", "--defined-only", library], check=True, capture_output=True, text=True
    ).stdout
    names = set()
    for line in text.splitlines():
        kind, name = re.match(r"^[0-9a-f]* *(\w) (.*)$", line).groups()
        bare = name.split("@")[0].split("(")[0].strip()
        if kind in "WVu" and STANDARD_LIBRARY.search(name):
            continue
        names.add(bare)
    return names


def owner_of(name):
    """The class whose member, type information or table of operations the name is."""
    return re.sub(r"^(typeinfo|typeinfo name|vtable) for ", "", name).split("::")[0]


def is_service_entry(name):
    return name in SERVICE_ENTRIES or owner_of(name) in SERVICE_CLASSES


def is_program_entry(name):
    return owner_of(name) in PROGRAM_CLASSES or name in SECTION_MARKS


def needed(binary):
    """The libraries that are loaded with a binary, in the order in which it names them."""
    text = subprocess.run(
        ["readelf", "-d", binary], check=True, capture_output=True, text=True
    ).stdout
    return re.findall(r"\(NEEDED\).*\[(.+)\]", text)


def check_exports(library, entries, is_entry=None):
    """Violations of a library that must show `entries` and nothing else."""
    names = exported(library)
    is_entry = is_entry or (lambda name: name in entries)
    label = os.path.basename(library)
    found = [f"{label}: does not export {name}" for name in sorted(entries - names)]
    found += [f"{label}: exports {name}" for name in sorted(names) if not is_entry(name)]
    return found
