"""Finds the library, says why it cannot be loaded, and loads it."""

from __future__ import annotations

import ctypes
import os
import pathlib
import struct
import sys
from typing import BinaryIO, Iterator, NamedTuple, Optional

from . import _declarations

ENVIRONMENT = "KRCOMMON_LIBRARY"
NAME = "KRCommon.dll" if sys.platform == "win32" else "libKRCommon.so.1"

PE_MACHINES = {0x014C: ("x86", 4), 0x8664: ("x86-64", 8), 0xAA64: ("ARM64", 8), 0x01C4: ("ARM", 4)}
ELF_MACHINES = {3: "x86", 62: "x86-64", 183: "ARM64", 40: "ARM"}


class Machine(NamedTuple):
    """What a library is made for."""

    system: str  # "Windows" or "Linux"
    name: str
    pointer_size: int  # bytes


def _pe_machine(file: BinaryIO) -> Optional[Machine]:
    file.seek(0x3C)
    offset = file.read(4)
    if len(offset) < 4:
        return None
    file.seek(struct.unpack("<I", offset)[0])
    header = file.read(6)
    if len(header) < 6 or header[:4] != b"PE\0\0":
        return None
    number = struct.unpack_from("<H", header, 4)[0]
    name, pointer_size = PE_MACHINES.get(number, (f"machine {number:#06x}", 0))
    return Machine("Windows", name, pointer_size)


def _elf_machine(header: bytes) -> Optional[Machine]:
    if len(header) < 20 or header[4] not in (1, 2) or header[5] not in (1, 2):
        return None
    number = struct.unpack_from("<H" if header[5] == 1 else ">H", header, 18)[0]
    return Machine("Linux", ELF_MACHINES.get(number, f"machine {number}"), 4 * header[4])


def machine_of(path: os.PathLike[str] | str) -> Optional[Machine]:
    """What a DLL (by its PE header) or shared object (by its ELF header) is made for.

    None for a file that is neither. OSError for one that cannot be read.
    """
    with open(path, "rb") as file:
        begin = file.read(20)
        if begin[:4] == b"\x7fELF":
            return _elf_machine(begin)
        return _pe_machine(file) if begin[:2] == b"MZ" else None


def refusal(
    machine: Optional[Machine], pointer_size: int, system: str, interpreter: str
) -> Optional[str]:
    """Why an interpreter cannot load a library; None where nothing speaks against it.

    machine       of the library
    pointer_size  of the interpreter, in bytes
    system        the interpreter's, "Windows" or "Linux"
    interpreter   its path
    """
    if machine is None:
        return "it is neither a DLL nor a shared object"
    if machine.system != system:
        return f"it is made for {machine.system}, and this is {system}"
    if machine.pointer_size in (0, pointer_size):
        return None
    bits, own_bits = 8 * machine.pointer_size, 8 * pointer_size
    return (
        f"it is a {bits}-bit library ({machine.name}), and this Python is a {own_bits}-bit program "
        f"({interpreter}). A process loads libraries of its own size alone: "
        f"run this with a {bits}-bit Python"
    )


def candidates(package: pathlib.Path) -> Iterator[pathlib.Path]:
    """Where the library may lie: in the package (a wheel), beside it, or in the folder "bin" of what was
    unzipped, whose folder "python" the package then is in."""
    yield package / NAME
    yield package.parent / NAME
    yield package.parent.parent / "bin" / NAME


def find(environment: Optional[str], package: pathlib.Path) -> Optional[pathlib.Path]:
    """The file to load; None leaves it to the system's loader.

    environment  what KRCOMMON_LIBRARY says; it holds even when there is no such file
    """
    if environment:
        return pathlib.Path(environment).absolute()
    return next((path for path in candidates(package) if path.is_file()), None)


def _system() -> str:
    return "Windows" if sys.platform == "win32" else "Linux"


def _check_file(path: pathlib.Path) -> None:
    try:
        machine = machine_of(path)
    except OSError as error:
        raise ImportError(f"{path} cannot be loaded: {error.strerror}", path=str(path)) from error
    reason = refusal(machine, ctypes.sizeof(ctypes.c_void_p), _system(), sys.executable)
    if reason:
        raise ImportError(f"{path} cannot be loaded: {reason}", path=str(path))


def _open(path: Optional[pathlib.Path]) -> ctypes.CDLL:
    if path is None:
        try:
            return ctypes.CDLL(NAME)
        except OSError as error:
            raise ImportError(
                f"{NAME} was not found: set {ENVIRONMENT} to its path ({error})"
            ) from error
    _check_file(path)
    if sys.platform == "win32":  # the DLLs that it needs lie beside it
        os.add_dll_directory(str(path.parent))
    try:
        return ctypes.CDLL(str(path))
    except OSError as error:
        raise ImportError(f"{path} cannot be loaded: {error}", path=str(path)) from error


def check_abi(number: int) -> None:
    """ImportError for a library that lacks functions that are declared here."""
    if number < _declarations.KR_C_ABI:
        raise ImportError(
            f"the library's C interface has the number {number}; "
            f"this package needs {_declarations.KR_C_ABI}: update the library"
        )


def load() -> ctypes.CDLL:
    """The library, its functions declared. ImportError with the reason where there is none."""
    library = _open(find(os.environ.get(ENVIRONMENT), pathlib.Path(__file__).parent))
    try:
        library.kr_c_abi.restype = ctypes.c_uint32
        check_abi(library.kr_c_abi())
        _declarations.declare(library)
    except AttributeError as error:
        raise ImportError(f"the library lacks a function of the C interface: {error}") from error
    return library
