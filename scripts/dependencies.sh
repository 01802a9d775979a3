#!/bin/sh
# Installs the Debian packages that this project needs and the machine lacks.
#
#   scripts/dependencies.sh build          what building and running the program takes
#   scripts/dependencies.sh test           that, and what the tests take
#   scripts/dependencies.sh bench          that, and what the benchmarks take
#   scripts/dependencies.sh lint           what building takes, and what scripts/tidy.sh takes
#   scripts/dependencies.sh fuzz           what building takes, and what scripts/fuzz.sh takes
#   scripts/dependencies.sh package        what packaging/build.sh takes
#   scripts/dependencies.sh --list KIND    prints the packages and installs nothing
#
# docs/dependencies.md says why each one is there. Packages are only installed when dpkg says that
# one is missing, so on a prepared machine this neither needs root nor touches the network.
set -eu

build_packages="g++ cmake ninja-build pkg-config qtbase5-dev libsdl2-dev libsystemd-dev libcap-dev liburing-dev
libblkid-dev libsodium-dev libsqlite3-dev libpq-dev nlohmann-json3-dev libsimdjson-dev"
test_packages="libgtest-dev libgmock-dev libfuse3-dev fuse3 mount e2fsprogs dbus python3 python3-pytest
python3-pexpect python3-prometheus-client python3-dbusmock sqlite3 qemu-system-x86 busybox-static kmod systemd
smartmontools nvme-cli bash zsh fish man-db mandoc postgresql-15 slurmctld slurmd munge ansible python3-apt
python3-jinja2 python3-pygal python3-pil chromium fonts-dejavu-core poppler-utils npm"
test_packages="$test_packages lintian mmdebstrap"
bench_packages="libbenchmark-dev fio gddrescue"
lint_packages="clang-format clang-tidy"
fuzz_packages="clang libclang-rt-dev"
package_packages="mmdebstrap python3"

fail() {
    printf 'dependencies: %s\n' "$*" >&2
    exit 1
}

packages_of() {
    case "$1" in
        build) echo $build_packages ;;
        test) echo $build_packages $test_packages ;;
        bench) echo $build_packages $test_packages $bench_packages ;;
        lint) echo $build_packages $lint_packages ;;
        fuzz) echo $build_packages $fuzz_packages ;;
        package) echo $package_packages ;;
        *) fail "unknown kind \"$1\"; use build, test, bench, lint, fuzz or package" ;;
    esac
}

# npm comes with Node's own packages, too, beside which Debian's cannot be installed.
is_there_otherwise() {
    [ "$1" = npm ] && command -v npm >/dev/null 2>&1
}

# The packages of the arguments that are not installed, one per line.
missing_of() {
    # A package that dpkg has never heard of only shows up as an error, so the answer is the
    # difference between what was asked for and what is installed.
    installed=" $(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "$@" 2>/dev/null |
        sed -n 's/^installed //p' | tr '\n' ' ')"
    for package in "$@"; do
        case "$installed" in
            *" $package "*) ;;
            *) is_there_otherwise "$package" || printf '%s\n' "$package" ;;
        esac
    done
}

main() {
    [ $# -gt 0 ] || set -- build
    if [ "$1" = "--list" ]; then
        packages_of "${2:-build}" | tr ' ' '\n'
        return
    fi
    wanted=$(packages_of "$1")
    command -v dpkg-query >/dev/null 2>&1 ||
        fail "this is not a Debian system; install the counterparts of: $wanted"
    missing=$(missing_of $wanted | tr '\n' ' ')
    [ -n "$missing" ] || return 0

    printf 'Installing missing packages: %s\n' "$missing" >&2
    as_root=
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null 2>&1 ||
            fail "root rights are needed to install; as root run: apt-get install $missing"
        as_root="sudo"
    fi
    # Standard output belongs to the program that is run afterwards.
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get update -qq >&2 ||
        fail "apt-get update failed; check the package sources and the network"
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
        $missing >&2 ||
        fail "apt-get could not install: $missing"
}

main "$@"
