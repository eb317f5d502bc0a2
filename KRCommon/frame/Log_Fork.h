#pragma once

/// \file
/// The log across a fork of the process, where the system has one. A child gets a copy of the log as
/// some thread happened to use it, and of a lock that a thread holds which the child does not have:
/// its first line would wait for ever. So the log lock is held while the process forks, and the child
/// makes it anew.

#include <KRCommon/platform/Fork.h>

namespace kr_internal {

/// Makes every child that is forked from now on able to log: to the same files, with the forking
/// thread's settings. The steps are the caller's own: before the fork and in the parent the log lock
/// is held meanwhile, in the child the log is made anew already.
/// Called once in a process.
void keep_log_across_forks(const kr_platform::Fork_Steps& steps) noexcept;

} // namespace kr_internal
