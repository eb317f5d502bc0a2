#pragma once

#ifndef KRCOMMON_C_H
#define KRCOMMON_C_H

/*
 * KRCommon for every language and compiler that can call C: C89, C++, and whatever loads a library by
 * the names of its functions. This header needs no other. docs/c_interface.md begins with a program.
 *
 * THE RULES, which hold for every function here.
 *
 * Results. A function returns an error code, KR_C_OK (0) when it has done what it is for;
 * kr_c_error_text() has a text for each. The few that cannot fail return their value. Results go
 * through pointers at the end of the parameters. After an error they are as they were, but for what the
 * error itself tells: the length of a text that did not fit, the position in a text that was refused.
 *
 * Nothing is thrown and nothing ends the process. What does so in the C++ interface is an error code
 * here: memory that runs out, a record without instances. No function of the host is called back.
 *
 * Texts are UTF-8, given by pointer and length; no zero is needed behind them. A null pointer is the
 * empty text when the length is 0. What is not valid UTF-8 is refused (KR_C_BAD_UTF8) where not said
 * otherwise. Names of files and folders, and what goes to the event log, reach the system in its own
 * code page: what that lacks is refused (KR_C_NOT_CONVERTIBLE), and so is a zero (KR_C_OUT_OF_RANGE).
 *
 * Sizes in, written sizes out. A text or bytes go to `out`, which has room for `capacity`, and their
 * length to the last parameter. When they do not fit, nothing is written but the length, and the code is
 * KR_C_BUFFER_TOO_SMALL. So null with a capacity of 0 asks for the length; it costs a whole call.
 * A text has a zero behind it where capacity is larger than its length; the length does not count it.
 * Rows, of a scan and the like, are different: as many are written as there is room for, and the count
 * is told; the next call goes on behind them, and a count of 0 is the end.
 * A size above half of the address space is refused (KR_C_OUT_OF_RANGE): no object has it.
 *
 * Structs that may grow begin with their size: the host sets it to sizeof. What a library does not know
 * of a larger struct, it neither reads nor writes; one that is smaller than the first form, or above
 * 65,536, is refused (KR_C_BAD_STRUCT_SIZE). In a struct that is filled the library sets it to what it
 * has filled. Structs without a size are values and never change. Fields named reserved are 0.
 *
 * Ownership is told by the name of the type.
 *   kr_c_owned_...       a handle that the host has got and gives back, once, to the function for it,
 *                        which sets it to null. A null handle is given back without harm.
 *   kr_c_static_text     ends in a zero and belongs to the library: good as long as that is loaded.
 *   kr_c_borrowed_bytes  points into bytes that the host itself has passed to this call.
 * Nothing else of the library's is ever handed over, and nothing of the host's is kept after a call.
 *
 * Handles are numbers of a table, never addresses. So null is refused (KR_C_NULL_ARGUMENT), and
 * (KR_C_BAD_HANDLE) what was never given, a handle of another kind, and one that was given back; its
 * number is not given again before some 2^31 others.
 *
 * Numbers of enumerations, bits and presets never change. New ones come at the end. kr_c_abi() tells at
 * run time what this header tells by KR_C_ABI; the library serves hosts of its own number and of lower
 * ones.
 *
 * Times are 64-bit counts of microseconds since 1970-01-01 00:00:00 UTC, durations of microseconds.
 * What cannot be counted so, as damaged records may have it, becomes the smallest or largest number.
 *
 * Threads. Functions without a handle may be called from any thread at once, unless said otherwise.
 * A handle of a log, of colours, of a configuration or of a URL may be used by any threads at once. Any
 * other is for one at a time: a call that finds it in use does nothing (KR_C_IN_USE). Who gives a handle
 * back while another thread is in a call with it harms nobody: that call is finished first.
 * Data of the host, structs and arrays, must not change during a call that has them.
 *
 * Pointers to numbers are aligned as their type asks for. `out` and what is read must not overlap.
 *
 * Calls are cdecl on Windows, and the exported names have no decoration. Truth values are 0 and 1.
 *
 * Left out: mutex guard, assertions, profiler and components. A guard's end is that of the process, on
 * purpose, its reports name lines of C++ source, and components are classes to derive from. Every
 * language has such things of its own that fit it better.
 */

#define KR_C_ABI 1

#if defined(__INT64_TYPE__) && defined(__SIZE_TYPE__) /* GCC, clang, and what is like them */
typedef __INT8_TYPE__ kr_c_int8;
typedef __UINT8_TYPE__ kr_c_uint8;
typedef __UINT16_TYPE__ kr_c_uint16;
typedef __INT32_TYPE__ kr_c_int32;
typedef __UINT32_TYPE__ kr_c_uint32;
__extension__ typedef __INT64_TYPE__ kr_c_int64;
__extension__ typedef __UINT64_TYPE__ kr_c_uint64;
__extension__ typedef __SIZE_TYPE__ kr_c_size;
__extension__ typedef __PTRDIFF_TYPE__ kr_c_step;
#elif defined(_MSC_VER)
#include <stddef.h>
typedef signed __int8 kr_c_int8;
typedef unsigned __int8 kr_c_uint8;
typedef unsigned __int16 kr_c_uint16;
typedef __int32 kr_c_int32;
typedef unsigned __int32 kr_c_uint32;
typedef __int64 kr_c_int64;
typedef unsigned __int64 kr_c_uint64;
typedef size_t kr_c_size;
typedef ptrdiff_t kr_c_step;
#else
#include <stddef.h>
#include <stdint.h>
typedef int8_t kr_c_int8;
typedef uint8_t kr_c_uint8;
typedef uint16_t kr_c_uint16;
typedef int32_t kr_c_int32;
typedef uint32_t kr_c_uint32;
typedef int64_t kr_c_int64;
typedef uint64_t kr_c_uint64;
typedef size_t kr_c_size;
typedef ptrdiff_t kr_c_step;
#endif

#if defined(_WIN32)
#define KR_C_CALL __cdecl
#if defined(KRCOMMON_BUILDING)
#define KR_C_EXPORT __declspec(dllexport)
#else
#define KR_C_EXPORT __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define KR_C_CALL
#define KR_C_EXPORT __attribute__((visibility("default")))
#else
#define KR_C_CALL
#define KR_C_EXPORT
#endif
#define KR_C_FUNCTION(result) KR_C_EXPORT result KR_C_CALL

