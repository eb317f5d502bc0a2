#!/usr/bin/env bash
# Takes the packages in build/packages, each into an empty folder, and does with them what their users do.
#
#   tests/packages/check.sh [linux] [windows]
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. tools/packages/common.sh
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

expect() { # COMMAND...: fails with the command
    "$@" || fail "not as it should be: $*"
}

check_bills() { # FILE...
    local file
    for file in "$@"; do
        expect [ -s "$file.cdx.json" ]
        expect /usr/bin/python3 -B tests/packages/check_bom.py "$file" "$file.cdx.json"
    done
}

# As autopkgtest does it on a machine where they are installed; here out of a folder, whose link to /etc
# must not reach the machine's own.
check_debian() {
    local root=$work/debian package multiarch=usr/lib/x86_64-linux-gnu
    mkdir "$root"
    for package in libkrcommon1 libkrcommon-dev krtool kr-video-search; do
        [ "$package" = libkrcommon-dev ] ||
            expect [ -s "$PACKAGES/${package}-dbgsym_${VERSION}_amd64.deb" ]
        expect dpkg-deb -x "$PACKAGES/${package}_${VERSION}_amd64.deb" "$root"
        expect [ -s "$root/usr/share/doc/$package/copyright" ]
    done
    expect [ "$(dpkg-deb --info "$PACKAGES/libkrcommon1_${VERSION}_amd64.deb" conffiles)" = \
        /etc/krcommon/KRCommon.xml ]
    expect [ "$(readlink "$root/$multiarch/KRCommon.xml")" = /etc/krcommon/KRCommon.xml ]
    ln -sf ../../../etc/krcommon/KRCommon.xml "$root/$multiarch/KRCommon.xml"

    export LD_LIBRARY_PATH=$root/$multiarch PKG_CONFIG_PATH=$root/$multiarch/pkgconfig
    build_consumer "$root/usr" "$work/consumer"
    (cd "$work/consumer" && expect build/consumer_17)
    # shellcheck disable=SC2046
    expect g++ -std=c++17 "-DPACKAGE_VERSION=\"$VERSION\"" tests/consumer/main.cpp \
        -o "$work/consumer/by_pkg_config" $(pkg-config --cflags --libs KRCommon)
    (cd "$work/consumer" && expect ./by_pkg_config)

    expect "$root/usr/bin/krtool" config check "$root/etc/krcommon/KRCommon.xml" >/dev/null
    expect [ "$("$root/usr/bin/kr_search" --version)" = "kr_search $VERSION" ]
    expect [ "$("$root/usr/bin/kr_analyse" --version)" = "kr_analyse $VERSION" ]
    expect [ "$("$root/usr/bin/kr_serve" --version)" = "kr_serve $VERSION" ]
    unset LD_LIBRARY_PATH PKG_CONFIG_PATH
    check_pages "$root/usr/share"
    expect lintian --allow-root --fail-on error,warning "$PACKAGES"/*.deb
    check_bills "$PACKAGES"/*.deb
}

# The man pages without a finding, the completions as bash takes them.
check_pages() { # FOLDER
    local page completion
    for page in "$1"/man/man1/*.1.gz; do
        expect [ -z "$(zcat "$page" | mandoc -Tlint -W style 2>&1)" ]
    done
    for completion in "$1"/bash-completion/completions/*; do expect bash -n "$completion"; done
    expect [ "$(complete_krtool "$1" config ch)" = check ]
    expect [ "$(complete_krtool "$1" --color n)" = never ]
}

# What bash offers for "krtool WORD... PREFIX".
complete_krtool() ( # FOLDER WORD... PREFIX
    . "$1/bash-completion/completions/krtool"
    COMP_WORDS=(krtool "${@:2}")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    _krtool
    echo "${COMPREPLY[*]}"
)

build_consumer() { # PREFIX FOLDER [CMAKE-OPTION...]
    expect cmake -G Ninja -S tests/consumer -B "$2/build" -DCMAKE_PREFIX_PATH="$1" "${@:3}" >/dev/null
    expect cmake --build "$2/build" --target consumer_17 >/dev/null
}

check_zip() { # FILE
    local folder command
    folder=$work/zip/$(basename "$1" .zip)
    expect unzip -q "$1" -d "$work/zip"
    expect grep -q 'KRCommon\.dll\.de' \
        <(i686-w64-mingw32-objdump -sj .gnu_debuglink "$folder/bin/KRCommon.dll")
    expect [ -s "$folder/bin/KRCommon.dll.debug" ]
    expect [ -s "$folder/bin/KRCommon.xsd" ]
    expect [ -s "$folder/python/krcommon/__init__.py" ]
    expect grep -q "winpthreads" "$folder/share/doc/KRCommon/licences/library-third-party.txt"

    build_consumer "$folder" "$work/windows" -DCMAKE_SYSTEM_NAME=Windows \
        -DCMAKE_CXX_COMPILER=i686-w64-mingw32-g++-posix
    cp "$folder/bin"/*.dll "$folder/bin/KRCommon.xml" "$work/windows/build"
    (cd "$work/windows" && expect "$OLDPWD/setup/wine-run.sh" build/consumer_17.exe)

    # By the command of the documentation.
    command=$(sed -n '/^i686-w64-mingw32-g++-posix/,/^```/{/^```/d;p}' "$folder/share/doc/KRCommon/using.md")
    command=${command/host.cpp -o host.exe/"'-DPACKAGE_VERSION=\"$VERSION\"' tests/consumer/main.cpp -o $work/windows/build/by_hand.exe"}
    PREFIX=$folder sh -c "$command" 2>"$work/warnings" || {
        cat "$work/warnings"
        fail "the command of the documentation fails"
    }
    (cd "$work/windows" && expect "$OLDPWD/setup/wine-run.sh" build/by_hand.exe)
    check_bills "$1"
}

# Silently into a folder, all of it, then some of it; an edited configuration outlives an update; and away.
check_installer() { # FILE
    local folder=$work/installed key='HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\KRCommon'
    local wine=setup/wine-run.sh target
    target="Z:${folder//\//\\}"
    expect $wine "$1" /S "/D=$target"
    expect [ "$($wine "$folder/bin/krtool.exe" --version | tr -d '\r')" = "krtool $VERSION" ]
    expect $wine "$folder/bin/krtool.exe" config check "$folder/bin/KRCommon.xml" >/dev/null
    expect [ "$($wine "$folder/bin/kr_search.exe" --version | tr -d '\r')" = "kr_search $VERSION" ]
    expect [ "$($wine "$folder/bin/kr_serve.exe" --version | tr -d '\r')" = "kr_serve $VERSION" ]
    expect [ -s "$folder/bin/KRCommon.dll.debug" ]
    expect [ -s "$folder/include/KRCommon/frame/Log.h" ]
    expect $wine reg query "$key" >/dev/null

    echo "<!-- mine -->" >>"$folder/bin/KRCommon.xml"
    expect $wine "$1" /S "/D=$target"
    expect grep -q mine "$folder/bin/KRCommon.xml"
    uninstall "$folder"
    expect [ "$(cd "$folder" && find . -type f)" = ./bin/KRCommon.xml ]
    rm -r "$folder"

    expect $wine "$1" /S /COMPONENTS=krtool "/D=$target"
    expect [ -f "$folder/bin/krtool.exe" ]
    expect [ ! -e "$folder/include" ]
    expect [ ! -e "$folder/bin/kr_search.exe" ]
    expect [ ! -e "$folder/bin/kr_serve.exe" ]
    uninstall "$folder"
    expect [ ! -e "$folder" ]
    if $wine reg query "$key" >/dev/null 2>&1; then fail "the registry still knows KRCommon"; fi
    check_bills "$1"
}

# The uninstaller copies itself elsewhere, since it deletes itself; _?= makes it stay and be waited for,
# and leaves its own file.
uninstall() { # FOLDER
    expect setup/wine-run.sh "$1/uninstall.exe" /S "_?=Z:${1//\//\\}"
    rm -f "$1/uninstall.exe"
    rmdir "$1" 2>/dev/null || true
}

[ $# -gt 0 ] || set -- linux windows
for target in "$@"; do
    case $target in
    linux) check_debian ;;
    windows)
        check_zip "$(ls "$PACKAGES"/krcommon-*-windows-x86-*.zip)"
        check_installer "$(ls "$PACKAGES"/krcommon-*-windows-x86-*.exe)"
        ;;
    esac
    echo "the packages for $target are good"
done
