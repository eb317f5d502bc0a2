#!/usr/bin/python3
"""What is shipped with each package of KRCommon and is not its own: notices and bills of materials.

    components.py notices PRODUCT          prints the third parties' licence texts
    components.py bom PRODUCT VERSION FILE prints a CycloneDX 1.5 bill of materials of the package FILE

Versions and licence texts are those of the machine on which the package is built: of Debian's packages, and of
what setup/ has built for Windows. A component that is not found there ends the program with an error. For a .deb
the libraries that it depends on are listed as well. SOURCE_DATE_EPOCH is the time that is noted.
"""

import hashlib
import json
import os
import re
import subprocess
import sys
import time
import uuid

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout.strip()


def cached(name):
    return output("sh", f"{ROOT}/setup/cache.sh", name)


def read(path):
    with open(path, encoding="utf-8", errors="replace") as file:
        return file.read()


class Debian:
    """A component that comes out of one of Debian's packages; "upstream" when it is another's version."""

    def __init__(self, package, licence):
        self.package, self.licence = package, licence

    def version(self):
        return output("dpkg-query", "-W", "-f", "${Version}", self.package)

    def notice(self):
        return read(f"/usr/share/doc/{self.package}/copyright")

    def purl(self):
        return f"pkg:deb/debian/{self.package}@{self.version().replace('+', '%2B')}"


class File:
    """A component whose version and licence stand in files: of this project, or built by setup/."""

    def __init__(self, licence, notice, version):
        self.licence, self.notice_of, self.version_of = licence, notice, version

    def version(self):
        return self.version_of()

    def notice(self):
        return self.notice_of()

    def purl(self):
        return None


def version_in(folder, header, pattern):
    return lambda: re.search(pattern, read(f"{cached(folder)}/{header}")).group(1)


# SPDX names the licences, but for ACE's, which has none there.
COMPONENTS = {
    "ACE": File("ACE licence (DOC)", lambda: read(cached("ACE_ROOT_WINDOWS") + "/COPYING"),
                version_in("ACE_ROOT_WINDOWS", "include/ace/Version.h", r'ACE_VERSION "([^"]+)"')),
    "GCC run-time libraries": Debian("gcc-mingw-w64-i686-posix-runtime",
                                     "GPL-3.0-or-later WITH GCC-exception-3.1"),
    "MinGW-w64 run time and winpthreads": Debian("mingw-w64-i686-dev", "MIT AND ZPL-2.1"),
    "Colour survey": File("BSD-3-Clause", lambda: read(f"{ROOT}/config/survey/LICENSE"),
                          lambda: "2011"),
    "CLI11": Debian("libcli11-dev", "BSD-3-Clause"),
    "JSON for Modern C++": Debian("nlohmann-json3-dev", "MIT"),
    "stb": Debian("libstb-dev", "MIT OR Unlicense"),
    "kainjow mustache": Debian("libkainjow-mustache-dev", "BSL-1.0"),
    "cpp-httplib": Debian("libcpp-httplib-dev", "MIT"),
    "expat": File("MIT", lambda: read("/usr/share/doc/libexpat1-dev/copyright"),
                  version_in("SERVE_ROOT_WINDOWS", "include/expat_config.h",
                             r'PACKAGE_VERSION "([^"]+)"')),
    "SQLiteCpp": Debian("libsqlitecpp-dev", "MIT"),
    "SQLite": File("blessing", lambda: read("/usr/share/doc/libsqlite3-dev/copyright"),
                   version_in("SQLITE_ROOT_WINDOWS", "include/sqlite3.h",
                              r'SQLITE_VERSION +"([^"]+)"')),
    "zlib": Debian("libz-mingw-w64-dev", "Zlib"),
}

WINDOWS_RUN_TIME = ["ACE", "GCC run-time libraries", "MinGW-w64 run time and winpthreads", "Colour survey"]

