#!/bin/sh
# Installs what is missing, builds the program and runs every test.
#
#   ./test.sh               all tests, then the unit tests again under the sanitizers
#   ./test.sh deep          all tests, each system call of six command lines made to fail in turn,
#                           twenty runs on sound drives in the laboratory, the packages built twice,
#                           and all but these, the laboratory's, those of disks and of packages again
#                           under the sanitizers
#   ./test.sh quick         all tests but those of the laboratory, packages and fleets, without the sanitizers
#   ./test.sh -R PATTERN    the tests whose name matches, without the sanitizers
#   ./test.sh -L LABEL      the tests of one label: unit, layering, golden, terminal, channels,
#                           records, history, report, completion, manual, newcomer, fleet,
#                           strangers, supervisor, worker, disks, packaging, lab, faults, often,
#                           twice
#
# The last line reads "N passed, M failed" (and ", K skipped" when something could not be tried
# here; each of those is named). The exit status is 0 only when all was built and nothing failed.
set -eu

root=$(CDPATH='' cd -- "$(dirname -- "$0")" && pwd -P)
cd "$root"

usage() {
    sed -n '2,/^set -eu/{s/^# \{0,1\}//;/^set -eu/d;p}' "$0" >&2
    exit 2
}

say() {
    printf '\n== %s\n' "$*"
}

# Builds one preset, quietly; the log is shown when it fails.
build() {
    log="build/$1.log"
    say "building $1 (log: $log)"
    {
        { [ -f "build/$1/build.ninja" ] || cmake --preset "$1" $launcher; } &&
            cmake --build --preset "$1" -j "$jobs"
    } >"$log" 2>&1 </dev/null || {
        tail -n 200 "$log"
        broken="$broken $1"
        return 1
    }
}

# Runs the tests of one preset. Arguments behind the preset go to ctest.
check() {
    preset=$1
    shift
    say "testing $preset"
    results="build/$preset/test-results.xml"
    rm -f "$results"
    # What ctest says is read from its report, so that a crash of ctest itself counts too.
    $runner ctest --test-dir "build/$preset" -j "$jobs" --output-on-failure --no-tests=error \
        --test-output-size-passed 1000000 --test-output-size-failed 1000000 \
        --output-junit "$root/$results" "$@" </dev/null || true
    reports="$reports $preset=$results"
}

sanitize='-L ^unit$'
# Thousands of runs with a failing system call take half an hour, those on sound drives a quarter, and
# so does compiling all anew for packages.
all='-LE ^(faults|often|twice)$'
selection=
pattern=
while [ $# -gt 0 ]; do
    case "$1" in
        deep) sanitize='-LE ^(disks|packaging|lab|layering|faults|often|twice)$' all= ;;
        quick) sanitize= all='-LE ^(lab|packaging|fleet|faults|often|twice)$' ;;
        -R | -L)
            [ $# -ge 2 ] || usage
            selection=$1 pattern=$2 sanitize=
            shift
            ;;
        *) usage ;;
    esac
    shift
done

scripts/dependencies.sh test
mkdir -p build
jobs=$(nproc)
reports=
broken=
runner=
launcher=
if command -v ccache >/dev/null 2>&1; then
    launcher="-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"
fi

if build dev; then
    if [ -n "$selection" ]; then
        check dev "$selection" "$pattern"
    else
        # Two words, or none.
        check dev $all
    fi
fi
if [ -n "$sanitize" ]; then
    for preset in asan tsan; do
        if [ "$preset" = tsan ] && setarch -R true 2>/dev/null; then
            # The thread sanitizer's shadow memory does not bear a widely spread address space.
            runner="setarch -R"
        fi
        if build "$preset"; then
            # Two words: the kind of selection and its pattern.
            check "$preset" ${sanitize%% *} "${sanitize#* }"
        fi
    done
fi

say "summary"
exec /usr/bin/python3 scripts/test_summary.py --broken "$broken" -- $reports
