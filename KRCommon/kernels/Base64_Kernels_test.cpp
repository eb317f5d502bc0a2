// Each form of the Base64 loops against the rules taken bit by bit.

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

constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr unsigned char untouched = 0xEE;
constexpr Guarded_End both_ends[] = {Guarded_End::last, Guarded_End::first};

std::string random_bytes(std::mt19937& random, std::size_t size)
{
    std::string bytes(size, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

// Whole groups alone.
std::string encoded(const std::string& bytes)
{
    std::string text;
    for (std::size_t bit = 0; bit < bytes.size() / 3 * 24; bit += 6) {
        unsigned number = 0;
        for (std::size_t i = bit; i < bit + 6; ++i)
            number = number * 2 + (static_cast<unsigned char>(bytes[i / 8]) >> (7 - i % 8) & 1U);
        text += alphabet[number];
    }
    return text;
}

// Copies lie in memory of their own, whose neighbours may not be touched.
struct Guarded_Copy {
    Guarded_Copy(const std::string& text, Guarded_End end) : memory(text.size(), end)
    {
        std::memcpy(memory.data(), text.data(), text.size());
    }

    Guarded_Memory memory;
};

std::string encoded_by_kernel(const std::string& bytes, Guarded_End end)
{
    const Guarded_Copy data(bytes, end);
    const std::size_t size = bytes.size() / 3 * 4;
    const Guarded_Memory out(size, end);
    kernels().encode_base64(data.memory.data(), bytes.size(), reinterpret_cast<char*>(out.data()));
    return std::string(out.data(), out.data() + size);
}

// The bytes; the room behind them that the text might have needed must stay as it was.
std::string decoded_by_kernel(const std::string& text, Guarded_End end, std::size_t expected_count)
{
    const Guarded_Copy data(text, end);
    const std::size_t room = text.size() / 4 * 3;
    const Guarded_Memory out(room, end);
    std::memset(out.data(), untouched, room);
    const std::size_t count = kernels().decode_base64(
        reinterpret_cast<const char*>(data.memory.data()), text.size(), out.data());
    EXPECT_EQ(expected_count, count);
    EXPECT_EQ(std::string(room - count / 4 * 3, static_cast<char>(untouched)),
              std::string(out.data() + count / 4 * 3, out.data() + room));
    return std::string(out.data(), out.data() + count / 4 * 3);
}

using Base64_Kernels = Kernel_Test;

INSTANTIATE_TEST_SUITE_P(Each, Base64_Kernels, each_instruction_set(), name_of_set);

TEST_P(Base64_Kernels, EncodeLiteralBytes)
{
    EXPECT_EQ("", encoded_by_kernel("", Guarded_End::last));
    EXPECT_EQ("", encoded_by_kernel("Ma", Guarded_End::last));
    EXPECT_EQ("TWFu", encoded_by_kernel("Man", Guarded_End::last));
    EXPECT_EQ("TWFu", encoded_by_kernel("Many", Guarded_End::last));
    EXPECT_EQ("AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4v",
              encoded_by_kernel(
                  [] {
                      std::string bytes;
                      for (char i = 0; i < 48; ++i)
                          bytes += i;
                      return bytes;
                  }(),
                  Guarded_End::last));
}

TEST_P(Base64_Kernels, EncodeEveryCharacterAtEveryPlace)
{
    for (std::size_t place = 0; place < 96; ++place)
        for (unsigned number = 0; number < 64; ++number) {
            std::string bytes(72, '\0');
            const std::size_t group = place / 4 * 3;
            const unsigned bits = number << (18 - 6 * (place % 4));
            bytes[group] = static_cast<char>(bits >> 16);
            bytes[group + 1] = static_cast<char>(bits >> 8);
            bytes[group + 2] = static_cast<char>(bits);
            std::string expected(96, 'A');
            expected[place] = alphabet[number];
            std::string text(96, '\0');
            kernels().encode_base64(reinterpret_cast<const unsigned char*>(bytes.data()), 72,
                                    text.data());
            ASSERT_EQ(expected, text);
        }
}

TEST_P(Base64_Kernels, EncodeAnyLengthBetweenGuardPages)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    for (std::size_t size = 0; size <= 300; ++size)
        for (const Guarded_End end : both_ends) {
            const std::string bytes = random_bytes(random, size);
            ASSERT_EQ(encoded(bytes), encoded_by_kernel(bytes, end)) << size;
        }
}

TEST_P(Base64_Kernels, TakeRandomLengthsBothWays)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    for (int round = 0; round < 200; ++round) {
        const std::string bytes = random_bytes(random, random() % 4097);
        const std::string text = encoded(bytes);
        const Guarded_End end = both_ends[random() % 2];
        ASSERT_EQ(text, encoded_by_kernel(bytes, end)) << bytes.size();
        ASSERT_EQ(bytes.substr(0, bytes.size() / 3 * 3), decoded_by_kernel(text, end, text.size()));
    }
}