#ifdef __cplusplus
extern "C" {
#endif

typedef const char* kr_c_static_text;
typedef const kr_c_uint8* kr_c_borrowed_bytes;

/* ---- Errors ---- */

typedef kr_c_int32 kr_c_error;
enum {
    KR_C_OK = 0,
    KR_C_NULL_ARGUMENT = 1,
    KR_C_OUT_OF_RANGE = 2,     /* an argument, or what was calculated of it */
    KR_C_BAD_HANDLE = 3,       /* given back, of another kind, or never given */
    KR_C_BAD_STRUCT_SIZE = 4,  /* the first member of a struct was not set to its size */
    KR_C_BUFFER_TOO_SMALL = 5, /* the length tells what is needed */
    KR_C_NO_MEMORY = 6,
    KR_C_BAD_UTF8 = 7,
    KR_C_NOT_CONVERTIBLE = 8, /* the system's code page lacks a character */
    KR_C_NOT_FOUND = 9,
    KR_C_IN_USE = 10, /* another thread is in a call with the handle, or the thing is there once */
    KR_C_WRONG_STATE = 11, /* a hash that was ended is fed */
    KR_C_SYSTEM = 12,      /* the operating system refused */
    KR_C_INTERNAL = 13,    /* a mistake of the library's */
    /* A text was not accepted; the position tells where, in bytes from its begin. */
    KR_C_TEXT_CUT = 101,       /* it ends where more is needed */
    KR_C_TEXT_CHARACTER = 102, /* something else is expected there */
    KR_C_TEXT_RANGE = 103,     /* the number there is outside of its range */
    KR_C_TEXT_SURPLUS = 104,   /* it goes on after its end */
    KR_C_TEXT_SCHEME = 105,    /* of a URL: no scheme that is followed by "//" */
    KR_C_TEXT_HOST = 106,      /* of a URL: no well-formed host */
    KR_C_TEXT_PORT = 107       /* of a URL: the port is no number */
};

/* A text for every code, in English; "unknown error" for other numbers. Never null. */
KR_C_FUNCTION(kr_c_static_text) kr_c_error_text(kr_c_error error);

/* ---- Version and capabilities ---- */

/* KR_C_ABI of the library that is loaded. Ask this first: when it is below KR_C_ABI, functions of this
   header may be missing. */
KR_C_FUNCTION(kr_c_uint32) kr_c_abi(void);

/* 1.2.3 is 10203, and "1.2.3". */
KR_C_FUNCTION(kr_c_uint32) kr_c_version(void);
KR_C_FUNCTION(kr_c_static_text) kr_c_version_text(void);

enum {
    KR_C_HAS_CONFIGURATION = 1,
    KR_C_HAS_LOG = 2,
    KR_C_HAS_COLORS = 4,
    KR_C_HAS_RECORDS = 8,
    KR_C_HAS_TIME = 16,
    KR_C_HAS_GUID = 32,
    KR_C_HAS_TEXTS = 64, /* Base64, SHA-1, string encryption, code pages, URL */
    KR_C_HAS_FILE_VERSIONS = 128,
    KR_C_HAS_EVENT_LOG = 256
};

/* Bits of the families of functions that the library has. */
KR_C_FUNCTION(kr_c_uint32) kr_c_capabilities(void);

/* The processor's instructions that are in use: "avx2 sha aes"; "portable" without any. */
KR_C_FUNCTION(kr_c_static_text) kr_c_instructions(void);

/* ---- Colours ---- */

/* Presets, the named colours: 1 to 13. 0 stands for ranges of the configuration without a name. */
enum {
    KR_C_WHITE = 1,
    KR_C_BLACK = 2,
    KR_C_GRAY = 3,
    KR_C_LIGHT_BLUE = 4,
    KR_C_DARK_BLUE = 5,
    KR_C_BROWN = 6,
    KR_C_LIGHT_GREEN = 7,
    KR_C_DARK_GREEN = 8,
    KR_C_YELLOW = 9,
    KR_C_ORANGE = 10,
    KR_C_RED = 11,
    KR_C_PINK = 12,
    KR_C_PURPLE = 13,
    KR_C_PRESETS = 14 /* how many numbers there are, 0 among them */
};

/** A colour by its components. */
typedef struct kr_c_rgb {
    kr_c_uint8 red;   /**< 0 to 255 */
    kr_c_uint8 green; /**< 0 to 255 */
    kr_c_uint8 blue;  /**< 0 to 255 */
} kr_c_rgb;

/** A colour by hue, saturation and value. */
typedef struct kr_c_hsv {
    kr_c_int32 hue;   /**< whole degrees, 0 to 359; -1 is none */
    float saturation; /**< 0 to 1 */
    float value;      /**< 0 to 1 */
} kr_c_hsv;

/* A classifier. Wherever one is asked for, null is the library's own, of the file KRCommon.xml that it has
   read while it was loaded. Others come of kr_c_configuration_colors(). */
typedef struct kr_c_colors kr_c_colors;
typedef kr_c_colors* kr_c_owned_colors;
KR_C_FUNCTION(kr_c_error) kr_c_colors_destroy(kr_c_owned_colors* colors);

/* The name of a preset in the configuration: "white" to "purple"; "" for other numbers. */
KR_C_FUNCTION(kr_c_static_text) kr_c_preset_name(kr_c_int32 preset);
/* Its number by its name, letters in lower case; else KR_C_NOT_FOUND. */
KR_C_FUNCTION(kr_c_error)
kr_c_preset_number(const char* name, kr_c_size name_length, kr_c_int32* preset);

/* The conversions truncate: hues to degrees, components to whole numbers. Numbers outside of their ranges
   are no error: they are calculated with (KRCommon/colors/Colors.h). */
KR_C_FUNCTION(kr_c_error) kr_c_rgb_to_hsv(const kr_c_rgb* rgb, kr_c_hsv* hsv);
KR_C_FUNCTION(kr_c_error) kr_c_hsv_to_rgb(const kr_c_hsv* hsv, kr_c_rgb* rgb);

/* The difference of two hues; not symmetric: (350, 10) gives 20, (10, 350) gives -340. */
KR_C_FUNCTION(float) kr_c_angle_distance(float a, float b);

/* Whether b is like a; not symmetric. use_hue is 0 or not. */
KR_C_FUNCTION(kr_c_error)
kr_c_is_color_similar(const kr_c_hsv* a, const kr_c_hsv* b, kr_c_int32 use_hue,
                      const kr_c_hsv* tolerance, kr_c_int32* is_similar);

/* The presets that a colour falls into: bit n stands for preset n. */
KR_C_FUNCTION(kr_c_error)
kr_c_color_presets(const kr_c_colors* colors, const kr_c_hsv* hsv, kr_c_uint32* mask);

/* The palette: a colour for each configured range, in the order of the file. Like a text, they go to out
   all or not at all; count takes how many there are. */
KR_C_FUNCTION(kr_c_error)
kr_c_color_palette(const kr_c_colors* colors, kr_c_rgb* out, kr_c_size capacity, kr_c_size* count);

/* Many colours at once. The components of colour n lie n * step bytes after those of the first; any step
   will do, and is a multiple of 4 for hue, saturation and value. Three planes have the step 1 or 4, and
   pixels red = p, green = p + 1, blue = p + 2, step = 3. What is read and what is written must not
   overlap. With a count of 0 pointers may be null. */
KR_C_FUNCTION(kr_c_error)
kr_c_rgb_to_hsv_batch(const kr_c_uint8* red, const kr_c_uint8* green, const kr_c_uint8* blue,
                      kr_c_step rgb_step, kr_c_size count, kr_c_int32* hue, float* saturation,
                      float* value, kr_c_step hsv_step);
KR_C_FUNCTION(kr_c_error)
kr_c_hsv_to_rgb_batch(const kr_c_int32* hue, const float* saturation, const float* value,
                      kr_c_step hsv_step, kr_c_size count, kr_c_uint8* red, kr_c_uint8* green,
                      kr_c_uint8* blue, kr_c_step rgb_step);
/* masks  count numbers, as kr_c_color_presets() tells */
KR_C_FUNCTION(kr_c_error)
kr_c_color_presets_batch(const kr_c_colors* colors, const kr_c_int32* hue, const float* saturation,
                         const float* value, kr_c_step hsv_step, kr_c_size count,
                         kr_c_uint32* masks);

/* The order of a pixel's bytes; "x" is a byte that is not looked at. */
enum { KR_C_RGB24 = 0, KR_C_BGR24 = 1, KR_C_RGBX32 = 2, KR_C_BGRX32 = 3 };

/** A rectangle of a picture. One without pixels has a width or height of 0 or less. */
typedef struct kr_c_color_region {
    kr_c_uint32 size;       /**< sizeof this struct */
    kr_c_int32 format;      /**< KR_C_RGB24 or another of these */
    kr_c_int32 width;       /**< pixels of a row */
    kr_c_int32 height;      /**< rows */
    const void* pixels;     /**< the first of the first row */
    kr_c_step stride;       /**< bytes from a row to the next; may be negative */
    const kr_c_uint8* mask; /**< a byte for each pixel, not 0 if it counts; null: all do */
    kr_c_step mask_stride;  /**< bytes from a row of the mask to the next */
} kr_c_color_region;

/** How many pixels have which preset. */
typedef struct kr_c_preset_histogram {
    kr_c_uint32 size;                  /**< sizeof this struct */
    kr_c_uint32 reserved;              /**< 0 */
    kr_c_uint64 pixels;                /**< that were counted */
    kr_c_uint64 presets[KR_C_PRESETS]; /**< so many of them have preset n */
} kr_c_preset_histogram;

/* Adds the pixels of a region to a histogram, of which the host has set all numbers before the first. */
KR_C_FUNCTION(kr_c_error)
kr_c_count_color_presets(const kr_c_colors* colors, const kr_c_color_region* region,
                         kr_c_preset_histogram* histogram);

/* ---- Configuration ---- */

/* Whether KRCommon.xml beside the library was accepted while that was loaded; its full path; and why not,
   empty when it was. */
KR_C_FUNCTION(kr_c_error) kr_c_configuration_is_read(kr_c_int32* is_read);
KR_C_FUNCTION(kr_c_error)
kr_c_configuration_path(char* out, kr_c_size capacity, kr_c_size* length);
KR_C_FUNCTION(kr_c_error)
kr_c_configuration_problem(char* out, kr_c_size capacity, kr_c_size* length);

/* What the library thinks of another document: all mistakes, what it reads, and a classifier of that. */
typedef struct kr_c_configuration kr_c_configuration;
typedef kr_c_configuration* kr_c_owned_configuration;

/* document  bytes in any encoding of XML that the library reads; any bytes */
KR_C_FUNCTION(kr_c_error)
kr_c_configuration_check(const void* document, kr_c_size document_size,
                         kr_c_owned_configuration* configuration);
KR_C_FUNCTION(kr_c_error) kr_c_configuration_destroy(kr_c_owned_configuration* configuration);

/** What a check has found, in numbers. */
typedef struct kr_c_configuration_summary {
    kr_c_uint32 size;       /**< sizeof this struct */
    kr_c_int32 is_complete; /**< it was read to its end, beyond its mistakes */
    kr_c_uint32 errors;     /**< 0: accepted; 100 at most */
    kr_c_uint32 ranges;     /**< how many there are */
} kr_c_configuration_summary;

/** A mistake and its place. */
typedef struct kr_c_configuration_error {
    kr_c_uint32 size;  /**< sizeof this struct */
    kr_c_int32 code;   /**< the message's number, docs/configuration.md */
    kr_c_uint64 line;  /**< from 1; 0 is the file as a whole */
    kr_c_uint64 begin; /**< of what is at fault, in bytes of kr_c_configuration_text() */
    kr_c_uint64 end;   /**< behind it */
} kr_c_configuration_error;

/** A range of colours as the document has it. */
typedef struct kr_c_configured_range {
    kr_c_uint32 size;       /**< sizeof this struct */
    kr_c_int32 preset;      /**< its number */
    kr_c_int32 hue_from;    /**< as in the file */
    kr_c_int32 hue_to;      /**< the same */
    float saturation_from;  /**< 0 to 1 */
    float saturation_to;    /**< 0 to 1 */
    float value_from;       /**< 0 to 1 */
    float value_to;         /**< 0 to 1 */
    kr_c_uint64 begin;      /**< of the tag, in bytes of kr_c_configuration_text() */
    kr_c_uint64 end;        /**< behind it */
    kr_c_rgb rgb;           /**< of the palette */
    kr_c_uint8 reserved[5]; /**< 0 */
} kr_c_configured_range;

KR_C_FUNCTION(kr_c_error)
kr_c_configuration_get_summary(const kr_c_configuration* configuration,
                               kr_c_configuration_summary* summary);
/* By an index from 0; beyond the last KR_C_NOT_FOUND. */
KR_C_FUNCTION(kr_c_error)
kr_c_configuration_get_error(const kr_c_configuration* configuration, kr_c_size index,
                             kr_c_configuration_error* error);
/* "line:7-'color'-Value does not match enumerations". It may quote the document, bytes and all. */
KR_C_FUNCTION(kr_c_error)
kr_c_configuration_error_text(const kr_c_configuration* configuration, kr_c_size index, char* out,
                              kr_c_size capacity, kr_c_size* length);
KR_C_FUNCTION(kr_c_error)
kr_c_configuration_get_range(const kr_c_configuration* configuration, kr_c_size index,
                             kr_c_configured_range* range);
/* The document in UTF-8, as far as it is characters. */
KR_C_FUNCTION(kr_c_error)
kr_c_configuration_text(const kr_c_configuration* configuration, char* out, kr_c_size capacity,
                        kr_c_size* length);
/* A classifier of what was read. It may outlive the configuration. */
KR_C_FUNCTION(kr_c_error)
kr_c_configuration_colors(const kr_c_configuration* configuration, kr_c_owned_colors* colors);

/* ---- Log ---- */

/* The process's log files. There is one at a time; a second one is KR_C_IN_USE. */
typedef struct kr_c_log kr_c_log;
typedef kr_c_log* kr_c_owned_log;

/* Begins to log into <directory>/<prefix>_<year>_<month>_<day>_part_<number>.log. The last level of the
   directory is made; an empty one is the root folder. Files that cannot be opened are passed over: see
   kr_c_log_get_status(). The prefix must not hold "_part_" (KR_C_OUT_OF_RANGE).
   For rotation and pruning a thread of the host's has to be in kr_c_log_run(). */
KR_C_FUNCTION(kr_c_error)
kr_c_log_open(const char* directory, kr_c_size directory_length, const char* prefix,
              kr_c_size prefix_length, kr_c_owned_log* log);

/* Looks after the files on the calling thread, every 5 seconds: starts new ones, deletes the oldest. Returns
   KR_C_OK when the time is over, at kr_c_log_stop(), and when the log is closed. One thread at a time;
   others get KR_C_IN_USE.
   microseconds  below 0: no end */
KR_C_FUNCTION(kr_c_error) kr_c_log_run(kr_c_log* log, kr_c_int64 microseconds);

/* Ends the kr_c_log_run() that is under way, or else the next one at once. */
KR_C_FUNCTION(kr_c_error) kr_c_log_stop(kr_c_log* log);

/* Ends kr_c_log_run() and waits for it. The file stays open: lines still go into it. */
KR_C_FUNCTION(kr_c_error) kr_c_log_close(kr_c_owned_log* log);

/* How many lines are wanted: 0 emergencies, 1 errors as well, 2 debug lines as well, 3 informational ones
   as well, 4 notices as well. */
KR_C_FUNCTION(kr_c_error) kr_c_log_set_level(kr_c_uint32 level);

/* Bytes: of a file before the next one is begun, and of all files of the prefix together. */
KR_C_FUNCTION(kr_c_error) kr_c_log_set_sizes(kr_c_uint32 file_size, kr_c_uint32 total_size);
KR_C_FUNCTION(kr_c_error) kr_c_log_get_sizes(kr_c_uint32* file_size, kr_c_uint32* total_size);

/* What the log does when it is asked to; docs/log_format.md has each of them. All are off at first. */
enum {
    KR_C_LOG_RETRIES = 1,
    KR_C_LOG_REPORTS_FAILURES = 2,
    KR_C_LOG_FINDS_LOST_FILE = 4,
    KR_C_LOG_KEEPS_FILE_IN_USE = 8,
    KR_C_LOG_WRITES_HEADER = 16,
    KR_C_LOG_SILENCES_STDERR = 32,
    KR_C_LOG_FAST_LINES = 64,
    KR_C_LOG_ONLY_MANAGER_SETS_LEVEL = 128
};

/** What the log is asked to do besides. */
typedef struct kr_c_log_options {
    kr_c_uint32 size;        /**< sizeof this struct */
    kr_c_uint32 flags;       /**< bits of those above; others are refused */
    kr_c_uint32 early_bytes; /**< room for lines before the first file */
    kr_c_uint32 ring_lines;  /**< how many last lines are kept */
} kr_c_log_options;

KR_C_FUNCTION(kr_c_error) kr_c_log_set_options(const kr_c_log_options* options);
KR_C_FUNCTION(kr_c_error) kr_c_log_get_options(kr_c_log_options* options);

enum { KR_C_LOG_DEBUG = 0, KR_C_LOG_INFO = 1, KR_C_LOG_ERROR = 2, KR_C_LOG_EMERGENCY = 3 };

/* Logs a line, from any thread: time, thread, severity and the text. A line that the level does not let
   through is no error. Any bytes: control characters become visible escapes, and what is too long for a line,
   some 3,500 bytes, is cut and ends in "...". */
KR_C_FUNCTION(kr_c_error)
kr_c_log_line(kr_c_int32 priority, const char* text, kr_c_size text_length);

/* Closes the file and opens it anew by its name. is_good: whether lines go into a file. */
KR_C_FUNCTION(kr_c_error) kr_c_log_reopen(kr_c_int32* is_good);

/** How the log fares. */
typedef struct kr_c_log_status {
    kr_c_uint32 size;           /**< sizeof this struct */
    kr_c_uint32 part;           /**< the number of the file */
    kr_c_int32 is_good;         /**< lines go into the file */
    kr_c_int32 level;           /**< -1: never set */
    kr_c_int32 last_error;      /**< the system's number; 0: there was none */
    kr_c_uint32 reserved;       /**< 0 */
    kr_c_int64 last_error_time; /**< when that was */
    kr_c_uint64 file_bytes;     /**< of the file in use */
    kr_c_uint64 total_bytes;    /**< of all files of the prefix */
    kr_c_uint64 lines;          /**< that went into files */
    kr_c_uint64 lines_lost;     /**< that went nowhere */
} kr_c_log_status;

KR_C_FUNCTION(kr_c_error) kr_c_log_get_status(kr_c_log_status* status);
/* The path of the file in use; empty before the first kr_c_log_open(). */
KR_C_FUNCTION(kr_c_error) kr_c_log_file(char* out, kr_c_size capacity, kr_c_size* length);
/* The text of the last error. */
KR_C_FUNCTION(kr_c_error) kr_c_log_last_error(char* out, kr_c_size capacity, kr_c_size* length);

/* ---- Records: reading ---- */

/* What the bytes of a record are found to be: the first that holds. */
enum {
    KR_C_RECORD_WHOLE = 0,
    KR_C_RECORD_CUT_IN_FIXED_BLOCK = 1,
    KR_C_RECORD_BAD_COLOR_COUNT = 2,
    KR_C_RECORD_CUT_IN_INSTANCES = 3,
    KR_C_RECORD_CUT_IN_AUXILIARY_DATA = 4,
    KR_C_RECORD_NO_INSTANCES = 5,
    KR_C_RECORD_TRAILING_BYTES = 6
};

/** What a check of a record has found. */
typedef struct kr_c_record_status {
    kr_c_uint32 size;      /**< sizeof this struct */
    kr_c_int32 state;      /**< KR_C_RECORD_WHOLE or another of these */
    kr_c_uint64 position;  /**< where the state applies */
    kr_c_uint64 consumed;  /**< bytes of the parts that are whole */
    kr_c_uint32 instances; /**< how many it has */
    kr_c_uint32 reserved;  /**< 0 */
} kr_c_record_status;

/** The fixed block. Members named for their place are carried as they are. */
typedef struct kr_c_record_fields {
    kr_c_uint32 size;            /**< sizeof this struct */
    kr_c_int32 detector_type;    /**< what kind of detector found it */
    kr_c_uint64 object_id;       /**< the object's number */
    kr_c_int64 first_seen_time;  /**< microseconds */
    kr_c_int64 second_time;      /**< microseconds */
    kr_c_int32 sensor_word1;     /**< of the sensor's id */
    kr_c_int32 sensor_word2;     /**< of the sensor's id */
    kr_c_int32 word1;            /**< carried as it is */
    kr_c_int32 word2;            /**< carried as it is */
    kr_c_int32 statistics_word1; /**< carried as it is */
    kr_c_int32 statistics_word2; /**< carried as it is */
    kr_c_uint32 duration;        /**< seconds */
    float class_scores[3];       /**< person, vehicle, object */
    kr_c_int32 statistics_word7; /**< carried as it is */
    kr_c_int32 statistics_word8; /**< carried as it is */
} kr_c_record_fields;

/** Instances by columns: arrays of the host's, a row for each instance. Null: the column is not wanted.
   Where rows are read from columns (kr_c_record_add_instances()), null stands for zeros. */
typedef struct kr_c_instance_columns {
    kr_c_uint32 size;             /**< sizeof this struct */
    kr_c_uint32 reserved;         /**< 0 */
    kr_c_uint64* record_position; /**< of a scan: of the instance's record; else 0. Not read */
    kr_c_uint32* instance;        /**< its index in its record. Not read */
    kr_c_int64* time;             /**< microseconds */
    float* person_value;          /**< -128 to 127; above 0 it was taken for that */
    float* vehicle_value;         /**< the same */
    float* object_value;          /**< the same */
    float* unknown_value;         /**< the same */
    float* min_x;                 /**< of the box */
    float* min_y;                 /**< of the box */
    float* max_x;                 /**< of the box */
    float* max_y;                 /**< of the box */
    float* float1;                /**< carried as it is */
    float* float2;                /**< carried as it is */
    float* group;                 /**< 4 for each row */
    float* point_x;               /**< of the point */
    float* point_y;               /**< of the point */
    kr_c_int32* number;           /**< -128 to 127 */
    kr_c_uint8* flag;             /**< carried as it is */
    kr_c_uint32* color_count;     /**< 0 to 127. Not read */
} kr_c_instance_columns;

/** Colours of instances by columns, in the same way. */
typedef struct kr_c_color_columns {
    kr_c_uint32 size;             /**< sizeof this struct */
    kr_c_uint32 reserved;         /**< 0 */
    kr_c_uint64* record_position; /**< as above. Not read */
    kr_c_uint32* instance;        /**< index of the instance in its record. Not read */
    kr_c_uint8* red;              /**< 0 to 255 */
    kr_c_uint8* green;            /**< 0 to 255 */
    kr_c_uint8* blue;             /**< 0 to 255 */
    float* area;                  /**< -128 to 127, whole */
    kr_c_int32* code;             /**< -128 to 127 */
} kr_c_color_columns;

/* A record where it lies, of any bytes: what is cut short counts as far as whole parts go, and no byte
   outside is read. They need no alignment. Null with a size of 0 is a record of no bytes. */
KR_C_FUNCTION(kr_c_error)
kr_c_view_check(const void* record, kr_c_size record_size, kr_c_record_status* status);
KR_C_FUNCTION(kr_c_error)
kr_c_view_fields(const void* record, kr_c_size record_size, kr_c_record_fields* fields);
/* first  the row to begin with, from 0; a count of 0 is the end */
KR_C_FUNCTION(kr_c_error)
kr_c_view_instances(const void* record, kr_c_size record_size, kr_c_size first,
                    const kr_c_instance_columns* columns, kr_c_size capacity, kr_c_size* count);
/* The colours of all instances, one instance after the other. */
KR_C_FUNCTION(kr_c_error)
kr_c_view_colors(const void* record, kr_c_size record_size, kr_c_size first,
                 const kr_c_color_columns* columns, kr_c_size capacity, kr_c_size* count);
/* Null and 0 where there are none, or they are cut short. */
KR_C_FUNCTION(kr_c_error)
kr_c_view_auxiliary(const void* record, kr_c_size record_size, kr_c_borrowed_bytes* data,
                    kr_c_size* size);
/* How much of the object has each preset, in percent of area, by the preset's number.
   percent  KR_C_PRESETS numbers */
KR_C_FUNCTION(kr_c_error)
kr_c_view_color_shares(const void* record, kr_c_size record_size, const kr_c_colors* colors,
                       float* percent);

/** What records are asked for. kr_c_filter_init() sets what a new one has; the size stands before. */
typedef struct kr_c_filter {
    kr_c_uint32 size;         /**< sizeof this struct */
    kr_c_int32 detector_type; /**< must be the record's; 7 at first */
    kr_c_int64 from;          /**< first-seen time, both ends included; 0 at first */
    kr_c_int64 to;            /**< KR_C_NO_END at first */
    kr_c_int32 object_class; /**< 1 person, 2 vehicle, 3 object; others, and 0 at first: no score */
    float min_score;         /**< the least score of that class */
    float min_duration;      /**< seconds */
    kr_c_int32 preset;       /**< below 0, and -1 at first: no colour is asked for. 0 to 13 */
    float min_percent;       /**< the least share of the object that has the preset */
    kr_c_uint32 reserved;    /**< 0 */
    const kr_c_colors* colors; /**< null: the library's own */
} kr_c_filter;

/* The largest kr_c_int64, which is later than every time. */
#define KR_C_NO_END ((kr_c_int64)(((kr_c_uint64)1 << 63) - 1))

KR_C_FUNCTION(kr_c_error) kr_c_filter_init(kr_c_filter* filter);

/* Whether a record matches; one without instances does not. */
KR_C_FUNCTION(kr_c_error)
kr_c_view_matches(const void* record, kr_c_size record_size, const kr_c_filter* filter,
                  kr_c_int32* matches);

/* ---- Records: many ---- */

/** Records that lie one behind the other. Without `ends` each is as long as its counts tell, and the walk
   ends before the first that is damaged. With them record n ends before ends[n] and begins where the
   one before it ends; damage in one does not matter to the next. */
typedef struct kr_c_records {
    kr_c_uint32 size;        /**< sizeof this struct */
    kr_c_uint32 reserved;    /**< 0 */
    const void* bytes;       /**< the first byte of all */
    kr_c_uint64 bytes_size;  /**< how many bytes there are */
    const kr_c_uint64* ends; /**< null, or count ascending positions */
    kr_c_uint64 count;       /**< 0 where ends is null */
} kr_c_records;

/** How far a scan is. All zero but the size at its begin; then left alone by the host. */
typedef struct kr_c_cursor {
    kr_c_uint32 size; /**< sizeof this struct */
    /** Why a scan without ends is over: what the bytes at position are found to be; KR_C_RECORD_WHOLE when
        no bytes are left. */
    kr_c_int32 state;
    kr_c_uint64 position; /**< of the next record */
    kr_c_uint64 record;   /**< its number; behind the last one how many there are */
    kr_c_uint64 damage;   /**< where the state applies, from the first byte of all */
    kr_c_uint64 row;      /**< of its rows, how many were given */
} kr_c_cursor;

/** Rows of records by columns; null: the column is not wanted. */
typedef struct kr_c_record_columns {
    kr_c_uint32 size;             /**< sizeof this struct */
    kr_c_uint32 reserved;         /**< 0 */
    kr_c_uint64* position;        /**< of the first byte */
    kr_c_uint64* length;          /**< bytes */
    kr_c_int32* state;            /**< costs a walk over the record */
    kr_c_uint32* instances;       /**< how many it has */
    kr_c_uint64* object_id;       /**< the object's number */
    kr_c_int32* detector_type;    /**< what kind of detector found it */
    kr_c_int64* first_seen_time;  /**< microseconds */
    kr_c_int64* second_time;      /**< microseconds */
    kr_c_int32* sensor_word1;     /**< of the sensor's id */
    kr_c_int32* sensor_word2;     /**< of the sensor's id */
    kr_c_int32* word1;            /**< carried as it is */
    kr_c_int32* word2;            /**< carried as it is */
    kr_c_int32* statistics_word1; /**< carried as it is */
    kr_c_int32* statistics_word2; /**< carried as it is */
    kr_c_uint32* duration;        /**< seconds */
    float* class_scores;          /**< 3 for each row */
    kr_c_int32* statistics_word7; /**< carried as it is */
    kr_c_int32* statistics_word8; /**< carried as it is */
} kr_c_record_columns;

/* Rows of the records that match, of their instances, or of the instances' colours.
   filter    null: all records, those without instances too
   cursor    the same for each call of a scan; of scans at once each has its own
   capacity  rows that the columns have room for
   count     how many were written; 0 is the end, or a capacity of 0 */
KR_C_FUNCTION(kr_c_error)
kr_c_scan_records(const kr_c_records* records, const kr_c_filter* filter, kr_c_cursor* cursor,
                  const kr_c_record_columns* columns, kr_c_size capacity, kr_c_size* count);
KR_C_FUNCTION(kr_c_error)
kr_c_scan_instances(const kr_c_records* records, const kr_c_filter* filter, kr_c_cursor* cursor,
                    const kr_c_instance_columns* columns, kr_c_size capacity, kr_c_size* count);
KR_C_FUNCTION(kr_c_error)
kr_c_scan_colors(const kr_c_records* records, const kr_c_filter* filter, kr_c_cursor* cursor,
                 const kr_c_color_columns* columns, kr_c_size capacity, kr_c_size* count);

/* ---- Records: building ---- */

typedef struct kr_c_record kr_c_record;
typedef kr_c_record* kr_c_owned_record;

/* One with detector type 7, sensor 0 and 1, all else zero, without instances and auxiliary data. */
KR_C_FUNCTION(kr_c_error) kr_c_record_create(kr_c_owned_record* record);
KR_C_FUNCTION(kr_c_error) kr_c_record_destroy(kr_c_owned_record* record);
/* Makes it what a new one is; it keeps its memory for what is next. */
KR_C_FUNCTION(kr_c_error) kr_c_record_clear(kr_c_record* record);
KR_C_FUNCTION(kr_c_error)
kr_c_record_set_fields(kr_c_record* record, const kr_c_record_fields* fields);
KR_C_FUNCTION(kr_c_error)
kr_c_record_get_fields(const kr_c_record* record, kr_c_record_fields* fields);
/* Appends count instances without colours. Numbers that the binary form cannot hold are cut when it is
   made, see KRCommon/objects/Objects.h. */
KR_C_FUNCTION(kr_c_error)
kr_c_record_add_instances(kr_c_record* record, const kr_c_instance_columns* columns,
                          kr_c_size count);
/* Appends colours to the instance of that index; beyond the last KR_C_NOT_FOUND. An instance has 127 at
   most (KR_C_OUT_OF_RANGE): of more, readers read none. */
KR_C_FUNCTION(kr_c_error)
kr_c_record_add_colors(kr_c_record* record, kr_c_size instance, const kr_c_color_columns* columns,
                       kr_c_size count);
KR_C_FUNCTION(kr_c_error) kr_c_record_instance_count(const kr_c_record* record, kr_c_size* count);
/* Replaces them. */
KR_C_FUNCTION(kr_c_error)
kr_c_record_set_auxiliary(kr_c_record* record, const void* data, kr_c_size data_size);
/* Clears the record and fills it with what is whole of the bytes; the status tells what they are. Without a
   whole fixed block the record is as it was. */
KR_C_FUNCTION(kr_c_error)
kr_c_record_decode(kr_c_record* record, const void* bytes, kr_c_size bytes_size,
                   kr_c_record_status* status);
/* The binary form.
   limit  bytes that the list of instances may have, 4 at least; those that do not fit are left out, and
          a line in the log tells it. KR_C_NO_LIMIT for all */
KR_C_FUNCTION(kr_c_error)
kr_c_record_encode(const kr_c_record* record, kr_c_uint32 limit, kr_c_uint8* out,
                   kr_c_size capacity, kr_c_size* size);

#define KR_C_NO_LIMIT ((kr_c_uint32)0xFFFFFFFF)

/* ---- Time ---- */

/* Digits of the second's fraction that a text has. */
enum {
    KR_C_FRACTION_ANY = -1, /* for reading alone: "2024/03/05 7:08", as much as there is of it */
    KR_C_FRACTION_NONE = 0,
    KR_C_FRACTION_MILLISECONDS = 3,
    KR_C_FRACTION_MICROSECONDS = 6
};

/** UTC, in the Gregorian calendar extended to both sides. */
typedef struct kr_c_date {
    kr_c_int32 year;        /**< all digits */
    kr_c_int32 month;       /**< 1 to 12 */
    kr_c_int32 day;         /**< 1 to 31 */
    kr_c_int32 hour;        /**< 0 to 23 */
    kr_c_int32 minute;      /**< 0 to 59 */
    kr_c_int32 second;      /**< 0 to 59 */
    kr_c_int32 microsecond; /**< 0 to 999,999 */
    kr_c_int32 weekday;     /**< 0 is Sunday; not read */
} kr_c_date;

KR_C_FUNCTION(kr_c_error) kr_c_time_to_date(kr_c_int64 time, kr_c_date* date);
/* Fields beyond their ranges are carried, the microsecond apart, which is 0 to 999,999. Instants are from
   1970 to the year 3000; others are KR_C_OUT_OF_RANGE. */
KR_C_FUNCTION(kr_c_error) kr_c_time_from_date(const kr_c_date* date, kr_c_int64* time);

/* "2024/03/05 07:08:09.000123", UTC. Instants are from 1601 to 9999; so it is with ISO 8601. */
KR_C_FUNCTION(kr_c_error)
kr_c_time_to_text(kr_c_int64 time, kr_c_int32 fraction, char* out, kr_c_size capacity,
                  kr_c_size* length);
/* position  where a text is wrong; may be null, here and below */
KR_C_FUNCTION(kr_c_error)
kr_c_time_from_text(const char* text, kr_c_size text_length, kr_c_int32 fraction, kr_c_int64* time,
                    kr_c_size* position);
/* "2024-03-05T08:08:09.000+01:00" with an offset of 60 minutes, +-23:59 at most; 0 is "Z". */
KR_C_FUNCTION(kr_c_error)
kr_c_time_to_iso8601(kr_c_int64 time, kr_c_int32 fraction, kr_c_int32 offset_minutes, char* out,
                     kr_c_size capacity, kr_c_size* length);
/* offset_minutes  may be null */
KR_C_FUNCTION(kr_c_error)
kr_c_time_from_iso8601(const char* text, kr_c_size text_length, kr_c_int64* time,
                       kr_c_int32* offset_minutes, kr_c_size* position);
/* "1 h 02 min" */
KR_C_FUNCTION(kr_c_error)
kr_c_duration_to_text(kr_c_int64 duration, char* out, kr_c_size capacity, kr_c_size* length);
KR_C_FUNCTION(kr_c_error)
kr_c_duration_from_text(const char* text, kr_c_size text_length, kr_c_int64* duration,
                        kr_c_size* position);

/* ---- GUID ---- */

/** A globally unique identifier, RFC 9562. */
typedef struct kr_c_guid {
    kr_c_uint32 data1;   /**< the first eight digits */
    kr_c_uint16 data2;   /**< the next four */
    kr_c_uint16 data3;   /**< the next four */
    kr_c_uint8 data4[8]; /**< the last sixteen */
} kr_c_guid;

/* Makes count of them, of version 4 (by chance) or 7 (in the order of their making). */
KR_C_FUNCTION(kr_c_error) kr_c_guid_create(kr_c_int32 version, kr_c_guid* out, kr_c_size count);
/* 36 characters in lower case. */
KR_C_FUNCTION(kr_c_error)
kr_c_guid_to_text(const kr_c_guid* guid, char* out, kr_c_size capacity, kr_c_size* length);
/* That form, digits in either case, in a pair of braces or none. */
KR_C_FUNCTION(kr_c_error)
kr_c_guid_from_text(const char* text, kr_c_size text_length, kr_c_guid* guid, kr_c_size* position);

/* ---- Base64 ---- */

/* RFC 4648. line_breaks: not 0 for a line feed after every 76 characters. */
KR_C_FUNCTION(kr_c_error)
kr_c_base64_encode(const void* data, kr_c_size data_size, kr_c_int32 line_breaks, char* out,
                   kr_c_size capacity, kr_c_size* length);
/* is_lenient: 0 for exactly the text of some bytes, without line breaks; else any text decodes to
   something, see KRCommon/util/Base64.h. Bytes that are no UTF-8 are characters outside the alphabet. */
KR_C_FUNCTION(kr_c_error)
kr_c_base64_decode(const char* text, kr_c_size text_length, kr_c_int32 is_lenient, kr_c_uint8* out,
                   kr_c_size capacity, kr_c_size* size, kr_c_size* position);

/* ---- SHA-1 ---- */

#define KR_C_SHA1_SIZE 20

typedef struct kr_c_sha1 kr_c_sha1;
typedef kr_c_sha1* kr_c_owned_sha1;

/* FIPS 180-4, of a message that comes in pieces. */
KR_C_FUNCTION(kr_c_error) kr_c_sha1_create(kr_c_owned_sha1* sha1);
KR_C_FUNCTION(kr_c_error) kr_c_sha1_destroy(kr_c_owned_sha1* sha1);
/* Begins a new message. */
KR_C_FUNCTION(kr_c_error) kr_c_sha1_reset(kr_c_sha1* sha1);
/* After the digest KR_C_WRONG_STATE, until kr_c_sha1_reset(). */
KR_C_FUNCTION(kr_c_error) kr_c_sha1_feed(kr_c_sha1* sha1, const void* data, kr_c_size data_size);
/* Feeds a file. After an error it is fed with a part: reset it. */
KR_C_FUNCTION(kr_c_error)
kr_c_sha1_feed_file(kr_c_sha1* sha1, const char* path, kr_c_size path_length);
/* Ends the message. May be called again. KR_C_WRONG_STATE for more than 2^61 bytes.
   digest  KR_C_SHA1_SIZE bytes, in the order of the standard */
KR_C_FUNCTION(kr_c_error) kr_c_sha1_digest(kr_c_sha1* sha1, kr_c_uint8* digest);
/* 40 digits in upper case.
   is_word_reversed  0: as other programs show it, "A9993E36..." of "abc". Else as the services exchange
                     it, each word with its lowest byte first, "363E99A9..." */
KR_C_FUNCTION(kr_c_error)
kr_c_sha1_text(kr_c_sha1* sha1, kr_c_int32 is_word_reversed, char* out, kr_c_size capacity,
               kr_c_size* length);

/* ---- String encryption ---- */

/* Against reading in passing alone; see KRCommon/util/String_Encryption.h for what texts it is made, and
   for what becomes of others. Any bytes. */
KR_C_FUNCTION(kr_c_error)
kr_c_encrypt_string(const char* plain, kr_c_size plain_length, char* out, kr_c_size capacity,
                    kr_c_size* length);
KR_C_FUNCTION(kr_c_error)
kr_c_decrypt_string(const char* hex, kr_c_size hex_length, char* out, kr_c_size capacity,
                    kr_c_size* length);

/* ---- Code pages ---- */

/* Between UTF-8 and the system's ANSI code page, which is UTF-8 on Linux, and UTF-16 in the machine's order
   of bytes. Texts end at their first zero. Nothing is refused: what cannot be converted is replaced.
   Lengths in UTF-16 are units of 16 bits. */
KR_C_FUNCTION(kr_c_error)
kr_c_utf8_to_ansi(const char* text, kr_c_size text_length, char* out, kr_c_size capacity,
                  kr_c_size* length);
KR_C_FUNCTION(kr_c_error)
kr_c_ansi_to_utf8(const char* text, kr_c_size text_length, char* out, kr_c_size capacity,
                  kr_c_size* length);
KR_C_FUNCTION(kr_c_error)
kr_c_utf8_to_utf16(const char* text, kr_c_size text_length, kr_c_uint16* out, kr_c_size capacity,
                   kr_c_size* length);
KR_C_FUNCTION(kr_c_error)
kr_c_utf16_to_utf8(const kr_c_uint16* text, kr_c_size text_length, char* out, kr_c_size capacity,
                   kr_c_size* length);

/* ---- URL ---- */

typedef struct kr_c_url kr_c_url;
typedef kr_c_url* kr_c_owned_url;

/* Reads a URL with a host by the rules of the WHATWG URL standard, see KRCommon/util/Url.h. Any bytes. */
KR_C_FUNCTION(kr_c_error)
kr_c_url_parse(const char* text, kr_c_size text_length, kr_c_owned_url* url, kr_c_size* position);
KR_C_FUNCTION(kr_c_error) kr_c_url_destroy(kr_c_owned_url* url);

enum {
    KR_C_URL_TEXT = 0, /* all of it, in normal form, with the password */
    KR_C_URL_SCHEME = 1,
    KR_C_URL_USER = 2,     /* decoded; any bytes */
    KR_C_URL_PASSWORD = 3, /* decoded; any bytes */
    KR_C_URL_HOST = 4,
    KR_C_URL_ZONE = 5,
    KR_C_URL_PATH = 6,
    KR_C_URL_QUERY = 7,
    KR_C_URL_FRAGMENT = 8,
    KR_C_URL_LOG_TEXT = 9 /* with "***" for passwords */
};
KR_C_FUNCTION(kr_c_error)
kr_c_url_part(const kr_c_url* url, kr_c_int32 part, char* out, kr_c_size capacity,
              kr_c_size* length);
/* The URL's or else the scheme's; 0 when there is neither. */
KR_C_FUNCTION(kr_c_error) kr_c_url_port(const kr_c_url* url, kr_c_int32* port);

enum { KR_C_HOST_NAME = 0, KR_C_HOST_IPV4 = 1, KR_C_HOST_IPV6 = 2 };
KR_C_FUNCTION(kr_c_error) kr_c_url_host_kind(const kr_c_url* url, kr_c_int32* kind);
/* The decoded value of the query's first pair with that name; KR_C_NOT_FOUND without one. */
KR_C_FUNCTION(kr_c_error)
kr_c_url_query_value(const kr_c_url* url, const char* name, kr_c_size name_length, char* out,
                     kr_c_size capacity, kr_c_size* length);
/* The URL's text with another user and password, which are given as they are. Any bytes. */
KR_C_FUNCTION(kr_c_error)
kr_c_url_with_credentials(const kr_c_url* url, const char* user, kr_c_size user_length,
                          const char* password, kr_c_size password_length, char* out,
                          kr_c_size capacity, kr_c_size* length);
/* For logs, of what may be a URL: any bytes. */
KR_C_FUNCTION(kr_c_error)
kr_c_url_log_text(const char* text, kr_c_size text_length, char* out, kr_c_size capacity,
                  kr_c_size* length);
KR_C_FUNCTION(kr_c_error)
kr_c_percent_encode(const char* text, kr_c_size text_length, char* out, kr_c_size capacity,
                    kr_c_size* length);
/* A "%" without two digits is KR_C_TEXT_CHARACTER or KR_C_TEXT_CUT. */
KR_C_FUNCTION(kr_c_error)
kr_c_percent_decode(const char* text, kr_c_size text_length, char* out, kr_c_size capacity,
                    kr_c_size* length, kr_c_size* position);

/* ---- File versions ---- */

enum {
    KR_C_FILE_VERSION = 0,  /* "6.3.2.15" */
    KR_C_FILE_SONAME = 1,   /* of libraries for Linux */
    KR_C_FILE_BUILD_ID = 2, /* of files for Linux: lower-case hexadecimal */
    KR_C_FILE_SUMMARY = 3   /* for a log: "kr_server 2.1.0 (build 14b693e3e38e)" */
};
/* Of a program or library for Windows or Linux, on either. KR_C_NOT_FOUND where the file tells none. */
KR_C_FUNCTION(kr_c_error)
kr_c_file_version(const char* path, kr_c_size path_length, kr_c_int32 part, char* out,
                  kr_c_size capacity, kr_c_size* length);
/* numbers  4; those that the text leaves out are 0 */
KR_C_FUNCTION(kr_c_error)
kr_c_version_from_text(const char* text, kr_c_size text_length, kr_c_uint16* numbers,
                       kr_c_size* position);

/* ---- Event log ---- */

/* A writer of the system's event log, syslog on Linux. What the system refuses, the log tells
   (KRCommon/eventlog/Event_Log.h); no error code does. */
typedef struct kr_c_event_log kr_c_event_log;
typedef kr_c_event_log* kr_c_owned_event_log;

/* is_exclusive  not 0: the source has a log of its own */
KR_C_FUNCTION(kr_c_error)
kr_c_event_log_create(const char* name, kr_c_size name_length, kr_c_int32 is_exclusive,
                      kr_c_owned_event_log* event_log);
KR_C_FUNCTION(kr_c_error) kr_c_event_log_destroy(kr_c_owned_event_log* event_log);
/* Makes the registry's key of the source: for an installer, with administrative rights. */
KR_C_FUNCTION(kr_c_error) kr_c_event_log_declare(kr_c_event_log* event_log);
/* Registers as source; from then on events are written. */
KR_C_FUNCTION(kr_c_error) kr_c_event_log_register(kr_c_event_log* event_log);

enum {
    KR_C_EVENT_SUCCESS = 0,
    KR_C_EVENT_ERROR = 1,
    KR_C_EVENT_WARNING = 2,
    KR_C_EVENT_INFORMATION = 4,
    KR_C_EVENT_AUDIT_SUCCESS = 8,
    KR_C_EVENT_AUDIT_FAILURE = 16
};
KR_C_FUNCTION(kr_c_error)
kr_c_event_log_write(kr_c_event_log* event_log, kr_c_int32 id, kr_c_int32 type, const char* text,
                     kr_c_size text_length);

/** A parameter of an event. */
typedef struct kr_c_parameter {
    const char* name;       /**< UTF-8 */
    kr_c_size name_length;  /**< bytes */
    const char* value;      /**< UTF-8 */
    kr_c_size value_length; /**< bytes */
} kr_c_parameter;

/* The text of an event: a notification's message and parameters, of which some codes have none. Of the
   message the bytes in the system's code page are kept, of names and values each UTF-16 unit's low byte,
   so that out need not be UTF-8.
   parameters         of these, those with a reported name
   entity_parameters  of these, all */
KR_C_FUNCTION(kr_c_error)
kr_c_event_log_text(kr_c_event_log* event_log, kr_c_int32 code, const char* message,
                    kr_c_size message_length, const kr_c_parameter* parameters,
                    kr_c_size parameter_count, const kr_c_parameter* entity_parameters,
                    kr_c_size entity_parameter_count, char* out, kr_c_size capacity,
                    kr_c_size* length);
/* Writes an event with that text, byte for byte; the code is its id. */
KR_C_FUNCTION(kr_c_error)
kr_c_event_log_notify(kr_c_event_log* event_log, kr_c_int32 type, kr_c_int32 code,
                      const char* message, kr_c_size message_length,
                      const kr_c_parameter* parameters, kr_c_size parameter_count,
                      const kr_c_parameter* entity_parameters, kr_c_size entity_parameter_count);

#ifdef __cplusplus
}
#endif

#endif
