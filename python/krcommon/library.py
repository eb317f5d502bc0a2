"""The library itself: version, capabilities, instructions."""

from __future__ import annotations

import enum

from . import _declarations as c
from ._native import library

__all__ = ["Capability", "abi", "capabilities", "error_text", "instructions", "path", "version"]


class Capability(enum.IntFlag):
    """Families of functions."""

    CONFIGURATION = c.KR_C_HAS_CONFIGURATION
    LOG = c.KR_C_HAS_LOG
    COLORS = c.KR_C_HAS_COLORS
    RECORDS = c.KR_C_HAS_RECORDS
    TIME = c.KR_C_HAS_TIME
    GUID = c.KR_C_HAS_GUID
    TEXTS = c.KR_C_HAS_TEXTS
    FILE_VERSIONS = c.KR_C_HAS_FILE_VERSIONS
    EVENT_LOG = c.KR_C_HAS_EVENT_LOG


def abi() -> int:
    """The number of the library's C interface."""
    return int(library.kr_c_abi())


def version() -> str:
    """Such as "1.2.3"."""
    return str(library.kr_c_version_text().decode())


def capabilities() -> Capability:
    """The families of functions that the library has."""
    return Capability(library.kr_c_capabilities())


def instructions() -> str:
    """The processor's instructions that are in use: "avx2 sha aes"; "portable" without any."""
    return str(library.kr_c_instructions().decode())


def error_text(code: int) -> str:
    """The text for an error code of the C interface."""
    return str(library.kr_c_error_text(code).decode())


def path() -> str:
    """The file that was loaded, or its name where the system's loader has found it."""
    return str(library._name)
