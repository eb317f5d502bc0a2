#!/usr/bin/env bash
# Builds the API reference in build/docs: the contracts of the public headers, the guides as pages, the tasks
# before all others, and the picture of the layers. No warning is let pass, and every link is followed.
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
set -euo pipefail

KR_VERSION=$(sed -n 's/^project(KRCommon VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
KR_OUT=build/docs
KR_GENERATED=build/docs-generated
KR_PAGES="README.md docs/tasks.md docs/using.md $(echo docs/*.md) CHANGELOG.md build/docs-generated/layers.md"
rm -rf $KR_OUT $KR_GENERATED
mkdir -p $KR_OUT $KR_GENERATED/KRCommon

# The version header as CMake makes it, and the public headers, those that an installation has.
IFS=. read -r major minor patch <<<"$KR_VERSION"
sed "s/@PROJECT_VERSION_MAJOR@/$major/; s/@PROJECT_VERSION_MINOR@/$minor/; s/@PROJECT_VERSION_PATCH@/$patch/
     s/@PROJECT_VERSION@/$KR_VERSION/" KRCommon/KRCommon_Version.h.in >$KR_GENERATED/KRCommon/KRCommon_Version.h
KR_HEADERS="KRCommon/KRCommon_Export.h $KR_GENERATED/KRCommon/KRCommon_Version.h krsoap/include/krsoap/krsoap.h"
for list in KRCommon/*/CMakeLists.txt; do
    for header in $(tr '\n' ' ' <"$list" | grep -oE 'HEADERS( +[A-Za-z0-9_]+\.h)+' | sed 's/HEADERS//'); do
        KR_HEADERS+=" $(dirname "$list")/$header"
    done
done

/usr/bin/python3 -B tools/reference/layers.py | dot -Tsvg -o $KR_GENERATED/layers.svg
cat >$KR_GENERATED/layers.md <<'TEXT'
# The layers, as the sources include each other

![Which folder of the library includes which](layers.svg)

An arrow stands for an include that does not follow from others. [Architecture](../../docs/architecture.md) tells
what is in each folder.
TEXT

export KR_VERSION KR_OUT KR_GENERATED KR_PAGES KR_HEADERS
doxygen tools/reference/Doxyfile
# Doxygen points at the list of nested classes also where all of them are private and there is none.
grep -LZ 'name="nested-classes"' $KR_OUT/*.html |
    xargs -0 sed -i 's|<a href="#nested-classes">Classes</a> &#124;||'
/usr/bin/python3 -B tools/reference/check_links.py $KR_OUT
