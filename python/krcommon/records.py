"""Records as objects: decoded, built, encoded; and what can be asked of their bytes.

    record = Record.decode(data)
    record.object_id, record.first_seen_time, record.instances[0].min_x

    record = Record(object_id=7, instances=[Instance(colors=[Color(200, 30, 30, 60)])])
    data = record.encode()

For more than some thousand records take columns (columns.py), which make no objects.
"""

from __future__ import annotations

import array
import ctypes
import dataclasses
from typing import Any, Callable, List, NamedTuple, Optional, Sequence, Tuple

from . import _declarations as c
from ._native import Buffer, Handle, bytes_at, check as _check, fill, get_bytes, get_number, library, sized
from .colors import Classifier, native_classifier
from .columns import Filter, make_array, native_filter, point_to
from .enums import State
from .errors import DamagedRecordError

__all__ = [
    "Color",
    "Instance",
    "Record",
    "State",
    "Status",
    "auxiliary",
    "check",
    "color_shares",
    "matches",
]

NO_LIMIT = 0xFFFFFFFF


@dataclasses.dataclass
class Color:
    """A colour of an instance."""

    red: int = 0
    green: int = 0
    blue: int = 0
    area: float = 0.0  # -128 to 127, whole once it was encoded
    code: int = 0  # -128 to 127


@dataclasses.dataclass
class Instance:
    """The object at one time."""

    time: int = 0  # microseconds
    person_value: float = 0.0  # -128 to 127; above 0 it was taken for that
    vehicle_value: float = 0.0
    object_value: float = 0.0
    unknown_value: float = 0.0
    min_x: float = 0.0
    min_y: float = 0.0
    max_x: float = 0.0
    max_y: float = 0.0
    float1: float = 0.0
    float2: float = 0.0
    group: Tuple[float, ...] = (0.0, 0.0, 0.0, 0.0)
    point_x: float = 0.0
    point_y: float = 0.0
    number: int = 0  # -128 to 127
    flag: int = 0
    colors: List[Color] = dataclasses.field(default_factory=list)  # 127 at most


class Status(NamedTuple):
    """What bytes are found to be."""

    state: State
    position: int  # where the state applies
    consumed: int  # bytes of the parts that are whole
    instances: int


@dataclasses.dataclass
class Record:
    """An object that was detected. Members named for their place are carried as they are."""

    object_id: int = 0
    detector_type: int = 7
    first_seen_time: int = 0  # microseconds
    second_time: int = 0
    sensor_word1: int = 0
    sensor_word2: int = 1
    word1: int = 0
    word2: int = 0
    statistics_word1: int = 0
    statistics_word2: int = 0
    duration: int = 0  # seconds
    class_scores: Tuple[float, ...] = (0.0, 0.0, 0.0)  # person, vehicle, object
    statistics_word7: int = 0
    statistics_word8: int = 0
    instances: List[Instance] = dataclasses.field(default_factory=list)
    auxiliary: bytes = b""

    @classmethod
    def decode(cls, data: Buffer, is_lenient: bool = False) -> "Record":
        """The record of these bytes.

        DamagedRecordError for bytes that are no whole record, or more than that; leniently what is whole
        of them is taken, which may be nothing. A record without instances is none the worse.
        """
        with bytes_at(data) as (address, size):
            status = _status(address, size)
            if not is_lenient and status.state not in (State.WHOLE, State.NO_INSTANCES):
                words = status.state.name.lower().replace("_", " ")
                raise DamagedRecordError(f"no whole record: {words}, at {status.position}")
            record = cls(**_fields(address, size))
            record.instances = _instances(address, size, status.instances)
            record.auxiliary = _auxiliary(address, size)
        return record

    def encode(self, limit: int = NO_LIMIT) -> bytes:
        """The binary form. Numbers that it cannot hold are cut; more than 127 colours of an instance are
        refused (ArgumentError).

        limit  bytes that the list of instances may have, 4 at least; those that do not fit are left out
        """
        with _Builder() as builder:
            builder.set(self)
            return builder.encode(limit)


# ---- What bytes are ----


def _status(address: Optional[int], size: int) -> Status:
    status = sized(c.kr_c_record_status)
    _check(library.kr_c_view_check(address, size, ctypes.byref(status)))
    return Status(State(status.state), status.position, status.consumed, status.instances)


def check(data: Buffer) -> Status:
    """What bytes are found to be, and where."""
    with bytes_at(data) as (address, size):
        return _status(address, size)


def matches(data: Buffer, wanted: Filter) -> bool:
    """Whether a record matches; one without instances does not."""
    with bytes_at(data) as (address, size):
        filter_ = native_filter(wanted)
        return bool(
            get_number(ctypes.c_int32, library.kr_c_view_matches, address, size, filter_)
        )


def color_shares(data: Buffer, classifier: Optional[Classifier] = None) -> List[float]:
    """How much of the object has each preset, in percent of area, by the preset's number from 0 on.

    classifier  None: the library's own
    """
    percent = (ctypes.c_float * c.KR_C_PRESETS)()
    with bytes_at(data) as (address, size):
        _check(
            library.kr_c_view_color_shares(address, size, native_classifier(classifier), percent)
        )
    return list(percent)


