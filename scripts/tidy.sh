#!/bin/sh
# Installs what is missing and runs clang-tidy over the program's sources, or over those named. Every
# finding is an error; .clang-tidy says which checks there are and why some are left out. All sources
# take some minutes.
#
#   scripts/tidy.sh            all sources but the tests
#   scripts/tidy.sh FILE ...   these
set -eu

root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd -P)
cd "$root"
scripts/dependencies.sh lint
# No package of the tests is needed. It is configured each time, for a list of an
# earlier state would not know a new source.
cmake --preset dev -B build/tidy -DTARVEX_TESTS=OFF >/dev/null
[ $# -gt 0 ] || set -- $(git ls-files '*.cpp' | grep -E '^(frontend|views|tools|system|host|service|companions|os)/' |
    grep -vE '_test\.cpp$|_test_[a-z_]*\.cpp$|/test_[a-z_]*(\.cpp$|/)')
printf '%s\n' "$@" | xargs -n 4 -P "$(nproc)" clang-tidy -p build/tidy --quiet \
    --extra-arg=-Wno-unknown-warning-option --warnings-as-errors='*'
