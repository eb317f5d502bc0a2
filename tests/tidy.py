#!/usr/bin/env python3
"""clang-tidy over many sources in a fraction of the time.

    tests/tidy.py DATABASE FOLDER SOURCE...

Most of its time goes into the headers that every source includes. So the sources of a folder are put
one behind the other into a file of FOLDER, in pieces that compile (names that are internal to two
sources may meet), and each such file is checked as one. Messages name the sources and their lines.
DATABASE is the folder of compile_commands.json; a source that it lacks is compiled as one beside it.
Ends with 1 when there is a finding.
"""
import collections
import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

AT_ONCE = 12  # sources at most in one file
UNKNOWN_TO_CLANG = {"-fno-gnu-unique", "-Wno-maybe-uninitialized", "-fpch-preprocess"}


def flags_of(entry):
    """The options of a compilation, without compiler, source and output."""
    words = shlex.split(entry["command"])
    begin = next(i for i, word in enumerate(words) if word.startswith("-"))
    return tuple(w for w in words[begin:words.index("-o")] if w not in UNKNOWN_TO_CLANG)


class Piece:
    """A file with some sources, one behind the other."""

    def __init__(self, sources, target):
        self.target = target
        self.begins = []  # of each source, the line before its first
        lines = 0
        for source in sources:
            self.begins.append((lines, source))
            lines += source.read_text().count("\n")
        target.write_text("".join(source.read_text() for source in sources))

    def with_sources_named(self, messages):
        """The messages with each place in the piece as the source and its own line."""

        def place(match):
            line = int(match[1])
            begin, source = max(b for b in self.begins if b[0] < line)
            return f"{os.path.relpath(source)}:{line - begin}:"

        return re.sub(re.escape(str(self.target)) + r":(\d+):", place, messages)


class Group:
    """Sources of one folder with the same options."""

    def __init__(self, folder, flags, directory, scratch, name):
        self.flags = [*flags, "-iquote", str(folder)]
        self.directory = directory
        self.target = scratch / name

    def pieces(self, sources):
        """Pieces that compile, which together have all of the sources."""
        target = self.target.with_name(f"{self.target.name}_{sources[0].stem}_{len(sources)}.cpp")
        piece = Piece(sources, target)
        if len(sources) == 1 or self.compiles(target):
            return [piece]
        middle = len(sources) // 2
        return self.pieces(sources[:middle]) + self.pieces(sources[middle:])

    def compiles(self, target):
        return subprocess.run(["clang++-14", *self.flags, "-w", "-fsyntax-only", str(target)],
                              cwd=self.directory, capture_output=True).returncode == 0

    def check(self, sources):
        """The findings in the sources, as text."""
        found = ""
        for piece in self.pieces(sources):
            run = subprocess.run(["clang-tidy-14", "--quiet", str(piece.target), "--", *self.flags],
                                 cwd=self.directory, capture_output=True, text=True)
            if run.returncode != 0:
                found += piece.with_sources_named(run.stdout or run.stderr)
        return found


def main(database, scratch, *names):
    scratch = pathlib.Path(scratch).resolve()
    scratch.mkdir(parents=True, exist_ok=True)
    (scratch / ".clang-tidy").write_text(pathlib.Path(".clang-tidy").read_text())
    entries = json.loads((pathlib.Path(database) / "compile_commands.json").read_text())
    entry_of = {os.path.realpath(entry["file"]): entry for entry in entries}
    entry_in = {os.path.dirname(file): entry for file, entry in entry_of.items()}

    groups = collections.defaultdict(list)
    for name in sorted(names):
        source = pathlib.Path(name).resolve()
        entry = entry_of.get(str(source)) or entry_in[str(source.parent)]
        groups[source.parent, flags_of(entry), entry["directory"]].append(source)

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        checks = []
        for number, ((folder, flags, directory), sources) in enumerate(groups.items()):
            group = Group(folder, flags, directory, scratch, f"{folder.name}_{number}")
            for begin in range(0, len(sources), AT_ONCE):
                checks.append(pool.submit(group.check, sources[begin:begin + AT_ONCE]))
        findings = [check.result() for check in checks]
    print("".join(findings), end="")
    return 1 if any(findings) else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