# What is inside the packages; what they depend on is Debian's affair.
PRODUCTS = {
    "libkrcommon1": ["Colour survey"],
    "libkrcommon-dev": [],
    "krtool": ["CLI11", "JSON for Modern C++", "stb"],
    "kr-video-search": ["CLI11", "cpp-httplib", "kainjow mustache", "SQLiteCpp"],
    "windows-library": WINDOWS_RUN_TIME,
    "windows-krtool": ["CLI11", "JSON for Modern C++", "stb", "SQLite", "zlib"],
    "windows-video-search": ["CLI11", "cpp-httplib", "expat", "kainjow mustache", "SQLiteCpp", "SQLite"],
}
PRODUCTS["windows-installer"] = sorted({name for product in PRODUCTS if product.startswith("windows-")
                                        for name in PRODUCTS[product]})

# What the DLLs that lie in a Windows package are.
DLLS = {"KRCommon.dll": None, "libACE.dll": "ACE", "libgcc_s_dw2-1.dll": "GCC run-time libraries",
        "libstdc++-6.dll": "GCC run-time libraries",
        "libwinpthread-1.dll": "MinGW-w64 run time and winpthreads"}


def notices(product):
    text = ["KRCommon is shipped with, or contains, the following work of others."]
    if not PRODUCTS[product]:
        text = ["This package contains no work of others."]
    for name in PRODUCTS[product]:
        component = COMPONENTS[name]
        text.append(f"{'=' * 78}\n{name} {component.version()}\nLicence: {component.licence}\n{'=' * 78}\n\n"
                    + component.notice().strip())
    return "\n\n".join(text) + "\n"


def bom_component(name, version, licence, purl):
    component = {"type": "library", "bom-ref": purl or f"{name}@{version}", "name": name, "version": version}
    if licence == "ACE licence (DOC)":
        component["licenses"] = [{"license": {"name": licence}}]
    elif licence:
        component["licenses"] = [{"expression": licence}]
    if purl:
        component["purl"] = purl
    return component


def dependencies(deb):
    """The packages of Debian that a .deb needs, at the versions of this machine."""
    wanted = output("dpkg-deb", "-f", deb, "Depends").split(",")
    for name in sorted({re.split(r"[ |(:]", entry.strip())[0] for entry in wanted if entry.strip()}):
        if name not in PRODUCTS:
            package = Debian(name, None)
            yield bom_component(name, package.version(), None, package.purl())


def check_dlls(names):
    unknown = {os.path.basename(name) for name in names if name.endswith(".dll")} - DLLS.keys()
    if unknown:
        sys.exit(f"components.py: whose are these? {', '.join(sorted(unknown))}")


def bom(product, version, path):
    with open(path, "rb") as file:
        digest = hashlib.sha256(file.read()).hexdigest()
    parts = [bom_component(name, COMPONENTS[name].version(), COMPONENTS[name].licence,
                           COMPONENTS[name].purl()) for name in PRODUCTS[product]]
    if path.endswith(".deb"):
        parts += dependencies(path)
    if path.endswith(".zip"):
        check_dlls(output("unzip", "-Z1", path).splitlines())
    name = os.path.basename(path)
    return {
        "bomFormat": "CycloneDX", "specVersion": "1.5", "version": 1,
        "serialNumber": f"urn:uuid:{uuid.uuid5(uuid.NAMESPACE_OID, digest)}",
        "metadata": {
            "timestamp": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(int(os.environ["SOURCE_DATE_EPOCH"]))),
            "component": {"type": "file", "bom-ref": name, "name": name, "version": version,
                          "licenses": [{"license": {"name": "KRCommon's own, see LICENSE"}}],
                          "hashes": [{"alg": "SHA-256", "content": digest}]},
        },
        "components": parts,
        "dependencies": [{"ref": name, "dependsOn": [part["bom-ref"] for part in parts]},
                         *({"ref": part["bom-ref"]} for part in parts)],
    }


def main():
    if len(sys.argv) == 3 and sys.argv[1] == "notices":
        sys.stdout.write(notices(sys.argv[2]))
    elif len(sys.argv) == 5 and sys.argv[1] == "bom":
        print(json.dumps(bom(*sys.argv[2:]), indent=1, ensure_ascii=False))
    else:
        sys.exit(__doc__)


main()
