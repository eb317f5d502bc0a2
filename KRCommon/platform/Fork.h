#pragma once

/// \file
/// What has to be done around a fork of the process. Windows has none: nothing happens there.

namespace kr_platform {

/// Each is called on the thread that forks, and must not throw.
struct Fork_Steps {
    void (*before)() noexcept;    ///< in the process that forks
    void (*in_parent)() noexcept; ///< after the fork; its child may be running already
    void (*in_child)() noexcept;  ///< in the child, whose only thread is the one that forked
};

/// Has the steps called around every fork from now on, for the process's whole life. Of several,
/// those before run in reverse order, the others in order.
void around_forks(const Fork_Steps& steps) noexcept;

} // namespace kr_platform
