// Each form of the colour conversions against the formulas of one colour.

#include <KRCommon/kernels/Color_Formulas.h>
#include <KRCommon/kernels/Kernels.h>
#include <KRCommon/platform/Platform_testing.h>

#include <tests/support/Kernel_Test.h>

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace {

using kr_internal::kernels;
using kr_platform_testing::Guarded_End;
using kr_platform_testing::Guarded_Memory;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float denormal = std::numeric_limits<float>::denorm_min();
constexpr std::int32_t int_min = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t int_max = std::numeric_limits<std::int32_t>::max();
constexpr Guarded_End both_ends[] = {Guarded_End::last, Guarded_End::first};

std::uint32_t bits_of(float number)
{
    std::uint32_t bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    return bits;
}

float number_of(std::uint32_t bits)
{
    float number = 0.0F;
    std::memcpy(&number, &bits, sizeof number);
    return number;
}

struct Hsv {
    std::int32_t hue = 0;
    float saturation = 0.0F;
    float value = 0.0F;
};

bool same_bits(const Hsv& a, const Hsv& b)
{
    return a.hue == b.hue && bits_of(a.saturation) == bits_of(b.saturation) &&
           bits_of(a.value) == bits_of(b.value);
}

Hsv formula(std::uint32_t color)
{
    Hsv hsv;
    kr_internal::rgb_to_hsv(static_cast<std::uint8_t>(color), static_cast<std::uint8_t>(color >> 8),
                            static_cast<std::uint8_t>(color >> 16), hsv.hue, hsv.saturation,
                            hsv.value);
    return hsv;
}

std::uint32_t formula(const Hsv& hsv)
{
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    kr_internal::hsv_to_rgb(hsv.hue, hsv.saturation, hsv.value, red, green, blue);
    return static_cast<std::uint32_t>(red) | static_cast<std::uint32_t>(green) << 8 |
           static_cast<std::uint32_t>(blue) << 16;
}

// Arrays of memory that ends or begins at a guard page.
template <typename Number>
class Guarded_Array {
public:
    Guarded_Array(std::size_t count, Guarded_End end) : memory_(count * sizeof(Number), end) {}
    Number* data() const { return reinterpret_cast<Number*>(memory_.data()); }

private:
    Guarded_Memory memory_;
};

struct Guarded_Colors {
    Guarded_Colors(std::size_t count, Guarded_End end)
        : colors(count, end), hues(count, end), saturations(count, end), values(count, end)
    {
    }

    void to_hsv(std::size_t count) const
    {
        kernels().rgb_to_hsv(colors.data(), count, hues.data(), saturations.data(), values.data());
    }
    void to_rgb(std::size_t count) const
    {
        kernels().hsv_to_rgb(hues.data(), saturations.data(), values.data(), count, colors.data());
    }
    Hsv hsv(std::size_t i) const
    {
        return {hues.data()[i], saturations.data()[i], values.data()[i]};
    }
    void set(std::size_t i, const Hsv& hsv) const
    {
        hues.data()[i] = hsv.hue;
        saturations.data()[i] = hsv.saturation;
        values.data()[i] = hsv.value;
    }

    Guarded_Array<std::uint32_t> colors;
    Guarded_Array<std::int32_t> hues;
    Guarded_Array<float> saturations;
    Guarded_Array<float> values;
};

using Colors_Kernels = Kernel_Test;

INSTANTIATE_TEST_SUITE_P(Each, Colors_Kernels, each_instruction_set(), name_of_set);

TEST_P(Colors_Kernels, ConvertAllColorsAsTheFormula)
{
    constexpr std::uint32_t at_once = 1U << 16;
    const Guarded_Colors arrays(at_once, Guarded_End::last);
    int failures = 0;
    for (std::uint32_t first = 0; first < 1U << 24; first += at_once) {
        for (std::uint32_t i = 0; i < at_once; ++i)
            arrays.colors.data()[i] = (first + i) | i << 24; // the top byte does not matter
        arrays.to_hsv(at_once);
        for (std::uint32_t i = 0; i < at_once; ++i)
            if (!same_bits(formula(first + i), arrays.hsv(i))) {
                ADD_FAILURE() << std::hex << first + i << " gives hue " << std::dec
                              << arrays.hsv(i).hue;
                ASSERT_LT(++failures, 10);
            }
        arrays.to_rgb(at_once);
        for (std::uint32_t i = 0; i < at_once; ++i)
            if (formula(arrays.hsv(i)) != arrays.colors.data()[i]) {
                ADD_FAILURE() << std::hex << first + i << " comes back as "
                              << arrays.colors.data()[i];
                ASSERT_LT(++failures, 10);
            }
    }
}

void expect_formula(const std::vector<Hsv>& colors)
{
    const Guarded_Colors arrays(colors.size(), Guarded_End::last);
    for (std::size_t i = 0; i < colors.size(); ++i)
        arrays.set(i, colors[i]);
    arrays.to_rgb(colors.size());
    int failures = 0;
    for (std::size_t i = 0; i < colors.size(); ++i)
        if (formula(colors[i]) != arrays.colors.data()[i]) {
            ADD_FAILURE() << "hue " << colors[i].hue << " saturation " << colors[i].saturation
                          << " value " << colors[i].value << " give " << std::hex
                          << arrays.colors.data()[i] << ", expected " << formula(colors[i]);
            ASSERT_LT(++failures, 10);
        }
}

TEST_P(Colors_Kernels, ConvertHsvWithinAndBeyondItsRangesAsTheFormula)
{
    std::vector<std::int32_t> hues{int_min, int_min + 1, -3600,       -360,   720,
                                   100'000, 16'777'217,  int_max - 1, int_max};
    for (std::int32_t hue = -62; hue <= 422; ++hue)
        hues.push_back(hue);
    std::vector<float> numbers{
        -0.0F,        denormal,     1.0e-8F,       0.0039F,   127.0F / 255.0F,
        0.9999F,      1.5F,         -0.5F,         -0.003F,   300.0F,
        8'421'503.0F, 8'421'504.0F, 8'421'505.0F,  1.0e12F,   -8'421'503.0F,
        3.0e38F,      -3.0e38F,     -8'421'504.0F, infinity,  -8'421'505.0F,
        -infinity,    nan,          -nan,          -denormal, 1.00392163F};
    for (int i = 0; i <= 24; ++i)
        numbers.push_back(static_cast<float>(i) / 20.0F);
    for (const std::int32_t hue : hues) {
        std::vector<Hsv> colors;
        for (const float saturation : numbers)
            for (const float value : numbers)
                colors.push_back({hue, saturation, value});
        ASSERT_NO_FATAL_FAILURE(expect_formula(colors));
    }
}

TEST_P(Colors_Kernels, ConvertAnyBitsAsTheFormula)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same colours in every run
    for (int round = 0; round < 50; ++round) {
        std::vector<Hsv> colors(5000);
        for (Hsv& color : colors) {
            const bool any_hue = random() % 4 == 0;
            color.hue = static_cast<std::int32_t>(any_hue ? random() : random() % 360);
            color.saturation = number_of(static_cast<std::uint32_t>(random()));
            color.value = number_of(static_cast<std::uint32_t>(random()));
        }
        ASSERT_NO_FATAL_FAILURE(expect_formula(colors));
    }
}

// A few hundred counts put the arrays at every address that numbers of four bytes may have.
TEST_P(Colors_Kernels, TouchNothingBeforeAndBehindTheirArrays)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp)
    std::vector<std::size_t> counts;
    for (std::size_t count = 0; count <= 130; ++count)
        counts.push_back(count);
    for (int i = 0; i < 200; ++i)
        counts.push_back(random() % 4097);
    for (const std::size_t count : counts)
        for (const Guarded_End end : both_ends) {
            const Guarded_Colors arrays(count, end);
            std::vector<std::uint32_t> colors(count);
            for (std::size_t i = 0; i < count; ++i)
                arrays.colors.data()[i] = colors[i] = static_cast<std::uint32_t>(random());
            arrays.to_hsv(count);
            for (std::size_t i = 0; i < count; ++i)
                ASSERT_TRUE(same_bits(formula(colors[i]), arrays.hsv(i))) << i << " of " << count;
            arrays.to_rgb(count);
            for (std::size_t i = 0; i < count; ++i)
                ASSERT_EQ(formula(arrays.hsv(i)), arrays.colors.data()[i]) << i << " of " << count;
        }
}

