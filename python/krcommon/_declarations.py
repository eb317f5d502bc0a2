"""The C interface as ctypes has it. Made by tools/declarations.py of krcommon_c.h: do not edit.

Pointers to numbers and handles are c_void_p, which takes addresses, arrays and bytes.
"""

from ctypes import (
    CDLL,
    POINTER,
    Structure,
    c_char_p,
    c_float,
    c_int32,
    c_int64,
    c_size_t,
    c_ssize_t,
    c_uint8,
    c_uint16,
    c_uint32,
    c_uint64,
    c_void_p,
)
from typing import Any, Dict, List, Tuple

KR_C_OK = 0
KR_C_NULL_ARGUMENT = 1
KR_C_OUT_OF_RANGE = 2
KR_C_BAD_HANDLE = 3
KR_C_BAD_STRUCT_SIZE = 4
KR_C_BUFFER_TOO_SMALL = 5
KR_C_NO_MEMORY = 6
KR_C_BAD_UTF8 = 7
KR_C_NOT_CONVERTIBLE = 8
KR_C_NOT_FOUND = 9
KR_C_IN_USE = 10
KR_C_WRONG_STATE = 11
KR_C_SYSTEM = 12
KR_C_INTERNAL = 13
KR_C_TEXT_CUT = 101
KR_C_TEXT_CHARACTER = 102
KR_C_TEXT_RANGE = 103
KR_C_TEXT_SURPLUS = 104
KR_C_TEXT_SCHEME = 105
KR_C_TEXT_HOST = 106
KR_C_TEXT_PORT = 107
KR_C_HAS_CONFIGURATION = 1
KR_C_HAS_LOG = 2
KR_C_HAS_COLORS = 4
KR_C_HAS_RECORDS = 8
KR_C_HAS_TIME = 16
KR_C_HAS_GUID = 32
KR_C_HAS_TEXTS = 64
KR_C_HAS_FILE_VERSIONS = 128
KR_C_HAS_EVENT_LOG = 256
KR_C_WHITE = 1
KR_C_BLACK = 2
KR_C_GRAY = 3
KR_C_LIGHT_BLUE = 4
KR_C_DARK_BLUE = 5
KR_C_BROWN = 6
KR_C_LIGHT_GREEN = 7
KR_C_DARK_GREEN = 8
KR_C_YELLOW = 9
KR_C_ORANGE = 10
KR_C_RED = 11
KR_C_PINK = 12
KR_C_PURPLE = 13
KR_C_PRESETS = 14
KR_C_RGB24 = 0
KR_C_BGR24 = 1
KR_C_RGBX32 = 2
KR_C_BGRX32 = 3
KR_C_LOG_RETRIES = 1
KR_C_LOG_REPORTS_FAILURES = 2
KR_C_LOG_FINDS_LOST_FILE = 4
KR_C_LOG_KEEPS_FILE_IN_USE = 8
KR_C_LOG_WRITES_HEADER = 16
KR_C_LOG_SILENCES_STDERR = 32
KR_C_LOG_FAST_LINES = 64
KR_C_LOG_ONLY_MANAGER_SETS_LEVEL = 128
KR_C_LOG_DEBUG = 0
KR_C_LOG_INFO = 1
KR_C_LOG_ERROR = 2
KR_C_LOG_EMERGENCY = 3
KR_C_RECORD_WHOLE = 0
KR_C_RECORD_CUT_IN_FIXED_BLOCK = 1
KR_C_RECORD_BAD_COLOR_COUNT = 2
KR_C_RECORD_CUT_IN_INSTANCES = 3
KR_C_RECORD_CUT_IN_AUXILIARY_DATA = 4
KR_C_RECORD_NO_INSTANCES = 5
KR_C_RECORD_TRAILING_BYTES = 6
KR_C_FRACTION_ANY = -1
KR_C_FRACTION_NONE = 0
KR_C_FRACTION_MILLISECONDS = 3
KR_C_FRACTION_MICROSECONDS = 6
KR_C_URL_TEXT = 0
KR_C_URL_SCHEME = 1
KR_C_URL_USER = 2
KR_C_URL_PASSWORD = 3
KR_C_URL_HOST = 4
KR_C_URL_ZONE = 5
KR_C_URL_PATH = 6
KR_C_URL_QUERY = 7
KR_C_URL_FRAGMENT = 8
KR_C_URL_LOG_TEXT = 9
KR_C_HOST_NAME = 0
KR_C_HOST_IPV4 = 1
KR_C_HOST_IPV6 = 2
KR_C_FILE_VERSION = 0
KR_C_FILE_SONAME = 1
KR_C_FILE_BUILD_ID = 2
KR_C_FILE_SUMMARY = 3
KR_C_EVENT_SUCCESS = 0
KR_C_EVENT_ERROR = 1
KR_C_EVENT_WARNING = 2
KR_C_EVENT_INFORMATION = 4
KR_C_EVENT_AUDIT_SUCCESS = 8
KR_C_EVENT_AUDIT_FAILURE = 16
KR_C_ABI = 1
KR_C_SHA1_SIZE = 20


