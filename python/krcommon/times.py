"""Times: microseconds since 1970-01-01 00:00:00 UTC, as whole numbers, and their texts."""

from __future__ import annotations

import ctypes
import datetime
import enum
from typing import NamedTuple, Tuple

from . import _declarations as c
from ._native import Text, check, fill, get_text, library, utf8

__all__ = [
    "Date",
    "Fraction",
    "date_of",
    "datetime_of",
    "duration_from_text",
    "duration_text",
    "from_date",
    "from_datetime",
    "from_iso8601",
    "from_text",
    "iso8601",
    "text",
]


class Fraction(enum.IntEnum):
    """Digits of the second's fraction in a text."""

    ANY = c.KR_C_FRACTION_ANY  # for reading alone: as much as there is of the text
    NONE = c.KR_C_FRACTION_NONE
    MILLISECONDS = c.KR_C_FRACTION_MILLISECONDS
    MICROSECONDS = c.KR_C_FRACTION_MICROSECONDS


class Date(NamedTuple):
    """UTC, in the Gregorian calendar extended to both sides."""

    year: int
    month: int
    day: int
    hour: int = 0
    minute: int = 0
    second: int = 0
    microsecond: int = 0
    weekday: int = 0  # 0 is Sunday; not read


_EPOCH = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)


def datetime_of(time: int) -> datetime.datetime:
    """In UTC. OverflowError outside of the years 1 to 9999."""
    return _EPOCH + datetime.timedelta(microseconds=int(time))


def from_datetime(value: datetime.datetime) -> int:
    """One without a zone is taken as UTC."""
    if value.tzinfo is None:
        value = value.replace(tzinfo=datetime.timezone.utc)
    return (value - _EPOCH) // datetime.timedelta(microseconds=1)


def date_of(time: int) -> Date:
    """The fields of a time, of any year."""
    date = c.kr_c_date()
    check(library.kr_c_time_to_date(time, ctypes.byref(date)))
    return Date(*(getattr(date, name) for name in Date._fields))


def from_date(date: Date) -> int:
    """Fields beyond their ranges are carried, the microsecond apart. From 1970 to the year 3000."""
    time = ctypes.c_int64()
    check(library.kr_c_time_from_date(ctypes.byref(fill(c.kr_c_date(), **date._asdict())), ctypes.byref(time)))
    return time.value


def text(time: int, fraction: Fraction = Fraction.MICROSECONDS) -> str:
    """ "2024/03/05 07:08:09.000123". From 1601 to 9999."""
    return get_text(library.kr_c_time_to_text, time, fraction)


def from_text(value: Text, fraction: Fraction = Fraction.ANY) -> int:
    """TextError tells where a text is wrong."""
    given, time, position = utf8(value), ctypes.c_int64(), ctypes.c_size_t()
    code = library.kr_c_time_from_text(
        given, len(given), fraction, ctypes.byref(time), ctypes.byref(position)
    )
    check(code, position)
    return time.value


def iso8601(
    time: int, fraction: Fraction = Fraction.MICROSECONDS, offset_minutes: int = 0
) -> str:
    """ "2024-03-05T08:08:09.000+01:00" with an offset of 60; "Z" for 0."""
    return get_text(library.kr_c_time_to_iso8601, time, fraction, offset_minutes)


def from_iso8601(value: Text) -> Tuple[int, int]:
    """The time, and the offset in minutes that the text has."""
    given, time, offset = utf8(value), ctypes.c_int64(), ctypes.c_int32()
    position = ctypes.c_size_t()
    code = library.kr_c_time_from_iso8601(
        given, len(given), ctypes.byref(time), ctypes.byref(offset), ctypes.byref(position)
    )
    check(code, position)
    return time.value, offset.value


def duration_text(duration: int) -> str:
    """ "1 h 02 min", of microseconds."""
    return get_text(library.kr_c_duration_to_text, duration)


def duration_from_text(value: Text) -> int:
    """Microseconds of such a text."""
    given, duration, position = utf8(value), ctypes.c_int64(), ctypes.c_size_t()
    code = library.kr_c_duration_from_text(
        given, len(given), ctypes.byref(duration), ctypes.byref(position)
    )
    check(code, position)
    return duration.value
