#include <KRCommon/kernels/Forms.h>

#include <KRCommon/text/Digits.h>

#include <cstring>

namespace kr_internal {

namespace {

constexpr auto digit_pairs = hex_pairs(upper_hex_digits);

} // namespace

void encode_hex_portable(const unsigned char* data, std::size_t size, char* out) noexcept
{
    for (std::size_t i = 0; i < size; ++i)
        std::memcpy(out + 2 * i, digit_pairs.data() + std::size_t{2} * data[i], 2);
}

} // namespace kr_internal
