#!/usr/bin/python3
"""extract.py PAGE OUT: a source file of the C++ snippets in PAGE, each a function of its own."""

import re
import sys

page, out = sys.argv[1:]
with open(page, encoding="utf-8") as file:
    snippets = re.findall(r"^```cpp\n(.*?)^```", file.read(), re.DOTALL | re.MULTILINE)
if not snippets:
    sys.exit(f"{page} holds no snippet")
includes, functions = set(), []
for number, snippet in enumerate(snippets):
    lines = snippet.splitlines()
    includes.update(line for line in lines if line.startswith("#include"))
    body = "\n".join("" if line.startswith("#include") else "    " + line for line in lines)
    functions.append(f"void task_{number}()\n{{\n{body}\n}}\n")
calls = "".join(f"    task_{number}();\n" for number in range(len(snippets)))
with open(out, "w", encoding="utf-8") as file:
    file.write("\n".join(sorted(includes)) + "\n#include <cstdio>\n#include <string>\n#include <vector>\n\n"
               + "\n".join(functions) + f"\nint main(int, char**)\n{{\n{calls}}}\n")
