"""The process's log files.

    with log.open("logs", "host"):
        log.info("25 €")
        logging.getLogger().addHandler(log.Handler())    # what Python logs goes into it as well

A line is written from any thread, before and after as well: without an open log it goes to stderr.
"""

from __future__ import annotations

import atexit
import contextlib
import ctypes
import enum
import logging
import os
import threading
from typing import NamedTuple, Optional, Tuple

from . import _declarations as c
from ._native import Handle, Text, check, fill, get_number, get_text, library, sized, utf8
from .errors import ArgumentError, InUseError

__all__ = [
    "Flag",
    "Handler",
    "Log",
    "Options",
    "Priority",
    "Status",
    "debug",
    "emergency",
    "error",
    "file",
    "info",
    "last_error",
    "line",
    "open",
    "options",
    "reopen",
    "set_level",
    "set_options",
    "set_sizes",
    "sizes",
    "status",
]


class Priority(enum.IntEnum):
    """Of a line."""

    DEBUG = c.KR_C_LOG_DEBUG
    INFO = c.KR_C_LOG_INFO
    ERROR = c.KR_C_LOG_ERROR
    EMERGENCY = c.KR_C_LOG_EMERGENCY


class Flag(enum.IntFlag):
    """What the log does when it is asked to. All are off at first."""

    RETRIES = c.KR_C_LOG_RETRIES
    REPORTS_FAILURES = c.KR_C_LOG_REPORTS_FAILURES
    FINDS_LOST_FILE = c.KR_C_LOG_FINDS_LOST_FILE
    KEEPS_FILE_IN_USE = c.KR_C_LOG_KEEPS_FILE_IN_USE
    WRITES_HEADER = c.KR_C_LOG_WRITES_HEADER
    SILENCES_STDERR = c.KR_C_LOG_SILENCES_STDERR
    FAST_LINES = c.KR_C_LOG_FAST_LINES
    ONLY_MANAGER_SETS_LEVEL = c.KR_C_LOG_ONLY_MANAGER_SETS_LEVEL


# ---- The files ----


class Log(Handle):
    """The log while it is looked after: files are rotated and the oldest deleted by run(), which a thread
    of this object's is in unless the host has one of its own."""

    _destroy = library.kr_c_log_close

    def __init__(
        self, directory: "os.PathLike[str] | str", prefix: str, has_thread: bool = True
    ) -> None:
        folder, name = utf8(os.fspath(directory)), utf8(prefix)
        super().__init__(library.kr_c_log_open, folder, len(folder), name, len(name))
        self._thread: Optional[threading.Thread] = None
        if has_thread:
            # It ends with the log; at the end of the process it is not waited for before that.
            self._thread = threading.Thread(target=self._look_after, name="log", daemon=True)
            self._thread.start()
            atexit.register(self.close)

    def _look_after(self) -> None:
        # The log may be closed before this is there, or the host may be.
        with contextlib.suppress(ArgumentError, InUseError):
            self.run()

    def run(self, seconds: Optional[float] = None) -> None:
        """Looks after the files on this thread, until the time is over (None: no end), stop() or close().
        InUseError where another thread does so."""
        microseconds = -1 if seconds is None else max(0, int(seconds * 1_000_000))
        check(library.kr_c_log_run(self._handle, microseconds))

    def stop(self) -> None:
        """Ends the run() that is under way, or else the next one at once."""
        check(library.kr_c_log_stop(self._handle))

    def close(self) -> None:
        """Ends run() and waits for it. The file stays open: lines still go into it."""
        super().close()
        thread = getattr(self, "_thread", None)
        if thread is not None:
            self._thread = None
            atexit.unregister(self.close)
            if thread is not threading.current_thread():
                thread.join()


def open(directory: "os.PathLike[str] | str", prefix: str, has_thread: bool = True) -> Log:
    """Begins to log into <directory>/<prefix>_<year>_<month>_<day>_part_<number>.log. The last level of
    the directory is made. InUseError while another log is open.

    has_thread  a thread looks after the files; without it a thread of the host's has to be in run()
    """
    return Log(directory, prefix, has_thread)


