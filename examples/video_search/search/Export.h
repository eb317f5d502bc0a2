#pragma once

/// \file
/// The hits for other programs. Texts are UTF-8; times are UTC, "2024/03/05 07:08:09.000123", as
/// --from and --to take them; numbers are whole or have the digits that give the same float again.
/// Threads: no state.

#include "Query.h"

#include <string>

namespace video_search {

/// CSV after RFC 4180: a header line, then a line for each hit, each ended by CR LF. What holds a
/// comma, a quotation mark or a line end stands in quotation marks, and these are doubled in it.
///
///     id,sensor,run,first_seen,last_seen,duration,class,score,person,vehicle,object,colors,instances
///
/// colors are names and percent, "red 42.5;black 30"; a score that is no number is empty.
[[nodiscard]] std::string csv_of(const Result& result);

/// JSON after RFC 8259: one array with an object for each hit, a line each.
///
///     {"id": 7, "sensor": "3.1", "run": "...", "first_seen": "...", "last_seen": "...",
///      "duration": 4, "class": "person", "score": 0.875,
///      "scores": {"person": 0.875, "vehicle": 0, "object": 0.125},
///      "colors": [{"name": "red", "percent": 42.5, "rgb": "#c02020"}],
///      "instances": 40, "path": [[320, 410.5], [322, 411]]}
///
/// An id may be as large as 2^63-1, more than every reader takes exactly. The path is the records'
/// points. What is no number is null.
[[nodiscard]] std::string json_of(const Result& result);

} // namespace video_search
