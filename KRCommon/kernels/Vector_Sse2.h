#pragma once

/// \file
/// The vectors of Vector.h with SSE2; its twin Vector_Portable.h says what each function does.

#include <emmintrin.h>

#include <cstdint>

namespace kr_internal::vector_sse2 {

using Bytes = __m128i;

inline Bytes load_bytes(const void* bytes) noexcept
{
    return _mm_loadu_si128(static_cast<const __m128i*>(bytes));
}

inline void store_bytes(void* out, Bytes bytes) noexcept
{
    _mm_storeu_si128(static_cast<__m128i*>(out), bytes);
}

inline Bytes all_bytes(int number) noexcept
{
    return _mm_set1_epi8(static_cast<char>(number));
}

inline Bytes equal(Bytes a, Bytes b) noexcept
{
    return _mm_cmpeq_epi8(a, b);
}

inline Bytes signed_less(Bytes a, Bytes b) noexcept
{
    return _mm_cmplt_epi8(a, b);
}

inline Bytes unsigned_at_most(Bytes a, Bytes b) noexcept
{
    return _mm_cmpeq_epi8(_mm_min_epu8(a, b), a);
}

inline Bytes sum(Bytes a, Bytes b) noexcept
{
    return _mm_add_epi8(a, b);
}

inline Bytes both(Bytes a, Bytes b) noexcept
{
    return _mm_and_si128(a, b);
}

inline Bytes either(Bytes a, Bytes b) noexcept
{
    return _mm_or_si128(a, b);
}

inline unsigned mask_of(Bytes bytes) noexcept
{
    return static_cast<unsigned>(_mm_movemask_epi8(bytes));
}

using Floats = __m128;

inline Floats load_aligned(const float* numbers) noexcept
{
    return _mm_load_ps(numbers);
}

inline Floats all_floats(float number) noexcept
{
    return _mm_set1_ps(number);
}

inline Floats four_floats(float a, float b, float c, float d) noexcept
{
    return _mm_setr_ps(a, b, c, d);
}

using Flags = __m128;

inline Flags at_most(Floats a, Floats b) noexcept
{
    return _mm_cmple_ps(a, b);
}

inline Flags both(Flags a, Flags b) noexcept
{
    return _mm_and_ps(a, b);
}

inline unsigned mask_of(Flags flags) noexcept
{
    return static_cast<unsigned>(_mm_movemask_ps(flags));
}

// The instruction itself: of a constant that is no 32-bit number GCC computes another result.
inline Floats not_a_constant(Floats numbers) noexcept
{
    asm("" : "+x"(numbers));
    return numbers;
}

inline std::int32_t truncate(float number) noexcept
{
    return _mm_cvttss_si32(not_a_constant(_mm_set_ss(number)));
}

inline std::uint32_t truncated_low_bytes(Floats numbers) noexcept
{
    const __m128i whole = _mm_cvttps_epi32(not_a_constant(numbers));
    const __m128i low_bytes = _mm_and_si128(whole, _mm_set1_epi32(0xFF));
    const __m128i words = _mm_packs_epi32(low_bytes, low_bytes);
    return static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_packus_epi16(words, words)));
}

} // namespace kr_internal::vector_sse2
