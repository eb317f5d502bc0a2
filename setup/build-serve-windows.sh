#!/usr/bin/env bash
# Puts cpp-httplib's one-file form and expat, built once for x86 Windows, from Debian's source packages
# into the per-user cache; does nothing when they are there. kr_serve needs them. Some seconds.
set -euo pipefail
here=$(dirname "${BASH_SOURCE[0]}")
. "$here/cache.sh" # the recipe's number, to be raised whenever this file makes something else
. "$here/debian-source.sh"
DEST=$SERVE_ROOT_WINDOWS
FLAGS="-O2 -D__MINGW_USE_VC2005_COMPAT -msse2 -mfpmath=sse" # as the library

say() { printf '== %s\n' "$*"; }

# In the folder $1: expat as a static library.
build_expat() {
    sed -i 's/#cmakedefine XML_DTD$/#cmakedefine XML_DTD 1/' "$1/expat_config.h.cmake"
    cmake -S "$1" -B "$1/build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_SYSTEM_PROCESSOR=x86 \
        -DCMAKE_C_COMPILER=i686-w64-mingw32-gcc-posix \
        -DCMAKE_CXX_COMPILER=i686-w64-mingw32-g++-posix -DCMAKE_C_FLAGS="$FLAGS" \
        -DEXPAT_SHARED_LIBS=OFF -DEXPAT_BUILD_TOOLS=OFF -DEXPAT_BUILD_EXAMPLES=OFF \
        -DEXPAT_BUILD_TESTS=OFF -DEXPAT_BUILD_DOCS=OFF \
        -DCMAKE_INSTALL_PREFIX="$DEST.new" -DCMAKE_INSTALL_LIBDIR=lib &&
        cmake --build "$1/build" && cmake --install "$1/build"
}

[ ! -f "$DEST/.complete" ] || exit 0
mkdir -p "$CACHE"
exec 9>"$CACHE/.serve.lock"
flock 9
[ ! -f "$DEST/.complete" ] || exit 0

say "building expat for x86 Windows in $DEST"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fetch_debian_source "$work/src" bookworm cpp-httplib 0.11.4
fetch_debian_source "$work/src" bookworm expat 2.5.0
mkdir "$work/httplib" "$work/expat"
tar xf "$work"/src/cpp-httplib_*.orig.tar.* -C "$work/httplib" --strip-components=1
tar xf "$work"/src/expat_*.orig.tar.* -C "$work/expat" --strip-components=1
# Debian's corrections: requests that Linux refuses are refused here too.
for package in httplib:cpp-httplib expat:expat; do
    folder=$work/${package%%:*}
    tar xf "$work"/src/"${package##*:}"_*.debian.tar.* -C "$folder"
    while read -r patch; do
        [ ! -f "$folder/debian/patches/$patch" ] ||
            patch -d "$folder" -p1 --no-backup-if-mismatch -s <"$folder/debian/patches/$patch"
    done < <(grep -v '^#' "$folder/debian/patches/series")
done >"$work/log" 2>&1 || { tail -n 30 "$work/log"; exit 1; }
rm -rf "$DEST" "$DEST.new"
mkdir -p "$DEST.new"/{include,lib}
expat=$work/expat
[ -f "$expat/CMakeLists.txt" ] || expat=$work/expat/expat
build_expat "$expat" >"$work/log" 2>&1 || { tail -n 30 "$work/log"; exit 1; }
cp "$work/httplib/httplib.h" "$DEST.new/include/"
touch "$DEST.new/.complete"
mv "$DEST.new" "$DEST"
