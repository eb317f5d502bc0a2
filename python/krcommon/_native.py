"""The loaded library, and the few ways in which its functions are called."""

from __future__ import annotations

import contextlib
import ctypes
from typing import Any, Callable, Iterator, Optional, Tuple, Type, TypeVar, Union

from . import _declarations as c
from . import _loading
from .errors import ArgumentError, error_of


class _Whole:
    """A parameter's type that refuses numbers which ctypes alone would cut to its bits. What it raises
    comes as ctypes.ArgumentError."""

    def __init__(self, ctype: Any) -> None:
        self._ctype = ctype

    def from_param(self, value: Any) -> Any:
        """What ctypes asks for each argument."""
        number = self._ctype(value)
        if number.value != value:
            bits = 8 * ctypes.sizeof(self._ctype)
            raise OverflowError(f"{value} does not fit into {bits} bits")
        return number


_WHOLE = {
    ctype: _Whole(ctype)
    for ctype in (
        ctypes.c_int32,
        ctypes.c_uint32,
        ctypes.c_int64,
        ctypes.c_uint64,
        ctypes.c_size_t,
        ctypes.c_ssize_t,
    )
}


def _load() -> ctypes.CDLL:
    loaded = _loading.load()
    for name, _, parameters in c.FUNCTIONS:
        getattr(loaded, name).argtypes = [_WHOLE.get(p, p) for p in parameters]
    return loaded


library = _load()

# Whatever shows its bytes: bytes, bytearray, memoryview, mmap, array.array, NumPy arrays.
Buffer = Any
Text = Union[str, bytes]

_Struct = TypeVar("_Struct", bound=ctypes.Structure)


def check(code: int, position: Optional[ctypes.c_size_t] = None) -> None:
    """Raises what a function's error code says."""
    if code != c.KR_C_OK:
        text = library.kr_c_error_text(code).decode()
        raise error_of(code, text, None if position is None else position.value)


def sized(struct: Type[_Struct]) -> _Struct:
    """A struct of zeros that tells its size."""
    value = struct()
    setattr(value, "size", ctypes.sizeof(struct))
    return value


def fill(struct: _Struct, **values: Any) -> _Struct:
    """Sets members. OverflowError for whole numbers that they have no room for."""
    for name, value in values.items():
        setattr(struct, name, value)
        if isinstance(value, int) and getattr(struct, name) != value:
            raise OverflowError(f"{name} has no room for {value}")
    return struct


def utf8(text: Text) -> bytes:
    """A text as the library takes it; bytes are passed on as they are."""
    if isinstance(text, bytes):
        return text
    try:
        return text.encode("utf-8")
    except UnicodeEncodeError as error:
        raise ArgumentError(f"the text is not valid UTF-8: {error}", c.KR_C_BAD_UTF8) from error


# A text rarely is longer; where it is, a second call has room for it.
_ROOM = 256


def get_bytes(function: Callable[..., int], *arguments: Any, room: int = _ROOM) -> bytes:
    """Of a function that ends in (out, capacity, length)."""
    length = ctypes.c_size_t()
    while True:
        out = ctypes.create_string_buffer(room)
        code = function(*arguments, out, room, ctypes.byref(length))
        if code == c.KR_C_BUFFER_TOO_SMALL and length.value >= room:
            room = length.value + 1
            continue
        check(code)
        return ctypes.string_at(out, length.value)


def get_text(function: Callable[..., int], *arguments: Any, errors: str = "strict") -> str:
    """The same, as a text."""
    return get_bytes(function, *arguments).decode("utf-8", errors)


def get_number(number: Any, function: Callable[..., int], *arguments: Any) -> Any:
    """Of a function whose last parameter takes a number of that type."""
    result = number()
    check(function(*arguments, ctypes.byref(result)))
    return result.value


# ---- Bytes where they lie ----


class _Py_buffer(ctypes.Structure):
    """As Python's own header has it."""

    _fields_ = [
        ("buf", ctypes.c_void_p),
        ("obj", ctypes.py_object),
        ("len", ctypes.c_ssize_t),
        ("itemsize", ctypes.c_ssize_t),
        ("readonly", ctypes.c_int),
        ("ndim", ctypes.c_int),
        ("format", ctypes.c_char_p),
        ("shape", ctypes.c_void_p),
        ("strides", ctypes.c_void_p),
        ("suboffsets", ctypes.c_void_p),
        ("internal", ctypes.c_void_p),
    ]


_get_buffer = ctypes.pythonapi.PyObject_GetBuffer
_get_buffer.argtypes = [ctypes.py_object, ctypes.POINTER(_Py_buffer), ctypes.c_int]
_release_buffer = ctypes.pythonapi.PyBuffer_Release
_release_buffer.argtypes = [ctypes.POINTER(_Py_buffer)]
_release_buffer.restype = None


@contextlib.contextmanager
def bytes_at(data: Buffer) -> Iterator[Tuple[Optional[int], int]]:
    """Address and size of an object's bytes, which stay where they are meanwhile. Nothing is copied.

    TypeError for what has no bytes, BufferError where they do not lie one behind the other.
    """
    view = _Py_buffer()
    _get_buffer(data, ctypes.byref(view), 0)
    try:
        yield view.buf, view.len
    finally:
        _release_buffer(ctypes.byref(view))


# ---- Handles ----


_Handle = TypeVar("_Handle", bound="Handle")


class Handle:
    """Owns something of the library's until close(), the end of a with, or its own end."""

    _destroy: Callable[..., int]
    _handle = ctypes.c_void_p()  # null, as one has that was closed

    def __init__(self, make: Callable[..., int], *arguments: Any) -> None:
        handle = ctypes.c_void_p()
        check(make(*arguments, ctypes.byref(handle)))
        self._handle = handle

    def close(self) -> None:
        """Gives it back; what is used afterwards is refused (ArgumentError). May be called again."""
        # Of two threads one takes it, the other finds none.
        handle = self.__dict__.pop("_handle", None)
        if handle:
            check(type(self)._destroy(ctypes.byref(handle)))

    def __enter__(self: _Handle) -> _Handle:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __del__(self) -> None:
        self.close()
