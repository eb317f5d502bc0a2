// Each form of the hexadecimal loops against the rules taken digit by digit.

#include <KRCommon/kernels/Kernels.h>
#include <KRCommon/platform/Platform_testing.h>

#include <tests/support/Kernel_Test.h>

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

using kr_internal::kernels;
using kr_platform_testing::Guarded_End;
using kr_platform_testing::Guarded_Memory;

constexpr char digits[] = "0123456789ABCDEF";
constexpr unsigned char untouched = 0xEE;
constexpr Guarded_End both_ends[] = {Guarded_End::last, Guarded_End::first};

std::string random_bytes(std::mt19937& random, std::size_t size)
{
    std::string bytes(size, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

std::string encoded(const std::string& bytes)
{
    std::string text;
    for (const char byte : bytes) {
        text += digits[static_cast<unsigned char>(byte) / 16];
        text += digits[static_cast<unsigned char>(byte) % 16];
    }
    return text;
}

int value_of(char digit)
{
    const char* const found = std::strchr("0123456789ABCDEFabcdef", digit);
    if (digit == '\0' || found == nullptr)
        return -1;
    return digit <= '9' ? digit - '0' : (digit | 0x20) - 'a' + 10;
}

// Up to the first pair that is none.
std::string decoded(const std::string& text)
{
    std::string bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        const int high = value_of(text[i]);
        const int low = value_of(text[i + 1]);
        if (high < 0 || low < 0)
            break;
        bytes += static_cast<char>(high * 16 + low);
    }
    return bytes;
}

std::string encoded_by_kernel(const std::string& bytes, Guarded_End end)
{
    const Guarded_Memory data(bytes.size(), end);
    std::memcpy(data.data(), bytes.data(), bytes.size());
    const Guarded_Memory out(2 * bytes.size(), end);
    kernels().encode_hex(data.data(), bytes.size(), reinterpret_cast<char*>(out.data()));
    return std::string(out.data(), out.data() + 2 * bytes.size());
}

// The room behind the bytes that are decoded must stay as it was.
std::string decoded_by_kernel(const std::string& text, Guarded_End end)
{
    const Guarded_Memory data(text.size(), end);
    std::memcpy(data.data(), text.data(), text.size());
    const std::size_t room = text.size() / 2;
    const Guarded_Memory out(room, end);
    std::memset(out.data(), untouched, room);
    const std::size_t count =
        kernels().decode_hex(reinterpret_cast<const char*>(data.data()), room, out.data());
    EXPECT_EQ(std::string(room - count, static_cast<char>(untouched)),
              std::string(out.data() + count, out.data() + room));
    return std::string(out.data(), out.data() + count);
}

using Hex_Kernels = Kernel_Test;

INSTANTIATE_TEST_SUITE_P(Each, Hex_Kernels, each_instruction_set(), name_of_set);

TEST_P(Hex_Kernels, TakeLiteralBytes)
{
    EXPECT_EQ("", encoded_by_kernel("", Guarded_End::last));
    EXPECT_EQ("", decoded_by_kernel("", Guarded_End::last));
    const std::string bytes =
        "\x01\x23\x45\x67\x89\xAB\xCD\xEF\xFE\xDC\xBA\x98\x76\x54\x32\x10\x0F";
    EXPECT_EQ("0123456789ABCDEFFEDCBA98765432100F", encoded_by_kernel(bytes, Guarded_End::last));
    EXPECT_EQ(bytes, decoded_by_kernel("0123456789ABCDEFFEDCBA98765432100F", Guarded_End::last));
    EXPECT_EQ(bytes, decoded_by_kernel("0123456789abcdeffedcba98765432100f", Guarded_End::last));
}

TEST_P(Hex_Kernels, EncodeEveryByteAtEveryPlace)
{
    for (std::size_t place = 0; place < 48; ++place)
        for (int byte = 0; byte < 256; ++byte) {
            std::string bytes(48, '\0');
            bytes[place] = static_cast<char>(byte);
            std::string text(96, 'x');
            kernels().encode_hex(reinterpret_cast<const unsigned char*>(bytes.data()), 48,
                                 text.data());
            ASSERT_EQ(encoded(bytes), text);
        }
}

TEST_P(Hex_Kernels, DecodeEveryCharacterAtEveryPlace)
{
    for (std::size_t place = 0; place < 94; ++place)
        for (int code = 0; code < 256; ++code) {
            std::string text(94, '0');
            text[place] = static_cast<char>(code);
            std::string bytes(47, static_cast<char>(untouched));
            std::string expected = decoded(text);
            ASSERT_EQ(expected.size(),
                      kernels().decode_hex(text.data(), 47,
                                           reinterpret_cast<unsigned char*>(bytes.data())))
                << place << ' ' << code;
            expected.resize(47, static_cast<char>(untouched));
            ASSERT_EQ(expected, bytes) << place << ' ' << code;
        }
}

TEST_P(Hex_Kernels, TakeAnyLengthBetweenGuardPages)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    for (std::size_t size = 0; size <= 200; ++size)
        for (const Guarded_End end : both_ends) {
            const std::string bytes = random_bytes(random, size);
            std::string text = encoded(bytes);
            ASSERT_EQ(text, encoded_by_kernel(bytes, end)) << size;
            ASSERT_EQ(bytes, decoded_by_kernel(text, end)) << size;
            if (size == 0)
                continue;
            text[random() % text.size()] = "GgxX @`/:\n\x80\xFF"[random() % 12];
            ASSERT_EQ(decoded(text), decoded_by_kernel(text, end)) << size;
        }
}

