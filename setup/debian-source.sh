# shellcheck shell=bash
# Fetching Debian's source packages, for what Debian has no Windows package of; sourced by the
# build scripts. The machine's own package lists stay as they are.

# The address from which this machine takes its Debian packages.
debian_mirror() {
    local codename
    codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
    apt-get indextargets \
        --format '$(CODENAME) $(SUITE) $(RELEASE) $(COMPONENT) $(REPO_URI)' 'Created-By: Packages' |
        awk -v s="$codename" '($1 == s || $2 == s || $3 == s) && $4 == "main" { print $NF; exit }'
}

# fetch_debian_source FOLDER SUITE PACKAGE VERSION: leaves PACKAGE_*.orig.tar.* in FOLDER, of the
# first version of the suite that begins with VERSION.
fetch_debian_source() {
    local dir=$1 suite=$2 package=$3 version
    mkdir -p "$dir/parts" "$dir/lists/partial"
    printf 'deb-src [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] %s %s main\n' \
        "$(debian_mirror)" "$suite" >"$dir/src.list"
    local o=(-o "Dir::Etc::sourcelist=$dir/src.list" -o "Dir::Etc::sourceparts=$dir/parts"
             -o "Dir::State::Lists=$dir/lists" -o Dir::Cache::pkgcache= -o Dir::Cache::srcpkgcache=
             -o Acquire::Languages=none -o APT::Sandbox::User=)
    apt-get "${o[@]}" update -qq
    version=$(apt-cache "${o[@]}" showsrc --only-source "$package" |
        awk -v v="$4" '/^Version:/ && index($2, v) == 1 { print $2; exit }')
    [ -n "$version" ] || { echo "no source of $package $4 in $suite" >&2; return 1; }
    (cd "$dir" && apt-get "${o[@]}" source --download-only --only-source -qq "$package=$version")
}
