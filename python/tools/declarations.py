"""Makes krcommon/_declarations.py: the C header's structs, numbers and functions for ctypes.

    declarations.py KRCOMMON_C.H OUT.PY       writes it
    declarations.py KRCOMMON_C.H OUT.PY check says whether it is what would be written

Everything is read from the header, so that nothing of it can be forgotten or mistaken.
"""

import pathlib
import re
import sys

# Type in C: type in ctypes, type code of array.array.
NUMBERS = {
    "kr_c_int8": ("c_int8", "b"),
    "kr_c_uint8": ("c_uint8", "B"),
    "kr_c_uint16": ("c_uint16", "H"),
    "kr_c_int32": ("c_int32", "i"),
    "kr_c_uint32": ("c_uint32", "I"),
    "kr_c_int64": ("c_int64", "q"),
    "kr_c_uint64": ("c_uint64", "Q"),
    "kr_c_size": ("c_size_t", ""),
    "kr_c_step": ("c_ssize_t", ""),
    "kr_c_error": ("c_int32", ""),
    "float": ("c_float", "f"),
}

HEAD = '''"""The C interface as ctypes has it. Made by tools/declarations.py of krcommon_c.h: do not edit.

Pointers to numbers and handles are c_void_p, which takes addresses, arrays and bytes.
"""

from ctypes import (
    CDLL,
    POINTER,
    Structure,
    c_char_p,
    c_float,
    c_int32,
    c_int64,
    c_size_t,
    c_ssize_t,
    c_uint8,
    c_uint16,
    c_uint32,
    c_uint64,
    c_void_p,
)
from typing import Any, Dict, List, Tuple
'''


def without_comments(text):
    return re.sub(r"/\*.*?\*/", " ", text, flags=re.S)


def parts_of(declaration):
    """Type, name and length of "const float* name[3]"."""
    declaration = re.sub(r"\s+", " ", declaration).strip()
    kind, name, length = re.fullmatch(r"(.*?)\s*(\w+)(?:\[(\w+)\])?", declaration).groups()
    return kind.replace("const ", "").replace(" *", "*").strip(), name, length


class Header:
    def __init__(self, text):
        self.text = without_comments(text)
        self.structs = re.findall(r"typedef struct (\w+) \{(.*?)\} \1;", self.text, flags=re.S)
        self.struct_names = [name for name, _ in self.structs]
        self.owned = re.findall(r"typedef \w+\* (kr_c_owned_\w+);", self.text)
        self.numbers = {}
        for body in re.findall(r"enum \{(.*?)\};", self.text, flags=re.S):
            self.numbers.update((n, int(v)) for n, v in re.findall(r"(KR_C_\w+) = (-?\d+)", body))
        for name, value in re.findall(r"#define (KR_C_(?:ABI|SHA1_SIZE)) (\d+)", self.text):
            self.numbers[name] = int(value)

    def members(self, body):
        return [parts_of(member) for member in body.split(";") if member.strip()]

    def functions(self):
        pattern = r"\nKR_C_FUNCTION\((\w+)\)\s+(\w+)\((.*?)\);"
        for result, name, parameters in re.findall(pattern, self.text, flags=re.S):
            given = [] if parameters == "void" else parameters.split(",")
            yield result, name, [parts_of(parameter)[0] for parameter in given]

    def ctype(self, kind):
        if kind in NUMBERS:
            return NUMBERS[kind][0]
        if kind in ("kr_c_static_text", "char*"):
            return "c_char_p"
        if kind in self.struct_names:
            return kind
        if kind.rstrip("*") in self.owned and kind.endswith("*"):
            return "POINTER(c_void_p)"
        if kind == "kr_c_borrowed_bytes*":
            return "POINTER(c_void_p)"
        if kind in ("kr_c_size*", "kr_c_step*"):
            return f"POINTER({NUMBERS[kind[:-1]][0]})"
        if kind.rstrip("*") in self.struct_names and kind.endswith("*"):
            return f"POINTER({kind[:-1]})"
        if kind.endswith("*"):
            return "c_void_p"
        raise ValueError(f"unknown type '{kind}'")


def written(header):
    yield HEAD
    for name, value in header.numbers.items():
        yield f"{name} = {value}"
    for name, body in header.structs:
        yield f"\n\nclass {name}(Structure):\n    _fields_ = ["
        for kind, member, length in header.members(body):
            # Arrays of the host's in structs are addresses.
            ctype = "c_void_p" if kind.endswith("*") and kind != "char*" else header.ctype(kind)
            if length:
                ctype += f" * {header.numbers.get(length, length)}"
            yield f'        ("{member}", {ctype}),'
        yield "    ]"
    yield "\n\n# Arrays that structs point to: type codes of array.array."
    yield "ARRAYS: Dict[str, Dict[str, str]] = {"
    for name, body in header.structs:
        arrays = [
            (member, NUMBERS[kind[:-1]][1])
            for kind, member, _ in header.members(body)
            if kind.endswith("*") and kind[:-1] in NUMBERS
        ]
        if name.endswith("_columns"):
            yield f'    "{name}": {{'
            yield from (f'        "{member}": "{code}",' for member, code in arrays)
            yield "    },"
    yield "}"
    yield "\nFUNCTIONS: List[Tuple[str, Any, List[Any]]] = ["
    for result, name, parameters in header.functions():
        types = ", ".join(map(header.ctype, parameters))
        yield f'    ("{name}", {header.ctype(result)}, [{types}]),'
    yield "]"
    yield '''

def declare(library: CDLL) -> None:
    """Tells ctypes the types of all functions."""
    for name, result, parameters in FUNCTIONS:
        function = getattr(library, name)
        function.restype = result
        function.argtypes = parameters
'''


def main(header, out, *mode):
    text = "\n".join(written(Header(pathlib.Path(header).read_text(encoding="utf-8"))))
    file = pathlib.Path(out)
    if mode != ("check",):
        file.write_text(text, encoding="utf-8")
    elif file.read_text(encoding="utf-8") != text:
        sys.exit(f"{out} is not what krcommon_c.h says: run\n  {sys.argv[0]} {header} {out}")


if __name__ == "__main__":
    main(*sys.argv[1:])
