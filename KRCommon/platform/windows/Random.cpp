// The Windows side of Random.h; its twin is ../linux/Random.cpp.

#include <KRCommon/platform/Random.h>

#include <algorithm>
#include <windows.h>

// RtlGenRandom(), which no header of the compiler's declares under that name. It is in a DLL that every
// process has, where bcrypt.dll would have to be loaded.
extern "C" BOOLEAN NTAPI SystemFunction036(PVOID out, ULONG size);

namespace kr_platform {

bool random_bytes(void* out, std::size_t size) noexcept
{
    constexpr std::size_t most_at_once = 1 << 20;
    auto* at = static_cast<unsigned char*>(out);
    while (size > 0) {
        const std::size_t count = std::min(size, most_at_once);
        if (SystemFunction036(at, static_cast<ULONG>(count)) == FALSE)
            return false;
        at += count;
        size -= count;
    }
    return true;
}

} // namespace kr_platform
