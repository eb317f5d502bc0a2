#pragma once

/// \file
/// What comes before searches of a store. Threads: no state.

#include <KRCommon/frame/ProfileHelper.h>

#include <functional>
#include <string>

namespace video_search {

/// Failure where there is no such file; a cluster is asked when it is opened. Asked before a host makes
/// its log, whose folder is not to be made for a store that does not exist.
void check_exists(const std::string& store);

/// Gives the store its index where it has none, of an earlier version say, with a progress bar on
/// stderr. Where that is not possible, or is_stopped() says so meanwhile, searches go through the
/// records; the log tells why. Failure where the store cannot be read.
///
/// profile  gets "index"
void upgrade(const std::string& store, ProfileHelper& profile,
             const std::function<bool()>& is_stopped);

} // namespace video_search
