#!/bin/sh
# Builds the Debian packages from this tree, as it stands, in a clean root.
#
#   packaging/build.sh          build/packages/: *.deb, *.changes, *.buildinfo, and *.spdx.json, the
#                               list of what is in each package and of what it relies on
#
# The root has what debian/control asks for and nothing else, is kept in build/packaging, and has no
# network while the packages are built, by a user without rights. When nothing has changed since the
# last time, nothing is done. Needs root rights.
#
# The same files give the same packages, byte for byte, wherever, whenever and by whomever they are built.
# To see that it is so, the environment may have them built one folder deeper (BUILD_FOLDER, its name), with
# another time of the files (SOURCE_DATE_EPOCH), and without what was compiled before (CCACHE_DISABLE).
set -eu

root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd -P)
work="$root/build/packaging"
out="$root/build/packages"
builder=65534 # nobody, in the clean root

say() {
    printf 'build.sh: %s\n' "$*" >&2
}

fail() {
    say "$*"
    exit 1
}

# The packages that control builds with.
build_packages() {
    sed -n '/^Build-Depends:/,/^[^ ]/s/^ \([^ ,:]*\).*/\1/p' "$root/packaging/debian/control"
}

# The files of the tree, named with a zero byte behind each: those that git knows or would take.
files() {
    if git rev-parse --git-dir >/dev/null 2>&1; then
        git ls-files -z --cached --others --exclude-standard
    else
        find . -path ./build -prune -o -type f -printf '%P\0'
    fi | LC_ALL=C sort -zu | while_there
}

# Passes on those names that are there: a file may be gone since it was committed.
while_there() {
    xargs -0 sh -c 'for file; do [ ! -e "$file" ] || printf "%s\0" "$file"; done' sh
}

# When the tree was last changed, in seconds since 1970.
time_of_tree() {
    [ -z "${SOURCE_DATE_EPOCH:-}" ] || {
        echo "$SOURCE_DATE_EPOCH"
        return
    }
    git log -1 --format=%ct 2>/dev/null || stat -c %Y CHANGELOG.md
}

# The tree as one archive; the same files give the same bytes, whoever has checked them out.
archive() {
    files | tar --null --files-from=- --create --mtime="@$SOURCE_DATE_EPOCH" \
        --owner=0 --group=0 --numeric-owner --mode=go=rX,u+rw
}

# Unpacks the archive into the clean root, with debian/ where Debian's tools look for it.
stage() {
    rm -rf --one-file-system "$work/root/build"
    mkdir -p "$1"
    tar --extract --file="$work/tree.tar" --directory="$1"
    cp -r "$1/packaging/debian" "$1/debian"
    "$root/packaging/changelog.py" "$1" "$SOURCE_DATE_EPOCH" >"$1/debian/changelog"
    chown -R "$builder:$builder" "$work/root/build"
}

# Runs a command in the clean root: without network, with processes and mounts of its own that are gone
# when it ends, or this program. The first of these processes stays root, for another user's is not told to end.
in_root() {
    setpriv --pdeathsig KILL unshare --mount --pid --fork --kill-child --net --ipc --uts sh -eu -c '
        root=$1 cache=$2
        shift 2
        mount -t proc proc "$root/proc"
        mount -t tmpfs tmpfs "$root/dev"
        ln -s /proc/self/fd "$root/dev/fd"
        for device in null zero full random urandom; do
            : >"$root/dev/$device"
            mount --bind "/dev/$device" "$root/dev/$device"
        done
        [ -z "$cache" ] || mount --bind "$cache" "$root/ccache"
        chroot "$@"
        exit
    ' sh "$work/root" "$cache" --userspec="$builder:$builder" "$work/root" "$@"
}

# Where compiled files are kept from build to build: only when this machine has ccache.
cache_folder() {
    [ -z "${CCACHE_DISABLE:-}" ] || return 0
    command -v ccache >/dev/null 2>&1 || return 0
    echo "$(ccache --get-config cache_dir)-packages"
}

[ "$(id -u)" -eq 0 ] || fail "root rights are needed"
cd "$root"
mkdir -p "$work" "$out"
exec 8>"$work/build.lock"
flock 8
SOURCE_DATE_EPOCH=$(time_of_tree)
export SOURCE_DATE_EPOCH
archive >"$work/tree.tar"
tree=$(sha256sum <"$work/tree.tar")
[ "$(cat "$out/tree" 2>/dev/null)" != "$tree" ] || exit 0

cache=$(cache_folder)
packages="build-essential $(build_packages)"
path=/usr/sbin:/usr/bin:/sbin:/bin
if [ -n "$cache" ]; then
    packages="$packages ccache"
    path=/usr/lib/ccache:$path
fi
say "making the clean root (log: build/packaging/log)"
packaging/root.sh "$work" $packages
if [ -n "$cache" ]; then
    mkdir -p "$work/root/ccache" "$cache"
    chown "$builder:$builder" "$cache"
fi

version=$(sed -n 's/^project([A-Za-z]* VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
place="/build/${BUILD_FOLDER:+$BUILD_FOLDER/}tarvex-diagnostics-$version"
stage "$work/root$place"
say "building (log: build/packaging/build.log)"
in_root env -i PATH="$path" HOME=/build LC_ALL=C.UTF-8 CCACHE_DIR=/ccache \
    SOURCE_DATE_EPOCH="$SOURCE_DATE_EPOCH" DEB_BUILD_OPTIONS="parallel=$(nproc)" \
    sh -c "cd $place && dpkg-buildpackage --build=binary --no-sign" >"$work/build.log" 2>&1 </dev/null || {
    tail -n 60 "$work/build.log" >&2
    fail "the packages could not be built; the text above is in build/packaging/build.log"
}
rm -rf "$out"
mkdir -p "$out"
find "$work/root${place%/*}" -maxdepth 1 -type f -name 'tarvex*' -exec cp {} "$out" \;
for package in "$out"/*.deb; do
    case "$package" in
        *-dbgsym_*) ;;
        *) packaging/sbom.py "$package" "$work/root" "$SOURCE_DATE_EPOCH" >"${package%.deb}.spdx.json" ;;
    esac
done
printf '%s\n' "$tree" >"$out/tree"
