#!/usr/bin/python3
"""check_links.py FOLDER: every link of the pages in the folder leads to a file there and to a name in it."""

import html.parser
import os
import sys
import urllib.parse


class Page(html.parser.HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.names, self.links = set(), set()
        with open(path, encoding="utf-8") as file:
            self.feed(file.read())

    def handle_starttag(self, tag, attrs):
        for name, value in attrs:
            if name in ("id", "name") and value:
                self.names.add(value)
            elif name in ("href", "src") and value:
                self.links.add(value)


def main():
    folder = sys.argv[1]
    pages = {name: Page(os.path.join(folder, name)) for name in os.listdir(folder) if name.endswith(".html")}
    if len(pages) < 50:
        sys.exit(f"{folder} holds {len(pages)} pages only")
    failures, count = [], 0
    for name, page in sorted(pages.items()):
        for link in sorted(page.links):
            url = urllib.parse.urlsplit(link)
            if url.scheme or link.startswith(("javascript:", "//")):
                continue
            count += 1
            target = urllib.parse.unquote(url.path) or name
            if not os.path.exists(os.path.join(folder, target)):
                failures.append(f"{name}: there is no {target}")
            elif url.fragment and target in pages and \
                    urllib.parse.unquote(url.fragment) not in pages[target].names:
                failures.append(f"{name}: {target} has no place {url.fragment}")
    if failures:
        sys.exit("\n".join(failures))
    print(f"{len(pages)} pages, {count} links: all lead somewhere")


main()
