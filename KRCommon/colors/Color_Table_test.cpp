#include <KRCommon/colors/Color_Table.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <list>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using kr_internal::color_range;
using kr_internal::Color_Table;
using kr_internal::parse_rgb;
using XML_colors = KRCMN::XML_configuration::XML_colors;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr std::int32_t int_min = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t int_max = std::numeric_limits<std::int32_t>::max();

using Presets = std::vector<ns__ColorPreset>;

constexpr auto unnamed = static_cast<ns__ColorPreset>(0);
constexpr auto white = ns__ColorPreset__white;
constexpr auto black = ns__ColorPreset__black;
constexpr auto red = ns__ColorPreset__red;
constexpr auto purple = ns__ColorPreset__purple;

const char* const names[] = {nullptr,     "white", "black",       "gray",       "light_blue",
                             "dark_blue", "brown", "light_green", "dark_green", "yellow",
                             "orange",    "red",   "pink",        "purple"};

// A row of the configuration.
struct Row {
    const char* color; // null: no such attribute
    std::int32_t hue_from, hue_to;
    float sat_from = 0.0F, sat_to = 1.0F, val_from = 0.0F, val_to = 1.0F;
    const char* rgb = "";
};

XML_colors configuration_of(const std::vector<Row>& rows)
{
    XML_colors configuration;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        auto& preset = configuration.get_presets().get_preset(i);
        const Row& row = rows[i];
        if (row.color != nullptr)
            preset.set_color(row.color);
        preset.set_rgb(row.rgb);
        preset.set_hue_from(row.hue_from);
        preset.set_hue_to(row.hue_to);
        preset.set_sat_from(row.sat_from);
        preset.set_sat_to(row.sat_to);
        preset.set_val_from(row.val_from);
        preset.set_val_to(row.val_to);
    }
    return configuration;
}

Color_Table table_of(const std::vector<Row>& rows)
{
    XML_colors configuration = configuration_of(rows);
    Color_Table table;
    table.rebuild(configuration);
    return table;
}

ns__HsvColor make_hsv(std::int32_t hue, float saturation = 0.5F, float value = 0.5F)
{
    ns__HsvColor color;
    color.hue = hue;
    color.saturation = saturation;
    color.value = value;
    return color;
}

Presets presets_of(const Color_Table& table, const ns__HsvColor& color, Presets presets = {})
{
    table.append_presets(color, presets);
    return presets;
}

bool is_red(const Color_Table& table, const ns__HsvColor& color)
{
    return table.has_preset(red, color);
}

// Exactly the hues that a table of red ranges accepts.
std::vector<std::int32_t> red_hues(const std::vector<Row>& rows)
{
    const Color_Table table = table_of(rows);
    std::vector<std::int32_t> hues;
    for (std::int32_t hue = 0; hue < 360; ++hue)
        if (is_red(table, make_hsv(hue)))
            hues.push_back(hue);
    return hues;
}

// first, first + 1 ... last, and on from 0 when it is beyond 359; ascending.
std::vector<std::int32_t> hues(std::int32_t first, std::int32_t last)
{
    std::vector<std::int32_t> result;
    for (std::int32_t hue = first; hue <= last; ++hue)
        result.push_back(hue % 360);
    std::sort(result.begin(), result.end());
    return result;
}

TEST(KrColorTable, AnEmptyTableHoldsNothing)
{
    const Color_Table table;
    for (const std::int32_t hue : {-1, 0, 359, 360, int_min, int_max}) {
        EXPECT_EQ(0u, table.preset_mask(make_hsv(hue)));
        EXPECT_EQ(Presets{}, presets_of(table, make_hsv(hue)));
        for (std::int32_t preset = 0; preset < 14; ++preset)
            EXPECT_FALSE(table.has_preset(static_cast<ns__ColorPreset>(preset), make_hsv(hue)));
    }
    EXPECT_TRUE(table.palette().empty());
}

TEST(KrColorTable, APlainRangeAcceptsWhatLiesBetween)
{
    EXPECT_EQ(hues(100, 200), red_hues({{"red", 100, 200}}));
    EXPECT_EQ(hues(0, 359), red_hues({{"red", 0, 359}}));
    EXPECT_EQ(hues(0, 1), red_hues({{"red", 0, 1}}));
    EXPECT_EQ(hues(358, 359), red_hues({{"red", 358, 359}}));
}

