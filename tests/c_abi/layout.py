"""Makes a C program that prints the binary interface of krcommon_c.h: sizes, offsets, numbers, functions.

    layout.py KRCOMMON_C.H OUT.C

Everything is read from the header, so that nothing of it can be forgotten.
"""

import re
import sys


def without_comments(text):
    return re.sub(r"/\*.*?\*/", " ", text, flags=re.S)


def one_line(text):
    return re.sub(r"\s+", " ", text).strip()


def structs(text):
    for name, body in re.findall(r"typedef struct (kr_c_\w+) \{(.*?)\} \1;", text, flags=re.S):
        members = []
        for declaration in body.split(";"):
            found = re.search(r"(\w+)(\[\w+\])?$", one_line(declaration))
            if found:
                members.append((found.group(1), one_line(declaration)))
        yield name, members


def numbers(text):
    for body in re.findall(r"enum \{(.*?)\};", text, flags=re.S):
        yield from re.findall(r"(KR_C_\w+) =", body)
    yield from re.findall(r"#define (KR_C_(?:ABI|SHA1_SIZE)) ", text)


def functions(text):
    for result, declaration in re.findall(r"\nKR_C_FUNCTION\((\w+)\)\s+(kr_c_\w+\(.*?\));", text,
                                          flags=re.S):
        yield f"{result} {one_line(declaration)}"


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        text = without_comments(file.read())
    lines = ["#include <KRCommon/capi/krcommon_c.h>", "#include <stddef.h>", "#include <stdio.h>",
             "int main(void)", "{"]
    for name in re.findall(r"typedef (?:signed |unsigned )?__\w+_TYPE__ (kr_c_\w+);", text):
        lines.append(f'    printf("{name} %u\\n", (unsigned)sizeof({name}));')
    for name, members in structs(text):
        lines.append(f'    printf("struct {name} %u\\n", (unsigned)sizeof({name}));')
        for member, declaration in members:
            lines.append(f'    printf("    %u {declaration}\\n", '
                         f'(unsigned)offsetof({name}, {member}));')
    for name in numbers(text):
        lines.append(f'    printf("{name} %d\\n", (int){name});')
    for declaration in functions(text):
        lines.append(f'    puts("{declaration}");')
    lines += ["    return 0;", "}", ""]
    with open(sys.argv[2], "w", encoding="utf-8") as file:
        file.write("\n".join(lines))


main()
