#!/bin/sh
# Builds the program as it is shipped and prints its figures beside those of its peers.
#
#   bench/run.sh                 everything; takes some minutes
#   bench/run.sh startup ...     only these: startup idle_cpu worker many_tests run_all records recover linear_read smart fleet history views
#
# The exit status is 0 only when every figure keeps its limit. Run it on a machine that does
# nothing else, as root (the linear read needs a loop device).
set -eu

root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd -P)
build="$root/build/bench"
"$root/scripts/dependencies.sh" bench
mkdir -p "$root/build"
if ! {
    [ -f "$build/build.ninja" ] ||
        cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTARVEX_TESTS=OFF \
            -DTARVEX_BENCH=ON
    cmake --build "$build"
} >"$root/build/bench.log" 2>&1; then
    cat "$root/build/bench.log" >&2
    exit 1
fi

[ $# -gt 0 ] || set -- startup idle_cpu worker many_tests run_all records recover linear_read smart fleet history views
status=0
for name in "$@"; do
    case "$name" in
        views) "$build/bench/views_bench" || status=1 ;;
        *) TARVEX_BINARY_DIR="$build" /usr/bin/python3 -B "$root/bench/$name.py" || status=1 ;;
    esac
    echo
done
exit $status
