"""Makes a wheel of the package and a built library; the same bytes of the same files.

    wheel.py --version 1.2.3 --platform linux_x86_64|win32 --package krcommon --out FILE.whl
             [--strip PROGRAM] [--licence NAME=FILE ...] LIBRARY FILE...

LIBRARY and the files beside it go into the package's folder, the library stripped. A licence goes to
krcommon-<version>.dist-info/licenses/NAME.txt.
"""

import argparse
import base64
import hashlib
import pathlib
import subprocess
import sys
import tempfile
import zipfile

METADATA = """Metadata-Version: 2.1
Name: krcommon
Version: {version}
Summary: KRCommon, the common run-time library of a video-analytics system, for Python
Requires-Python: >=3.8
Provides-Extra: arrays
Requires-Dist: numpy; extra == "arrays"
{external}
Records, stores, colours, log lines, configuration, times and identifiers by the library's C interface.
docs/python.md of the library's sources begins with a program.
"""

WHEEL = """Wheel-Version: 1.0
Generator: krcommon-wheel
Root-Is-Purelib: false
Tag: py3-none-{platform}
"""


def hash_of(data):
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
    return f"sha256={digest}"


def stripped(program, library):
    if not program:
        return library.read_bytes()
    with tempfile.TemporaryDirectory() as folder:
        out = pathlib.Path(folder) / "stripped"
        subprocess.run([program, "-p", "-o", out, library], check=True)  # -p: no new time in it
        return out.read_bytes()


def contents(given):
    """Bytes by name."""
    found = {}
    for path in given.package.glob("*"):
        if path.suffix == ".py" or path.name == "py.typed":
            found[f"krcommon/{path.name}"] = path.read_bytes()
    library, *others = given.files
    # By the name that the loader looks for: that of the shared object's links has no place in a wheel.
    name = library.name if given.platform == "win32" else "libKRCommon.so.1"
    found[f"krcommon/{name}"] = stripped(given.strip, library)
    for path in others:
        found[f"krcommon/{path.name}"] = path.read_bytes()
    info = f"krcommon-{given.version}.dist-info"
    external = "" if given.platform == "win32" else "Requires-External: libACE\n"
    found[f"{info}/METADATA"] = METADATA.format(version=given.version, external=external).encode()
    found[f"{info}/WHEEL"] = WHEEL.format(platform=given.platform).encode()
    for licence in given.licence:
        name, _, path = licence.partition("=")
        if not path or not pathlib.Path(path).is_file():
            sys.exit(f"the licence of {name} is not on this machine: install its package again")
        found[f"{info}/licenses/{name}.txt"] = pathlib.Path(path).read_bytes()
    rows = [f"{name},{hash_of(data)},{len(data)}" for name, data in sorted(found.items())]
    record = f"{info}/RECORD"
    found[record] = "".join(f"{row}\n" for row in [*rows, f"{record},,"]).encode()
    return found


def write(out, files):
    out.parent.mkdir(parents=True, exist_ok=True)
    with zipfile.ZipFile(out, "w", zipfile.ZIP_DEFLATED) as archive:
        # The information comes last, as installers like it.
        for name in sorted(files, key=lambda name: (".dist-info/" in name, name)):
            entry = zipfile.ZipInfo(name)  # of 1980: no time of this machine's
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.external_attr = (0o755 if ".so" in name or name.endswith(".dll") else 0o644) << 16
            archive.writestr(entry, files[name])


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--version", required=True)
    parser.add_argument("--platform", required=True, choices=["linux_x86_64", "win32"])
    parser.add_argument("--package", required=True, type=pathlib.Path)
    parser.add_argument("--out", required=True, type=pathlib.Path)
    parser.add_argument("--strip", default="")
    parser.add_argument("--licence", action="append", default=[])
    parser.add_argument("files", nargs="+", type=pathlib.Path)
    given = parser.parse_args()
    write(given.out, contents(given))
    print(given.out)


if __name__ == "__main__":
    main()