TEST(KrColorTable, ARangeThatWrapsAcceptsBothSides)
{
    EXPECT_EQ(hues(330, 390), red_hues({{"red", 330, 30}}));
    EXPECT_EQ(hues(359, 360), red_hues({{"red", 359, 0}}));
    EXPECT_EQ(hues(2, 361), red_hues({{"red", 2, 1}}));
}

TEST(KrColorTable, ARangeFrom0To360AcceptsEveryHue)
{
    EXPECT_EQ(hues(0, 359), red_hues({{"red", 0, 360}}));
    EXPECT_EQ(hues(0, 359), red_hues({{"red", 0, 0}}));
}

TEST(KrColorTable, QuirkEqualBoundsAcceptEveryHue)
{
    EXPECT_EQ(hues(0, 359), red_hues({{"red", 90, 90}}));
    EXPECT_EQ(hues(0, 359), red_hues({{"red", 90, 450}}));
    EXPECT_EQ(hues(0, 359), red_hues({{"red", -1, 359}}));
}

TEST(KrColorTable, HueBoundsAreNormalised)
{
    EXPECT_EQ(hues(330, 390), red_hues({{"red", -30, 30}}));
    EXPECT_EQ(hues(330, 390), red_hues({{"red", -750, 750}}));
    EXPECT_EQ(hues(10, 20), red_hues({{"red", 370, 740}}));
    EXPECT_EQ(hues(0, 5), red_hues({{"red", -360, 5}}));
    EXPECT_EQ(hues(127, 232), red_hues({{"red", int_max, int_min}})); // 2^31 is 128 modulo 360
    EXPECT_EQ(hues(232, 487), red_hues({{"red", int_min, int_max}}));
}

