"""Base64 (RFC 4648)."""

from __future__ import annotations

import ctypes

from ._native import Buffer, Text, bytes_at, check, get_bytes, library, utf8

__all__ = ["decode", "encode"]


def encode(data: Buffer, has_line_breaks: bool = False) -> str:
    """With line breaks a line feed comes after every 76 characters."""
    with bytes_at(data) as (address, size):
        room = size * 3 // 2 + 8
        encoded = get_bytes(
            library.kr_c_base64_encode, address, size, has_line_breaks, room=room
        )
    return encoded.decode("ascii")


def decode(text: Text, is_lenient: bool = False) -> bytes:
    """Strictly: exactly the text of some bytes, without line breaks; TextError tells where another is
    wrong. Leniently any text decodes to something."""
    given = utf8(text)
    out = (ctypes.c_uint8 * (len(given) + 1))()
    size, position = ctypes.c_size_t(), ctypes.c_size_t()
    code = library.kr_c_base64_decode(
        given, len(given), is_lenient, out, len(out), ctypes.byref(size), ctypes.byref(position)
    )
    check(code, position)
    return ctypes.string_at(out, size.value)