class kr_c_rgb(Structure):
    _fields_ = [
        ("red", c_uint8),
        ("green", c_uint8),
        ("blue", c_uint8),
    ]


class kr_c_hsv(Structure):
    _fields_ = [
        ("hue", c_int32),
        ("saturation", c_float),
        ("value", c_float),
    ]


class kr_c_color_region(Structure):
    _fields_ = [
        ("size", c_uint32),
        ("format", c_int32),
        ("width", c_int32),
        ("height", c_int32),
        ("pixels", c_void_p),
        ("stride", c_ssize_t),
        ("mask", c_void_p),
        ("mask_stride", c_ssize_t),
    ]


class kr_c_preset_histogram(Structure):
    _fields_ = [
        ("size", c_uint32),
        ("reserved", c_uint32),
        ("pixels", c_uint64),
        ("presets", c_uint64 * 14),
    ]


class kr_c_configuration_summary(Structure):
    _fields_ = [
        ("size", c_uint32),
        ("is_complete", c_int32),
        ("errors", c_uint32),
        ("ranges", c_uint32),
    ]


class kr_c_configuration_error(Structure):
    _fields_ = [
        ("size", c_uint32),
        ("code", c_int32),
        ("line", c_uint64),
        ("begin", c_uint64),
        ("end", c_uint64),
    ]


class kr_c_configured_range(Structure):
    _fields_ = [
        ("size", c_uint32),
        ("preset", c_int32),
        ("hue_from", c_int32),
        ("hue_to", c_int32),
        ("saturation_from", c_float),
        ("saturation_to", c_float),
        ("value_from", c_float),
        ("value_to", c_float),
        ("begin", c_uint64),
        ("end", c_uint64),
        ("rgb", kr_c_rgb),
        ("reserved", c_uint8 * 5),
    ]


class kr_c_log_options(Structure):
    _fields_ = [
        ("size", c_uint32),
        ("flags", c_uint32),
        ("early_bytes", c_uint32),
        ("ring_lines", c_uint32),
    ]


class kr_c_log_status(Structure):
    _fields_ = [
        ("size", c_uint32),
        ("part", c_uint32),
        ("is_good", c_int32),
        ("level", c_int32),
        ("last_error", c_int32),
        ("reserved", c_uint32),
        ("last_error_time", c_int64),
        ("file_bytes", c_uint64),
        ("total_bytes", c_uint64),
        ("lines", c_uint64),
        ("lines_lost", c_uint64),
    ]


class kr_c_record_status(Structure):
    _fields_ = [
        ("size", c_uint32),
        ("state", c_int32),
        ("position", c_uint64),
        ("consumed", c_uint64),
        ("instances", c_uint32),
        ("reserved", c_uint32),
    ]


class kr_c_record_fields(Structure):
    _fields_ = [
        ("size", c_uint32),
        ("detector_type", c_int32),
        ("object_id", c_uint64),
        ("first_seen_time", c_int64),
        ("second_time", c_int64),
        ("sensor_word1", c_int32),
        ("sensor_word2", c_int32),
        ("word1", c_int32),
        ("word2", c_int32),
        ("statistics_word1", c_int32),
        ("statistics_word2", c_int32),
        ("duration", c_uint32),
        ("class_scores", c_float * 3),
        ("statistics_word7", c_int32),
        ("statistics_word8", c_int32),
    ]


