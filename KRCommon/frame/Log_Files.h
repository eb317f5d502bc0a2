#pragma once

/// \file
/// The log manager's files as data: their names, the part to go on with, which ones to prune.
/// Nothing here logs or keeps state; reading a folder that cannot be read finds nothing.

#include <KRCommon/platform/Platform.h>

#include <ace/Date_Time.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kr_internal {

/// "<directory><separator><prefix>_<year>_<month>_<day>", month and day with two digits:
/// C:\Logs\server_2014_03_05. Directory and prefix are taken as they stand.
std::string log_file_left(const std::string& directory, const std::string& prefix,
                          const ACE_Date_Time& date);

/// "_part_<number>.log" with at least two digits: _part_03.log, _part_100.log.
std::string log_file_right(std::uint32_t part);

/// The highest part number among the directory's entries of one day, 0 when there is none.
///
/// left  the day's log_file_left(). An entry counts when "<directory><separator><entry>" contains
///       it and "_part_"; its number are the digits after the first "_part_" (with blanks and a
///       sign before them, as atol reads; at most 2,147,483,647).
/// Quirk: a "_part_" in directory or prefix is the first one, so the number is read there, 0 as
/// a rule.
std::uint32_t highest_part(const std::string& directory, const std::string& left);

/// Bytes of all files of the directory whose name begins with the prefix.
std::uint64_t bytes_of_log_files(const std::string& directory, const std::string& prefix);

/// Which files one pruning pass looks at, and how much they may hold together.
struct Prune_Request {
    std::string directory;
    std::string prefix;               ///< an entry counts when its name begins with it
    std::uint32_t max_total_size = 0; ///< bytes
    std::string exempt = {};          ///< path of a file that stays; empty: none
};

using Get_File_Info = std::function<std::optional<kr_platform::File_Info>(const std::string&)>;

/// Deletes the files with the oldest creation time until all together are at or below the limit.
/// A file that cannot be deleted is passed over and counts as deleted; the file in use is not
/// exempt, unless the request says so.
///
/// Quirk: the total is counted in 32 bits, and of several files with the same creation time (in
/// whole seconds) only the last one found is a candidate, while all their sizes count.
void prune_log_files(const Prune_Request& request,
                     const Get_File_Info& file_info = kr_platform::file_info);

} // namespace kr_internal
