#!/usr/bin/env bash
# Builds SQLite and its C++ interface once for x86 Windows from Debian's source packages into the
# per-user cache, with the headers of CLI11 and mustache beside them; does nothing when they are
# there. The video search example needs them. About 1 minute.
set -euo pipefail
here=$(dirname "${BASH_SOURCE[0]}")
. "$here/cache.sh" # the recipe's number, to be raised whenever this file makes something else
. "$here/debian-source.sh"
DEST=$SQLITE_ROOT_WINDOWS
FLAGS="-O2 -D__MINGW_USE_VC2005_COMPAT -msse2 -mfpmath=sse" # as the library

say() { printf '== %s\n' "$*"; }

# In the folder $1: SQLite's one-file form from its sources, compiled into $DEST.new.
build_sqlite() {
    cd "$1"
    ./configure --disable-tcl --disable-readline
    make sqlite3.c sqlite3.h
    # shellcheck disable=SC2086
    i686-w64-mingw32-gcc-posix $FLAGS -c sqlite3.c -o sqlite3.o
    i686-w64-mingw32-ar rcs "$DEST.new/lib/libsqlite3.a" sqlite3.o
    cp sqlite3.h "$DEST.new/include/"
}

# In the folder $1: SQLiteCpp, with its package for CMake.
build_sqlitecpp() {
    cmake -S "$1" -B "$1/build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_SYSTEM_PROCESSOR=x86 \
        -DCMAKE_CXX_COMPILER=i686-w64-mingw32-g++-posix \
        -DCMAKE_C_COMPILER=i686-w64-mingw32-gcc-posix -DCMAKE_CXX_FLAGS="$FLAGS" \
        -DSQLITECPP_INTERNAL_SQLITE=OFF -DSQLITECPP_RUN_CPPLINT=OFF \
        -DSQLITE_ENABLE_COLUMN_METADATA=OFF -DSQLITECPP_USE_STACK_PROTECTION=OFF \
        -DSQLite3_INCLUDE_DIR="$DEST.new/include" -DSQLite3_LIBRARY="$DEST.new/lib/libsqlite3.a" \
        -DCMAKE_INSTALL_PREFIX="$DEST.new" -DCMAKE_INSTALL_LIBDIR=lib
    cmake --build "$1/build"
    cmake --install "$1/build"
}

[ ! -f "$DEST/.complete" ] || exit 0
mkdir -p "$CACHE"
exec 9>"$CACHE/.sqlite.lock"
flock 9
[ ! -f "$DEST/.complete" ] || exit 0

say "building SQLite for x86 Windows (about 1 minute) in $DEST"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fetch_debian_source "$work/src" bookworm sqlite3 3.40.1
fetch_debian_source "$work/src" bookworm sqlitecpp 3.2.1
mkdir "$work/sqlite" "$work/sqlitecpp"
tar xf "$work"/src/sqlite3_*.orig.tar.xz -C "$work/sqlite" --strip-components=1
tar xf "$work"/src/sqlitecpp_*.orig.tar.* -C "$work/sqlitecpp" --strip-components=1
rm -rf "$DEST" "$DEST.new"
mkdir -p "$DEST.new"/{include,lib}
{
    (build_sqlite "$work/sqlite")
    build_sqlitecpp "$work/sqlitecpp"
} >"$work/log" 2>&1 || { tail -n 30 "$work/log"; exit 1; }
cp -r /usr/include/CLI /usr/include/kainjow "$DEST.new/include/"
touch "$DEST.new/.complete"
mv "$DEST.new" "$DEST"
