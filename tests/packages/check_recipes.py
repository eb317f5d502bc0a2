#!/usr/bin/python3
"""check_recipes.py SOURCES: as much of the vcpkg port and the Conan recipe as can be seen without either tool."""

import ast
import json
import os
import re
import sys

root = sys.argv[1]


def read(path):
    with open(os.path.join(root, path), encoding="utf-8") as file:
        return file.read()


failures = []


def expect(condition, sentence):
    if not condition:
        failures.append(sentence)


version = re.search(r"project\(KRCommon VERSION ([0-9.]+)", read("CMakeLists.txt")).group(1)

port = json.loads(read("packaging/vcpkg/krcommon/vcpkg.json"))
expect(port["version-semver"] == version, "vcpkg.json has another version than CMakeLists.txt")
expect(re.fullmatch(r"[a-z0-9]+(-[a-z0-9]+)*", port["name"]), "vcpkg.json: the name")
for dependency in port["dependencies"]:
    expect(isinstance(dependency, str) or set(dependency) <= {"name", "host"}, "vcpkg.json: a dependency")
portfile = read("packaging/vcpkg/krcommon/portfile.cmake")

recipe = ast.parse(read("packaging/conan/conanfile.py"))
methods = {node.name for klass in recipe.body if isinstance(klass, ast.ClassDef)
           for node in klass.body if isinstance(node, ast.FunctionDef)}
expect({"layout", "generate", "build", "package", "package_info"} <= methods, "conanfile.py lacks a method")
conan = read("packaging/conan/conanfile.py")

options = set(re.findall(r"^option\((KR_\w+)", read("CMakeLists.txt"), re.MULTILINE)) | {"KR_ACE_ROOT"}
for option in re.findall(r"\bKR_\w+", portfile + conan):
    expect(option in options, f"there is no option {option}")
for pattern in re.findall(r'"([\w./]+)/\*"', conan):
    expect(os.path.isdir(os.path.join(root, pattern)), f"conanfile.py: there is no folder {pattern}")
for path in re.findall(r"\$\{SOURCE_PATH\}/([\w/]+)", portfile):
    expect(os.path.exists(os.path.join(root, path)), f"portfile.cmake: there is no {path}")

if failures:
    sys.exit("\n".join(failures))
print("the recipes are well-formed")
