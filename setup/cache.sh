#!/bin/sh
# Where the things lie that are built once for all checkouts, and which of them this version of the
# project uses: the one place for their folders, versions and recipe numbers.
#
#   . setup/cache.sh     sets the variables (sh, bash)
#   setup/cache.sh NAME  prints one of them (CMake)
#
# Raise a recipe number whenever its build script makes something else of the same version.
CACHE=${KRCOMMON_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/krcommon}

ACE_VERSION=${ACE_VERSION:-6.5.12}
ACE_RECIPE=1
ACE_ROOT_WINDOWS=$CACHE/ace-$ACE_VERSION-x86-mingw-r$ACE_RECIPE

SQLITE_RECIPE=1
SQLITE_ROOT_WINDOWS=$CACHE/sqlite-3-x86-mingw-r$SQLITE_RECIPE

SERVE_RECIPE=1
SERVE_ROOT_WINDOWS=$CACHE/serve-1-x86-mingw-r$SERVE_RECIPE

BENCHMARK_RECIPE=1
BENCHMARK_ROOT_WINDOWS=$CACHE/benchmark-1.7-x86-mingw-r$BENCHMARK_RECIPE

GSOAP_RECIPE=1
GSOAP_ROOT=$CACHE/gsoap-2.8.124-r$GSOAP_RECIPE

if [ "${0##*/}" = cache.sh ]; then
    case ${1:-} in
    CACHE) echo "$CACHE" ;;
    ACE_ROOT_WINDOWS) echo "$ACE_ROOT_WINDOWS" ;;
    SQLITE_ROOT_WINDOWS) echo "$SQLITE_ROOT_WINDOWS" ;;
    SERVE_ROOT_WINDOWS) echo "$SERVE_ROOT_WINDOWS" ;;
    BENCHMARK_ROOT_WINDOWS) echo "$BENCHMARK_ROOT_WINDOWS" ;;
    GSOAP_ROOT) echo "$GSOAP_ROOT" ;;
    *)
        echo "usage: $0 CACHE|ACE_ROOT_WINDOWS|SQLITE_ROOT_WINDOWS|SERVE_ROOT_WINDOWS|" \
            "BENCHMARK_ROOT_WINDOWS|GSOAP_ROOT" >&2
        exit 2
        ;;
    esac
fi
