"""The configuration: what the library has read of its own, and its verdict on any other document.

    with check(open("KRCommon.xml", "rb").read()) as configuration:
        for error in configuration.errors:
            print(error.text)
"""

from __future__ import annotations

import ctypes
from typing import Any, Callable, List, NamedTuple

from . import _declarations as c
from ._native import (
    Buffer,
    Handle,
    bytes_at,
    check as _check,
    get_bytes,
    get_number,
    get_text,
    library,
    sized,
)
from .colors import RGB, Classifier
from .enums import Preset

__all__ = ["Configuration", "Mistake", "Range", "Status", "check", "status"]


class Status(NamedTuple):
    """Of the library's own configuration."""

    is_read: bool
    path: str
    problem: str  # empty when it was read


def status() -> Status:
    """Whether KRCommon.xml beside the library was accepted while that was loaded, and why not."""
    return Status(
        bool(get_number(ctypes.c_int32, library.kr_c_configuration_is_read)),
        get_text(library.kr_c_configuration_path, errors="replace"),
        get_text(library.kr_c_configuration_problem, errors="replace"),
    )


class Mistake(NamedTuple):
    """What is wrong in a document."""

    code: int  # the message's number
    line: int  # from 1; 0 is the file as a whole
    begin: int  # of what is at fault, in bytes of Configuration.text()
    end: int  # behind it
    text: str  # "line:7-'color'-Value does not match enumerations"


class Range(NamedTuple):
    """A range of a preset, as in the document."""

    preset: Preset
    hue_from: int
    hue_to: int
    saturation_from: float
    saturation_to: float
    value_from: float
    value_to: float
    begin: int  # of the tag, in bytes of Configuration.text()
    end: int
    rgb: RGB  # of the palette


class Configuration(Handle):
    """What the library thinks of a document. Any threads may use it at once."""

    _destroy = library.kr_c_configuration_destroy

    def __init__(self, document: Buffer) -> None:
        with bytes_at(document) as (address, size):
            super().__init__(library.kr_c_configuration_check, address, size)

    def _summary(self) -> c.kr_c_configuration_summary:
        summary = sized(c.kr_c_configuration_summary)
        _check(library.kr_c_configuration_get_summary(self._handle, ctypes.byref(summary)))
        return summary

    def _get(self, function: Callable[..., int], index: int, struct: Any) -> Any:
        value = sized(struct)
        _check(function(self._handle, index, ctypes.byref(value)))
        return value

    @property
    def is_accepted(self) -> bool:
        """Whether the library would read it: it has no mistakes."""
        return int(self._summary().errors) == 0

    @property
    def is_complete(self) -> bool:
        """Whether it was read to its end, beyond its mistakes."""
        return bool(self._summary().is_complete)

    @property
    def errors(self) -> List[Mistake]:
        """All mistakes, 100 at most."""
        return [self._error(index) for index in range(self._summary().errors)]

    def _error(self, index: int) -> Mistake:
        function = library.kr_c_configuration_get_error
        error = self._get(function, index, c.kr_c_configuration_error)
        text = get_text(
            library.kr_c_configuration_error_text, self._handle, index, errors="backslashreplace"
        )
        return Mistake(error.code, error.line, error.begin, error.end, text)

    @property
    def ranges(self) -> List[Range]:
        """The ranges that were read."""
        return [self._range(index) for index in range(self._summary().ranges)]

    def _range(self, index: int) -> Range:
        found = self._get(library.kr_c_configuration_get_range, index, c.kr_c_configured_range)
        numbers = [getattr(found, name) for name in Range._fields[1:-1]]
        rgb = RGB(found.rgb.red, found.rgb.green, found.rgb.blue)
        return Range._make((Preset(found.preset), *numbers, rgb))

    def text(self) -> bytes:
        """The document in UTF-8, as far as it is characters."""
        return get_bytes(library.kr_c_configuration_text, self._handle, room=65536)

    def colors(self) -> Classifier:
        """A classifier of what was read. It may outlive the configuration."""
        return Classifier(library.kr_c_configuration_colors, self._handle)


def check(document: Buffer) -> Configuration:
    """The library's verdict on a document of any bytes."""
    return Configuration(document)