class kr_c_instance_columns(Structure):
    _fields_ = [
        ("size", c_uint32),
        ("reserved", c_uint32),
        ("record_position", c_void_p),
        ("instance", c_void_p),
        ("time", c_void_p),
        ("person_value", c_void_p),
        ("vehicle_value", c_void_p),
        ("object_value", c_void_p),
        ("unknown_value", c_void_p),
        ("min_x", c_void_p),
        ("min_y", c_void_p),
        ("max_x", c_void_p),
        ("max_y", c_void_p),
        ("float1", c_void_p),
        ("float2", c_void_p),
        ("group", c_void_p),
        ("point_x", c_void_p),
        ("point_y", c_void_p),
        ("number", c_void_p),
        ("flag", c_void_p),
        ("color_count", c_void_p),
    ]


class kr_c_color_columns(Structure):
    _fields_ = [
        ("size", c_uint32),
        ("reserved", c_uint32),
        ("record_position", c_void_p),
        ("instance", c_void_p),
        ("red", c_void_p),
        ("green", c_void_p),
        ("blue", c_void_p),
        ("area", c_void_p),
        ("code", c_void_p),
    ]


class kr_c_filter(Structure):
    _fields_ = [
        ("size", c_uint32),
        ("detector_type", c_int32),
        ("from", c_int64),
        ("to", c_int64),
        ("object_class", c_int32),
        ("min_score", c_float),
        ("min_duration", c_float),
        ("preset", c_int32),
        ("min_percent", c_float),
        ("reserved", c_uint32),
        ("colors", c_void_p),
    ]


class kr_c_records(Structure):
    _fields_ = [
        ("size", c_uint32),
        ("reserved", c_uint32),
        ("bytes", c_void_p),
        ("bytes_size", c_uint64),
        ("ends", c_void_p),
        ("count", c_uint64),
    ]


class kr_c_cursor(Structure):
    _fields_ = [
        ("size", c_uint32),
        ("state", c_int32),
        ("position", c_uint64),
        ("record", c_uint64),
        ("damage", c_uint64),
        ("row", c_uint64),
    ]


class kr_c_record_columns(Structure):
    _fields_ = [
        ("size", c_uint32),
        ("reserved", c_uint32),
        ("position", c_void_p),
        ("length", c_void_p),
        ("state", c_void_p),
        ("instances", c_void_p),
        ("object_id", c_void_p),
        ("detector_type", c_void_p),
        ("first_seen_time", c_void_p),
        ("second_time", c_void_p),
        ("sensor_word1", c_void_p),
        ("sensor_word2", c_void_p),
        ("word1", c_void_p),
        ("word2", c_void_p),
        ("statistics_word1", c_void_p),
        ("statistics_word2", c_void_p),
        ("duration", c_void_p),
        ("class_scores", c_void_p),
        ("statistics_word7", c_void_p),
        ("statistics_word8", c_void_p),
    ]


class kr_c_date(Structure):
    _fields_ = [
        ("year", c_int32),
        ("month", c_int32),
        ("day", c_int32),
        ("hour", c_int32),
        ("minute", c_int32),
        ("second", c_int32),
        ("microsecond", c_int32),
        ("weekday", c_int32),
    ]


class kr_c_guid(Structure):
    _fields_ = [
        ("data1", c_uint32),
        ("data2", c_uint16),
        ("data3", c_uint16),
        ("data4", c_uint8 * 8),
    ]


class kr_c_parameter(Structure):
    _fields_ = [
        ("name", c_char_p),
        ("name_length", c_size_t),
        ("value", c_char_p),
        ("value_length", c_size_t),
    ]


# Arrays that structs point to: type codes of array.array.
ARRAYS: Dict[str, Dict[str, str]] = {
    "kr_c_instance_columns": {
        "record_position": "Q",
        "instance": "I",
        "time": "q",
        "person_value": "f",
        "vehicle_value": "f",
        "object_value": "f",
        "unknown_value": "f",
        "min_x": "f",
        "min_y": "f",
        "max_x": "f",
        "max_y": "f",
        "float1": "f",
        "float2": "f",
        "group": "f",
        "point_x": "f",
        "point_y": "f",
        "number": "i",
        "flag": "B",
        "color_count": "I",
    },
    "kr_c_color_columns": {
        "record_position": "Q",
        "instance": "I",
        "red": "B",
        "green": "B",
        "blue": "B",
        "area": "f",
        "code": "i",
    },
    "kr_c_record_columns": {
        "position": "Q",
        "length": "Q",
        "state": "i",
        "instances": "I",
        "object_id": "Q",
        "detector_type": "i",
        "first_seen_time": "q",
        "second_time": "q",
        "sensor_word1": "i",
        "sensor_word2": "i",
        "word1": "i",
        "word2": "i",
        "statistics_word1": "i",
        "statistics_word2": "i",
        "duration": "I",
        "class_scores": "f",
        "statistics_word7": "i",
        "statistics_word8": "i",
    },
}

