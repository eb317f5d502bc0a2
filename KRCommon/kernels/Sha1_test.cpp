#include <KRCommon/kernels/Kernels.h>

#include <KRCommon/platform/Platform_testing.h>

#include <tests/support/Kernel_Test.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

using kr_internal::kernels;
using kr_internal::kernels_for;
using kr_platform_testing::Guarded_End;
using kr_platform_testing::Guarded_Memory;

using Bytes = std::vector<unsigned char>;
using Words = std::array<std::uint32_t, 5>;

constexpr Words initial{0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};

// Every form of the compression, which is given by the set of instructions.
using Sha1_Kernels = Kernel_Test;
INSTANTIATE_TEST_SUITE_P(Each, Sha1_Kernels, each_form(&kr_internal::Kernels::compress_sha1),
                         name_of_set);

Bytes random_bytes(std::size_t size)
{
    static std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    Bytes bytes(size);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random());
    return bytes;
}

Words compress(Words words, const unsigned char* data, std::size_t blocks)
{
    kernels().compress_sha1(words.data(), data, blocks);
    return words;
}

Words compress_portably(Words words, const unsigned char* data, std::size_t blocks)
{
    kernels_for({}).compress_sha1(words.data(), data, blocks);
    return words;
}

// The message, a bit 1, zeros, and the length in bits: whole blocks of a message below 8 KiB.
Bytes padded(const std::string& message)
{
    Bytes bytes(message.begin(), message.end());
    bytes.push_back(0x80);
    bytes.resize((message.size() + 8) / 64 * 64 + 62);
    bytes.push_back(static_cast<unsigned char>(message.size() >> 5));
    bytes.push_back(static_cast<unsigned char>(message.size() << 3));
    return bytes;
}

Words digest_of(const std::string& message)
{
    const Bytes bytes = padded(message);
    return compress(initial, bytes.data(), bytes.size() / 64);
}

TEST_P(Sha1_Kernels, TheStandardsExamples)
{
    EXPECT_EQ((Words{0xA9993E36, 0x4706816A, 0xBA3E2571, 0x7850C26C, 0x9CD0D89D}),
              digest_of("abc"));
    EXPECT_EQ((Words{0x84983E44, 0x1C3BD26E, 0xBAAE4AA1, 0xF95129E5, 0xE54670F1}),
              digest_of("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"));
    EXPECT_EQ((Words{0xDA39A3EE, 0x5E6B4B0D, 0x3255BFEF, 0x95601890, 0xAFD80709}), digest_of(""));
}

TEST_P(Sha1_Kernels, NoBlocksLeaveTheState)
{
    EXPECT_EQ(initial, compress(initial, nullptr, 0));
}

TEST_P(Sha1_Kernels, RandomBlocksFromRandomStates)
{
    for (std::size_t blocks = 0; blocks <= 64; ++blocks)
        for (int round = 0; round < 4; ++round) {
            const Bytes state = random_bytes(20);
            const Bytes data = random_bytes(64 * blocks);
            Words words{};
            std::memcpy(words.data(), state.data(), state.size());
            ASSERT_EQ(compress_portably(words, data.data(), blocks),
                      compress(words, data.data(), blocks))
                << blocks;
        }
}

TEST_P(Sha1_Kernels, BlocksInTwoCallsAreBlocksInOne)
{
    const Bytes data = random_bytes(64 * 9);
    const Words expected = compress_portably(initial, data.data(), 9);
    for (std::size_t first = 0; first <= 9; ++first)
        EXPECT_EQ(expected, compress(compress(initial, data.data(), first),
                                     data.data() + 64 * first, 9 - first));
}

TEST_P(Sha1_Kernels, EveryAlignment)
{
    const Bytes data = random_bytes(64 * 3);
    const Words expected = compress_portably(initial, data.data(), 3);
    for (std::size_t offset = 0; offset < 64; ++offset) {
        Bytes moved(offset);
        moved.insert(moved.end(), data.begin(), data.end());
        EXPECT_EQ(expected, compress(initial, moved.data() + offset, 3)) << offset;
    }
}

TEST_P(Sha1_Kernels, NothingOutsideTheBlocksIsRead)
{
    for (const Guarded_End end : {Guarded_End::first, Guarded_End::last})
        for (std::size_t blocks = 1; blocks <= 5; ++blocks) {
            const Bytes data = random_bytes(64 * blocks);
            const Guarded_Memory memory(data.size(), end);
            std::memcpy(memory.data(), data.data(), data.size());
            EXPECT_EQ(compress_portably(initial, data.data(), blocks),
                      compress(initial, memory.data(), blocks));
        }
}

TEST_P(Sha1_Kernels, TheStackMayHaveAnyAlignment)
{
    const Bytes data = random_bytes(64 * 3);
    const Words expected = compress_portably(initial, data.data(), 3);
    for (unsigned shift = 0; shift < 16; shift += 4) {
        struct Call {
            const unsigned char* data;
            Words words;
        } call{data.data(), initial};
        kr_platform_testing::call_on_shifted_stack(
            shift,
            [](void* argument) {
                auto& to_do = *static_cast<Call*>(argument);
                to_do.words = compress(to_do.words, to_do.data, 3);
            },
            &call);
        EXPECT_EQ(expected, call.words) << shift;
    }
}

} // namespace
