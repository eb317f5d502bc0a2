#pragma once

/// \file
/// The operating system's place in the event log writer, so that a test can fail in it.

#include <KRCommon/frame/Seam.h>
#include <KRCommon/platform/Event_Source.h>

namespace kr_internal {

/// The system of all writers that are made from now on.
extern Seam<kr_platform::Event_System> event_system;

} // namespace kr_internal
