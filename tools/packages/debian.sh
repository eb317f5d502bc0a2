#!/usr/bin/env bash
# Makes the Debian packages, in build/packages: the library of the preset linux-package, the programs of linux.
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. tools/packages/common.sh

# debhelper wants a folder debian in the sources: a copy, with what is known only now.
work=$PWD/build/packages/making/krcommon-$VERSION
rm -rf "$PACKAGES/making" "$PACKAGES"/*.deb "$PACKAGES"/*.deb.cdx.json
mkdir -p "$work"
cp -r packaging/debian "$work/debian"
cat LICENSE >>"$work/debian/copyright"
cat >"$work/debian/changelog" <<TEXT
krcommon ($VERSION) stable; urgency=medium

  * Version $VERSION. What is new: /usr/share/doc/libkrcommon-dev/whats_new.md.gz

 -- The KRCommon developers <krcommon@example.org>  $(date -uRd "@$SOURCE_DATE_EPOCH")
TEXT
log=$PACKAGES/making/log
(cd "$work" && KR_SOURCE=$OLDPWD dpkg-buildpackage --build=binary --no-sign --no-check-builddeps) \
    >"$log" 2>&1 || {
    tail -n 40 "$log"
    exit 1
}
mv "$PACKAGES/making"/*.deb "$PACKAGES/"
for package in "$PACKAGES"/*.deb; do
    product=$(dpkg-deb -f "$package" Package)
    bill_of_materials "${product%-dbgsym}" "$package"
done
rm -rf "$PACKAGES/making/krcommon-$VERSION"
