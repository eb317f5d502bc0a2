# shellcheck shell=bash disable=SC2034
# What the scripts of this folder share; sourced by them, in the project's folder.
set -euo pipefail
# The one version is that of project() in CMakeLists.txt; the changes and a tag must agree with it.
VERSION=$(sed -n 's/^project(KRCommon VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
PACKAGES=$PWD/build/packages
export TZ=UTC LC_ALL=C.UTF-8

fail() {
    printf 'package: %s\n' "$*" >&2
    exit 1
}

# The time of the commit; of the list of changes where there is no repository.
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct 2>/dev/null ||
    stat -c %Y CHANGELOG.md)}

check_version() {
    local tag
    grep -q "^## $VERSION\b" CHANGELOG.md || fail "CHANGELOG.md says nothing about $VERSION"
    tag=$(git describe --tags --exact-match 2>/dev/null) || return 0
    [ "$tag" = "v$VERSION" ] || fail "the tag $tag is not that of version $VERSION"
}

# Whatever the user's umask and the times of copying are.
same_for_all() { # FOLDER
    find "$1" -type d -exec chmod 755 {} +
    find "$1" -type f ! -perm -u+x -exec chmod 644 {} +
    find "$1" -type f -perm -u+x -exec chmod 755 {} +
    find "$1" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
}

bill_of_materials() { # PRODUCT FILE
    /usr/bin/python3 -B tools/packages/components.py bom "$1" "$VERSION" "$2" >"$2.cdx.json"
}
