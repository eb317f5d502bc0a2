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
using Words = std::array<std::uint32_t, 8>;

constexpr Words initial{0x6A09E667, 0xBB67AE85, 0x3C6EF372, 0xA54FF53A,
                        0x510E527F, 0x9B05688C, 0x1F83D9AB, 0x5BE0CD19};

// Every form of the compression, which is given by the set of instructions.
using Sha256_Kernels = Kernel_Test;
INSTANTIATE_TEST_SUITE_P(Each, Sha256_Kernels, each_form(&kr_internal::Kernels::compress_sha256),
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
    kernels().compress_sha256(words.data(), data, blocks);
    return words;
}

Words compress_portably(Words words, const unsigned char* data, std::size_t blocks)
{
    kernels_for({}).compress_sha256(words.data(), data, blocks);
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

TEST_P(Sha256_Kernels, TheStandardsExamples)
{
    EXPECT_EQ((Words{0xBA7816BF, 0x8F01CFEA, 0x414140DE, 0x5DAE2223, 0xB00361A3, 0x96177A9C,
                     0xB410FF61, 0xF20015AD}),
              digest_of("abc"));
    EXPECT_EQ((Words{0x248D6A61, 0xD20638B8, 0xE5C02693, 0x0C3E6039, 0xA33CE459, 0x64FF2167,
                     0xF6ECEDD4, 0x19DB06C1}),
              digest_of("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"));
    EXPECT_EQ((Words{0xE3B0C442, 0x98FC1C14, 0x9AFBF4C8, 0x996FB924, 0x27AE41E4, 0x649B934C,
                     0xA495991B, 0x7852B855}),
              digest_of(""));
}

TEST_P(Sha256_Kernels, NoBlocksLeaveTheState)
{
    EXPECT_EQ(initial, compress(initial, nullptr, 0));
}

TEST_P(Sha256_Kernels, RandomBlocksFromRandomStates)
{
    for (std::size_t blocks = 0; blocks <= 64; ++blocks)
        for (int round = 0; round < 4; ++round) {
            const Bytes state = random_bytes(32);
            const Bytes data = random_bytes(64 * blocks);
            Words words{};
            std::memcpy(words.data(), state.data(), state.size());
            ASSERT_EQ(compress_portably(words, data.data(), blocks),
                      compress(words, data.data(), blocks))
                << blocks;
        }
}

TEST_P(Sha256_Kernels, BlocksInTwoCallsAreBlocksInOne)
{
    const Bytes data = random_bytes(64 * 9);
    const Words expected = compress_portably(initial, data.data(), 9);
    for (std::size_t first = 0; first <= 9; ++first)
        EXPECT_EQ(expected, compress(compress(initial, data.data(), first),
                                     data.data() + 64 * first, 9 - first));
}

TEST_P(Sha256_Kernels, EveryAlignment)
{
    const Bytes data = random_bytes(64 * 3);
    const Words expected = compress_portably(initial, data.data(), 3);
    for (std::size_t offset = 0; offset < 64; ++offset) {
        Bytes moved(offset);
        moved.insert(moved.end(), data.begin(), data.end());
        EXPECT_EQ(expected, compress(initial, moved.data() + offset, 3)) << offset;
    }
}

TEST_P(Sha256_Kernels, NothingOutsideTheBlocksIsRead)
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

TEST_P(Sha256_Kernels, TheStackMayHaveAnyAlignment)
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