# ---- Lines ----


def line(priority: Priority, text: Text) -> None:
    """Logs a line. Control characters become visible escapes; what is too long, some 3,500 bytes, is cut. Of
    a str what is no character is escaped: a line is never refused."""
    given = text.encode("utf-8", "backslashreplace") if isinstance(text, str) else text
    check(library.kr_c_log_line(priority, given, len(given)))


def debug(text: Text) -> None:
    """A line of that priority, as the others."""
    line(Priority.DEBUG, text)


def info(text: Text) -> None:
    """A line of that priority."""
    line(Priority.INFO, text)


def error(text: Text) -> None:
    """A line of that priority."""
    line(Priority.ERROR, text)


def emergency(text: Text) -> None:
    """A line of that priority."""
    line(Priority.EMERGENCY, text)


class Handler(logging.Handler):
    """For Python's logging: CRITICAL is EMERGENCY, ERROR and WARNING are ERROR, INFO is INFO, all else
    DEBUG."""

    def emit(self, record: logging.LogRecord) -> None:
        """Writes the record as a line; one with a traceback has its line ends escaped."""
        try:
            line(self._priority(record.levelno), self.format(record))
        except Exception:
            self.handleError(record)

    @staticmethod
    def _priority(level: int) -> Priority:
        if level >= logging.CRITICAL:
            return Priority.EMERGENCY
        if level >= logging.WARNING:
            return Priority.ERROR
        return Priority.INFO if level >= logging.INFO else Priority.DEBUG


# ---- Settings ----


def set_level(level: int) -> None:
    """How many lines are wanted: 0 emergencies, 1 errors as well, 2 debug lines as well, 3 informational
    ones as well, 4 notices as well."""
    check(library.kr_c_log_set_level(level))


def set_sizes(file_size: int, total_size: int) -> None:
    """Bytes: of a file before the next one is begun, and of all files of the prefix together."""
    check(library.kr_c_log_set_sizes(file_size, total_size))


def sizes() -> Tuple[int, int]:
    """The same two."""
    file_size, total_size = ctypes.c_uint32(), ctypes.c_uint32()
    check(library.kr_c_log_get_sizes(ctypes.byref(file_size), ctypes.byref(total_size)))
    return file_size.value, total_size.value


class Options(NamedTuple):
    """What the log does when it is asked to, see docs/log_format.md."""

    flags: Flag = Flag(0)
    early_bytes: int = 0
    ring_lines: int = 0


def set_options(value: Options) -> None:
    """Flags that the library does not know are refused."""
    native = fill(sized(c.kr_c_log_options), **value._asdict())
    check(library.kr_c_log_set_options(ctypes.byref(native)))


def options() -> Options:
    """Those in use."""
    native = sized(c.kr_c_log_options)
    check(library.kr_c_log_get_options(ctypes.byref(native)))
    return Options(Flag(native.flags), native.early_bytes, native.ring_lines)


# ---- Status ----


def reopen() -> bool:
    """Closes the file and opens it anew by its name; tells whether lines go into a file."""
    return bool(get_number(ctypes.c_int32, library.kr_c_log_reopen))


class Status(NamedTuple):
    """Of the log."""

    part: int
    is_good: bool  # lines go into the file
    level: int  # -1: never set
    last_error: int  # the system's number; 0: there was none
    last_error_time: int  # microseconds
    file_bytes: int
    total_bytes: int
    lines: int
    lines_lost: int


def status() -> Status:
    """How the log is."""
    native = sized(c.kr_c_log_status)
    check(library.kr_c_log_get_status(ctypes.byref(native)))
    values = {name: getattr(native, name) for name in Status._fields}
    values["is_good"] = bool(values["is_good"])
    return Status(**values)


def file() -> str:
    """The path of the file in use; empty before the first open()."""
    return get_text(library.kr_c_log_file, errors="replace")


def last_error() -> str:
    """The text of the last error."""
    return get_text(library.kr_c_log_last_error, errors="replace")
