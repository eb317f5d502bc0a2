#!/usr/bin/env bash
# Makes the zip and the installer for Windows, in build/packages: the library of the preset
# windows-x86-install, the programs of windows-x86. Their names tell the tool chain: a DLL for hosts of
# MinGW-w64 with GCC's major version.
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. tools/packages/common.sh

build=$PWD/build/windows-x86-install
programs=$PWD/build/windows-x86
compiler=i686-w64-mingw32-g++-posix
name=krcommon-$VERSION-windows-x86-mingw-w64-gcc$($compiler -dumpversion | sed 's/[.-].*//')
stage=$PACKAGES/work-windows # one folder for each component
documents=share/doc/KRCommon

# Debug information into a file beside the program, which names it.
split_debug() { # FILE
    i686-w64-mingw32-objcopy --only-keep-debug "$1" "$1.debug"
    i686-w64-mingw32-strip --strip-unneeded "$1"
    (cd "$(dirname "$1")" && i686-w64-mingw32-objcopy --add-gnu-debuglink="$(basename "$1").debug" \
        "$(basename "$1")")
    chmod 644 "$1.debug"
}

notices() { # PRODUCT COMPONENT
    mkdir -p "$stage/$2/$documents/licences"
    /usr/bin/python3 -B tools/packages/components.py notices "$1" \
        >"$stage/$2/$documents/licences/$2-third-party.txt"
}

# The files "$2"... of one component's folder, or below, to another's.
move() { # FROM TO PATH...
    local path
    for path in "${@:3}"; do
        mkdir -p "$stage/$2/$(dirname "$path")"
        mv "$stage/$1/$path" "$stage/$2/$path"
    done
}

stage_components() {
    rm -rf "$stage"
    mkdir -p "$stage"
    cmake --install "$build" --prefix "$stage/library" >/dev/null
    cmake --install "$programs/krtool" --prefix "$stage/krtool" --component programs >/dev/null
    cmake --install "$programs/video_search" --prefix "$stage/video-search" \
        --component programs >/dev/null
    cp LICENSE "$stage/library/$documents/LICENSE"
    i686-w64-mingw32-strip "$stage"/*/bin/*.exe
    split_debug "$stage/library/bin/KRCommon.dll"
    move library symbols bin/KRCommon.dll.debug
    move library development include lib share/KRCommon "$documents/using.md"
    notices windows-library library
    notices windows-krtool krtool
    notices windows-video-search video-search
    same_for_all "$stage"
}

# library, development files and symbols: what a host is built and debugged with.
make_zip() {
    local folder=$stage/zip/$name
    mkdir -p "$folder"
    cp -rp "$stage"/{library,development,symbols}/. "$folder/"
    same_for_all "$folder"
    rm -f "$PACKAGES/$name.zip"
    (cd "$stage/zip" && find "$name" -type f | LC_ALL=C sort | zip -X -q "$PACKAGES/$name.zip" -@)
    bill_of_materials windows-library "$PACKAGES/$name.zip"
}

# The lists of each component's files, as the installer's and the uninstaller's instructions.
list_files() {
    local component folder file
    cd "$stage"
    for component in library development symbols krtool video-search; do
        {
            printf '!macro install_%s\n' "$component"
            find "$component" -type d | LC_ALL=C sort | while read -r folder; do
                [ -n "$(find "$folder" -maxdepth 1 -type f)" ] || continue
                printf '  SetOutPath "$INSTDIR%s"\n' "$(windows_path "${folder#"$component"}")"
                find "$folder" -maxdepth 1 -type f ! -name KRCommon.xml | LC_ALL=C sort |
                    while read -r file; do printf '  File "%s/%s"\n' "$stage" "$file"; done
            done
            printf '!macroend\n!macro remove_%s\n' "$component"
            find "$component" -type f | LC_ALL=C sort | while read -r file; do
                printf '  Delete "$INSTDIR%s"\n' "$(windows_path "${file#"$component"}")"
            done
            find "$component" -mindepth 1 -type d | LC_ALL=C sort -r | while read -r folder; do
                printf '  RMDir "$INSTDIR%s"\n' "$(windows_path "${folder#"$component"}")"
            done
            printf '!macroend\n'
        } >"$component.nsh"
    done
    cd "$OLDPWD"
}

windows_path() { printf '%s' "${1//\//\\}"; }

make_installer() {
    list_files
    makensis -V2 -NOCD "-DVERSION=$VERSION" "-DSTAGE=$stage" "-DOUTPUT=$PACKAGES/$name.exe" \
        packaging/windows/krcommon.nsi
    bill_of_materials windows-installer "$PACKAGES/$name.exe"
}

rm -f "$PACKAGES"/krcommon-*-windows-*
stage_components
make_zip
make_installer
rm -rf "$stage"
printf '%s\n' "$name"
