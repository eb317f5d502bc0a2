#!/usr/bin/env bash
# Builds ACE once for x86 Windows from Debian's source package into the per-user cache;
# does nothing when it is there. About 3 minutes.
#
# The release is 6.5.12, the line that the hosts of the library use. Another one that has
# passed the tests is 7.0.8: set ACE_VERSION=7.0.8 for this script and for CMake's configuration.
set -euo pipefail
here=$(dirname "${BASH_SOURCE[0]}")
. "$here/cache.sh" # the recipe's number, to be raised whenever this file makes something else
. "$here/debian-source.sh"
DEST=$ACE_ROOT_WINDOWS

say() { printf '== %s\n' "$*"; }

# Leaves ace_*.orig.tar.* in the folder $1.
fetch_source() {
    case $ACE_VERSION in
    6.5.12) fetch_debian_source "$1" bullseye ace 6.5.12+ ;;
    7.0.8) fetch_debian_source "$1" bookworm ace 7.0.8+ ;;
    *) say "no suite known for ACE $ACE_VERSION"; return 1 ;;
    esac
}

# ACE's own build files in the current folder. __MINGW_USE_VC2005_COMPAT alone would leave
# ACE_Time_Value with 32-bit seconds behind a 64-bit interface.
write_build_configuration() {
    cat >ace/config.h <<'E'
#if !defined (__MINGW_USE_VC2005_COMPAT)
# error "ACE was built with 64-bit time_t: compile with -D__MINGW_USE_VC2005_COMPAT"
#endif
#define ACE_HAS_TIME_T_LONG_MISMATCH
#include "ace/config-win32.h"
E
    cat >include/makeinclude/platform_macros.GNU <<'E'
CROSS_COMPILE=i686-w64-mingw32-
debug=0
optimize=1
inline=1
include $(ACE_ROOT)/include/makeinclude/platform_mingw32.GNU
CC  = i686-w64-mingw32-gcc-posix
CXX = i686-w64-mingw32-g++-posix
OCFLAGS  = -O2
OCCFLAGS = -O2 -w
CPPFLAGS += -D__MINGW_USE_VC2005_COMPAT -msse2 -mfpmath=sse
E
    printf 'workspace {\n  ace/ace.mpc\n}\n' >min.mwc
}

# build LOG: everything is written to the file, and the progress told.
build() {
    local make=(make -C ace -f GNUmakefile.ACE) files
    export ACE_ROOT=$PWD MPC_ROOT=$PWD/MPC
    perl MPC/mwc.pl -type gnuace -features ssl=0 min.mwc >"$1" 2>&1 || return 1
    files=$("${make[@]}" -n 2>/dev/null | grep -c -- ' -c ') || return 1
    "${make[@]}" -j"$(nproc)" 2>&1 | tee -a "$1" | tell_progress "$files"
}

# Reads make's output and says at each tenth how many of $1 files are compiled.
tell_progress() {
    local line compiled=0 tenth=0
    while IFS= read -r line; do
        case $line in *' -c '*) compiled=$((compiled + 1)) ;; esac
        if [ $((10 * compiled / $1)) -gt $tenth ]; then
            tenth=$((10 * compiled / $1))
            say "ACE: $compiled of $1 files"
        fi
    done
}

# Moves headers (with the template bodies that they include), import library, DLL and
# licence from the build in the current folder to $DEST, whole.
install_to_cache() {
    rm -rf "$DEST" "$DEST.new"
    mkdir -p "$DEST.new"/{include,lib,bin}
    {
        find ace -name '*.h' -o -name '*.inl'
        grep -rhoE '# *include "ace/[^"]+\.cpp"' ace --include='*.h' |
            sed 's/.*"\(.*\)"/\1/' | sort -u
    } | tar c -T - | tar x -C "$DEST.new/include"
    cp COPYING "$DEST.new/"
    cp ace/libACE.dll.a "$DEST.new/lib/"
    i686-w64-mingw32-strip -o "$DEST.new/bin/libACE.dll" ace/libACE.dll
    touch "$DEST.new/.complete"
    mv "$DEST.new" "$DEST"
}

[ ! -f "$DEST/.complete" ] || exit 0
mkdir -p "$CACHE"
exec 9>"$CACHE/.ace.lock"
flock 9
[ ! -f "$DEST/.complete" ] || exit 0

say "building ACE $ACE_VERSION for x86 Windows (about 3 minutes) in $DEST"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fetch_source "$work/src"
mkdir "$work/ace"
tar xf "$work"/src/ace_*.orig.tar.* -C "$work/ace" --strip-components=1
cd "$work/ace"
write_build_configuration
build "$work/log" || { tail -n 30 "$work/log"; exit 1; }
install_to_cache
