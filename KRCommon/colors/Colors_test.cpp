#include <KRCommon/colors/Colors.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <ostream>
#include <vector>

using XML_colors = KRCMN::XML_configuration::XML_colors;

// init() is private and the library's start-up calls it. An explicit instantiation may name private
// members, so that a copy of the classifier can be filled here.
template <void (KR_Colors::*Init)(XML_colors&)>
struct Init_Access {
    friend void init_for_test(KR_Colors& colors, XML_colors& configuration)
    {
        (colors.*Init)(configuration);
    }
};
void init_for_test(KR_Colors& colors, XML_colors& configuration);
template struct Init_Access<&KR_Colors::init>;

namespace {

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr std::int32_t int_min = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t int_max = std::numeric_limits<std::int32_t>::max();
constexpr auto any_tolerance = ns__QueryTolerancePreset__value_0;

const KR_Colors& colors()
{
    return *KR_Colors::instance();
}

std::uint32_t bits_of(float number)
{
    std::uint32_t bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    return bits;
}

ns__RgbColor make_rgb(int red, int green, int blue)
{
    ns__RgbColor color;
    color.red = static_cast<std::uint8_t>(red);
    color.green = static_cast<std::uint8_t>(green);
    color.blue = static_cast<std::uint8_t>(blue);
    return color;
}

ns__HsvColor make_hsv(std::int32_t hue, float saturation, float value)
{
    ns__HsvColor color;
    color.hue = hue;
    color.saturation = saturation;
    color.value = value;
    return color;
}

// Fields start with other values, so that one that is not written shows.
ns__HsvColor to_hsv(const ns__RgbColor& color)
{
    ns__HsvColor result = make_hsv(-77, 77.0F, 77.0F);
    colors().rgb_to_hsv(color, result);
    return result;
}

ns__RgbColor to_rgb(const ns__HsvColor& color)
{
    ns__RgbColor result = make_rgb(77, 78, 79);
    colors().hsv_to_rgb(color, result);
    return result;
}

std::uint32_t packed(const ns__RgbColor& color)
{
    return static_cast<std::uint32_t>(color.red) << 16 |
           static_cast<std::uint32_t>(color.green) << 8 | color.blue;
}

std::uint32_t rgb_of(std::int32_t hue, float saturation, float value)
{
    return packed(to_rgb(make_hsv(hue, saturation, value)));
}

bool same_bits(const ns__HsvColor& a, const ns__HsvColor& b)
{
    return a.hue == b.hue && bits_of(a.saturation) == bits_of(b.saturation) &&
           bits_of(a.value) == bits_of(b.value);
}

struct Shown_Hsv {
    const ns__HsvColor& color;
};

std::ostream& operator<<(std::ostream& stream, const Shown_Hsv& shown)
{
    return stream << "hue " << shown.color.hue << " saturation " << shown.color.saturation
                  << " value " << shown.color.value;
}

// Reference conversions. Each step is calculated in double and then rounded to single precision,
// which gives what a single-precision step gives: double has more than twice the digits.

// Not inlined, as GCC 12 at -O2 otherwise loses the rounding of numbers that it keeps side by side.
[[gnu::noinline]] double single(double number)
{
    return static_cast<double>(static_cast<float>(number));
}

ns__HsvColor reference_hsv(const ns__RgbColor& color)
{
    const std::array<double, 3> c{single(color.red / 255.0), single(color.green / 255.0),
                                  single(color.blue / 255.0)};
    const auto top = static_cast<std::size_t>(std::max_element(c.begin(), c.end()) - c.begin());
    const double delta = single(c[top] - *std::min_element(c.begin(), c.end()));
    const auto value = static_cast<float>(c[top]);
    if (delta == 0.0)
        return make_hsv(-1, 0.0F, value);
    const double slope = single(single(c[(top + 1) % 3] - c[(top + 2) % 3]) / delta);
    double degrees = single(single(slope + static_cast<double>(2 * top)) * 60.0);
    if (degrees < 0.0)
        degrees = single(degrees + 360.0);
    return make_hsv(static_cast<std::int32_t>(std::floor(degrees)),
                    static_cast<float>(delta / c[top]), value);
}

// For finite components below 2^31 / 255.
int reference_byte(double component)
{
    const double rest = std::fmod(std::trunc(component * 255.0), 256.0);
    return static_cast<int>(rest < 0.0 ? rest + 256.0 : rest);
}

ns__RgbColor reference_rgb(const ns__HsvColor& color)
{
    const double v = static_cast<double>(color.value);
    const double s = static_cast<double>(color.saturation);
    const auto bytes = [](double red, double green, double blue) {
        return make_rgb(reference_byte(red), reference_byte(green), reference_byte(blue));
    };
    if (color.hue == -1 || s == 0.0)
        return bytes(v, v, v);
    const double h6 = single(single(single(color.hue) / 360.0) * 6.0);
    const double f = single(h6 - std::floor(h6));
    const double p = single(single(1.0 - s) * v);
    const double q = single(single(1.0 - single(f * s)) * v);
    const double t = single(single(1.0 - single(single(1.0 - f) * s)) * v);
    if (h6 < 0.0 || h6 >= 5.0)
        return bytes(v, p, q);
    if (h6 < 1.0)
        return bytes(v, t, p);
    if (h6 < 2.0)
        return bytes(q, v, p);
    if (h6 < 3.0)
        return bytes(p, v, t);
    return h6 < 4.0 ? bytes(p, q, v) : bytes(t, p, v);
}

// FNV-1a over 32-bit words.
class Checksum {
public:
    void add(std::uint32_t word) { sum_ = (sum_ ^ word) * 0x100'0000'01B3U; }
    void add(const ns__HsvColor& color)
    {
        add(static_cast<std::uint32_t>(color.hue));
        add(bits_of(color.saturation));
        add(bits_of(color.value));
    }
    std::uint64_t sum() const { return sum_; }

private:
    std::uint64_t sum_ = 0xCBF2'9CE4'8422'2325U;
};

TEST(KrColorsRgbToHsv, BlackWhiteAndGreyHaveNoHueAndNoSaturation)
{
    for (const int grey : {0, 1, 128, 254, 255}) {
        const ns__HsvColor color = to_hsv(make_rgb(grey, grey, grey));
        EXPECT_EQ(-1, color.hue) << grey;
        EXPECT_EQ(0u, bits_of(color.saturation)) << grey;
    }
    EXPECT_EQ(0x0000'0000u, bits_of(to_hsv(make_rgb(0, 0, 0)).value));
    EXPECT_EQ(0x3F80'0000u, bits_of(to_hsv(make_rgb(255, 255, 255)).value));
    EXPECT_EQ(0x3F00'8081u, bits_of(to_hsv(make_rgb(128, 128, 128)).value)); // 128 / 255
}

TEST(KrColorsRgbToHsv, PureColorsHaveSaturationAndValue1)
{
    struct Case {
        int red, green, blue;
        std::int32_t hue;
    };
    for (const Case& c : {Case{255, 0, 0, 0}, Case{0, 255, 0, 120}, Case{0, 0, 255, 240},
                          Case{255, 255, 0, 60}, Case{0, 255, 255, 180}, Case{255, 0, 255, 300}}) {
        const ns__HsvColor color = to_hsv(make_rgb(c.red, c.green, c.blue));
        EXPECT_EQ(c.hue, color.hue) << c.red << ' ' << c.green << ' ' << c.blue;
        EXPECT_EQ(1.0F, color.saturation) << c.hue;
        EXPECT_EQ(1.0F, color.value) << c.hue;
    }
}

TEST(KrColorsRgbToHsv, AHueBelow0IsLiftedBy360AndTruncatedTo359)
{
    EXPECT_EQ(359, to_hsv(make_rgb(255, 0, 1)).hue);
}

TEST(KrColorsRgbToHsv, TheHueIsTruncatedAndNotRounded)
{
    EXPECT_EQ(59, to_hsv(make_rgb(255, 254, 0)).hue);  // 59.76
    EXPECT_EQ(30, to_hsv(make_rgb(255, 128, 0)).hue);  // 30.12
    EXPECT_EQ(0, to_hsv(make_rgb(255, 4, 0)).hue);     // 0.94
    EXPECT_EQ(120, to_hsv(make_rgb(0, 255, 4)).hue);   // 120.94
    EXPECT_EQ(239, to_hsv(make_rgb(0, 1, 255)).hue);   // 239.76
    EXPECT_EQ(299, to_hsv(make_rgb(254, 0, 255)).hue); // 299.76
}

TEST(KrColorsRgbToHsv, QuirkOfEqualLargestComponentsRedGoesBeforeGreenAndGreenBeforeBlue)
{
    struct Case {
        int red, green, blue;
        std::int32_t hue;
    };
    for (const Case& c : {Case{255, 255, 0, 60}, Case{7, 7, 3, 60}, Case{200, 200, 199, 60},
                          Case{255, 0, 255, 300}, Case{7, 3, 7, 300}, Case{200, 199, 200, 300},
                          Case{0, 255, 255, 180}, Case{3, 7, 7, 180}, Case{199, 200, 200, 180}})
        EXPECT_EQ(c.hue, to_hsv(make_rgb(c.red, c.green, c.blue)).hue)
            << c.red << ' ' << c.green << ' ' << c.blue;
}

// Both directions for all colours with red in [first, last].
void expect_reference_results(int first, int last)
{
    int failures = 0;
    for (int red = first; red <= last; ++red)
        for (int green = 0; green < 256; ++green)
            for (int blue = 0; blue < 256; ++blue) {
                const ns__RgbColor rgb = make_rgb(red, green, blue);
                const ns__HsvColor hsv = to_hsv(rgb);
                const ns__HsvColor expected = reference_hsv(rgb);
                const std::uint32_t back = packed(to_rgb(hsv));
                if (same_bits(expected, hsv) && packed(reference_rgb(hsv)) == back)
                    continue;
                ADD_FAILURE() << red << ' ' << green << ' ' << blue << ": " << Shown_Hsv{hsv}
                              << ", expected " << Shown_Hsv{expected} << "; back " << std::hex
                              << back;
                if (++failures == 10)
                    return;
            }
}

TEST(KrColorsAllRgb, Red0To63AsTheReference)
{
    expect_reference_results(0, 63);
}

TEST(KrColorsAllRgb, Red64To127AsTheReference)
{
    expect_reference_results(64, 127);
}

TEST(KrColorsAllRgb, Red128To191AsTheReference)
{
    expect_reference_results(128, 191);
}

TEST(KrColorsAllRgb, Red192To255AsTheReference)
{
    expect_reference_results(192, 255);
}

// The exact hue is a fraction of whole numbers. Rounding moves the truncated hue by one degree
// where that fraction is whole, and nowhere else.
TEST(KrColorsAllRgb, HuesAreTheExactOnesButForRoundingOfWholeDegrees)
{
    std::uint32_t one_below = 0;
    for (int number = 0; number < 0x100'0000; ++number) {
        const int red = number >> 16;
        const int green = number >> 8 & 255;
        const int blue = number & 255;
        const int max = std::max({red, green, blue});
        const int delta = max - std::min({red, green, blue});
        if (delta == 0)
            continue;
        const int numerator = red == max     ? 60 * (green - blue)
                              : green == max ? 60 * (blue - red) + 120 * delta
                                             : 60 * (red - green) + 240 * delta;
        const int lifted = numerator < 0 ? numerator + 360 * delta : numerator;
        const int hue = to_hsv(make_rgb(red, green, blue)).hue;
        if (hue == lifted / delta)
            continue;
        ASSERT_EQ(lifted / delta - 1, hue) << std::hex << number;
        ASSERT_EQ(0, lifted % delta) << std::hex << number;
        ++one_below;
    }
    EXPECT_EQ(93'892u, one_below);
}

TEST(KrColorsAllRgb, ResultsAreTheSameBitsOnEverySystem)
{
    Checksum there;
    Checksum back;
    for (int number = 0; number < 0x100'0000; ++number) {
        const ns__HsvColor hsv = to_hsv(make_rgb(number >> 16, number >> 8 & 255, number & 255));
        there.add(hsv);
        back.add(packed(to_rgb(hsv)));
    }
    EXPECT_EQ(0x9C6C290C0F4BC1A2U, there.sum());
    EXPECT_EQ(0x7EE1DB0C13C76C6EU, back.sum());
}

TEST(KrColorsHsvToRgb, WithoutAHueGivesATruncatedGrey)
{
    for (const float saturation : {0.0F, 0.3F, 1.0F, 7.0F, nan})
        EXPECT_EQ(0x7F7F7Fu, rgb_of(-1, saturation, 0.5F)) << saturation; // of 127.5
    EXPECT_EQ(0x000000u, rgb_of(-1, 0.0F, 0.0F));
    EXPECT_EQ(0xFFFFFFu, rgb_of(-1, 0.0F, 1.0F));
}

TEST(KrColorsHsvToRgb, WithoutSaturationTheHueIsIgnored)
{
    for (const std::int32_t hue : {0, 59, 120, 359, 360, -2, int_min, int_max})
        for (const float zero : {0.0F, -0.0F})
            EXPECT_EQ(0x7F7F7Fu, rgb_of(hue, zero, 0.5F)) << hue;
}

TEST(KrColorsHsvToRgb, Hue0IsRed)
{
    EXPECT_EQ(0xFF0000u, rgb_of(0, 1.0F, 1.0F));
}

TEST(KrColorsHsvToRgb, QuirkHue360IsMagenta)
{
    EXPECT_EQ(0xFF00FFu, rgb_of(360, 1.0F, 1.0F));
    EXPECT_EQ(0xFF7FFFu, rgb_of(360, 0.5F, 1.0F));
}

TEST(KrColorsHsvToRgb, QuirkHuesOutsideTheCircleChooseAs300To359)
{
    struct Case {
        std::int32_t hue;
        std::uint32_t rgb;
    };
    for (const Case& c :
         {Case{330, 0xFF3F9F}, Case{361, 0xFF3FFB}, Case{390, 0xFF3F9F}, Case{480, 0xFF3FFF},
          Case{720, 0xFF3FFF}, Case{-2, 0xFF3F46}, Case{-30, 0xFF3F9F}, Case{-60, 0xFF3FFF},
          Case{-360, 0xFF3FFF}, Case{int_max, 0xFF3FFF}, Case{int_min, 0xFF3FFF}})
        EXPECT_EQ(c.rgb, rgb_of(c.hue, 0.75F, 1.0F)) << c.hue;
}

TEST(KrColorsHsvToRgb, QuirkComponentsBeyond0To1KeepTheirLow8Bits)
{
    EXPECT_EQ(0x323232u, rgb_of(-1, 0.0F, 1.2F));        // 306
    EXPECT_EQ(0x000000u, rgb_of(-1, 0.0F, 1.00392163F)); // 256
    EXPECT_EQ(0x818181u, rgb_of(-1, 0.0F, -0.5F));       // -127
    EXPECT_EQ(0x000000u, rgb_of(-1, 0.0F, -0.003F));     // -0.765
    EXPECT_EQ(0x320000u, rgb_of(0, 1.0F, 1.2F));
    EXPECT_EQ(0xFF8181u, rgb_of(0, 1.5F, 1.0F)); // p is -127.5
}

TEST(KrColorsHsvToRgb, QuirkComponentsBeyond32BitsAndNanGive0)
{
    for (const float value :
         {nan, infinity, -infinity, 3.0e38F, -3.0e38F, 8'421'505.0F, -8'421'505.0F, 1.0e12F})
        EXPECT_EQ(0x000000u, rgb_of(-1, 0.0F, value)) << value;
    EXPECT_EQ(0xFF0000u, rgb_of(0, nan, 1.0F)) << "value is good, p and t are not";
    EXPECT_EQ(0xFF0000u, rgb_of(0, infinity, 1.0F));
    EXPECT_EQ(0x0u, rgb_of(90, 1.0F, infinity)) << "p is 0 x infinity";
}

TEST(KrColorsHsvToRgb, QuirkTheLargest32BitComponentsStillKeepTheirLow8Bits)
{
    EXPECT_EQ(0x808080u, rgb_of(-1, 0.0F, 8'421'504.0F)); // 2,147,483,520
    EXPECT_EQ(0x818181u, rgb_of(-1, 0.0F, 8'421'503.0F));
    EXPECT_EQ(0x808080u, rgb_of(-1, 0.0F, -8'421'504.0F));
    EXPECT_EQ(0x7F7F7Fu, rgb_of(-1, 0.0F, -8'421'503.0F));
}

TEST(KrColorsHsvToRgb, SelectedColors)
{
    struct Case {
        std::int32_t hue;
        float saturation, value;
        std::uint32_t rgb;
    };
    const Case cases[] = {
        {0, 1.0F, 1.0F, 0xFF0000},     {0, 0.5F, 1.0F, 0xFF7F7F},
        {30, 1.0F, 1.0F, 0xFF7F00},    {59, 0.75F, 0.5F, 0x7F7D1F},
        {60, 1.0F, 1.0F, 0xFFFF00},    {61, 0.3F, 0.9F, 0xE4E5A0},
        {90, 0.25F, 0.25F, 0x373F2F},  {119, 1.0F, 0.75F, 0x03BF00},
        {120, 1.0F, 1.0F, 0x00FF00},   {150, 0.6F, 0.8F, 0x51CC8E},
        {179, 0.1F, 1.0F, 0xE5FFFE},   {180, 1.0F, 1.0F, 0x00FFFF},
        {200, 0.45F, 0.65F, 0x5B8CA5}, {210, 1.0F, 0.5F, 0x003F7F},
        {239, 0.9F, 0.2F, 0x050533},   {240, 1.0F, 1.0F, 0x0000FF},
        {270, 0.7F, 0.3F, 0x31164C},   {285, 0.05F, 0.95F, 0xEFE6F2},
        {299, 1.0F, 1.0F, 0xFA00FF},   {300, 1.0F, 1.0F, 0xFF00FF},
        {330, 0.5F, 0.5F, 0x7F3F5F},   {345, 0.333F, 0.777F, 0xC68494},
        {359, 1.0F, 1.0F, 0xFF0004},   {360, 0.25F, 1.0F, 0xFFBFFF},
        {361, 1.0F, 1.0F, 0xFF00FA},   {359, 1.0F, 1.2F, 0x320005},
        {200, 1.1F, 1.0F, 0xE7A1FF},   {100, 0.001F, 0.999F, 0xFEFEFE},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.rgb, rgb_of(c.hue, c.saturation, c.value))
            << Shown_Hsv{make_hsv(c.hue, c.saturation, c.value)};
}

// 0 to 1.2 in steps of 0.05, and numbers between.
std::vector<float> grid_steps()
{
    std::vector<float> steps{1.0e-8F, 0.0039F, 1.0F / 3.0F, 127.0F / 255.0F, 0.7071F, 0.9999F};
    for (int i = 0; i <= 24; ++i)
        steps.push_back(static_cast<float>(i) / 20.0F);
    return steps;
}

TEST(KrColorsHsvToRgb, AGridOfColorsIsAsTheReferenceAndTheSameOnEverySystem)
{
    Checksum checksum;
    int failures = 0;
    for (std::int32_t hue = -1; hue <= 361; ++hue)
        for (const float saturation : grid_steps())
            for (const float value : grid_steps()) {
                const ns__HsvColor hsv = make_hsv(hue, saturation, value);
                const std::uint32_t rgb = packed(to_rgb(hsv));
                checksum.add(rgb);
                if (rgb == packed(reference_rgb(hsv)))
                    continue;
                ADD_FAILURE() << Shown_Hsv{hsv} << " gives " << std::hex << rgb;
                ASSERT_LT(++failures, 10);
            }
    EXPECT_EQ(0x86003C2DA722AEF3U, checksum.sum());
}

TEST(KrColorsAngleDistance, IsTheDifferenceUpTo180)
{
    EXPECT_EQ(170.0F, colors().angle_distance(190.0F, 20.0F));
    EXPECT_EQ(180.0F, colors().angle_distance(180.0F, 0.0F)) << "the bound is inclusive";
    EXPECT_EQ(-190.0F, colors().angle_distance(0.0F, 190.0F));
    EXPECT_EQ(0.0F, colors().angle_distance(77.5F, 77.5F));
}

TEST(KrColorsAngleDistance, GoesTheOtherWayRoundAbove180)
{
    EXPECT_EQ(170.0F, colors().angle_distance(190.0F, 0.0F));
    EXPECT_EQ(179.5F, colors().angle_distance(180.5F, 0.0F));
    EXPECT_EQ(1.0F, colors().angle_distance(359.0F, 0.0F));
    EXPECT_EQ(-140.0F, colors().angle_distance(500.0F, 0.0F));
}

TEST(KrColorsAngleDistance, QuirkIsNotSymmetricAndNotAbsolute)
{
    EXPECT_EQ(20.0F, colors().angle_distance(350.0F, 10.0F));
    EXPECT_EQ(-340.0F, colors().angle_distance(10.0F, 350.0F));
}

TEST(KrColorsAngleDistance, IsSinglePrecisionInTheGivenOrder)
{
    // Any other order, and one rounding of the exact result, give 0x42CBCCCE or more.
    EXPECT_EQ(0x42CB'CCCCu, bits_of(colors().angle_distance(322.4F, 64.3F)));
    EXPECT_EQ(0xC348'3333u, bits_of(colors().angle_distance(0.1F, 200.3F)));
}

TEST(KrColorsAngleDistance, NanAndInfinity)
{
    EXPECT_TRUE(std::isnan(colors().angle_distance(nan, 1.0F)));
    EXPECT_TRUE(std::isnan(colors().angle_distance(1.0F, nan)));
    EXPECT_EQ(-infinity, colors().angle_distance(infinity, 1.0F));
    EXPECT_EQ(-infinity, colors().angle_distance(1.0F, infinity));
    EXPECT_EQ(infinity, colors().angle_distance(-infinity, 1.0F) * -1.0F);
}

bool similiar(const ns__HsvColor& a, const ns__HsvColor& b, const ns__HsvColor& tolerance)
{
    return colors().is_color_similiar(a, b, true, tolerance);
}

const ns__HsvColor no_tolerance = make_hsv(0, 0.0F, 0.0F);
const ns__HsvColor wide_tolerance = make_hsv(1000, 10.0F, 10.0F);

TEST(KrColorsSimiliar, AGreyComparesSaturationAndValueWith02WhateverTheTolerance)
{
    const ns__HsvColor grey = make_hsv(-1, 0.1F, 0.5F);
    const ns__HsvColor near = make_hsv(200, 0.25F, 0.6F);
    const ns__HsvColor more_saturated = make_hsv(200, 0.35F, 0.6F);
    const ns__HsvColor brighter = make_hsv(200, 0.25F, 0.75F);
    for (const ns__HsvColor& tolerance : {no_tolerance, wide_tolerance})
        for (const bool use_hue : {false, true}) {
            EXPECT_TRUE(colors().is_color_similiar(grey, near, use_hue, tolerance));
            EXPECT_FALSE(colors().is_color_similiar(grey, more_saturated, use_hue, tolerance));
            EXPECT_FALSE(colors().is_color_similiar(grey, brighter, use_hue, tolerance));
        }
}

TEST(KrColorsSimiliar, TheGreysThresholdIsStrict)
{
    const ns__HsvColor black = make_hsv(-1, 0.0F, 0.0F);
    const float below = std::nextafter(0.2F, 0.0F);
    EXPECT_TRUE(similiar(black, make_hsv(-1, below, -below), no_tolerance));
    EXPECT_FALSE(similiar(black, make_hsv(-1, 0.2F, 0.0F), no_tolerance));
    EXPECT_FALSE(similiar(black, make_hsv(-1, 0.0F, 0.2F), no_tolerance));
    EXPECT_FALSE(similiar(black, make_hsv(-1, -0.2F, 0.0F), no_tolerance));
}

TEST(KrColorsSimiliar, TolerancesAreStrictBounds)
{
    const ns__HsvColor a = make_hsv(100, 0.5F, 0.5F);
    const ns__HsvColor b = make_hsv(110, 0.75F, 0.25F);
    EXPECT_TRUE(similiar(a, b, make_hsv(11, 0.26F, 0.26F)));
    EXPECT_TRUE(similiar(b, a, make_hsv(11, 0.26F, 0.26F)));
    EXPECT_FALSE(similiar(a, b, make_hsv(10, 0.26F, 0.26F)));
    EXPECT_FALSE(similiar(a, b, make_hsv(11, 0.25F, 0.26F)));
    EXPECT_FALSE(similiar(a, b, make_hsv(11, 0.26F, 0.25F)));
    EXPECT_FALSE(similiar(a, a, no_tolerance)) << "not even like itself";
}

TEST(KrColorsSimiliar, WithoutHueSaturationAndValueAloneCount)
{
    const ns__HsvColor a = make_hsv(10, 0.5F, 0.5F);
    const ns__HsvColor b = make_hsv(190, 0.6F, 0.6F);
    EXPECT_TRUE(colors().is_color_similiar(a, b, false, make_hsv(0, 0.2F, 0.2F)));
    EXPECT_FALSE(colors().is_color_similiar(a, b, true, make_hsv(100, 0.2F, 0.2F)));
    EXPECT_FALSE(colors().is_color_similiar(a, b, false, make_hsv(0, 0.05F, 0.2F)));
    EXPECT_FALSE(colors().is_color_similiar(a, b, false, make_hsv(0, 0.2F, 0.05F)));
}

TEST(KrColorsSimiliar, QuirkHueDistanceIsNotSymmetric)
{
    const ns__HsvColor at_10 = make_hsv(10, 0.5F, 0.5F);
    const ns__HsvColor at_350 = make_hsv(350, 0.5F, 0.5F);
    EXPECT_TRUE(similiar(at_350, at_10, make_hsv(21, 0.1F, 0.1F)));
    EXPECT_FALSE(similiar(at_350, at_10, make_hsv(20, 0.1F, 0.1F)));
    EXPECT_TRUE(similiar(at_10, at_350, make_hsv(341, 0.1F, 0.1F)));
    EXPECT_FALSE(similiar(at_10, at_350, make_hsv(340, 0.1F, 0.1F)));
}

TEST(KrColorsSimiliar, QuirkTheGreysRuleLooksAtTheFirstColorFirst)
{
    const ns__HsvColor grey = make_hsv(-1, 0.0F, 0.5F);
    const ns__HsvColor red = make_hsv(5, 0.5F, 0.5F);
    const ns__HsvColor tolerance = make_hsv(7, 0.6F, 0.1F);
    EXPECT_FALSE(similiar(grey, red, tolerance));
    EXPECT_TRUE(similiar(red, grey, tolerance)) << "hue -1 is 6 degrees from 5";
    EXPECT_FALSE(similiar(red, grey, make_hsv(6, 0.6F, 0.1F)));
}

TEST(KrColorsSimiliar, ASecondColorWithoutHueMayStillPassAsGrey)
{
    const ns__HsvColor pale = make_hsv(90, 0.15F, 0.5F);
    EXPECT_TRUE(similiar(pale, make_hsv(-1, 0.0F, 0.6F), no_tolerance));
    EXPECT_FALSE(similiar(pale, make_hsv(-1, 0.0F, 0.75F), no_tolerance));
    EXPECT_FALSE(similiar(pale, make_hsv(-1, 0.4F, 0.6F), no_tolerance));
    EXPECT_FALSE(similiar(pale, make_hsv(90, 0.15F, 0.5F), no_tolerance));
}

TEST(KrColorsSimiliar, HuesAreComparedAsTheNumbersTheyAre)
{
    const auto hue = [](std::int32_t number) { return make_hsv(number, 0.5F, 0.5F); };
    const ns__HsvColor tolerance = make_hsv(5, 0.1F, 0.1F);
    EXPECT_TRUE(similiar(hue(370), hue(10), tolerance));
    EXPECT_FALSE(similiar(hue(10), hue(370), tolerance));
    EXPECT_FALSE(similiar(hue(730), hue(10), tolerance));
    EXPECT_TRUE(similiar(hue(-2), hue(-3), tolerance));
    EXPECT_TRUE(similiar(hue(int_max), hue(int_max), tolerance));
    EXPECT_FALSE(similiar(hue(int_min), hue(int_max), make_hsv(int_max, 0.1F, 0.1F)));
    EXPECT_FALSE(similiar(hue(int_max), hue(int_min), make_hsv(int_max, 0.1F, 0.1F)));
    EXPECT_FALSE(similiar(hue(5), hue(5), make_hsv(int_min, 0.1F, 0.1F)));
}

TEST(KrColorsSimiliar, DifferencesAreSinglePrecision)
{
    // The exact difference lies below 0.3, but is rounded to it.
    const ns__HsvColor a = make_hsv(0, 0.2F, 0.0F);
    const ns__HsvColor b = make_hsv(0, 0.5F, 0.0F);
    EXPECT_LT(static_cast<double>(0.5F) - static_cast<double>(0.2F), static_cast<double>(0.3F));
    EXPECT_FALSE(similiar(a, b, make_hsv(1, 0.3F, 1.0F)));
    EXPECT_FALSE(similiar(b, a, make_hsv(1, 0.3F, 1.0F)));
    EXPECT_TRUE(similiar(a, b, make_hsv(1, std::nextafter(0.3F, 1.0F), 1.0F)));
}

TEST(KrColorsSimiliar, NanIsLikeNothingAndInfinityOnlyWithinInfinity)
{
    const ns__HsvColor good = make_hsv(5, 0.5F, 0.5F);
    const ns__HsvColor endless = make_hsv(1000, infinity, infinity);
    for (const ns__HsvColor& bad : {make_hsv(5, nan, 0.5F), make_hsv(5, 0.5F, nan),
                                    make_hsv(-1, nan, 0.5F), make_hsv(-1, 0.5F, nan)}) {
        EXPECT_FALSE(similiar(good, bad, endless)) << Shown_Hsv{bad};
        EXPECT_FALSE(similiar(bad, good, endless)) << Shown_Hsv{bad};
        EXPECT_FALSE(similiar(bad, bad, endless)) << Shown_Hsv{bad};
    }
    EXPECT_TRUE(similiar(good, make_hsv(5, 1.0e30F, -1.0e30F), endless));
    EXPECT_FALSE(similiar(good, make_hsv(5, infinity, 0.5F), endless));
    EXPECT_FALSE(similiar(good, good, make_hsv(1000, nan, 1.0F)));
    EXPECT_FALSE(similiar(good, good, make_hsv(1000, 1.0F, nan)));
}

TEST(KrColors, InstanceIsAlwaysTheSame)
{
    ASSERT_NE(nullptr, KR_Colors::instance());
    EXPECT_EQ(KR_Colors::instance(), KR_Colors::instance());
}

TEST(KrColors, BeforeAnyConfigurationEveryColorYieldsAnEmptyList)
{
    for (const std::int32_t hue : {-1, 0, 180, 359, 360, int_min, int_max})
        for (const float number : {0.0F, 0.5F, 1.0F, nan}) {
            std::vector<ns__ColorPreset> presets;
            colors().get_color_presets(make_hsv(hue, number, number), presets, any_tolerance);
            EXPECT_TRUE(presets.empty()) << hue << ' ' << number;
            for (std::int32_t preset = -1; preset <= 15; ++preset)
                EXPECT_FALSE(colors().is_color(static_cast<ns__ColorPreset>(preset),
                                               make_hsv(hue, number, number), any_tolerance))
                    << preset << ' ' << hue << ' ' << number;
        }
}

TEST(KrColors, BeforeAnyConfigurationNoColorsAreAvailable)
{
    std::vector<ns__RgbColor> available(3);
    colors().get_available_colors(available);
    EXPECT_TRUE(available.empty());
}

void add_preset(XML_colors& configuration, const char* color, const char* rgb)
{
    auto& presets = configuration.get_presets();
    auto& preset = presets.get_preset(presets.count());
    preset.set_color(color);
    preset.set_rgb(rgb);
    preset.set_hue_to(360);
    preset.set_sat_to(1.0F);
    preset.set_val_to(1.0F);
}

// A copy of the instance, which itself stays empty, with presets that accept every colour.
KR_Colors filled_colors()
{
    XML_colors configuration;
    add_preset(configuration, "red", "FF0000");
    add_preset(configuration, "white", "F0F1F2");
    KR_Colors filled(colors());
    init_for_test(filled, configuration);
    return filled;
}

using Presets = std::vector<ns__ColorPreset>;

Presets presets_of(const KR_Colors& classifier, ns__QueryTolerancePreset tolerance = any_tolerance)
{
    Presets presets;
    classifier.get_color_presets(make_hsv(5, 0.5F, 0.5F), presets, tolerance);
    return presets;
}

TEST(KrColors, FindsTheConfiguredPresetsAndOffersTheirColors)
{
    const KR_Colors filled = filled_colors();
    EXPECT_EQ((Presets{ns__ColorPreset__white, ns__ColorPreset__red}), presets_of(filled));
    const ns__HsvColor color = make_hsv(5, 0.5F, 0.5F);
    EXPECT_TRUE(filled.is_color(ns__ColorPreset__red, color, any_tolerance));
    EXPECT_FALSE(filled.is_color(ns__ColorPreset__black, color, any_tolerance));
    std::vector<ns__RgbColor> available(3);
    filled.get_available_colors(available);
    ASSERT_EQ(2u, available.size());
    EXPECT_EQ(0xFF0000u, packed(available[0]));
    EXPECT_EQ(0xF0F1F2u, packed(available[1]));
}

TEST(KrColors, QuirkTheTolerancePresetIsIgnored)
{
    const KR_Colors filled = filled_colors();
    for (const std::int32_t number : {0, 1, 2, 3, -1, int_min, int_max}) {
        const auto tolerance = static_cast<ns__QueryTolerancePreset>(number);
        EXPECT_EQ((Presets{ns__ColorPreset__white, ns__ColorPreset__red}),
                  presets_of(filled, tolerance))
            << number;
        EXPECT_TRUE(filled.is_color(ns__ColorPreset__red, make_hsv(5, 0.5F, 0.5F), tolerance))
            << number;
        EXPECT_FALSE(filled.is_color(ns__ColorPreset__red, make_hsv(5, 1.5F, 0.5F), tolerance))
            << number;
    }
}

TEST(KrColors, CopiesHaveContentsOfTheirOwn)
{
    KR_Colors first = filled_colors();
    const KR_Colors copy(first);
    KR_Colors assigned(colors());
    assigned = first;
    XML_colors configuration;
    add_preset(configuration, "black", "000000");
    init_for_test(first, configuration);
    EXPECT_EQ(Presets{ns__ColorPreset__black}, presets_of(first));
    EXPECT_EQ((Presets{ns__ColorPreset__white, ns__ColorPreset__red}), presets_of(copy));
    EXPECT_EQ((Presets{ns__ColorPreset__white, ns__ColorPreset__red}), presets_of(assigned));
    std::vector<ns__RgbColor> available;
    copy.get_available_colors(available);
    EXPECT_EQ(2u, available.size());
    EXPECT_EQ(Presets{}, presets_of(colors())) << "the instance itself stays empty";
}

TEST(KrColors, AssignmentToItselfKeepsTheContents)
{
    KR_Colors filled = filled_colors();
    const KR_Colors& same = filled;
    filled = same;
    EXPECT_EQ((Presets{ns__ColorPreset__white, ns__ColorPreset__red}), presets_of(filled));
}

} // namespace
