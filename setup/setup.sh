#!/usr/bin/env bash
# Installs what is missing on Debian 12 (amd64); safe to run again. Give one or more parts:
#
#   library           the library for Linux: compiler, CMake, ACE
#   windows-library   the library for Windows: cross compiler, ACE built for it
#   linux             library, tests and examples for Linux
#   windows           the same for Windows: 32-bit Wine, SQLite and what kr_serve
#                     uses built for it; and the part linux
#   linux-package     what makes and checks Debian packages; and the part linux
#   windows-package   what makes and checks zip and installer; and the part windows
#   docs              what makes the API reference
#   bench             the benchmarks and the libraries that they compare with
#   windows-bench     the benchmarks for Windows, Google Benchmark built for it
#   clang             the second compiler, and the tests
#   soap              gSOAP, which generates web-service types, and the tests
#   fuzz              clang with libFuzzer
#   coverage          gcovr, and the tests
#   checks            clang-format, clang-tidy, shellcheck
#   wheels            Python, which makes wheels of what the library parts build
#   demo              the recording that the demo analyses
#   cluster           the servers of a store on a cluster, which setup/cluster.sh starts; the service
#                     of their package is neither needed nor started
#
# Root (or sudo) is needed only for packages that are missing. What is built here lies in a
# per-user cache outside the repository (setup/cache.sh).
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$here/packages.sh"
. "$here/cache.sh"
CODENAME=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")

say() { printf '== %s\n' "$*"; }
as_root() { if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi; }
installed() { [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }
knows_i386() { dpkg --print-foreign-architectures | grep -qx i386; }

# As root, or by sudo without a password, or with one that somebody can type.
can_be_root() {
    [ "$(id -u)" = 0 ] || sudo -n true 2>/dev/null ||
        { [ -t 0 ] && command -v sudo >/dev/null && sudo true; }
}

# Tells a user without root's rights, once, what is to be installed.
ask_for_packages() {
    say "missing, and only root can install it. Have this run once, then try again:"
    printf '\n    %sapt-get update; apt-get install --no-install-recommends %s\n\n' \
        "$(if [[ "$*" = *:i386* ]] && ! knows_i386; then echo 'dpkg --add-architecture i386; '; fi)" \
        "$*"
    exit 1
}

install_packages() {
    local package missing=() aligned
    for package in "$@"; do installed "$package" || missing+=("$package"); done
    [ ${#missing[@]} -gt 0 ] || return 0
    mapfile -t missing < <(printf '%s\n' "${missing[@]}" | sort -u)
    can_be_root || ask_for_packages "${missing[@]}"
    say "installing: ${missing[*]}"
    [[ "${missing[*]}" != *:i386* ]] || knows_i386 || as_root dpkg --add-architecture i386
    # One unreadable index must not stop us: whether the packages install decides.
    as_root apt-get update -qq || say "the package index did not refresh completely; going on"
    local apt=(as_root env DEBIAN_FRONTEND=noninteractive
               apt-get install -y -q --no-install-recommends)
    # First from the release alone: the amd64 and i386 copies of a library must have one
    # version, and the security index of one of the two may be the unreadable one.
    "${apt[@]}" -t "$CODENAME" "${missing[@]}" && return 0
    say "not installable from $CODENAME alone; trying all sources"
    "${apt[@]}" "${missing[@]}" && return 0
    mapfile -t aligned < <(i386_alignment "${missing[@]}")
    [ ${#aligned[@]} -gt 0 ] || return 1
    say "bringing amd64 libraries to the version that i386 has: ${aligned[*]}"
    "${apt[@]}" -t "$CODENAME" --allow-downgrades "${missing[@]}" "${aligned[@]}"
}

# Prints "package=version" for the installed amd64 packages whose version keeps the i386
# packages "$@" from being installed, together with the packages of the same source.
i386_alignment() {
    local package have candidate
    LC_ALL=C apt-cache depends --recurse --no-recommends --no-suggests --no-conflicts \
        --no-breaks --no-replaces --no-enhances "$@" libwine:i386 2>/dev/null |
        grep -oE '^[a-z0-9][a-z0-9.+-]*:i386' | sort -u | sed 's/:i386$//' |
        while read -r package; do
            have=$(dpkg-query -W -f '${Version}' "$package:amd64" 2>/dev/null) || continue
            candidate=$(LC_ALL=C apt-cache policy -o "APT::Default-Release=$CODENAME" \
                "$package:i386" | awk '/Candidate:/ { print $2 }')
            case $candidate in '' | '(none)' | "$have") continue ;; esac
            same_source_at "$package" "$have" "$candidate"
        done | sort -u
}

# Prints "package=version" for each installed package of $1's source at version $2 that is
# available at version $3 (or at $3 without its rebuild suffix).
same_source_at() {
    local source name version
    source=$(dpkg-query -W -f '${source:Package}' "$1:amd64")
    dpkg-query -W -f '${source:Package} ${binary:Package} ${Version}\n' |
        awk -v s="$source" -v v="$2" '$1 == s && $3 == v { print $2 }' | sed 's/:amd64$//' |
        while read -r name; do
            for version in "$3" "${3%+b[0-9]*}"; do
                if LC_ALL=C apt-cache madison "$name" |
                    awk -F' *[|] *' -v v="$version" '$2 == v { f = 1 } END { exit !f }'; then
                    echo "$name=$version"
                    break
                fi
            done
        done
}

# The packages of one part, one a line.
packages_of() {
    local linux=("${LIBRARY_PACKAGES[@]}" "${TEST_PACKAGES[@]}" "${EXAMPLE_PACKAGES[@]}"
           "${TOOL_PACKAGES[@]}" "${CLIENT_PACKAGES[@]}" "${PAGE_TEST_PACKAGES[@]}")
    local list
    case $1 in
    library) list=("${LIBRARY_PACKAGES[@]}") ;;
    windows-library) list=("${LIBRARY_PACKAGES[@]}" "${WINDOWS_LIBRARY_PACKAGES[@]}") ;;
    linux) list=("${linux[@]}") ;;
    windows)
        list=("${linux[@]}" "${WINDOWS_LIBRARY_PACKAGES[@]}" "${WINE_PACKAGES[@]}"
              "${WINDOWS_EXAMPLE_PACKAGES[@]}" "${WINDOWS_TOOL_PACKAGES[@]}" "${C_HOST_PACKAGES[@]}")
        ;;
    linux-package)
        list=("${linux[@]}" "${LINUX_PACKAGE_PACKAGES[@]}")
        ;;
    windows-package)
        mapfile -t list < <(packages_of windows)
        list+=("${WINDOWS_PACKAGE_PACKAGES[@]}")
        ;;
    docs) list=("${DOCS_PACKAGES[@]}") ;;
    windows-bench)
        list=("${LIBRARY_PACKAGES[@]}" "${WINDOWS_LIBRARY_PACKAGES[@]}" "${WINE_PACKAGES[@]}")
        ;;
    bench) list=("${LIBRARY_PACKAGES[@]}" "${BENCH_PACKAGES[@]}") ;;
    clang) list=("${LIBRARY_PACKAGES[@]}" "${TEST_PACKAGES[@]}" "${CLANG_PACKAGES[@]}") ;;
    soap) list=("${LIBRARY_PACKAGES[@]}" "${TEST_PACKAGES[@]}" "${SOAP_PACKAGES[@]}") ;;
    fuzz) list=("${LIBRARY_PACKAGES[@]}" "${FUZZ_PACKAGES[@]}") ;;
    coverage) list=("${LIBRARY_PACKAGES[@]}" "${TEST_PACKAGES[@]}" "${COVERAGE_PACKAGES[@]}") ;;
    checks) list=("${CHECK_PACKAGES[@]}") ;;
    wheels) list=("${WHEEL_PACKAGES[@]}") ;;
    cluster) list=("${CLUSTER_PACKAGES[@]}") ;;
    demo) return 0 ;;
    *)
        echo "setup: unknown part '$1'; the beginning of $0 lists them" >&2
        return 2
        ;;
    esac
    printf '%s\n' "${list[@]}"
}

