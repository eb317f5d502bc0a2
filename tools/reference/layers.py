#!/usr/bin/python3
"""Prints the picture of the layers, for Graphviz: which folder of the library includes which, as the sources say,
without what follows from the rest. An arrow that closes a circle ends the program with an error."""

import os
import re
import sys

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")


def includes(folder):
    """The folders of the library that the sources below include, but tests and benchmarks."""
    found = set()
    for base, _, names in os.walk(os.path.join(ROOT, folder)):
        for name in names:
            if name.endswith((".h", ".cpp")) and not re.search(r"_(test|testing|bench)\.", name) \
                    and "/tests" not in base:
                with open(os.path.join(base, name), encoding="utf-8") as file:
                    text = file.read()
                found.update(re.findall(r"#include <KRCommon/(\w+)/", text))
                found.update("KRSOAP" for _ in re.findall(r"#include <krsoap/", text))
                found.update("ACE" for _ in re.findall(r"#include <ace/", text))
    return found


def reachable(graph, start, without):
    seen, todo = set(), [next_ for next_ in graph.get(start, ()) if next_ != without]
    while todo:
        node = todo.pop()
        if node not in seen:
            seen.add(node)
            todo += graph.get(node, ())
    return seen


def main():
    modules = sorted(entry.name for entry in os.scandir(os.path.join(ROOT, "KRCommon"))
                     if entry.is_dir() and os.path.exists(os.path.join(entry.path, "CMakeLists.txt")))
    graph = {module: includes(f"KRCommon/{module}") - {module} for module in modules}
    # The entry routine's start-up, in frame/, is the one that knows who reads the configuration.
    hosts = {"krtool": "tools/krtool", "video search": "examples/video_search"}
    graph.update({host: includes(folder) & {*modules, "ACE", "KRSOAP"} for host, folder in hosts.items()})
    print("digraph layers {\n  rankdir=TB; node [shape=box, fontname=sans, style=filled, fillcolor=white];")
    for host in hosts:
        print(f'  "{host}" [shape=ellipse];')
    for other in ("ACE", "KRSOAP"):
        print(f'  "{other}" [style=dashed];')
    for node, targets in sorted(graph.items()):
        for target in sorted(targets):
            if target not in reachable(graph, node, target) or node in reachable(graph, target, None):
                print(f'  "{node}" -> "{target}";')
    print("}")
    circles = sorted(node for node in graph if node in reachable(graph, node, None))
    if circles:
        sys.exit("layers.py: these include each other: " + ", ".join(circles))


main()
