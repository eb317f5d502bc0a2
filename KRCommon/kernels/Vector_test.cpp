// The vectors with SSE2 beside their portable twins, on the same numbers.

#include <KRCommon/kernels/Vector.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace {

namespace twin = kr_internal::vector_portable;
using namespace kr_internal::vector;

using Sixteen = std::array<unsigned char, 16>;

// A byte of one and a byte of the other in every pair that there is.
template <typename Check>
void for_all_pairs(Check check)
{
    for (unsigned shift = 0; shift < 256; ++shift)
        for (unsigned first = 0; first < 256; first += 16) {
            Sixteen a;
            Sixteen b;
            for (unsigned i = 0; i < 16; ++i) {
                a[i] = static_cast<unsigned char>(first + i);
                b[i] = static_cast<unsigned char>(first + i + shift);
            }
            ASSERT_NO_FATAL_FAILURE(check(a, b));
        }
}

template <typename Operation, typename Twin>
void expect_alike(Operation operation, Twin of_twin)
{
    for_all_pairs([&](const Sixteen& a, const Sixteen& b) {
        Sixteen result;
        Sixteen expected;
        store_bytes(result.data(), operation(load_bytes(a.data()), load_bytes(b.data())));
        twin::store_bytes(expected.data(),
                          of_twin(twin::load_bytes(a.data()), twin::load_bytes(b.data())));
        ASSERT_EQ(expected, result);
    });
}

TEST(Vector, OperationsOnBytesAreThoseOfTheTwin)
{
    expect_alike([](auto a, auto b) { return equal(a, b); },
                 [](auto a, auto b) { return twin::equal(a, b); });
    expect_alike([](auto a, auto b) { return signed_less(a, b); },
                 [](auto a, auto b) { return twin::signed_less(a, b); });
    expect_alike([](auto a, auto b) { return unsigned_at_most(a, b); },
                 [](auto a, auto b) { return twin::unsigned_at_most(a, b); });
    expect_alike([](auto a, auto b) { return sum(a, b); },
                 [](auto a, auto b) { return twin::sum(a, b); });
    expect_alike([](auto a, auto b) { return both(a, b); },
                 [](auto a, auto b) { return twin::both(a, b); });
    expect_alike([](auto a, auto b) { return either(a, b); },
                 [](auto a, auto b) { return twin::either(a, b); });
}

TEST(Vector, OperationsOnBytesAreWhatTheyAreCalled)
{
    const Sixteen a = {0, 1, 0x7F, 0x80, 0xFF, 200, 100, 5};
    const Sixteen b = {0, 2, 0x80, 0x7F, 0x01, 100, 200, 5};
    const auto expect = [&](Bytes result, const Sixteen& expected) {
        Sixteen bytes;
        store_bytes(bytes.data(), result);
        EXPECT_EQ(expected, bytes);
    };
    const Bytes x = load_bytes(a.data());
    const Bytes y = load_bytes(b.data());
    expect(equal(x, y), {255, 0, 0, 0, 0, 0, 0, 255, 255, 255, 255, 255, 255, 255, 255, 255});
    expect(signed_less(x, y), {0, 255, 0, 255, 255, 255, 0, 0});
    expect(unsigned_at_most(x, y),
           {255, 255, 255, 0, 0, 0, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255});
    expect(sum(x, y), {0, 3, 255, 255, 0, 44, 44, 10});
    expect(both(x, y), {0, 0, 0, 0, 1, 64, 64, 5});
    expect(either(x, y), {0, 3, 255, 255, 255, 236, 236, 5});
    expect(all_bytes(-2),
           {254, 254, 254, 254, 254, 254, 254, 254, 254, 254, 254, 254, 254, 254, 254, 254});
    EXPECT_EQ(0x38U, mask_of(x));
    EXPECT_EQ(0x38U, mask_of(load_bytes(a.data())));
    EXPECT_EQ(0x8000U, mask_of(equal(load_bytes("aaaaaaaaaaaaaaab"), all_bytes('b'))));
}

TEST(Vector, MasksOfBytesAreThoseOfTheTwin)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    for (int round = 0; round < 10'000; ++round) {
        Sixteen bytes;
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(random());
        ASSERT_EQ(twin::mask_of(twin::load_bytes(bytes.data())), mask_of(load_bytes(bytes.data())));
    }
}

