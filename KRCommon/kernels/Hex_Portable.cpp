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

std::size_t decode_hex_portable(const char* text, std::size_t size, unsigned char* out) noexcept
{
    for (std::size_t done = 0; done < size; ++done) {
        const unsigned high = digit_value(text[2 * done]);
        const unsigned low = digit_value(text[2 * done + 1]);
        if ((high | low) >= no_digit)
            return done;
        out[done] = static_cast<unsigned char>(high << 4 | low);
    }
    return size;
}

} // namespace kr_internal
