#!/usr/bin/env bash
# Builds Google Benchmark once for x86 Windows from Debian's source package into the per-user cache;
# does nothing when it is there. The preset windows-bench needs it. About 1 minute.
set -euo pipefail
here=$(dirname "${BASH_SOURCE[0]}")
. "$here/cache.sh" # the recipe's number, to be raised whenever this file makes something else
. "$here/debian-source.sh"
DEST=$BENCHMARK_ROOT_WINDOWS
FLAGS="-D__MINGW_USE_VC2005_COMPAT -msse2 -mfpmath=sse" # as the library

say() { printf '== %s\n' "$*"; }

# In the folder $1: a static library, with its package for CMake.
build_benchmark() {
    cmake -S "$1" -B "$1/build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_SYSTEM_PROCESSOR=x86 \
        -DCMAKE_CXX_COMPILER=i686-w64-mingw32-g++-posix \
        -DCMAKE_C_COMPILER=i686-w64-mingw32-gcc-posix -DCMAKE_CXX_FLAGS="$FLAGS" \
        -DHAVE_STD_REGEX=ON -DHAVE_STEADY_CLOCK=ON -DHAVE_POSIX_REGEX=OFF -DHAVE_GNU_POSIX_REGEX=OFF \
        -DBENCHMARK_ENABLE_TESTING=OFF -DBENCHMARK_ENABLE_WERROR=OFF \
        -DBENCHMARK_INSTALL_DOCS=OFF \
        -DCMAKE_INSTALL_PREFIX="$DEST.new" -DCMAKE_INSTALL_LIBDIR=lib
    cmake --build "$1/build"
    cmake --install "$1/build"
}

[ ! -f "$DEST/.complete" ] || exit 0
mkdir -p "$CACHE"
exec 9>"$CACHE/.benchmark.lock"
flock 9
[ ! -f "$DEST/.complete" ] || exit 0

say "building Google Benchmark for x86 Windows (about 1 minute) in $DEST"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fetch_debian_source "$work/src" bookworm benchmark 1.7.1
mkdir "$work/benchmark"
tar xf "$work"/src/benchmark_*.orig.tar.* -C "$work/benchmark" --strip-components=1
rm -rf "$DEST" "$DEST.new"
build_benchmark "$work/benchmark" >"$work/log" 2>&1 || { tail -n 30 "$work/log"; exit 1; }
touch "$DEST.new/.complete"
mv "$DEST.new" "$DEST"
