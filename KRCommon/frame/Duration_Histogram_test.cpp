#include <KRCommon/frame/Duration_Histogram.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace {

using kr_internal::Duration_Histogram;

// The estimate of one duration that was counted alone.
double estimate(std::uint64_t value)
{
    Duration_Histogram histogram;
    histogram.add(value);
    return histogram.percentile(50);
}

TEST(DurationHistogram, HasNoPercentileWhileItIsEmpty)
{
    EXPECT_EQ(0, Duration_Histogram().percentile(50));
    EXPECT_EQ(0u, Duration_Histogram().count());
}

TEST(DurationHistogram, IsExactBelow64Microseconds)
{
    for (std::uint64_t value = 0; value < 64; ++value)
        EXPECT_EQ(static_cast<double>(value), estimate(value));
}

TEST(DurationHistogram, IsAtMostA64thOff)
{
    for (unsigned bit = 6; bit < 42; ++bit)
        for (const std::uint64_t offset : {0u, 1u, 31u, 32u, 33u}) {
            const std::uint64_t power = std::uint64_t{1} << bit;
            for (const std::uint64_t value : {power + offset, power + power / 3, 2 * power - 1}) {
                const auto exact = static_cast<double>(value);
                EXPECT_NEAR(exact, estimate(value), exact / 64) << value;
            }
        }
}

TEST(DurationHistogram, LongerOnesCountAsTheLongest)
{
    const double longest = estimate((std::uint64_t{1} << 42) - 1);
    for (const std::uint64_t value : {std::uint64_t{1} << 42, UINT64_MAX})
        EXPECT_EQ(longest, estimate(value));
}

TEST(DurationHistogram, PercentilesAreTheNearestRanks)
{
    Duration_Histogram histogram;
    for (const std::uint64_t value : {10u, 20u, 30u})
        histogram.add(value);
    EXPECT_EQ(10, histogram.percentile(1));
    EXPECT_EQ(10, histogram.percentile(33));
    EXPECT_EQ(20, histogram.percentile(34));
    EXPECT_EQ(20, histogram.percentile(66));
    EXPECT_EQ(30, histogram.percentile(67));
    EXPECT_EQ(30, histogram.percentile(100));
    EXPECT_EQ(3u, histogram.count());
}

TEST(DurationHistogram, AgreesWithSortingWithinItsBound)
{
    std::mt19937 random(7);
    std::lognormal_distribution<double> durations(9, 2);
    Duration_Histogram histogram;
    std::vector<std::uint64_t> values;
    for (int i = 0; i < 10'000; ++i) {
        values.push_back(static_cast<std::uint64_t>(durations(random)));
        histogram.add(values.back());
    }
    std::sort(values.begin(), values.end());
    for (const unsigned percent : {1u, 50u, 90u, 99u, 100u}) {
        const auto exact = static_cast<double>(values[values.size() * percent / 100 - 1]);
        EXPECT_NEAR(exact, histogram.percentile(percent), exact / 64) << percent;
    }
}

} // namespace
