#!/usr/bin/env bash
# Fetches the source of gSOAP's run time once from Debian's source package into the per-user cache; does
# nothing when it is there. The generated KRSOAP compiles it (krsoap/generated).
set -euo pipefail
here=$(dirname "${BASH_SOURCE[0]}")
. "$here/cache.sh"
. "$here/debian-source.sh"

[ ! -f "$GSOAP_ROOT/.complete" ] || exit 0
mkdir -p "$CACHE"
exec 9>"$CACHE/.gsoap.lock"
flock 9
[ ! -f "$GSOAP_ROOT/.complete" ] || exit 0

printf '== %s\n' "fetching gSOAP's run time into $GSOAP_ROOT"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fetch_debian_source "$work/src" bookworm gsoap 2.8.124
rm -rf "$GSOAP_ROOT" "$GSOAP_ROOT.new"
mkdir "$GSOAP_ROOT.new"
tar xf "$work"/src/gsoap_*.orig.tar.* -C "$GSOAP_ROOT.new" --strip-components=2 --wildcards \
    '*/gsoap/stdsoap2.cpp' '*/gsoap/stdsoap2.h'
touch "$GSOAP_ROOT.new/.complete"
mv "$GSOAP_ROOT.new" "$GSOAP_ROOT"
