"""Numbers with names that several modules share."""

from __future__ import annotations

import enum

from . import _declarations as c

__all__ = ["NO_END", "Preset", "State"]

# Later than every time.
NO_END = 2**63 - 1


class Preset(enum.IntEnum):
    """The named colours."""

    WHITE = c.KR_C_WHITE
    BLACK = c.KR_C_BLACK
    GRAY = c.KR_C_GRAY
    LIGHT_BLUE = c.KR_C_LIGHT_BLUE
    DARK_BLUE = c.KR_C_DARK_BLUE
    BROWN = c.KR_C_BROWN
    LIGHT_GREEN = c.KR_C_LIGHT_GREEN
    DARK_GREEN = c.KR_C_DARK_GREEN
    YELLOW = c.KR_C_YELLOW
    ORANGE = c.KR_C_ORANGE
    RED = c.KR_C_RED
    PINK = c.KR_C_PINK
    PURPLE = c.KR_C_PURPLE


class State(enum.IntEnum):
    """What the bytes of a record are found to be: the first that holds."""

    WHOLE = c.KR_C_RECORD_WHOLE
    CUT_IN_FIXED_BLOCK = c.KR_C_RECORD_CUT_IN_FIXED_BLOCK
    BAD_COLOR_COUNT = c.KR_C_RECORD_BAD_COLOR_COUNT
    CUT_IN_INSTANCES = c.KR_C_RECORD_CUT_IN_INSTANCES
    CUT_IN_AUXILIARY_DATA = c.KR_C_RECORD_CUT_IN_AUXILIARY_DATA
    NO_INSTANCES = c.KR_C_RECORD_NO_INSTANCES
    TRAILING_BYTES = c.KR_C_RECORD_TRAILING_BYTES