TEST(Vector, BytesComeFromAndGoToAnyAddress)
{
    std::array<unsigned char, 48> from;
    for (std::size_t i = 0; i < from.size(); ++i)
        from[i] = static_cast<unsigned char>(i);
    for (std::size_t at = 0; at < 32; ++at) {
        std::array<unsigned char, 48> to{};
        store_bytes(to.data() + at, load_bytes(from.data() + at));
        EXPECT_EQ(0, std::memcmp(to.data() + at, from.data() + at, 16));
        EXPECT_EQ(at * 16 + 120, [&] {
            std::size_t sum = 0;
            for (const unsigned char byte : to)
                sum += byte;
            return sum;
        }());
    }
}

const std::vector<float>& odd_floats()
{
    using Limits = std::numeric_limits<float>;
    static const std::vector<float> numbers{0.0F,
                                            -0.0F,
                                            0.4F,
                                            -0.4F,
                                            0.99999994F,
                                            1.0F,
                                            -1.0F,
                                            1.5F,
                                            -1.5F,
                                            127.9F,
                                            255.0F,
                                            256.0F,
                                            -129.0F,
                                            2147483520.0F,
                                            2147483648.0F,
                                            -2147483648.0F,
                                            -2147483904.0F,
                                            4294967296.0F,
                                            Limits::max(),
                                            Limits::lowest(),
                                            Limits::min(),
                                            1e-45F,
                                            -1e-45F,
                                            Limits::infinity(),
                                            -Limits::infinity(),
                                            Limits::quiet_NaN()};
    return numbers;
}

TEST(Vector, FloatsCompareAsTheTwin)
{
    const std::vector<float>& numbers = odd_floats();
    for (const float a : numbers)
        for (const float b : numbers) {
            const Floats x = four_floats(a, b, a, 0.0F);
            const Floats y = four_floats(b, a, a, 0.0F);
            const unsigned expected =
                (a <= b ? 1U : 0U) | (b <= a ? 2U : 0U) | (std::isnan(a) ? 0U : 4U) | 8U;
            EXPECT_EQ(expected, mask_of(at_most(x, y))) << a << ' ' << b;
            EXPECT_EQ(expected, twin::mask_of(twin::at_most(twin::four_floats(a, b, a, 0.0F),
                                                            twin::four_floats(b, a, a, 0.0F))))
                << a << ' ' << b;
        }
}

TEST(Vector, FlagsHoldTogether)
{
    alignas(16) const float rising[] = {1.0F, 2.0F, 3.0F, 4.0F};
    const Floats x = load_aligned(rising);
    EXPECT_EQ(0x6U, mask_of(both(at_most(all_floats(2.0F), x), at_most(x, all_floats(3.0F)))));
    const twin::Floats y = twin::load_aligned(rising);
    EXPECT_EQ(0x6U, twin::mask_of(twin::both(twin::at_most(twin::all_floats(2.0F), y),
                                             twin::at_most(y, twin::all_floats(3.0F)))));
}

TEST(Vector, FloatsAreTruncatedAsTheTwin)
{
    for (const float number : odd_floats())
        EXPECT_EQ(twin::truncate(number), truncate(number)) << number;
    EXPECT_EQ(-1, truncate(-1.5F));
    EXPECT_EQ(2147483520, truncate(2147483520.0F));
    constexpr std::int32_t none = std::numeric_limits<std::int32_t>::min();
    EXPECT_EQ(none, truncate(2147483648.0F));
    EXPECT_EQ(none, truncate(std::numeric_limits<float>::quiet_NaN()));
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bits in every run
    for (int round = 0; round < 100'000; ++round) {
        const auto bits = static_cast<std::uint32_t>(random());
        float number;
        std::memcpy(&number, &bits, sizeof number);
        ASSERT_EQ(twin::truncate(number), truncate(number)) << number;
    }
}

TEST(Vector, LowBytesOfTruncatedFloatsAreThoseOfTheTwin)
{
    // Constants, too.
    constexpr float beyond = 2147483648.0F;
    EXPECT_EQ(0U, truncated_low_bytes(all_floats(beyond)));
    EXPECT_EQ(0xFF'00'7F'FEU, truncated_low_bytes(four_floats(-2.0F, 127.9F, 256.0F, -1.0F)));
    const std::vector<float>& numbers = odd_floats();
    for (const float a : numbers)
        for (const float b : numbers)
            EXPECT_EQ(twin::truncated_low_bytes(twin::four_floats(a, b, 3.0F, b)),
                      truncated_low_bytes(four_floats(a, b, 3.0F, b)))
                << a << ' ' << b;
}

} // namespace
