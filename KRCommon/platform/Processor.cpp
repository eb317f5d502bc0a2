#include <KRCommon/platform/Processor.h>

#if !defined(KR_PORTABLE) && (defined(__i386__) || defined(__x86_64__))

#include <cpuid.h>

namespace kr_platform {

namespace {

// The registers that an inquiry answers in; zeros where the processor does not know it.
struct Answer {
    unsigned eax = 0;
    unsigned ebx = 0;
    unsigned ecx = 0;
    unsigned edx = 0;
};

Answer ask(unsigned leaf) noexcept
{
    Answer answer;
    __get_cpuid_count(leaf, 0, &answer.eax, &answer.ebx, &answer.ecx, &answer.edx);
    return answer;
}

bool has(unsigned bits, unsigned wanted) noexcept
{
    return (bits & wanted) == wanted;
}

// Which registers the system saves, by the processor's register XCR0. Only after the processor has
// said that there is one.
unsigned saved_registers() noexcept
{
    unsigned low = 0;
    unsigned high = 0;
    asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low;
}

constexpr unsigned ymm_state = 0x06;     // bits 1 and 2: XMM and the upper halves of YMM
constexpr unsigned zmm_state = 0xE0;     // bits 5 to 7: masks, upper halves of ZMM, ZMM16 to 31
constexpr unsigned has_xgetbv = 1 << 27; // leaf 1, ECX: OSXSAVE

} // namespace

Processor processor() noexcept
{
    const Answer basic = ask(1);
    const Answer extended = ask(7);
    const unsigned saved = has(basic.ecx, has_xgetbv) ? saved_registers() : 0;
    const bool saves_ymm = has(saved, ymm_state);
    const bool saves_zmm = has(saved, ymm_state | zmm_state);

    Processor result;
    result.sse2 = has(basic.edx, bit_SSE2);
    result.ssse3 = has(basic.ecx, bit_SSSE3);
    result.avx2 = saves_ymm && has(basic.ecx, bit_AVX) && has(extended.ebx, bit_AVX2);
    result.avx512 = saves_zmm && has(extended.ebx, bit_AVX512F | bit_AVX512BW | bit_AVX512VL) &&
                    has(extended.ecx, bit_AVX512VBMI);
    result.sha = has(extended.ebx, bit_SHA) && has(basic.ecx, bit_SSE4_1);
    result.aes = has(basic.ecx, bit_AES);
    return result;
}

} // namespace kr_platform

#else

namespace kr_platform {

Processor processor() noexcept
{
    return {};
}

} // namespace kr_platform

#endif
