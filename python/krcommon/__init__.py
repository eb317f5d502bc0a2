"""KRCommon for Python, through its C interface.

    import krcommon
    from krcommon import colors, log

    log.open("logs", "host")
    log.info("hello")
    record = krcommon.Record.decode(data)
    table = krcommon.Records(data).records(["object_id", "first_seen_time"])

Modules: records (objects), columns (many records as arrays), store, colors, configuration, log, times, guids,
base64, sha1, encryption, errors, library. Importing loads the library, or raises ImportError with the
reason: KRCOMMON_LIBRARY in the environment, then what lies beside the package, then the system's loader.

Times are microseconds since 1970-01-01 00:00:00 UTC, durations of the log and records are seconds where said.
Functions may be called from any thread; what is for one thread at a time says so and is refused, not
damaged, when it is used by two (InUseError).
"""

from . import (
    base64,
    colors,
    columns,
    configuration,
    encryption,
    errors,
    guids,
    library,
    log,
    records,
    sha1,
    store,
    times,
)
from .columns import Columns, Filter, Records
from .enums import NO_END, Preset, State
from .errors import KRCommonError
from .records import Color, Instance, Record
from .store import Store

__all__ = [
    "NO_END",
    "Color",
    "Columns",
    "Filter",
    "Instance",
    "KRCommonError",
    "Preset",
    "Record",
    "Records",
    "State",
    "Store",
    "base64",
    "colors",
    "columns",
    "configuration",
    "encryption",
    "errors",
    "guids",
    "library",
    "log",
    "records",
    "sha1",
    "store",
    "times",
]

__version__ = library.version()
