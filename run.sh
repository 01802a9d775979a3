#!/bin/sh
# Installs what is missing, builds the release preset and runs the program with the arguments.
# The program starts in the caller's working directory, and its exit status is this script's.
set -eu

root=$(CDPATH='' cd -- "$(dirname -- "$0")" && pwd -P)
build="$root/build/release"
program="$build/bin/TarvexDiagnosticsCLI"
log="$root/build/release.log"

say() {
    printf 'run.sh: %s\n' "$*" >&2
}

# Runs a step with its output in the log; on failure shows the log and ends.
step() {
    "$@" >>"$log" 2>&1 </dev/null && return
    cat "$log" >&2
    say "the build failed; the text above is also in $log"
    exit 1
}

bring_up_to_date() {
    "$root/scripts/dependencies.sh" build </dev/null || exit 1
    mkdir -p "$root/build" || exit 1
    # Two starts at once must not build into one folder at once.
    exec 9>"$log.lock"
    flock 9
    : >"$log"
    if [ ! -f "$build/build.ninja" ]; then
        say "building the program; the first time takes a few minutes (log: $log)"
        step cmake -S "$root" --preset release
    elif [ ! -x "$program" ]; then
        say "building the program (log: $log)"
    fi
    step ninja -C "$build"
}

# In a shell of its own, so that the program inherits neither the lock nor a changed folder.
(bring_up_to_date) || exit 1
exec "$program" "$@"
