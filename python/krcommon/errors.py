"""Exceptions: what the library refuses, with the C interface's own texts.

Each is also of the class of Python's that fits it, so that a program may catch ValueError or LookupError
without knowing of the library.
"""

from __future__ import annotations

from typing import Dict, Optional, Type

from . import _declarations as c

__all__ = [
    "KRCommonError",
    "ArgumentError",
    "DamagedRecordError",
    "InternalError",
    "InUseError",
    "NotFoundError",
    "OutOfMemoryError",
    "StateError",
    "SystemRefusedError",
    "TextError",
]


class KRCommonError(Exception):
    """Anything that the library refuses.

    code  the C interface's number; 0 for what this package itself has found
    """

    def __init__(self, text: str, code: int = 0) -> None:
        super().__init__(text)
        self.code = code


class ArgumentError(KRCommonError, ValueError):
    """An argument out of range, no valid text, or a handle that was closed."""


class TextError(KRCommonError, ValueError):
    """A text was not accepted.

    position  where, in bytes of its UTF-8 form
    """

    def __init__(self, text: str, code: int, position: int) -> None:
        super().__init__(f"{text}, at {position}", code)
        self.position = position


class DamagedRecordError(KRCommonError, ValueError):
    """The bytes are no whole record; records.check() tells what they are."""


class NotFoundError(KRCommonError, LookupError):
    """There is none of that name or index."""


class InUseError(KRCommonError, RuntimeError):
    """Another thread is in a call with the handle, or the thing is there once."""


class StateError(KRCommonError, RuntimeError):
    """Not possible in this state: a hash that was ended is fed."""


class OutOfMemoryError(KRCommonError, MemoryError):
    """No memory."""


class SystemRefusedError(KRCommonError, OSError):
    """The operating system refused."""


class InternalError(KRCommonError, RuntimeError):
    """A mistake of the library's or of this package."""


_CLASSES: Dict[int, Type[KRCommonError]] = {
    c.KR_C_NULL_ARGUMENT: ArgumentError,
    c.KR_C_OUT_OF_RANGE: ArgumentError,
    c.KR_C_BAD_HANDLE: ArgumentError,
    c.KR_C_NO_MEMORY: OutOfMemoryError,
    c.KR_C_BAD_UTF8: ArgumentError,
    c.KR_C_NOT_CONVERTIBLE: ArgumentError,
    c.KR_C_NOT_FOUND: NotFoundError,
    c.KR_C_IN_USE: InUseError,
    c.KR_C_WRONG_STATE: StateError,
    c.KR_C_SYSTEM: SystemRefusedError,
}


def error_of(code: int, text: str, position: Optional[int] = None) -> KRCommonError:
    """The exception for a code of the C interface."""
    if code >= c.KR_C_TEXT_CUT:
        return TextError(text, code, position or 0)
    return _CLASSES.get(code, InternalError)(text, code)
