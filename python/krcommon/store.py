"""Reads the store of the video search: a SQLite file of recordings and of the objects found in them.

    with Store("recording.store") as store:
        table = store.records().records(["object_id", "first_seen_time"])

Versions 1 and 2 are read. What version 2 has beside the records, for searches, is not needed here. A store is
for the thread that has opened it. Other processes may read and write meanwhile.
"""

from __future__ import annotations

import array
import contextlib
import os
import pathlib
import sqlite3
from typing import Any, Iterator, List, NamedTuple, Tuple

from .columns import Records
from .enums import NO_END
from .errors import KRCommonError

__all__ = ["Picture", "Recording", "Store", "StoreError", "StoredRecord"]

_APPLICATION = 0x4B525653  # "KRVS"
_LAST_VERSION = 2
_BUSY_SECONDS = 5.0
_LEAST_TIME = -(2**63)


class StoreError(KRCommonError, OSError):
    """The file is no store that can be read; the text says why."""


class Recording(NamedTuple):
    """One analysis of one recording."""

    run: str  # GUID of the run that analysed it
    video: str  # the file as it was given
    sensor: Tuple[int, int]
    start: int  # time of the first frame, microseconds
    end: int  # after the last frame that was analysed
    width: int  # pixels; boxes of objects are in pixels too
    height: int
    frames: int
    state: str  # "running", "complete", "stopped", "truncated", "failed"
    background: bytes  # JPEG of the scene without moving objects; may be empty


class Picture(NamedTuple):
    """The whole scene at a time."""

    time: int
    jpeg: bytes


class StoredRecord(NamedTuple):
    """A record and what stands beside it."""

    run: str
    sensor: Tuple[int, int]
    object_id: int
    first_seen_time: int
    record: bytes


class Store:
    """A store that is open for reading."""

    def __init__(self, path: "os.PathLike[str] | str") -> None:
        """StoreError for a file that is none, is of a later version, damaged, or cannot be opened."""
        self._path = pathlib.Path(path)
        if not self._path.is_file():
            raise StoreError(f"{path}: no such file")
        with self._errors():
            self._database = self._open()
            try:
                self._check()
            except BaseException:
                self._database.close()
                raise

    def _open(self) -> sqlite3.Connection:
        # Opened for writing where the system allows: after a crash of the writer the next one to open
        # the file, whoever it is, has to take the unfinished transaction back.
        uri = self._path.absolute().as_uri() + "?mode=rw"
        database = sqlite3.connect(uri, uri=True, timeout=_BUSY_SECONDS, isolation_level=None)
        database.execute("PRAGMA query_only = 1")
        return database

    @contextlib.contextmanager
    def _errors(self) -> Iterator[None]:
        try:
            yield
        except sqlite3.Error as error:
            raise StoreError(f"{self._path}: {error}") from error

    def _pragma(self, name: str) -> int:
        return int(self._database.execute(f"PRAGMA {name}").fetchone()[0])

    def _check(self) -> None:
        if self._path.stat().st_size == 0:
            raise StoreError(f"{self._path} is no video search store but an empty file")
        if self._pragma("application_id") != _APPLICATION:
            raise StoreError(f"{self._path} is no video search store but another SQLite database")
        self.version = self._pragma("user_version")
        if self.version > _LAST_VERSION:
            raise StoreError(
                f"{self._path} was written by a later version (store version {self.version})"
            )
        if self.version < 1:
            raise StoreError(f"{self._path} is damaged: store version {self.version}")
        self._check_size()

    def _check_size(self) -> None:
        # SQLite itself does not notice when a part of the last page is missing.
        with self._reading():
            size = self._pragma("page_count") * self._pragma("page_size")
            if self._path.stat().st_size < size:
                raise StoreError(f"{self._path} is damaged: the file is cut short")

    @contextlib.contextmanager
    def _reading(self) -> Iterator[None]:
        """Nobody writes meanwhile."""
        self._database.execute("BEGIN")
        try:
            self._database.execute("SELECT count(*) FROM sqlite_master").fetchone()
            yield
        finally:
            self._database.execute("COMMIT")

    def _rows(self, query: str, *values: Any) -> Iterator[Any]:
        with self._errors():
            yield from self._database.execute(query, values)

    def recordings(self) -> List[Recording]:
        """In the order of their start, then of their run."""
        rows = self._rows(
            "SELECT run, video, sensor1, sensor2, start_us, end_us, width, height, frames, state, "
            "background FROM recording ORDER BY start_us, run"
        )
        return [Recording._make((r[0], r[1], (r[2], r[3]), *r[4:10], r[10] or b"")) for r in rows]

    def pictures(self, run: str) -> List[Picture]:
        """Of a recording, in time order."""
        query = "SELECT time_us, jpeg FROM picture WHERE run = ? ORDER BY time_us"
        return [Picture(time, jpeg or b"") for time, jpeg in self._rows(query, run)]

    def count(self, from_time: int = _LEAST_TIME, to_time: int = NO_END) -> int:
        """How many objects are first seen between these times, both included."""
        query = "SELECT count(*) FROM object WHERE first_seen_us BETWEEN ? AND ?"
        return int(next(self._rows(query, from_time, to_time))[0])

    def objects(
        self, from_time: int = _LEAST_TIME, to_time: int = NO_END
    ) -> Iterator[StoredRecord]:
        """Those first seen between these times, in time order."""
        rows = self._rows(
            "SELECT run, sensor1, sensor2, object_id, first_seen_us, record FROM object "
            "WHERE first_seen_us BETWEEN ? AND ? "
            "ORDER BY first_seen_us, sensor1, sensor2, object_id",
            from_time,
            to_time,
        )
        for run, sensor1, sensor2, object_id, time, record in rows:
            yield StoredRecord(run, (sensor1, sensor2), object_id, time, record or b"")

    def records(self, from_time: int = _LEAST_TIME, to_time: int = NO_END) -> Records:
        """The records of the same, one behind the other, for scans into columns. One that is damaged
        does not matter to the others."""
        pieces: List[bytes] = []
        ends = array.array("Q")
        end = 0
        for stored in self.objects(from_time, to_time):
            pieces.append(stored.record)
            end += len(stored.record)
            ends.append(end)
        return Records(b"".join(pieces), ends)

    def close(self) -> None:
        """May be called again."""
        self._database.close()

    def __enter__(self) -> "Store":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()
