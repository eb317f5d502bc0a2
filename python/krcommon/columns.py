"""Many records by columns: the library writes rows straight into NumPy's arrays.

    records = Records(data)                      # one behind the other, or Records(data, ends)
    table = records.records(["object_id", "first_seen_time"], Filter(min_duration=10))
    table["object_id"]                           # a NumPy array of uint64, a row for each record
    table.end                                    # how far the scan came, and why it ended there

Without NumPy a column is an array.array. class_scores has 3 numbers for each row and group has 4: with NumPy
these are arrays of two dimensions, without it the numbers lie row after row.

Scans take no lock: any threads may scan at once, the same bytes too, and Python's other threads run meanwhile.
"""

from __future__ import annotations

import array
import ctypes
import dataclasses
from typing import (
    TYPE_CHECKING,
    Any,
    Callable,
    Dict,
    Iterable,
    Iterator,
    Mapping,
    NamedTuple,
    Optional,
    Sequence,
    Tuple,
    Type,
    Union,
)

from . import _declarations as c
from ._native import Buffer, bytes_at, check, fill, library, sized
from .enums import NO_END, Preset, State
from .errors import InternalError

try:
    import numpy
except ImportError:  # the standard library's arrays do
    numpy = None  # type: ignore[assignment]

if TYPE_CHECKING:
    from .colors import Classifier

__all__ = [
    "COLOR_COLUMNS",
    "INSTANCE_COLUMNS",
    "RECORD_COLUMNS",
    "Columns",
    "End",
    "Filter",
    "Records",
]

# A NumPy array, or array.array where there is no NumPy.
Column = Any

_WIDTHS = {"class_scores": 3, "group": 4}

_RECORDS = c.ARRAYS["kr_c_record_columns"]
_INSTANCES = c.ARRAYS["kr_c_instance_columns"]
_COLORS = c.ARRAYS["kr_c_color_columns"]

RECORD_COLUMNS = tuple(_RECORDS)
INSTANCE_COLUMNS = tuple(_INSTANCES)
COLOR_COLUMNS = tuple(_COLORS)


# ---- Arrays ----


def make_array(code: str, rows: int, width: int = 1) -> "array.array[Any]":
    """Zeros."""
    values = array.array(code)
    return array.array(code, bytes(values.itemsize * rows * width))


def _make_column(name: str, code: str, rows: int) -> Column:
    width = _WIDTHS.get(name, 1)
    if numpy is None:
        return make_array(code, rows, width)
    return numpy.empty(rows if width == 1 else (rows, width), dtype=numpy.dtype(code))


def _trim_column(name: str, column: Column, rows: int) -> None:
    """In place: what was too much goes back to the system."""
    width = _WIDTHS.get(name, 1)
    if numpy is None:
        del column[rows * width :]
    else:
        column.resize(rows if width == 1 else (rows, width), refcheck=False)


def _address(column: Column) -> int:
    if isinstance(column, array.array):
        return column.buffer_info()[0]
    return int(column.ctypes.data)


def point_to(struct: Type[Any], columns: Mapping[str, Column]) -> Any:
    """A struct of columns that points to these arrays, which must outlive it."""
    result = sized(struct)
    for name, column in columns.items():
        setattr(result, name, _address(column))
    return result


# ---- What is asked for ----


@dataclasses.dataclass(frozen=True)
class Filter:
    """What records are asked for. As it is made first, all records of detector type 7."""

    detector_type: int = 7
    from_time: int = 0  # first-seen time, microseconds, both ends included
    to_time: int = NO_END
    object_class: int = 0  # 1 person, 2 vehicle, 3 object; others: no score is asked for
    min_score: float = 0.0
    min_duration: float = 0.0  # seconds
    preset: Optional[Preset] = None
    min_percent: float = 0.0  # of the preset
    classifier: Optional["Classifier"] = None  # None: the library's own

    def native(self) -> c.kr_c_filter:
        """As the C interface has it. It refers to the classifier, which must stay open."""
        result = sized(c.kr_c_filter)
        fill(
            result,
            detector_type=self.detector_type,
            to=self.to_time,
            object_class=self.object_class,
            min_score=self.min_score,
            min_duration=self.min_duration,
            preset=-1 if self.preset is None else self.preset,
            min_percent=self.min_percent,
            colors=None if self.classifier is None else self.classifier.native(),
        )
        fill(result, **{"from": self.from_time})  # a word of Python's
        return result


def native_filter(wanted: Optional[Filter]) -> Any:
    """As a parameter; None is no filter."""
    return None if wanted is None else ctypes.byref(wanted.native())


# ---- What comes of it ----


class End(NamedTuple):
    """How far a scan came."""

    state: State  # WHOLE when no bytes were left, else what those at position are found to be
    position: int  # behind the last record
    records: int  # that were looked at
    damage: int  # where the state applies, from the first byte of all


class Columns(Mapping[str, Column]):
    """Arrays of one length by their names.

    rows  their length
    end   how far the scan came
    """

    def __init__(self, columns: Dict[str, Column], rows: int, end: End) -> None:
        self._columns = columns
        self.rows = rows
        self.end = end

    def __getitem__(self, name: str) -> Column:
        return self._columns[name]

    def __iter__(self) -> Iterator[str]:
        return iter(self._columns)

    def __len__(self) -> int:
        return len(self._columns)

    def __repr__(self) -> str:
        return f"<Columns: {self.rows} rows of {', '.join(self)}>"


# ---- The scan ----


class _Rows(NamedTuple):
    scan: Callable[..., int]
    struct: Type[Any]
    codes: Mapping[str, str]