TEST_P(Hex_Kernels, TakeRandomLengths)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    for (int round = 0; round < 200; ++round) {
        const std::string bytes = random_bytes(random, random() % 4097);
        const Guarded_End end = both_ends[random() % 2];
        const std::string text = encoded(bytes);
        ASSERT_EQ(text, encoded_by_kernel(bytes, end)) << bytes.size();
        ASSERT_EQ(bytes, decoded_by_kernel(text, end)) << bytes.size();
    }
}

TEST_P(Hex_Kernels, TakeAnyAlignment)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    const std::string bytes = random_bytes(random, 103);
    const std::string text = encoded(bytes);
    std::vector<unsigned char> from(300);
    std::vector<unsigned char> to(300);
    for (std::size_t in = 0; in < 32; ++in)
        for (std::size_t out = 0; out < 32; ++out) {
            std::memcpy(from.data() + in, bytes.data(), bytes.size());
            kernels().encode_hex(from.data() + in, bytes.size(),
                                 reinterpret_cast<char*>(to.data() + out));
            ASSERT_EQ(0, std::memcmp(to.data() + out, text.data(), text.size()));
            std::memcpy(from.data() + in, text.data(), text.size());
            ASSERT_EQ(bytes.size(),
                      kernels().decode_hex(reinterpret_cast<const char*>(from.data() + in),
                                           bytes.size(), to.data() + out));
            ASSERT_EQ(0, std::memcmp(to.data() + out, bytes.data(), bytes.size()));
        }
}

struct Shifted_Run {
    std::string bytes;
    std::string text;
    std::string back;
};

TEST_P(Hex_Kernels, RunOnAStackOfAnyAlignment)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    for (unsigned shift = 0; shift < 64; shift += 4) {
        Shifted_Run run;
        run.bytes = random_bytes(random, 1003);
        run.text.resize(2006);
        run.back.resize(1003);
        kr_platform_testing::call_on_shifted_stack(
            shift,
            [](void* argument) {
                auto& own = *static_cast<Shifted_Run*>(argument);
                kernels().encode_hex(reinterpret_cast<const unsigned char*>(own.bytes.data()),
                                     own.bytes.size(), own.text.data());
                kernels().decode_hex(own.text.data(), own.bytes.size(),
                                     reinterpret_cast<unsigned char*>(own.back.data()));
            },
            &run);
        ASSERT_EQ(encoded(run.bytes), run.text) << shift;
        ASSERT_EQ(run.bytes, run.back) << shift;
    }
}

} // namespace
