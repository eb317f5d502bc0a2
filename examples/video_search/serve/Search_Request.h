#pragma once

/// \file
/// What a client asks a search for, in parameters of the names of kr_search's options with "_" in place
/// of "-". The JSON and the SOAP interface read it here alike. Threads: no state.

#include "Cursor.h"
#include "Limits.h"
#include "Query_Text.h"
#include "search/Criteria.h"

#include <ace/Time_Value.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace video_search {

struct Search_Request {
    Criteria criteria; ///< with a limit
    std::optional<Cursor> after;
};

/// How objects are spread over a time.
struct Density_Request {
    Criteria criteria; ///< with both times, `to` later than `from`
    std::size_t buckets = 100;
};

/// most  objects that may be asked for; `usual` when no limit is given
/// Both throw Api_Error that names the parameter: unknown ones, repeated ones, values out of range.
[[nodiscard]] Search_Request read_search(const Parameters& parameters, const Limits& limits,
                                         std::size_t usual, std::size_t most);
[[nodiscard]] Density_Request read_density(const Parameters& parameters, const Limits& limits);

/// "2014-03-05T12:00:00.1Z" or "2014/03/05 12:00:00.100000". Throws Api_Error.
[[nodiscard]] ACE_Time_Value read_time(const std::string& parameter, const std::string& text);

/// "3.1". Throws Api_Error with status 404: it is a part of a path.
[[nodiscard]] ns__SensorId read_sensor(const std::string& text);
/// Decimal digits. Throws Api_Error with status 404.
[[nodiscard]] std::uint64_t read_object_id(const std::string& text);

/// The whole text as a number, throws Api_Error.
[[nodiscard]] std::int64_t read_whole(const std::string& parameter, const std::string& text,
                                      std::int64_t least, std::int64_t most);

} // namespace video_search