def auxiliary(data: Buffer) -> bytes:
    """The auxiliary data of a record; none where they are cut short."""
    with bytes_at(data) as (address, size):
        return _auxiliary(address, size)


def _auxiliary(address: Optional[int], size: int) -> bytes:
    begin, length = ctypes.c_void_p(), ctypes.c_size_t()
    _check(
        library.kr_c_view_auxiliary(address, size, ctypes.byref(begin), ctypes.byref(length))
    )
    return ctypes.string_at(begin.value, length.value) if begin.value else b""


# ---- From bytes to objects ----

_FIELDS = tuple(
    field.name
    for field in dataclasses.fields(Record)
    if field.name not in ("instances", "auxiliary")
)


def _fields(address: Optional[int], size: int) -> Any:
    fields = sized(c.kr_c_record_fields)
    _check(library.kr_c_view_fields(address, size, ctypes.byref(fields)))
    values = {name: getattr(fields, name) for name in _FIELDS}
    values["class_scores"] = tuple(fields.class_scores)
    return values


_WIDTHS = {"class_scores": 3, "group": 4}
_INSTANCE_CODES = c.ARRAYS["kr_c_instance_columns"]
_COLOR_CODES = c.ARRAYS["kr_c_color_columns"]
# In the order of the members; then what is not the instance's.
_INSTANCE_NAMES = [f.name for f in dataclasses.fields(Instance) if f.name != "colors"]
_COLOR_NAMES = [f.name for f in dataclasses.fields(Color)]


def _view(
    function: Callable[..., int], struct: Any, columns: Any, address: Any, size: int, rows: int
) -> None:
    count = ctypes.c_size_t()
    target = point_to(struct, columns)
    _check(function(address, size, 0, ctypes.byref(target), rows, ctypes.byref(count)))
    assert count.value == rows


def _arrays(codes: Any, names: Sequence[str], rows: int) -> Any:
    return {name: make_array(codes[name], rows, _WIDTHS.get(name, 1)) for name in names}


def _instances(address: Optional[int], size: int, rows: int) -> List[Instance]:
    if rows == 0:
        return []
    columns = _arrays(_INSTANCE_CODES, [*_INSTANCE_NAMES, "color_count"], rows)
    _view(library.kr_c_view_instances, c.kr_c_instance_columns, columns, address, size, rows)
    counts = columns.pop("color_count")
    group = iter(columns["group"])
    columns["group"] = list(zip(group, group, group, group))
    instances = [Instance(*values) for values in zip(*columns.values())]
    colors = iter(_colors(address, size, sum(counts)))
    for instance, count in zip(instances, counts):
        instance.colors = [next(colors) for _ in range(count)]
    return instances


def _colors(address: Optional[int], size: int, rows: int) -> List[Color]:
    if rows == 0:
        return []
    columns = _arrays(_COLOR_CODES, _COLOR_NAMES, rows)
    _view(library.kr_c_view_colors, c.kr_c_color_columns, columns, address, size, rows)
    return [Color(*values) for values in zip(*columns.values())]


# ---- From objects to bytes ----


def _columns_of(codes: Any, names: Sequence[str], rows: Sequence[Any]) -> Any:
    """The members of objects, as arrays."""
    return {
        name: array.array(
            codes[name],
            [number for row in rows for number in _numbers(name, getattr(row, name))],
        )
        for name in names
    }


def _numbers(name: str, value: Any) -> Sequence[Any]:
    width = _WIDTHS.get(name, 0)
    if width == 0:
        return (value,)
    if len(value) != width:
        raise ValueError(f"{name} has {width} numbers, not {len(value)}")
    return tuple(value)


class _Builder(Handle):
    _destroy = library.kr_c_record_destroy

    def __init__(self) -> None:
        super().__init__(library.kr_c_record_create)

    def set(self, record: Record) -> None:
        fields = sized(c.kr_c_record_fields)
        for name in _FIELDS:
            value = getattr(record, name)
            if name == "class_scores":
                value = (ctypes.c_float * 3)(*_numbers(name, value))
            fill(fields, **{name: value})
        _check(library.kr_c_record_set_fields(self._handle, ctypes.byref(fields)))
        self._add_instances(record.instances)
        for index, instance in enumerate(record.instances):
            if instance.colors:
                self._add_colors(index, instance.colors)
        with bytes_at(record.auxiliary) as (address, size):
            _check(library.kr_c_record_set_auxiliary(self._handle, address, size))

    def _add_instances(self, instances: Sequence[Instance]) -> None:
        columns = _columns_of(_INSTANCE_CODES, _INSTANCE_NAMES, instances)
        target = point_to(c.kr_c_instance_columns, columns)
        _check(
            library.kr_c_record_add_instances(self._handle, ctypes.byref(target), len(instances))
        )

    def _add_colors(self, index: int, colors: Sequence[Color]) -> None:
        columns = _columns_of(_COLOR_CODES, _COLOR_NAMES, colors)
        target = point_to(c.kr_c_color_columns, columns)
        _check(
            library.kr_c_record_add_colors(
                self._handle, index, ctypes.byref(target), len(colors)
            )
        )

    def encode(self, limit: int) -> bytes:
        return get_bytes(library.kr_c_record_encode, self._handle, limit, room=4096)
