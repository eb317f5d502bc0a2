#!/usr/bin/python3
"""Doxygen's filter of the guides: prints a page with names for its headings, by which other pages point at them
as they do on the forge, and with links to other folders of the sources as plain words."""

import os
import re
import sys


def name_of(page, heading):
    slug = re.sub(r"[^\w\- ]", "", re.sub(r"`", "", heading).lower()).strip().replace(" ", "-")
    return f"{os.path.splitext(os.path.basename(page))[0].lower()}-{slug}"


def filtered(path):
    folder = os.path.dirname(os.path.abspath(path))

    def link(match):
        text, target = match.groups()
        file, _, anchor = target.partition("#")
        if "://" in target or match.group(0).startswith("!"):
            return match.group(0)
        page = file or path
        if not os.path.exists(os.path.join(folder, page)):
            sys.exit(f"{path}: there is no {target}")
        if not page.endswith(".md") or "/config/" in os.path.abspath(os.path.join(folder, page)):
            return text
        if anchor:
            return f"[{text}](#{name_of(page, anchor.replace('-', ' '))})"
        return f"[{text}](#{os.path.splitext(os.path.basename(page))[0].lower()})"

    in_code = False
    first = True
    for line in open(path, encoding="utf-8"):
        if line.startswith("```"):
            in_code = not in_code
        elif not in_code and not line.startswith("    "):
            heading = re.match(r"(#+) (.*)$", line)
            if heading and first:
                name = os.path.splitext(os.path.basename(path))[0].lower()
                line, first = f"{heading.group(1)} {heading.group(2)} {{#{name}}}\n", False
            elif heading:
                line = f"{heading.group(1)} {heading.group(2)} {{#{name_of(path, heading.group(2))}}}\n"
            line = re.sub(r"!?\[([^\]]*)\]\(([^)\s]+)\)", link, line)
            # Between single marks Doxygen looks at quotes; between two it leaves the text alone.
            line = re.sub(r"(?<!`)`([^`]+)`(?!`)", r"``\1``", line)
        yield line


sys.stdout.writelines(filtered(sys.argv[1]))
