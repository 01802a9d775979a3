#!/bin/sh
# Runs clang-tidy over the program's sources, or over those named. Every finding is an error;
# .clang-tidy says which checks there are and why some are left out. Needs a configured build/dev.
#
#   scripts/tidy.sh            all sources but the tests
#   scripts/tidy.sh FILE ...   these
set -eu

root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd -P)
cd "$root"
[ -f build/dev/compile_commands.json ] || cmake --preset dev >/dev/null
[ $# -gt 0 ] || set -- $(git ls-files '*.cpp' | grep -E '^(frontend|views|system|host|service)/' |
    grep -vE '_test\.cpp$|_test_[a-z_]*\.cpp$|/test_[a-z_]*\.cpp$')
printf '%s\n' "$@" | xargs -n 4 -P "$(nproc)" clang-tidy -p build/dev --quiet --warnings-as-errors='*'
