#include <KRCommon/util/Guid_Making.h>

#include <KRCommon/platform/Process_testing.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <set>
#include <thread>
#include <unordered_set>
#include <vector>

namespace {

using namespace kr_internal;

bool all_ones(void* out, std::size_t size) noexcept
{
    std::memset(out, 0xFF, size);
    return true;
}

bool all_zeros(void* out, std::size_t size) noexcept
{
    std::memset(out, 0, size);
    return true;
}

bool fails(void* out, std::size_t size) noexcept
{
    std::memset(out, 0xEE, size);
    return false;
}

// The bytes of the examples in RFC 9562, appendix A, which are in the order of the text.
bool example_bytes(void* out, std::size_t) noexcept
{
    KR_GUID guid = kr_to_guid("919108f7-52d1-4320-9bac-f847db4148a8");
    std::memcpy(out, &guid, sizeof guid);
    return true;
}

std::string v4(Random_Bytes& random)
{
    KR_GUID guid;
    EXPECT_TRUE(make_guids_v4(&guid, 1, random));
    return kr_to_string(guid);
}

std::string v7(std::uint64_t instant, Random_Bytes& random)
{
    KR_GUID guid;
    EXPECT_TRUE(make_guids_v7(&guid, 1, instant, random));
    return kr_to_string(guid);
}

TEST(GuidMaking, Version4HasVersionAndVariantAndElseRandomBits)
{
    EXPECT_EQ("ffffffff-ffff-4fff-bfff-ffffffffffff", v4(all_ones));
    EXPECT_EQ("00000000-0000-4000-8000-000000000000", v4(all_zeros));
    EXPECT_EQ("919108f7-52d1-4320-9bac-f847db4148a8", v4(example_bytes));
}

TEST(GuidMaking, Version7BeginsWithMilliseconds)
{
    EXPECT_EQ("017f22e2-79b0-7cc3-bfff-ffffffffffff",
              v7(std::uint64_t{0x017F'22E2'79B0} << 12 | 0xCC3, all_ones));
    EXPECT_EQ("017f22e2-79b0-7cc3-8000-000000000000",
              v7(std::uint64_t{0x017F'22E2'79B0} << 12 | 0xCC3, all_zeros));
    EXPECT_EQ("00000000-0000-7000-8000-000000000000", v7(0, all_zeros));
    EXPECT_EQ("ffffffff-ffff-7fff-8000-000000000000", v7(~std::uint64_t{0} >> 4, all_zeros));
}

TEST(GuidMaking, ABatchOfVersion7CountsOn)
{
    KR_GUID guids[3];
    ASSERT_TRUE(make_guids_v7(guids, 3, 0x1FFE, all_zeros));
    EXPECT_EQ("00000000-0001-7ffe-8000-000000000000", kr_to_string(guids[0]));
    EXPECT_EQ("00000000-0001-7fff-8000-000000000000", kr_to_string(guids[1]));
    EXPECT_EQ("00000000-0002-7000-8000-000000000000", kr_to_string(guids[2]));
}

TEST(GuidMaking, WithoutTheSystemsGeneratorThereAreNilOnes)
{
    std::vector<KR_GUID> guids(3, KR_GUID{1, 2, 3, {4}});
    EXPECT_FALSE(make_guids_v4(guids.data(), 2, fails));
    EXPECT_EQ(KR_GUID(), guids[0]);
    EXPECT_EQ(KR_GUID(), guids[1]);
    EXPECT_EQ((KR_GUID{1, 2, 3, {4}}), guids[2]);
    EXPECT_FALSE(make_guids_v7(guids.data(), 3, 77, fails));
    EXPECT_EQ(KR_GUID(), guids[2]);
}

TEST(GuidMaking, ABatchOfNoneIsNothing)
{
    EXPECT_TRUE(kr_create_guids_v4(nullptr, 0));
    EXPECT_TRUE(kr_create_guids_v7(nullptr, 0));
}

TEST(GuidClock, OnlyGoesForward)
{
    Guid_Clock clock;
    EXPECT_EQ(100u, clock.take(100, 1));
    EXPECT_EQ(101u, clock.take(100, 1)); // it stands
    EXPECT_EQ(102u, clock.take(50, 10)); // it was set back
    EXPECT_EQ(112u, clock.take(105, 1));
    EXPECT_EQ(1'000u, clock.take(1'000, 0));
    EXPECT_EQ(1'000u, clock.take(1'000, 1));
}

