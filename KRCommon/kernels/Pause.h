#pragma once

/// \file
/// Tells the processor that the thread spins.

#if !defined(KR_PORTABLE) && defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kr_internal {

/// Gives a moment to the core's other thread, where the processor has an instruction for it.
inline void pause_processor() noexcept
{
#if !defined(KR_PORTABLE) && defined(__SSE2__)
    _mm_pause();
#endif
}

} // namespace kr_internal
