#!/bin/sh
# Makes a folder with a Debian 12 of its own, of the smallest kind, to build or to try packages in.
#
#   root.sh FOLDER PACKAGE...      FOLDER/root gets the packages, and what these need
#
# It is taken from the Debian mirrors that this machine's apt knows. When FOLDER has one of just these
# packages it stays as it is. Needs root rights, and mmdebstrap.
set -eu

suite=bookworm

fail() {
    printf 'root.sh: %s\n' "$*" >&2
    exit 1
}

# The lines of Debian's own mirrors among this machine's sources.
sources() {
    apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' \
        'Created-By: Packages' 'Origin: Debian' 'Component: main' 2>/dev/null |
        sort -u | while read -r uri release component; do
        case "$release" in
            "$suite" | "$suite"-*) echo "deb $uri $release $component" ;;
        esac
    done
}

[ $# -ge 2 ] || fail "usage: root.sh FOLDER PACKAGE..."
[ "$(id -u)" -eq 0 ] || fail "root rights are needed"
folder=$1
shift
wanted=$(printf '%s\n' "$suite" "$@" | sort -u)
mkdir -p "$folder"
exec 9>"$folder/root.lock"
flock 9
[ "$(cat "$folder/packages" 2>/dev/null)" != "$wanted" ] || exit 0

rm -rf --one-file-system "$folder/root" "$folder/packages"
lines=$(sources)
[ -n "$lines" ] || lines="deb http://deb.debian.org/debian $suite main"
printf '%s\n' "$lines" |
    mmdebstrap --variant=minbase --include="$(echo "$*" | tr ' ' ,)" --dpkgopt=force-unsafe-io \
        "$suite" "$folder/root" - >"$folder/log" 2>&1 || {
    tail -n 40 "$folder/log" >&2
    fail "the root could not be made; the text above is in $folder/log"
}
printf '%s\n' "$wanted" >"$folder/packages"
