"""GUIDs, as uuid.UUID."""

from __future__ import annotations

import ctypes
import uuid
from typing import List

from . import _declarations as c
from ._native import Text, check, get_text, library, utf8

__all__ = ["create", "create_many", "from_text", "text"]


def _to_uuid(guid: c.kr_c_guid) -> uuid.UUID:
    begin = (guid.data1 << 96) | (guid.data2 << 80) | (guid.data3 << 64)
    return uuid.UUID(int=begin | int.from_bytes(bytes(guid.data4), "big"))


def _from_uuid(value: uuid.UUID) -> c.kr_c_guid:
    data4 = (ctypes.c_uint8 * 8)(*value.bytes[8:])
    return c.kr_c_guid(value.time_low, value.time_mid, value.time_hi_version, data4)


def create_many(count: int, version: int = 4) -> List[uuid.UUID]:
    """New ones, of version 4 (by chance) or 7 (in the order of their making)."""
    guids = (c.kr_c_guid * count)()
    check(library.kr_c_guid_create(version, guids, count))
    return [_to_uuid(guid) for guid in guids]


def create(version: int = 4) -> uuid.UUID:
    """A new one."""
    return create_many(1, version)[0]


def text(value: uuid.UUID) -> str:
    """36 characters in lower case."""
    return get_text(library.kr_c_guid_to_text, ctypes.byref(_from_uuid(value)))


def from_text(value: Text) -> uuid.UUID:
    """Digits in either case, in a pair of braces or none. TextError tells where a text is wrong."""
    given, guid, position = utf8(value), c.kr_c_guid(), ctypes.c_size_t()
    code = library.kr_c_guid_from_text(
        given, len(given), ctypes.byref(guid), ctypes.byref(position)
    )
    check(code, position)
    return _to_uuid(guid)