template <typename Make>
void expect_unlike(Make make)
{
    std::vector<KR_GUID> guids(20'000);
    ASSERT_TRUE(make(guids.data(), guids.size()));
    std::unordered_set<KR_GUID> all(guids.begin(), guids.end());
    EXPECT_EQ(guids.size(), all.size());
    for (const KR_GUID& guid : guids)
        ASSERT_EQ(0x80, guid.Data4[0] & 0xC0);
}

TEST(KrCreateGuid, Version4IsAnotherEachTime)
{
    EXPECT_NE(kr_create_guid_v4(), kr_create_guid_v4());
    EXPECT_EQ(4, kr_create_guid_v4().Data3 >> 12);
    expect_unlike(kr_create_guids_v4);
}

TEST(KrCreateGuid, Version4SetsEveryOtherBitAtTimes)
{
    std::vector<KR_GUID> guids(1'000);
    ASSERT_TRUE(kr_create_guids_v4(guids.data(), guids.size()));
    unsigned char ones[16] = {};
    unsigned char zeros[16] = {};
    for (const KR_GUID& guid : guids) {
        unsigned char bytes[16];
        std::memcpy(bytes, &guid, sizeof bytes);
        for (std::size_t at = 0; at < 16; ++at) {
            ones[at] = static_cast<unsigned char>(ones[at] | bytes[at]);
            zeros[at] = static_cast<unsigned char>(zeros[at] | ~bytes[at]);
        }
    }
    const unsigned char expected_ones[16] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x4F,
                                             0xBF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    const unsigned char expected_zeros[16] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xBF,
                                              0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(0, std::memcmp(expected_ones, ones, 16));
    EXPECT_EQ(0, std::memcmp(expected_zeros, zeros, 16));
}

TEST(KrCreateGuid, Version7TellsTheTime)
{
    using namespace std::chrono;
    const auto milliseconds_now = [] {
        return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    };
    const std::int64_t before = milliseconds_now();
    const KR_GUID guid = kr_create_guid_v7();
    const std::int64_t after = milliseconds_now();
    const std::int64_t told = static_cast<std::int64_t>(guid.Data1) << 16 | guid.Data2;
    EXPECT_GE(told, before);
    EXPECT_LE(told, after + 1'000); // earlier batches may have run ahead
    EXPECT_EQ(7, guid.Data3 >> 12);
}

TEST(KrCreateGuid, Version7Grows)
{
    KR_GUID last = kr_create_guid_v7();
    for (int count = 0; count < 10'000; ++count) {
        const KR_GUID next = kr_create_guid_v7();
        ASSERT_TRUE(last < next);
        ASSERT_LT(kr_to_string(last), kr_to_string(next));
        last = next;
    }
    std::vector<KR_GUID> guids(1'000);
    ASSERT_TRUE(kr_create_guids_v7(guids.data(), guids.size()));
    EXPECT_TRUE(last < guids.front());
    EXPECT_TRUE(std::is_sorted(guids.begin(), guids.end()));
    EXPECT_TRUE(guids.back() < kr_create_guid_v7());
    expect_unlike(kr_create_guids_v7);
}

TEST(KrCreateGuid, Version7GrowsOnEachOfSeveralThreads)
{
    constexpr std::size_t each = 5'000;
    std::vector<std::vector<KR_GUID>> made(4);
    std::vector<std::thread> threads;
    for (auto& guids : made)
        threads.emplace_back([&guids] {
            for (std::size_t count = 0; count < each; ++count)
                guids.push_back(kr_create_guid_v7());
        });
    for (std::thread& thread : threads)
        thread.join();
    // each instant was given once
    std::set<std::uint64_t> instants;
    for (const auto& guids : made) {
        EXPECT_TRUE(std::is_sorted(guids.begin(), guids.end()));
        for (const KR_GUID& guid : guids)
            instants.insert(static_cast<std::uint64_t>(guid.Data1) << 28 |
                            static_cast<std::uint64_t>(guid.Data2) << 12 | (guid.Data3 & 0xFFF));
    }
    EXPECT_EQ(made.size() * each, instants.size());
}

TEST(KrCreateGuid, AForkedChildMakesOthers)
{
    if (!kr_platform_testing::can_fork())
        GTEST_SKIP() << "no fork on this system";
    // A byte of each, many times: all equal by chance once in 2^64 times.
    int equal_v4 = 0;
    int equal_v7 = 0;
    for (int round = 0; round < 8; ++round) {
        const int child_v4 =
            kr_platform_testing::run_in_fork([] { return int{kr_create_guid_v4().Data4[7]}; });
        equal_v4 += child_v4 == kr_create_guid_v4().Data4[7] ? 1 : 0;
        const int child_v7 =
            kr_platform_testing::run_in_fork([] { return int{kr_create_guid_v7().Data4[7]}; });
        equal_v7 += child_v7 == kr_create_guid_v7().Data4[7] ? 1 : 0;
    }
    EXPECT_LT(equal_v4, 8);
    EXPECT_LT(equal_v7, 8);
}

TEST(KrGuidKey, HasTheOrderOfItsText)
{
    const char* const texts[] = {
        "00000000-0000-0000-0000-000000000000", "00000000-0000-0000-0000-000000000001",
        "00000000-0000-0000-0000-010000000000", "00000000-0000-0000-0001-000000000000",
        "00000000-0000-0000-ff00-000000000000", "00000000-0000-0001-0000-000000000000",
        "00000000-0000-8000-0000-000000000000", "00000000-0001-0000-0000-000000000000",
        "00000000-ff00-0000-0000-000000000000", "00000001-0000-0000-0000-000000000000",
        "00000100-0000-0000-0000-000000000000", "7fffffff-0000-0000-0000-000000000000",
        "80000000-0000-0000-0000-000000000000", "ffffffff-ffff-ffff-ffff-ffffffffffff"};
    for (const char* left : texts)
        for (const char* right : texts)
            EXPECT_EQ(std::string(left) < right, kr_to_guid(left) < kr_to_guid(right))
                << left << " " << right;
}

TEST(KrGuidKey, HashesOfIdentifiersThatDifferInOneBitDiffer)
{
    std::set<std::size_t> hashes;
    KR_GUID guid = kr_to_guid("6f9619ff-8b86-4011-b42d-00c04fc964ff");
    hashes.insert(std::hash<KR_GUID>()(guid));
    for (std::size_t bit = 0; bit < 128; ++bit) {
        unsigned char bytes[16];
        std::memcpy(bytes, &guid, sizeof bytes);
        bytes[bit / 8] = static_cast<unsigned char>(bytes[bit / 8] ^ 1 << bit % 8);
        KR_GUID other;
        std::memcpy(&other, bytes, sizeof bytes);
        hashes.insert(std::hash<KR_GUID>()(other));
    }
    EXPECT_EQ(129u, hashes.size());
    EXPECT_EQ(std::hash<KR_GUID>()(guid), std::hash<KR_GUID>()(KR_GUID(guid)));
}

TEST(KrGuidKey, HashesFillTheBucketsEvenly)
{
    std::vector<KR_GUID> guids(4'096);
    ASSERT_TRUE(kr_create_guids_v7(guids.data(), guids.size()));
    std::vector<int> buckets(1'024);
    for (const KR_GUID& guid : guids)
        ++buckets[std::hash<KR_GUID>()(guid) % buckets.size()];
    EXPECT_LT(*std::max_element(buckets.begin(), buckets.end()), 30); // 4 on average
}

TEST(KrGuidText, WithoutTheHeapIsTheSame)
{
    const KR_GUID guid = kr_to_guid("6f9619ff-8b86-4011-b42d-00c04fc964ff");
    const KR_Guid_Text text = kr_to_guid_text(guid);
    EXPECT_STREQ("6f9619ff-8b86-4011-b42d-00c04fc964ff", text.c_str());
    EXPECT_EQ("6f9619ff-8b86-4011-b42d-00c04fc964ff", text.view());
    EXPECT_EQ(37u, sizeof text);
    EXPECT_EQ(kr_to_string(KR_GUID()), kr_to_guid_text({}).view());
    EXPECT_EQ("", std::string(KR_Guid_Text().c_str()));
}

} // namespace
