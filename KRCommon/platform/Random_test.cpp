#include <KRCommon/platform/Random.h>

#include <KRCommon/platform/Process_testing.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

namespace {

using kr_platform::random_bytes;

TEST(RandomBytes, FillsExactlyWhatIsAskedFor)
{
    for (const std::size_t size : {0u, 1u, 2u, 15u, 16u, 255u, 256u, 257u, 4'096u}) {
        std::vector<unsigned char> seen(size, 0); // every bit of every byte is 1 once
        for (int round = 0; round < 40; ++round) {
            std::vector<unsigned char> bytes(size + 2, 0);
            bytes[size] = bytes[size + 1] = 0xEE;
            ASSERT_TRUE(random_bytes(bytes.data(), size));
            EXPECT_EQ(0xEE, bytes[size]);
            EXPECT_EQ(0xEE, bytes[size + 1]);
            for (std::size_t at = 0; at < size; ++at)
                seen[at] = static_cast<unsigned char>(seen[at] | bytes[at]);
        }
        // a bit stays 0 in 40 rounds once in 10^12
        EXPECT_TRUE(std::all_of(seen.begin(), seen.end(), [](unsigned char byte) {
            return byte == 0xFF;
        })) << size;
    }
    EXPECT_TRUE(random_bytes(nullptr, 0));
}

TEST(RandomBytes, FillsMoreThanTheSystemGivesAtOnce)
{
    std::vector<unsigned char> bytes((33u << 20) + 7, 0);
    ASSERT_TRUE(random_bytes(bytes.data(), bytes.size()));
    const auto end = bytes.end() - 64;
    EXPECT_FALSE(std::all_of(end, bytes.end(), [](unsigned char byte) { return byte == 0; }));
}

TEST(RandomBytes, OfAForkedChildAreOthers)
{
    if (!kr_platform_testing::can_fork())
        GTEST_SKIP() << "no fork on this system";
    std::array<unsigned char, 16> before{};
    ASSERT_TRUE(random_bytes(before.data(), before.size()));
    // Child and parent tell one byte each, as often as it takes that all would be equal by chance
    // once in 2^64 times.
    int equal = 0;
    for (int round = 0; round < 8; ++round) {
        const int child = kr_platform_testing::run_in_fork([] {
            unsigned char byte = 0;
            return random_bytes(&byte, 1) ? static_cast<int>(byte) : 0;
        });
        unsigned char byte = 0;
        ASSERT_TRUE(random_bytes(&byte, 1));
        equal += child == byte ? 1 : 0;
    }
    EXPECT_LT(equal, 8);
}

} // namespace