_RECORD_ROWS = _Rows(library.kr_c_scan_records, c.kr_c_record_columns, _RECORDS)
_INSTANCE_ROWS = _Rows(library.kr_c_scan_instances, c.kr_c_instance_columns, _INSTANCES)
_COLOR_ROWS = _Rows(library.kr_c_scan_colors, c.kr_c_color_columns, _COLORS)

# Rows have at least so many bytes in the data: a record without instances, an instance without colours.
_LEAST_RECORD = 140
_LEAST_INSTANCE = 68


class Records:
    """Records where they lie; nothing is copied.

    data  bytes, bytearray, mmap, a NumPy array, ...: it must not change during a scan
    ends  ascending positions: record n ends before ends[n] and begins where the one before it ends; damage in
          one does not matter to the next. None: each is as long as its counts tell, and a scan ends
          before the first that is damaged (see Columns.end)
    """

    def __init__(self, data: Buffer, ends: Union[Sequence[int], Buffer, None] = None) -> None:
        self._data = data
        self._ends = None if ends is None else _ends_array(ends)

    @classmethod
    def join(cls, records: Iterable[Buffer]) -> "Records":
        """Copies records one behind the other."""
        data = bytearray()
        ends = array.array("Q")
        for record in records:
            data += record
            ends.append(len(data))
        return cls(data, ends)

    def records(
        self, columns: Optional[Iterable[str]] = None, where: Optional[Filter] = None
    ) -> Columns:
        """A row for each record, of RECORD_COLUMNS or some of them. "state" and "instances" cost a walk
        over the record. Without a filter records without instances have rows too."""
        return self._scan(_RECORD_ROWS, columns, where, self._most_records)

    def instances(
        self, columns: Optional[Iterable[str]] = None, where: Optional[Filter] = None
    ) -> Columns:
        """A row for each instance of the records that match, of INSTANCE_COLUMNS or some of them."""
        return self._scan(_INSTANCE_ROWS, columns, where, lambda size: size // _LEAST_INSTANCE)

    def colors(
        self, columns: Optional[Iterable[str]] = None, where: Optional[Filter] = None
    ) -> Columns:
        """A row for each colour of each instance, of COLOR_COLUMNS or some of them. The bytes are walked
        over twice, since colours are too small to guess their number."""
        return self._scan(_COLOR_ROWS, columns, where, None)

    def __iter__(self) -> Iterator[memoryview]:
        """The bytes of each record, where they lie."""
        table = self.records(["position", "length"])
        data = memoryview(self._data).cast("B")
        for position, length in zip(table["position"].tolist(), table["length"].tolist()):
            yield data[position : position + length]

    def _most_records(self, size: int) -> int:
        return size // _LEAST_RECORD if self._ends is None else len(self._ends)

    def _scan(
        self,
        rows: _Rows,
        names: Optional[Iterable[str]],
        where: Optional[Filter],
        most: Optional[Callable[[int], int]],
    ) -> Columns:
        codes = _wanted(rows.codes, names)
        wanted = native_filter(where)
        with bytes_at(self._data) as (address, size):
            records = self._native(address, size)
            if most is None:
                room, _ = _run(rows, records, wanted, {}, _ALL_ROWS)
            else:
                room = most(size)
            # One row more than there can be: so one call goes to the end.
            columns = {n: _make_column(n, code, room + 1) for n, code in codes.items()}
            count, end = _run(rows, records, wanted, columns, room + 1)
        for name, column in columns.items():
            _trim_column(name, column, count)
        return Columns(columns, count, end)

    def _native(self, address: Optional[int], size: int) -> Any:
        records = sized(c.kr_c_records)
        setattr(records, "bytes", address if size > 0 else None)
        setattr(records, "bytes_size", size)
        if self._ends is not None:
            # An empty array has no address; a null one would mean that there are no ends.
            keep = self._ends if len(self._ends) > 0 else _NO_ENDS
            setattr(records, "ends", _address(keep))
            setattr(records, "count", len(self._ends))
        return records


_ALL_ROWS = 2 ** (8 * ctypes.sizeof(ctypes.c_void_p) - 1) - 1
_NO_ENDS = array.array("Q", [0])


def _ends_array(ends: Any) -> Column:
    if isinstance(ends, array.array) and ends.typecode == "Q":
        return ends
    if numpy is not None and isinstance(ends, numpy.ndarray):
        return numpy.ascontiguousarray(ends, dtype=numpy.uint64)
    return array.array("Q", ends)


def _wanted(codes: Mapping[str, str], names: Optional[Iterable[str]]) -> Dict[str, str]:
    if names is None:
        return dict(codes)
    if isinstance(names, str):
        raise TypeError("columns are a list of names")
    wanted = list(names)
    unknown = [name for name in wanted if name not in codes]
    if unknown:
        raise ValueError(f"no column {unknown[0]!r}; there are {', '.join(codes)}")
    return {name: codes[name] for name in wanted}


def _run(
    rows: _Rows, records: Any, wanted: Any, columns: Mapping[str, Column], room: int
) -> Tuple[int, End]:
    cursor = sized(c.kr_c_cursor)
    place = ctypes.byref(cursor)

    def scan(target: Any, capacity: int) -> int:
        count = ctypes.c_size_t()
        given = ctypes.byref(records), wanted, place, ctypes.byref(target), capacity
        check(rows.scan(*given, ctypes.byref(count)))
        return count.value

    count = scan(point_to(rows.struct, columns), room)
    # The rows before a wrong end are given first; the next call tells of it.
    if scan(point_to(rows.struct, {}), 1) > 0:
        raise InternalError("more rows than the bytes have room for")
    return count, End(State(cursor.state), cursor.position, cursor.record, cursor.damage)
