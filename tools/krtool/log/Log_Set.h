#pragma once

/// \file
/// Which log files are meant: the arguments, with the parts in folders, in the order of their begin.

#include <cstdint>
#include <string>
#include <vector>

namespace krtool {

struct Log_Part {
    std::string path;
    std::string name; ///< the file's own
    std::int64_t date =
        0; ///< days since 1970: that of the name, else of the file's last change, of
           ///< the standard input today's
    std::uint64_t number = 0;
    bool has_name = false; ///< date and number are the name's

    friend bool operator<(const Log_Part& a, const Log_Part& b) noexcept
    {
        return a.date != b.date ? a.date < b.date : a.number < b.number;
    }
};

/// The parts of one prefix in one folder, or one file of another name.
struct Log_Chain {
    std::string key; ///< tells chains apart
    std::vector<Log_Part> parts;
};

/// What the arguments mean now: of folders every file with the name of a part, of files themselves. A
/// part that is there both packed and not is read as it is. `is_following`: with a part come those
/// that begin after it.
///
/// Throws Failure when a file is missing, or a folder cannot be read.
[[nodiscard]] std::vector<Log_Chain> find_logs(const std::vector<std::string>& arguments,
                                               bool is_following);

/// The clock on the wall of this machine, in microseconds since 1970-01-01 00:00.
[[nodiscard]] std::int64_t local_now();

} // namespace krtool
