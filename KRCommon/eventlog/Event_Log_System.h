#pragma once

/// \file
/// The operating system's place in the event log writer, so that a test can fail in it.

#include <KRCommon/platform/Event_Source.h>

namespace kr_internal {

/// Puts a system in the place of the real one for all writers that are made from now on, null: the
/// real one again. For tests; it must live longer than these writers.
void set_event_system(kr_platform::Event_System* system) noexcept;

} // namespace kr_internal