TEST_P(Base64_Kernels, TakeAnyAlignment)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    const std::string bytes = random_bytes(random, 198);
    const std::string text = encoded(bytes);
    std::vector<unsigned char> from(400);
    std::vector<unsigned char> to(400);
    for (std::size_t in = 0; in < 64; ++in)
        for (std::size_t out = 0; out < 64; ++out) {
            std::memcpy(from.data() + in, bytes.data(), bytes.size());
            kernels().encode_base64(from.data() + in, bytes.size(),
                                    reinterpret_cast<char*>(to.data() + out));
            ASSERT_EQ(0, std::memcmp(to.data() + out, text.data(), text.size()));
            std::memcpy(from.data() + in, text.data(), text.size());
            ASSERT_EQ(text.size(),
                      kernels().decode_base64(reinterpret_cast<const char*>(from.data() + in),
                                              text.size(), to.data() + out));
            ASSERT_EQ(0, std::memcmp(to.data() + out, bytes.data(), bytes.size()));
        }
}

TEST_P(Base64_Kernels, DecodeEveryCharacterAtEveryPlace)
{
    for (std::size_t place = 0; place < 136; ++place)
        for (int code = 0; code < 256; ++code) {
            std::string text(136, 'A');
            text[place] = static_cast<char>(code);
            const char* const found =
                code == 0 ? nullptr : std::strchr(alphabet, static_cast<char>(code));
            const std::size_t count = found != nullptr ? 136 : place / 4 * 4;
            std::string expected(count / 4 * 3, '\0');
            if (found != nullptr) {
                const unsigned bits = static_cast<unsigned>(found - alphabet)
                                      << (18 - 6 * (place % 4));
                expected[place / 4 * 3] = static_cast<char>(bits >> 16);
                expected[place / 4 * 3 + 1] = static_cast<char>(bits >> 8);
                expected[place / 4 * 3 + 2] = static_cast<char>(bits);
            }
            std::string bytes(102, static_cast<char>(untouched));
            const std::size_t done = kernels().decode_base64(
                text.data(), text.size(), reinterpret_cast<unsigned char*>(bytes.data()));
            expected.resize(102, static_cast<char>(untouched));
            ASSERT_EQ(count, done) << place << ' ' << code;
            ASSERT_EQ(expected, bytes) << place << ' ' << code;
        }
}

TEST_P(Base64_Kernels, DecodeAnyLengthAndAnErrorAnywhereBetweenGuardPages)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    for (std::size_t size = 0; size <= 270; ++size)
        for (const Guarded_End end : both_ends) {
            const std::string bytes = random_bytes(random, size);
            std::string text = (encoded(bytes) + "AAAA").substr(0, size);
            const std::size_t whole = size / 4 * 4;
            ASSERT_EQ(encoded(decoded_by_kernel(text, end, whole)), text.substr(0, whole)) << size;
            const std::size_t error = random() % (size + 1);
            if (error == size)
                continue;
            text[error] = "=\n-_ \x80\xFF"[random() % 7];
            const std::size_t good = error < whole ? error / 4 * 4 : whole;
            ASSERT_EQ(encoded(decoded_by_kernel(text, end, good)), text.substr(0, good)) << size;
        }
}

