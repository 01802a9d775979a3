#!/bin/sh
# Makes a diagnostic module that builds, lists, passes its one test and is covered by it, for its
# author to replace piece by piece.
#
#   scripts/new_module.sh NAME     service/modules/NAME/, from scripts/module/
#
# NAME is what -M takes: a small letter, then small letters, digits and underscores, 32 at most. The
# exit status is 2, and nothing is made, when it cannot be that.
set -eu

root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd -P)

refuse() {
    printf 'new_module.sh: %s\n' "$*" >&2
    exit 2
}

[ $# -eq 1 ] || refuse "one name is wanted: scripts/new_module.sh NAME"
name=$1
printf '%s' "$name" | LC_ALL=C tr '\n' '?' | LC_ALL=C grep -Eqx '[a-z][a-z0-9_]{0,31}' ||
    refuse "\"$name\" is no name: a small letter, then small letters, digits and underscores, 32 at most"
[ ! -e "$root/service/modules/$name" ] || refuse "there is a module $name"
# Its code is in the namespace orvan::NAME, beside those of the service's rooms.
[ ! -e "$root/service/$name" ] || refuse "\"$name\" is a room of the service"
printf '#include <cstddef>\nnamespace orvan::%s { std::size_t size; }\n' "$name" |
    c++ -std=c++20 -fsyntax-only -x c++ - 2>/dev/null || refuse "\"$name\" is a word of C++"

title=$(printf '%s' "$name" | cut -c1 | LC_ALL=C tr a-z A-Z)$(printf '%s' "$name" | cut -c2-)
type=$(printf '%s' "$name" | LC_ALL=C awk -F_ '{
    for (i = 1; i <= NF; ++i) printf "%s%s", toupper(substr($i, 1, 1)), substr($i, 2) }')
folder="$root/service/modules/$name"
made=$(mktemp -d "$root/service/modules/.new.XXXXXX")
trap 'rm -rf "$made"' EXIT
for template in "$root"/scripts/module/*.in; do
    file=$(basename "$template" .in | sed "s/^module\./${name}_module./; s/^module_test\./${name}_module_test./")
    sed "s/@name@/$name/g; s/@Name@/$title/g; s/@Type@/$type/g" "$template" >"$made/$file"
done
chmod 755 "$made"
mv -T "$made" "$folder"
trap - EXIT
echo "made service/modules/$name; CONTRIBUTING.md says how to go on from there"
