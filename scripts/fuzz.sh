#!/bin/sh
# Builds the fuzzers and runs each one.
#
#   scripts/fuzz.sh [SECONDS]    how long each one runs; 60 when nothing is said
#
# An input with which something went wrong stays in build/fuzz/findings; once the fault is mended it
# belongs into fuzz/corpus/FUZZER under a name that says what it is, and every ./test.sh replays it.
# What the fuzzers learn stays in build/fuzz/learned, for the next time. The exit status is 0 only
# when every fuzzer ran its time and found nothing.
set -eu

root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd -P)
cd "$root"
seconds=${1:-60}
case "$seconds" in
    '' | *[!0-9]* | 0*)
        printf 'fuzz: "%s" is no number of seconds from 1 on\n' "$seconds" >&2
        exit 2
        ;;
esac

scripts/dependencies.sh fuzz
mkdir -p build/fuzz/findings
log=build/fuzz/build.log
printf 'building (log: %s)\n' "$log"
launcher=
if command -v ccache >/dev/null 2>&1; then
    launcher="-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"
fi
if ! { cmake --preset fuzz $launcher && cmake --build --preset fuzz --target fuzzers; } \
    >"$log" 2>&1 </dev/null; then
    tail -n 100 "$log"
    exit 1
fi

failed=0
for source in fuzz/*_fuzzer.cpp; do
    name=$(basename "$source" .cpp)
    learned="build/fuzz/learned/$name"
    output="build/fuzz/$name.log"
    dictionary="fuzz/$name.dict"
    mkdir -p "$learned"
    set -- "$learned" "fuzz/corpus/$name"
    [ ! -f "$dictionary" ] || set -- -dict="$dictionary" "$@"
    verdict="nothing found"
    "build/fuzz/fuzz/$name" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -print_final_stats=1 -artifact_prefix="build/fuzz/findings/$name-" "$@" \
        >"$output" 2>&1 </dev/null || verdict="FAILED (log: $output)" failed=1
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$output")
    rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$output")
    printf '%-24s %10s runs, %6s a second: %s\n' "$name" "${runs:-?}" "${rate:-?}" "$verdict"
done
exit "$failed"