// The room behind the colours that are asked for stays as it was.
TEST_P(Colors_Kernels, WriteNoMoreThanTheCount)
{
    constexpr std::size_t room = 80;
    for (std::size_t count = 0; count <= 40; ++count) {
        const Guarded_Colors arrays(room, Guarded_End::last);
        for (std::size_t i = 0; i < room; ++i) {
            arrays.colors.data()[i] = 0x123456;
            arrays.set(i, {77, 7.5F, 8.5F});
        }
        arrays.to_hsv(count);
        for (std::size_t i = count; i < room; ++i)
            ASSERT_TRUE(same_bits({77, 7.5F, 8.5F}, arrays.hsv(i))) << i << " of " << count;
        arrays.to_rgb(count);
        for (std::size_t i = count; i < room; ++i)
            ASSERT_EQ(0x123456U, arrays.colors.data()[i]) << i << " of " << count;
    }
}

// 32-bit programs may call with a stack that is aligned to 4 bytes; wide registers are saved on it.
TEST_P(Colors_Kernels, WorkOnAnyStack)
{
    constexpr std::size_t count = 100;
    const Guarded_Colors arrays(count, Guarded_End::last);
    for (unsigned bytes = 0; bytes < 64; bytes += 4) {
        for (std::uint32_t i = 0; i < count; ++i)
            arrays.colors.data()[i] = i * 0x01'2345;
        kr_platform_testing::call_on_shifted_stack(
            bytes,
            [](void* argument) {
                const auto& shifted = *static_cast<const Guarded_Colors*>(argument);
                shifted.to_hsv(count);
                shifted.to_rgb(count);
            },
            const_cast<Guarded_Colors*>(&arrays));
        for (std::uint32_t i = 0; i < count; ++i) {
            ASSERT_TRUE(same_bits(formula(i * 0x01'2345), arrays.hsv(i))) << i << ' ' << bytes;
            ASSERT_EQ(formula(arrays.hsv(i)), arrays.colors.data()[i]) << i << ' ' << bytes;
        }
    }
}

} // namespace