# What a part needs beside packages.
build_for() {
    case $1 in
    windows | windows-library | windows-bench | windows-package) "$here/build-ace-windows.sh" ;;
    esac
    case $1 in
    windows | windows-package)
        "$here/build-sqlite-windows.sh"
        "$here/build-serve-windows.sh"
        "$here/wine-run.sh" cmd /c ver >/dev/null # makes the Wine prefix: 15 s the first time
        ;;
    windows-bench)
        "$here/build-benchmark-windows.sh"
        "$here/wine-run.sh" cmd /c ver >/dev/null
        ;;
    soap) "$here/fetch-gsoap.sh" ;;
    demo) fetch_recording ;;
    esac
}

download() { # download PACKAGE FOLDER: needs no root
    (cd "$2" && apt-get download -q -o APT::Sandbox::User= "$1")
}

# A street recording from the package opencv-doc, of which nothing else is needed, into the cache.
fetch_recording() {
    local file=usr/share/doc/opencv-doc/examples/data/vtest.avi work=$CACHE/demo.new
    [ ! -f "$CACHE/vtest.avi" ] || return 0
    say "fetching the demo's recording (96 MB)"
    mkdir -p "$CACHE"
    rm -rf "$work"
    mkdir "$work"
    download opencv-doc "$work" || { # an old index may name what is no longer there
        can_be_root || return 1
        as_root apt-get update -qq || say "the package index did not refresh completely; going on"
        download opencv-doc "$work"
    }
    dpkg-deb --fsys-tarfile "$work"/opencv-doc_*.deb | tar xO "./$file" >"$work/vtest.avi"
    mv "$work/vtest.avi" "$CACHE/"
    rm -rf "$work"
}

[ $# -gt 0 ] || set -- none
needed=""
for part in "$@"; do needed+=" $(packages_of "$part")"; done
if [ -n "${needed// /}" ]; then
    command -v dpkg-query >/dev/null || { say "this set-up knows Debian's packages only"; exit 1; }
    # shellcheck disable=SC2086
    install_packages $needed
fi
for part in "$@"; do build_for "$part"; done
say "set-up for $*: ready"