FUNCTIONS: List[Tuple[str, Any, List[Any]]] = [
    ("kr_c_error_text", c_char_p, [c_int32]),
    ("kr_c_abi", c_uint32, []),
    ("kr_c_version", c_uint32, []),
    ("kr_c_version_text", c_char_p, []),
    ("kr_c_capabilities", c_uint32, []),
    ("kr_c_instructions", c_char_p, []),
    ("kr_c_colors_destroy", c_int32, [POINTER(c_void_p)]),
    ("kr_c_preset_name", c_char_p, [c_int32]),
    ("kr_c_preset_number", c_int32, [c_char_p, c_size_t, c_void_p]),
    ("kr_c_rgb_to_hsv", c_int32, [POINTER(kr_c_rgb), POINTER(kr_c_hsv)]),
    ("kr_c_hsv_to_rgb", c_int32, [POINTER(kr_c_hsv), POINTER(kr_c_rgb)]),
    ("kr_c_angle_distance", c_float, [c_float, c_float]),
    ("kr_c_is_color_similar", c_int32, [POINTER(kr_c_hsv), POINTER(kr_c_hsv), c_int32, POINTER(kr_c_hsv), c_void_p]),
    ("kr_c_color_presets", c_int32, [c_void_p, POINTER(kr_c_hsv), c_void_p]),
    ("kr_c_color_palette", c_int32, [c_void_p, POINTER(kr_c_rgb), c_size_t, POINTER(c_size_t)]),
    ("kr_c_rgb_to_hsv_batch", c_int32, [c_void_p, c_void_p, c_void_p, c_ssize_t, c_size_t, c_void_p, c_void_p, c_void_p, c_ssize_t]),
    ("kr_c_hsv_to_rgb_batch", c_int32, [c_void_p, c_void_p, c_void_p, c_ssize_t, c_size_t, c_void_p, c_void_p, c_void_p, c_ssize_t]),
    ("kr_c_color_presets_batch", c_int32, [c_void_p, c_void_p, c_void_p, c_void_p, c_ssize_t, c_size_t, c_void_p]),
    ("kr_c_count_color_presets", c_int32, [c_void_p, POINTER(kr_c_color_region), POINTER(kr_c_preset_histogram)]),
    ("kr_c_configuration_is_read", c_int32, [c_void_p]),
    ("kr_c_configuration_path", c_int32, [c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_configuration_problem", c_int32, [c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_configuration_check", c_int32, [c_void_p, c_size_t, POINTER(c_void_p)]),
    ("kr_c_configuration_destroy", c_int32, [POINTER(c_void_p)]),
    ("kr_c_configuration_get_summary", c_int32, [c_void_p, POINTER(kr_c_configuration_summary)]),
    ("kr_c_configuration_get_error", c_int32, [c_void_p, c_size_t, POINTER(kr_c_configuration_error)]),
    ("kr_c_configuration_error_text", c_int32, [c_void_p, c_size_t, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_configuration_get_range", c_int32, [c_void_p, c_size_t, POINTER(kr_c_configured_range)]),
    ("kr_c_configuration_text", c_int32, [c_void_p, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_configuration_colors", c_int32, [c_void_p, POINTER(c_void_p)]),
    ("kr_c_log_open", c_int32, [c_char_p, c_size_t, c_char_p, c_size_t, POINTER(c_void_p)]),
    ("kr_c_log_run", c_int32, [c_void_p, c_int64]),
    ("kr_c_log_stop", c_int32, [c_void_p]),
    ("kr_c_log_close", c_int32, [POINTER(c_void_p)]),
    ("kr_c_log_set_level", c_int32, [c_uint32]),
    ("kr_c_log_set_sizes", c_int32, [c_uint32, c_uint32]),
    ("kr_c_log_get_sizes", c_int32, [c_void_p, c_void_p]),
    ("kr_c_log_set_options", c_int32, [POINTER(kr_c_log_options)]),
    ("kr_c_log_get_options", c_int32, [POINTER(kr_c_log_options)]),
    ("kr_c_log_line", c_int32, [c_int32, c_char_p, c_size_t]),
    ("kr_c_log_reopen", c_int32, [c_void_p]),
    ("kr_c_log_get_status", c_int32, [POINTER(kr_c_log_status)]),
    ("kr_c_log_file", c_int32, [c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_log_last_error", c_int32, [c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_view_check", c_int32, [c_void_p, c_size_t, POINTER(kr_c_record_status)]),
    ("kr_c_view_fields", c_int32, [c_void_p, c_size_t, POINTER(kr_c_record_fields)]),
    ("kr_c_view_instances", c_int32, [c_void_p, c_size_t, c_size_t, POINTER(kr_c_instance_columns), c_size_t, POINTER(c_size_t)]),
    ("kr_c_view_colors", c_int32, [c_void_p, c_size_t, c_size_t, POINTER(kr_c_color_columns), c_size_t, POINTER(c_size_t)]),
    ("kr_c_view_auxiliary", c_int32, [c_void_p, c_size_t, POINTER(c_void_p), POINTER(c_size_t)]),
    ("kr_c_view_color_shares", c_int32, [c_void_p, c_size_t, c_void_p, c_void_p]),
    ("kr_c_filter_init", c_int32, [POINTER(kr_c_filter)]),
    ("kr_c_view_matches", c_int32, [c_void_p, c_size_t, POINTER(kr_c_filter), c_void_p]),
    ("kr_c_scan_records", c_int32, [POINTER(kr_c_records), POINTER(kr_c_filter), POINTER(kr_c_cursor), POINTER(kr_c_record_columns), c_size_t, POINTER(c_size_t)]),
    ("kr_c_scan_instances", c_int32, [POINTER(kr_c_records), POINTER(kr_c_filter), POINTER(kr_c_cursor), POINTER(kr_c_instance_columns), c_size_t, POINTER(c_size_t)]),
    ("kr_c_scan_colors", c_int32, [POINTER(kr_c_records), POINTER(kr_c_filter), POINTER(kr_c_cursor), POINTER(kr_c_color_columns), c_size_t, POINTER(c_size_t)]),
    ("kr_c_record_create", c_int32, [POINTER(c_void_p)]),
    ("kr_c_record_destroy", c_int32, [POINTER(c_void_p)]),
    ("kr_c_record_clear", c_int32, [c_void_p]),
    ("kr_c_record_set_fields", c_int32, [c_void_p, POINTER(kr_c_record_fields)]),
    ("kr_c_record_get_fields", c_int32, [c_void_p, POINTER(kr_c_record_fields)]),
    ("kr_c_record_add_instances", c_int32, [c_void_p, POINTER(kr_c_instance_columns), c_size_t]),
    ("kr_c_record_add_colors", c_int32, [c_void_p, c_size_t, POINTER(kr_c_color_columns), c_size_t]),
    ("kr_c_record_instance_count", c_int32, [c_void_p, POINTER(c_size_t)]),
    ("kr_c_record_set_auxiliary", c_int32, [c_void_p, c_void_p, c_size_t]),
    ("kr_c_record_decode", c_int32, [c_void_p, c_void_p, c_size_t, POINTER(kr_c_record_status)]),
    ("kr_c_record_encode", c_int32, [c_void_p, c_uint32, c_void_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_time_to_date", c_int32, [c_int64, POINTER(kr_c_date)]),
    ("kr_c_time_from_date", c_int32, [POINTER(kr_c_date), c_void_p]),
    ("kr_c_time_to_text", c_int32, [c_int64, c_int32, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_time_from_text", c_int32, [c_char_p, c_size_t, c_int32, c_void_p, POINTER(c_size_t)]),
    ("kr_c_time_to_iso8601", c_int32, [c_int64, c_int32, c_int32, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_time_from_iso8601", c_int32, [c_char_p, c_size_t, c_void_p, c_void_p, POINTER(c_size_t)]),
    ("kr_c_duration_to_text", c_int32, [c_int64, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_duration_from_text", c_int32, [c_char_p, c_size_t, c_void_p, POINTER(c_size_t)]),
    ("kr_c_guid_create", c_int32, [c_int32, POINTER(kr_c_guid), c_size_t]),
    ("kr_c_guid_to_text", c_int32, [POINTER(kr_c_guid), c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_guid_from_text", c_int32, [c_char_p, c_size_t, POINTER(kr_c_guid), POINTER(c_size_t)]),
    ("kr_c_base64_encode", c_int32, [c_void_p, c_size_t, c_int32, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_base64_decode", c_int32, [c_char_p, c_size_t, c_int32, c_void_p, c_size_t, POINTER(c_size_t), POINTER(c_size_t)]),
    ("kr_c_sha1_create", c_int32, [POINTER(c_void_p)]),
    ("kr_c_sha1_destroy", c_int32, [POINTER(c_void_p)]),
    ("kr_c_sha1_reset", c_int32, [c_void_p]),
    ("kr_c_sha1_feed", c_int32, [c_void_p, c_void_p, c_size_t]),
    ("kr_c_sha1_feed_file", c_int32, [c_void_p, c_char_p, c_size_t]),
    ("kr_c_sha1_digest", c_int32, [c_void_p, c_void_p]),
    ("kr_c_sha1_text", c_int32, [c_void_p, c_int32, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_encrypt_string", c_int32, [c_char_p, c_size_t, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_decrypt_string", c_int32, [c_char_p, c_size_t, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_utf8_to_ansi", c_int32, [c_char_p, c_size_t, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_ansi_to_utf8", c_int32, [c_char_p, c_size_t, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_utf8_to_utf16", c_int32, [c_char_p, c_size_t, c_void_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_utf16_to_utf8", c_int32, [c_void_p, c_size_t, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_url_parse", c_int32, [c_char_p, c_size_t, POINTER(c_void_p), POINTER(c_size_t)]),
    ("kr_c_url_destroy", c_int32, [POINTER(c_void_p)]),
    ("kr_c_url_part", c_int32, [c_void_p, c_int32, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_url_port", c_int32, [c_void_p, c_void_p]),
    ("kr_c_url_host_kind", c_int32, [c_void_p, c_void_p]),
    ("kr_c_url_query_value", c_int32, [c_void_p, c_char_p, c_size_t, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_url_with_credentials", c_int32, [c_void_p, c_char_p, c_size_t, c_char_p, c_size_t, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_url_log_text", c_int32, [c_char_p, c_size_t, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_percent_encode", c_int32, [c_char_p, c_size_t, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_percent_decode", c_int32, [c_char_p, c_size_t, c_char_p, c_size_t, POINTER(c_size_t), POINTER(c_size_t)]),
    ("kr_c_file_version", c_int32, [c_char_p, c_size_t, c_int32, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_version_from_text", c_int32, [c_char_p, c_size_t, c_void_p, POINTER(c_size_t)]),
    ("kr_c_event_log_create", c_int32, [c_char_p, c_size_t, c_int32, POINTER(c_void_p)]),
    ("kr_c_event_log_destroy", c_int32, [POINTER(c_void_p)]),
    ("kr_c_event_log_declare", c_int32, [c_void_p]),
    ("kr_c_event_log_register", c_int32, [c_void_p]),
    ("kr_c_event_log_write", c_int32, [c_void_p, c_int32, c_int32, c_char_p, c_size_t]),
    ("kr_c_event_log_text", c_int32, [c_void_p, c_int32, c_char_p, c_size_t, POINTER(kr_c_parameter), c_size_t, POINTER(kr_c_parameter), c_size_t, c_char_p, c_size_t, POINTER(c_size_t)]),
    ("kr_c_event_log_notify", c_int32, [c_void_p, c_int32, c_int32, c_char_p, c_size_t, POINTER(kr_c_parameter), c_size_t, POINTER(kr_c_parameter), c_size_t]),
]


def declare(library: CDLL) -> None:
    """Tells ctypes the types of all functions."""
    for name, result, parameters in FUNCTIONS:
        function = getattr(library, name)
        function.restype = result
        function.argtypes = parameters