TEST(KrColorTable, ANegativeHueCountsAs0AndAnyOtherModulo360)
{
    const Color_Table at_0 = table_of({{"red", 0, 1}});
    for (const std::int32_t hue : {0, -1, -2, -180, -359, -360, int_min, 360, 361, 720, 360'001})
        EXPECT_TRUE(is_red(at_0, make_hsv(hue))) << hue;
    for (const std::int32_t hue : {2, 359, 362, 719, int_max})
        EXPECT_FALSE(is_red(at_0, make_hsv(hue))) << hue;
    EXPECT_TRUE(is_red(table_of({{"red", 127, 128}}), make_hsv(int_max)));
    EXPECT_FALSE(is_red(table_of({{"red", 128, 129}}), make_hsv(int_max)));
}

TEST(KrColorTable, BoundsAreInclusive)
{
    const Color_Table table = table_of({{"red", 100, 200, 0.2F, 0.4F, 0.6F, 0.8F}});
    const auto below = [](float number) { return std::nextafter(number, -1.0F); };
    const auto above = [](float number) { return std::nextafter(number, 2.0F); };
    for (const auto& color : {make_hsv(100, 0.2F, 0.6F), make_hsv(200, 0.4F, 0.8F),
                              make_hsv(100, 0.4F, 0.6F), make_hsv(200, 0.2F, 0.8F)})
        EXPECT_TRUE(is_red(table, color)) << color.hue << ' ' << color.saturation;
    EXPECT_FALSE(is_red(table, make_hsv(99, 0.3F, 0.7F)));
    EXPECT_FALSE(is_red(table, make_hsv(201, 0.3F, 0.7F)));
    EXPECT_FALSE(is_red(table, make_hsv(150, below(0.2F), 0.7F)));
    EXPECT_FALSE(is_red(table, make_hsv(150, above(0.4F), 0.7F)));
    EXPECT_FALSE(is_red(table, make_hsv(150, 0.3F, below(0.6F))));
    EXPECT_FALSE(is_red(table, make_hsv(150, 0.3F, above(0.8F))));
}

TEST(KrColorTable, BoundsAreTakenAsTheyAre)
{
    EXPECT_FALSE(is_red(table_of({{"red", 0, 0}}), make_hsv(0, 1.2F, 1.0F)));
    EXPECT_TRUE(is_red(table_of({{"red", 0, 0, 0.0F, 1.5F}}), make_hsv(0, 1.2F, 1.0F)));
    EXPECT_TRUE(is_red(table_of({{"red", 0, 0, -2.0F, -1.0F}}), make_hsv(0, -1.5F, 1.0F)));
    EXPECT_FALSE(is_red(table_of({{"red", 0, 0, 0.6F, 0.4F}}), make_hsv(0, 0.5F, 0.5F)));
    EXPECT_FALSE(is_red(table_of({{"red", 0, 0, 0.0F, 1.0F, 0.6F, 0.4F}}), make_hsv(0)));
}

TEST(KrColorTable, NegativeZeroIsZero)
{
    const Color_Table table = table_of({{"red", 0, 0, 0.0F, 0.0F, -0.0F, -0.0F}});
    for (const float saturation : {0.0F, -0.0F})
        for (const float value : {0.0F, -0.0F})
            EXPECT_TRUE(is_red(table, make_hsv(0, saturation, value)));
    EXPECT_FALSE(is_red(table, make_hsv(0, std::nextafter(0.0F, 1.0F), 0.0F)));
    EXPECT_FALSE(is_red(table, make_hsv(0, std::nextafter(0.0F, -1.0F), 0.0F)));
}

TEST(KrColorTable, NanIsInNoRange)
{
    const Color_Table everything =
        table_of({{"red", 0, 0, -infinity, infinity, -infinity, infinity}});
    EXPECT_TRUE(is_red(everything, make_hsv(0)));
    EXPECT_FALSE(is_red(everything, make_hsv(0, nan, 0.5F)));
    EXPECT_FALSE(is_red(everything, make_hsv(0, 0.5F, nan)));
    for (std::size_t bound = 0; bound < 4; ++bound) {
        std::array<float, 4> bounds{0.0F, 1.0F, 0.0F, 1.0F};
        bounds[bound] = nan;
        const Color_Table table =
            table_of({{"red", 0, 0, bounds[0], bounds[1], bounds[2], bounds[3]}});
        EXPECT_FALSE(is_red(table, make_hsv(0))) << bound;
    }
}

TEST(KrColorTable, InfinityIsWithinInfiniteBoundsAlone)
{
    const Color_Table upward = table_of({{"red", 0, 0, 0.0F, infinity, 0.0F, infinity}});
    EXPECT_TRUE(is_red(upward, make_hsv(0, infinity, infinity)));
    EXPECT_FALSE(is_red(upward, make_hsv(0, -infinity, infinity)));
    EXPECT_FALSE(is_red(table_of({{"red", 0, 0}}), make_hsv(0, infinity, 0.5F)));
}

TEST(KrColorTable, AColorWithoutHueMatchesAsHue0)
{
    const Color_Table table = table_of({{"white", 0, 360, 0.0F, 0.2F, 0.8F, 1.0F},
                                        {"red", 340, 15, 0.0F, 1.0F, 0.3F, 1.0F},
                                        {"pink", 340, 15, 0.4F, 1.0F, 0.3F, 1.0F},
                                        {"purple", 255, 310, 0.0F, 1.0F, 0.3F, 1.0F}});
    EXPECT_EQ((Presets{white, red}), presets_of(table, make_hsv(-1, 0.0F, 0.95F)));
}

TEST(KrColorTable, APresetWithTwoMatchingRangesIsReportedOnce)
{
    const Color_Table table = table_of({{"red", 0, 30}, {"red", 10, 40}, {"red", 0, 0}});
    EXPECT_EQ(Presets{red}, presets_of(table, make_hsv(20)));
}

TEST(KrColorTable, APresetMatchesWhenAnyOfItsRangesDoes)
{
    std::vector<Row> rows;
    for (std::int32_t i = 0; i < 20; ++i)
        rows.push_back({i % 2 == 0 ? "red" : "white", i * 10, i * 10 + 1});
    const Color_Table table = table_of(rows);
    for (std::int32_t i = 0; i < 20; ++i)
        EXPECT_EQ(Presets{i % 2 == 0 ? red : white}, presets_of(table, make_hsv(i * 10))) << i;
    EXPECT_EQ(Presets{}, presets_of(table, make_hsv(5)));
}

TEST(KrColorTable, PresetsAreReportedInAscendingOrder)
{
    std::vector<Row> rows;
    Presets expected;
    for (std::int32_t number = 13; number >= 1; --number) {
        rows.push_back({names[number], 0, 0});
        expected.insert(expected.begin(), static_cast<ns__ColorPreset>(number));
    }
    EXPECT_EQ(expected, presets_of(table_of(rows), make_hsv(77)));
    EXPECT_EQ(0x3FFEu, table_of(rows).preset_mask(make_hsv(77)));
}

TEST(KrColorTable, QuirkResultsAreAppendedToTheCallersVector)
{
    const Color_Table table = table_of({{"purple", 0, 0}, {"black", 0, 0}});
    EXPECT_EQ((Presets{red, white, black, purple}), presets_of(table, make_hsv(5), {red, white}));
}

TEST(KrColorTable, APresetThatTheVectorHoldsIsNotAppendedAgain)
{
    const Color_Table table =
        table_of({{"white", 0, 0}, {"black", 0, 0}, {"red", 0, 0}, {"purple", 0, 0}});
    const ns__HsvColor color = make_hsv(5);
    EXPECT_EQ((Presets{white, black, red, purple}), presets_of(table, color, {white}));
    EXPECT_EQ((Presets{purple, white, black, red}), presets_of(table, color, {purple, white}));
    EXPECT_EQ((Presets{red, red, white, red, black, purple}),
              presets_of(table, color, {red, red, white, red}));
    EXPECT_EQ((Presets{purple, red, black, white}),
              presets_of(table, color, {purple, red, black, white}));
}

TEST(KrColorTable, OtherNumbersInTheVectorStayAndChangeNothing)
{
    const Color_Table table = table_of({{"white", 0, 0}, {"red", 0, 0}});
    for (const std::int32_t number : {0, 14, 31, 32, 33, 43, 64, 65, -1, -31, int_min, int_max}) {
        const auto other = static_cast<ns__ColorPreset>(number);
        EXPECT_EQ((Presets{other, white, red}), presets_of(table, make_hsv(5), {other})) << number;
    }
}

TEST(KrColorTable, NoOtherNumberIsAPreset)
{
    std::vector<Row> rows;
    for (const char* name : names)
        rows.push_back({name, 0, 0});
    const Color_Table table = table_of(rows);
    for (std::int32_t number = 0; number < 14; ++number)
        EXPECT_TRUE(table.has_preset(static_cast<ns__ColorPreset>(number), make_hsv(5))) << number;
    for (const std::int32_t number : {14, 15, 31, 32, 33, 64, 256, -1, -31, int_min, int_max})
        EXPECT_FALSE(table.has_preset(static_cast<ns__ColorPreset>(number), make_hsv(5))) << number;
}

TEST(KrColorTable, RangesWithoutAKnownColorNameCountForPreset0)
{
    const Color_Table table =
        table_of({{"red", 0, 0}, {nullptr, 10, 20}, {"Red", 30, 40}, {"", 50, 60}});
    for (const std::int32_t hue : {15, 35, 55}) {
        EXPECT_EQ((Presets{unnamed, red}), presets_of(table, make_hsv(hue))) << hue;
        EXPECT_TRUE(table.has_preset(unnamed, make_hsv(hue))) << hue;
        EXPECT_EQ((Presets{unnamed, red}), presets_of(table, make_hsv(hue), {unnamed})) << hue;
    }
    EXPECT_EQ(Presets{red}, presets_of(table, make_hsv(25)));
    EXPECT_FALSE(table.has_preset(unnamed, make_hsv(25)));
}

TEST(KrColorTable, AMissingAttributeCountsAs0)
{
    XML_colors configuration;
    configuration.get_presets().get_preset(0).set_color("black");
    Color_Table table;
    table.rebuild(configuration);
    EXPECT_TRUE(table.has_preset(black, make_hsv(200, 0.0F, 0.0F)));
    EXPECT_FALSE(table.has_preset(black, make_hsv(200, 0.0F, 0.1F)));
    EXPECT_FALSE(table.has_preset(black, make_hsv(200, 0.1F, 0.0F)));
    ASSERT_EQ(1u, table.palette().size());
}

std::uint32_t packed(const ns__RgbColor& color)
{
    return static_cast<std::uint32_t>(color.red) << 16 |
           static_cast<std::uint32_t>(color.green) << 8 | color.blue;
}

std::vector<std::uint32_t> palette_of(const Color_Table& table)
{
    std::vector<std::uint32_t> colors;
    for (const ns__RgbColor& color : table.palette())
        colors.push_back(packed(color));
    return colors;
}

using Palette = std::vector<std::uint32_t>;

const std::vector<Row> red_white_red{{"red", 340, 15, 0, 1, 0, 1, "FF0000"},
                                     {"white", 0, 360, 0, 1, 0, 1, "FFFFFF"},
                                     {"red", 330, 340, 0, 1, 0, 1, "FF0000"},
                                     {"red", 300, 340, 0, 1, 0, 1, ""}};

TEST(KrColorTable, ThePaletteIsInDocumentOrderWithDuplicates)
{
    EXPECT_EQ((Palette{0xFF0000, 0xFFFFFF, 0xFF0000, 0x000000}),
              palette_of(table_of(red_white_red)));
}

TEST(KrColorTable, QuirkASecondRebuildAppendsASecondPalette)
{
    Color_Table table = table_of(red_white_red);
    XML_colors second = configuration_of({{"black", 0, 0, 0, 1, 0, 1, "010203"}});
    table.rebuild(second);
    EXPECT_EQ((Palette{0xFF0000, 0xFFFFFF, 0xFF0000, 0x000000, 0x010203}), palette_of(table));
}

TEST(KrColorTable, ASecondRebuildReplacesTheRanges)
{
    Color_Table table = table_of(red_white_red);
    EXPECT_EQ((Presets{white, red}), presets_of(table, make_hsv(5)));
    XML_colors second = configuration_of({{"black", 0, 10}});
    table.rebuild(second);
    EXPECT_EQ(Presets{black}, presets_of(table, make_hsv(5)));
    EXPECT_FALSE(table.has_preset(red, make_hsv(5)));
    XML_colors nothing;
    table.rebuild(nothing);
    EXPECT_EQ(Presets{}, presets_of(table, make_hsv(5)));
    EXPECT_FALSE(table.has_preset(black, make_hsv(5)));
}

TEST(KrColorTable, CopiesHaveContentsOfTheirOwn)
{
    Color_Table table = table_of(red_white_red);
    const Color_Table copy = table;
    XML_colors second = configuration_of({{"black", 0, 0}});
    table.rebuild(second);
    EXPECT_EQ((Presets{white, red}), presets_of(copy, make_hsv(5)));
    EXPECT_EQ(4u, copy.palette().size());
}

TEST(KrParseRgb, ReadsHexadecimalNumbers)
{
    struct Case {
        const char* text;
        std::uint32_t rgb;
    };
    for (const Case& c :
         {Case{"FF8000", 0xFF8000}, Case{"ff8000", 0xFF8000}, Case{"0xFf80aB", 0xFF80AB},
          Case{"0XFF8000", 0xFF8000}, Case{" \t\n\v\f\rFF8000", 0xFF8000},
          Case{"+FF8000", 0xFF8000}, Case{" +0xFF8000", 0xFF8000}, Case{"1", 0x000001},
          Case{"12345678", 0x345678}, Case{"FFFFFFFF", 0xFFFFFF}, Case{"00000000FF8000", 0xFF8000},
          Case{"9aF", 0x0009AF}})
        EXPECT_EQ(c.rgb, packed(parse_rgb(c.text))) << c.text;
}

TEST(KrParseRgb, StopsAtTheFirstOtherCharacter)
{
    struct Case {
        std::string text;
        std::uint32_t rgb;
    };
    for (const Case& c :
         {Case{"FF80G0", 0x00FF80}, Case{"FF 8000", 0x0000FF}, Case{"12-34", 0x000012},
          Case{"00xFF", 0x000000}, Case{"0x0xFF", 0x000000}, Case{"FF8000 ", 0xFF8000},
          Case{std::string("12\0"
                           "34",
                           5),
               0x000012},
          Case{"12\xC3\xA4", 0x000012}})
        EXPECT_EQ(c.rgb, packed(parse_rgb(c.text))) << c.text;
}

TEST(KrParseRgb, WithoutDigitsIsBlack)
{
    for (const char* text : {"", " ", "red", "#FF8000", "0x", "0X", "0xG", "x12", "-", "+", "- FF",
                             "+-FF", "--FF", "-0x",
                             "\xA0"
                             "FF"})
        EXPECT_EQ(0x000000u, packed(parse_rgb(text))) << text;
}

TEST(KrParseRgb, AMinusNegatesIn32Bits)
{
    EXPECT_EQ(0xFFFFFFu, packed(parse_rgb("-1")));
    EXPECT_EQ(0xFFFF01u, packed(parse_rgb(" -0xFF")));
    EXPECT_EQ(0x000001u, packed(parse_rgb("-FFFFFFFF")));
    EXPECT_EQ(0x000000u, packed(parse_rgb("-0")));
}

TEST(KrParseRgb, BeyondThirtyTwoBitsIsWhite)
{
    for (const char* text : {"100000000", "FF00000000", "123456789ABCDEF0123456789", "-100000000",
                             "1000000000000000000000000"})
        EXPECT_EQ(0xFFFFFFu, packed(parse_rgb(text))) << text;
    EXPECT_EQ(0x000000u, packed(parse_rgb("0FF000000")));
}

// The table as an ordered map of lists, walked step by step.
class Reference_Table {
public:
    explicit Reference_Table(const std::vector<Row>& rows)
    {
        for (const Row& row : rows)
            ranges_[number_of(row.color)].push_back({normalised(row.hue_from),
                                                     normalised(row.hue_to), row.sat_from,
                                                     row.sat_to, row.val_from, row.val_to});
    }

    Presets presets_of(const ns__HsvColor& color, Presets presets = {}) const
    {
        const double hue = color.hue < 0 ? 0.0 : normalised(color.hue);
        for (const auto& [number, ranges] : ranges_) {
            const auto preset = static_cast<ns__ColorPreset>(number);
            const bool found =
                std::any_of(ranges.begin(), ranges.end(),
                            [&](const color_range& range) { return accepts(range, hue, color); });
            if (found && std::count(presets.begin(), presets.end(), preset) == 0)
                presets.push_back(preset);
        }
        return presets;
    }

private:
    static int number_of(const char* color)
    {
        int number = 13;
        while (number > 0 && (color == nullptr || std::string(color) != names[number]))
            --number;
        return number;
    }

    static double normalised(std::int32_t number)
    {
        double hue = number;
        while (hue >= 360.0)
            hue -= 360.0;
        while (hue < 0.0)
            hue += 360.0;
        return hue;
    }

    static bool accepts(const color_range& range, double hue, const ns__HsvColor& color)
    {
        if (!(range.sat_from <= color.saturation) || !(color.saturation <= range.sat_to))
            return false;
        if (!(range.val_from <= color.value) || !(color.value <= range.val_to))
            return false;
        return range.hue_to > range.hue_from ? range.hue_from <= hue && hue <= range.hue_to
                                             : hue >= range.hue_from || hue <= range.hue_to;
    }

    std::map<int, std::list<color_range>> ranges_;
};

class Random {
public:
    explicit Random(unsigned seed) : engine_(seed) {}

    std::int32_t below(std::int32_t limit)
    {
        return static_cast<std::int32_t>(engine_() % static_cast<std::uint32_t>(limit));
    }

    // Coarse, so that colours often lie exactly on a bound.
    float number()
    {
        static const float odd_ones[] = {nan, infinity, -infinity, -0.0F, -0.5F, 1.5F, 1.0e-40F};
        const std::int32_t choice = below(40);
        if (choice < 7)
            return odd_ones[choice];
        return static_cast<float>(below(21)) / 20.0F;
    }

    float usual_number(float from, float to)
    {
        return below(12) == 0 ? number()
                              : from + (to - from) * static_cast<float>(below(21)) / 20.0F;
    }

    std::int32_t hue()
    {
        static const std::int32_t odd_ones[] = {-1, -2, 360, 361, -360, 100'000, -100'000, 719};
        const std::int32_t choice = below(60);
        return choice < 8 ? odd_ones[choice] : below(360);
    }

private:
    std::mt19937 engine_;
};

std::vector<Row> random_rows(Random& random, std::size_t count)
{
    std::vector<Row> rows;
    for (std::size_t i = 0; i < count; ++i) {
        const char* const color = names[random.below(14)];
        const std::int32_t hue = random.hue();
        rows.push_back({color, hue, random.below(9) == 0 ? hue : hue + random.below(120),
                        random.usual_number(0.0F, 0.5F), random.usual_number(0.5F, 1.0F),
                        random.usual_number(0.0F, 0.5F), random.usual_number(0.5F, 1.0F)});
    }
    return rows;
}

void expect_as_reference(const Color_Table& table, const Reference_Table& reference,
                         const ns__HsvColor& color, const Presets& held)
{
    const Presets expected = reference.presets_of(color);
    ASSERT_EQ(expected, presets_of(table, color))
        << color.hue << ' ' << color.saturation << ' ' << color.value;
    ASSERT_EQ(reference.presets_of(color, held), presets_of(table, color, held));
    std::uint32_t mask = 0;
    for (std::int32_t number = -1; number < 16; ++number) {
        const auto preset = static_cast<ns__ColorPreset>(number);
        const bool is_expected = std::count(expected.begin(), expected.end(), preset) != 0;
        ASSERT_EQ(is_expected, table.has_preset(preset, color)) << number;
        if (is_expected)
            mask |= 1U << number;
    }
    ASSERT_EQ(mask, table.preset_mask(color));
}

// Numbers where something may change, and their neighbours: eighths, also beyond 0 to 1.
std::vector<float> eighths_and_neighbours()
{
    std::vector<float> numbers{-infinity, infinity, -1.0e38F, 3.0e38F, nan, -0.0F, 1.0e9F, -1.0e9F};
    for (int i = -9; i <= 10; ++i) {
        const float number = static_cast<float>(i) / 8.0F;
        numbers.insert(numbers.end(), {number, std::nextafter(number, -infinity),
                                       std::nextafter(number, infinity)});
    }
    return numbers;
}

TEST(KrColorTable, BoundsAndColorsMayBeAnyNumbers)
{
    const std::vector<float> numbers = eighths_and_neighbours();
    for (const float from : numbers)
        for (const float to : numbers) {
            const Color_Table by_saturation = table_of({{"red", 0, 0, from, to}});
            const Color_Table by_value = table_of({{"red", 0, 0, 0.0F, 1.0F, from, to}});
            for (const float number : numbers) {
                const bool expected = from <= number && number <= to;
                ASSERT_EQ(expected, is_red(by_saturation, make_hsv(0, number, 0.5F)))
                    << from << ' ' << to << ' ' << number;
                ASSERT_EQ(expected, is_red(by_value, make_hsv(0, 0.5F, number)))
                    << from << ' ' << to << ' ' << number;
            }
        }
}

class KrColorTableOfSize : public testing::TestWithParam<std::size_t> {};

TEST_P(KrColorTableOfSize, AnswersAsTheMapOfListsDoes)
{
    std::size_t matches = 0;
    for (unsigned seed = 0; seed < 12; ++seed) {
        Random random(seed);
        const std::vector<Row> rows = random_rows(random, GetParam());
        const Color_Table table = table_of(rows);
        const Reference_Table reference(rows);
        for (int i = 0; i < 400; ++i) {
            const ns__HsvColor color = make_hsv(random.hue(), random.number(), random.number());
            Presets held;
            for (std::int32_t count = random.below(4); count > 0; --count)
                held.push_back(static_cast<ns__ColorPreset>(random.below(18) - 2));
            ASSERT_NO_FATAL_FAILURE(expect_as_reference(table, reference, color, held)) << seed;
            matches += reference.presets_of(color).size();
        }
    }
    EXPECT_EQ(GetParam() != 0, matches > 50) << matches;
}

INSTANTIATE_TEST_SUITE_P(Ranges, KrColorTableOfSize,
                         testing::Values(0, 1, 2, 3, 4, 5, 13, 26, 63, 64, 65, 1000),
                         testing::PrintToStringParamName());

TEST(KrColorTable, ManyThreadsMayMatchAtOnce)
{
    Random random(1);
    const std::vector<Row> rows = random_rows(random, 26);
    const Color_Table table = table_of(rows);
    const Reference_Table reference(rows);
    std::vector<ns__HsvColor> colors;
    std::vector<Presets> expected;
    for (int i = 0; i < 2000; ++i) {
        colors.push_back(make_hsv(random.hue(), random.number(), random.number()));
        expected.push_back(reference.presets_of(colors.back()));
    }

    std::array<std::size_t, 4> wrong{};
    std::vector<std::thread> threads;
    for (std::size_t& count : wrong)
        threads.emplace_back([&] {
            for (int round = 0; round < 20; ++round)
                for (std::size_t i = 0; i < colors.size(); ++i) {
                    const bool has_red = std::count(expected[i].begin(), expected[i].end(), red);
                    if (presets_of(table, colors[i]) != expected[i] ||
                        table.has_preset(red, colors[i]) != has_red)
                        ++count;
                }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ((std::array<std::size_t, 4>{}), wrong);
}

} // namespace