std::string lines_of(const std::string& bytes)
{
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += 57)
        text += encoded(bytes.substr(at, 57)) + '\n';
    return text;
}

TEST_P(Base64_Kernels, EncodeAnyNumberOfLinesBetweenGuardPages)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    for (std::size_t lines = 0; lines <= 60; ++lines)
        for (const Guarded_End end : both_ends) {
            const std::string bytes = random_bytes(random, 57 * lines);
            const Guarded_Copy data(bytes, end);
            const Guarded_Memory out(77 * lines, end);
            kernels().encode_base64_lines(data.memory.data(), lines,
                                          reinterpret_cast<char*>(out.data()));
            ASSERT_EQ(lines_of(bytes), std::string(out.data(), out.data() + 77 * lines));
        }
}

// All that is right is written, and nothing but what decode_base64 would write after the lines.
void expect_lines(const std::string& text, const std::string& bytes, Guarded_End end,
                  std::size_t expected)
{
    const Guarded_Copy data(text, end);
    const Guarded_Memory out(bytes.size(), end);
    const std::size_t lines = kernels().decode_base64_lines(
        reinterpret_cast<const char*>(data.memory.data()), text.size(), out.data());
    ASSERT_EQ(expected, lines);
    ASSERT_EQ(bytes.substr(0, 57 * lines), std::string(out.data(), out.data() + 57 * lines));
}

TEST_P(Base64_Kernels, DecodeAnyNumberOfLinesBetweenGuardPages)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    for (std::size_t lines = 0; lines <= 60; ++lines)
        for (const Guarded_End end : both_ends) {
            const std::string bytes = random_bytes(random, 57 * lines);
            expect_lines(lines_of(bytes), bytes, end, lines);
        }
}

TEST_P(Base64_Kernels, DecodeLinesUpToAnErrorAnywhere)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    const std::string bytes = random_bytes(random, 3 * 57);
    const std::string text = lines_of(bytes);
    for (std::size_t error = 0; error < text.size(); ++error)
        for (const char character : {'=', '\n', '\r', '\xFF', 'A'}) {
            std::string wrong = text;
            wrong[error] = character;
            if (character == (error % 77 == 76 ? '\n' : 'A'))
                continue; // right, or another right text
            // Room for the groups before the error alone.
            const std::size_t line = error / 77;
            const std::size_t room = 57 * line + error % 77 / 4 * 3;
            expect_lines(wrong, bytes.substr(0, room), Guarded_End::last, line);
        }
}

TEST_P(Base64_Kernels, DecodeLinesOfACutText)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    const std::string bytes = random_bytes(random, 3 * 57);
    const std::string text = lines_of(bytes);
    for (std::size_t size = 0; size <= text.size(); ++size)
        expect_lines(text.substr(0, size), bytes.substr(0, 57 * (size / 77)), Guarded_End::last,
                     size / 77);
}

struct Shifted_Run {
    std::string bytes;
    std::string text;
    std::string back;
};

TEST_P(Base64_Kernels, RunOnAStackOfAnyAlignment)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    for (unsigned shift = 0; shift < 64; shift += 4) {
        Shifted_Run run;
        run.bytes = random_bytes(random, 1002);
        run.text.resize(1336);
        run.back.resize(1002);
        kr_platform_testing::call_on_shifted_stack(
            shift,
            [](void* argument) {
                auto& own = *static_cast<Shifted_Run*>(argument);
                kernels().encode_base64(reinterpret_cast<const unsigned char*>(own.bytes.data()),
                                        own.bytes.size(), own.text.data());
                kernels().decode_base64(own.text.data(), own.text.size(),
                                        reinterpret_cast<unsigned char*>(own.back.data()));
            },
            &run);
        ASSERT_EQ(encoded(run.bytes), run.text) << shift;
        ASSERT_EQ(run.bytes, run.back) << shift;
    }
}

} // namespace
