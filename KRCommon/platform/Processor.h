#pragma once

/// \file
/// What the processor offers beyond the instructions that everything is compiled for.
///
/// Threads: no state, any thread at any time. Never throws.

namespace kr_platform {

/// Instruction sets that the processor has, wide registers included only where the system saves
/// them for each thread.
struct Processor {
    bool sse2 = false;
    bool ssse3 = false;
    bool avx2 = false;
    bool avx512 = false; ///< F, BW, VL and VBMI
    bool sha = false;    ///< the SHA extensions, and SSE4.1, which goes with them
    bool aes = false;    ///< AES-NI
};

/// Asks the processor, some microseconds in a virtual machine. Has none of them where the processor
/// is not an x86, and in a build with KR_PORTABLE.
[[nodiscard]] Processor processor() noexcept;

} // namespace kr_platform
