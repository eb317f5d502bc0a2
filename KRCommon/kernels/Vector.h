#pragma once

/// \file
/// Vectors of 16 bytes and of 4 floats, for code that every processor of a target can run: with SSE2
/// where that is the base of the target, else, and with KR_PORTABLE, the same in plain C++.
///
///     using namespace kr_internal::vector;
///     const unsigned places = mask_of(equal(load_bytes(text), all_bytes(',')));
///
/// Threads: no state. Nothing here throws or takes memory.

#include <KRCommon/kernels/Vector_Portable.h>

#if !defined(KR_PORTABLE) && defined(__SSE2__)

#include <KRCommon/kernels/Vector_Sse2.h>

namespace kr_internal {
namespace vector = vector_sse2;
} // namespace kr_internal

#else

namespace kr_internal {
namespace vector = vector_portable;
} // namespace kr_internal

#endif
