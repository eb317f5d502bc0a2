#include <KRCommon/colors/Color_Batch.h>

#include <KRCommon/colors/Colors.h>
#include <KRCommon/platform/Platform_testing.h>

#include <tests/support/Kernel_Test.h>
#include <tests/support/Private_Member.h>

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

using XML_colors = KRCMN::XML_configuration::XML_colors;

struct Init_Colors {
    friend auto private_member(Init_Colors);
};
template struct Private_Member<Init_Colors, &KR_Colors::init>;

namespace {

using kr_platform_testing::Guarded_End;
using kr_platform_testing::Guarded_Memory;
using Bytes = std::vector<std::uint8_t>;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr std::int32_t int_min = std::numeric_limits<std::int32_t>::min();
constexpr auto any_tolerance = ns__QueryTolerancePreset__value_0;
constexpr std::uint8_t untouched = 0xEE;
constexpr Guarded_End both_ends[] = {Guarded_End::last, Guarded_End::first};
constexpr KR_Pixel_Format all_formats[] = {KR_Pixel_Format::rgb24, KR_Pixel_Format::bgr24,
                                           KR_Pixel_Format::rgbx32, KR_Pixel_Format::bgrx32};
constexpr auto no_format = static_cast<KR_Pixel_Format>(4);

const KR_Colors& colors()
{
    return *KR_Colors::instance();
}

std::size_t bytes_of(KR_Pixel_Format format)
{
    return format == KR_Pixel_Format::rgb24 || format == KR_Pixel_Format::bgr24 ? 3 : 4;
}

// What comes first in a pixel.
bool red_is_first(KR_Pixel_Format format)
{
    return format == KR_Pixel_Format::rgb24 || format == KR_Pixel_Format::rgbx32;
}

ns__RgbColor make_rgb(std::uint32_t number)
{
    ns__RgbColor color;
    color.red = static_cast<std::uint8_t>(number >> 16);
    color.green = static_cast<std::uint8_t>(number >> 8);
    color.blue = static_cast<std::uint8_t>(number);
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

bool same(const ns__RgbColor& a, const ns__RgbColor& b)
{
    return a.red == b.red && a.green == b.green && a.blue == b.blue;
}

bool same(const ns__HsvColor& a, const ns__HsvColor& b)
{
    return a.hue == b.hue && std::memcmp(&a.saturation, &b.saturation, sizeof(float)) == 0 &&
           std::memcmp(&a.value, &b.value, sizeof(float)) == 0;
}

// The colour of a pixel.
ns__RgbColor color_at(const std::uint8_t* pixel, KR_Pixel_Format format)
{
    ns__RgbColor color;
    color.red = pixel[red_is_first(format) ? 0 : 2];
    color.green = pixel[1];
    color.blue = pixel[red_is_first(format) ? 2 : 0];
    return color;
}

ns__HsvColor single_hsv(const ns__RgbColor& rgb)
{
    ns__HsvColor hsv;
    colors().rgb_to_hsv(rgb, hsv);
    return hsv;
}

ns__RgbColor single_rgb(const ns__HsvColor& hsv)
{
    ns__RgbColor rgb;
    colors().hsv_to_rgb(hsv, rgb);
    return rgb;
}

class Random {
public:
    std::size_t below(std::size_t limit) { return engine_() % limit; }
    std::uint8_t byte() { return static_cast<std::uint8_t>(engine_()); }
    void fill(std::uint8_t* bytes, std::size_t size)
    {
        for (std::size_t i = 0; i < size; ++i)
            bytes[i] = byte();
    }
    ns__HsvColor hsv()
    {
        static const float odd_ones[] = {nan, -1.0F, 1.5F, 0.0F, 1.0F, 300.0F, 1.0e20F};
        const auto number = [this] {
            return below(10) == 0 ? odd_ones[below(7)] : static_cast<float>(below(256)) / 255.0F;
        };
        const auto hue = below(20) == 0 ? static_cast<std::int32_t>(engine_())
                                        : static_cast<std::int32_t>(below(362)) - 1;
        return make_hsv(hue, number(), number());
    }

private:
    std::mt19937 engine_; // NOLINT(cert-msc51-cpp): the same numbers in every run
};

// Counts that are looked at: all small ones, those around a block, and some up to 4,096.
std::vector<std::size_t> counts(Random& random)
{
    std::vector<std::size_t> result{255, 256, 257, 271, 272, 511, 512, 513, 4096};
    for (std::size_t count = 0; count <= 40; ++count)
        result.push_back(count);
    for (int i = 0; i < 40; ++i)
        result.push_back(random.below(4097));
    return result;
}

using Color_Batch = Kernel_Test;

INSTANTIATE_TEST_SUITE_P(Each, Color_Batch, each_instruction_set(), name_of_set);

// Pixels of frames, at all alignments and between guard pages, to objects.
TEST_P(Color_Batch, PixelsBecomeTheHsvColorsOfTheSingleForm)
{
    Random random;
    for (const std::size_t count : counts(random))
        for (const KR_Pixel_Format format : all_formats)
            for (const Guarded_End end : both_ends) {
                // Without the spare byte of the last pixel.
                const std::size_t size = count == 0 ? 0 : (count - 1) * bytes_of(format) + 3;
                const Guarded_Memory pixels(size, end);
                random.fill(pixels.data(), size);
                std::vector<ns__HsvColor> result(count + 1, make_hsv(-77, 7.0F, 8.0F));
                colors().rgb_to_hsv_batch(KR_Rgb_Source::packed(pixels.data(), format), count,
                                          KR_Hsv_Target::of(result.data()));
                for (std::size_t i = 0; i < count; ++i)
                    ASSERT_TRUE(
                        same(single_hsv(color_at(pixels.data() + i * bytes_of(format), format)),
                             result[i]))
                        << i << " of " << count;
                ASSERT_TRUE(same(make_hsv(-77, 7.0F, 8.0F), result[count])) << count;
            }
}

TEST_P(Color_Batch, PlanesBecomeTheHsvPlanesOfTheSingleForm)
{
    Random random;
    for (const std::size_t count : counts(random))
        for (const Guarded_End end : both_ends) {
            const Guarded_Memory red(count, end);
            const Guarded_Memory green(count, end);
            const Guarded_Memory blue(count, end);
            const Guarded_Memory hues(4 * count, end);
            const Guarded_Memory saturations(4 * count, end);
            const Guarded_Memory values(4 * count, end);
            for (const Guarded_Memory* plane : {&red, &green, &blue})
                random.fill(plane->data(), count);
            auto* const hue = reinterpret_cast<std::int32_t*>(hues.data());
            auto* const saturation = reinterpret_cast<float*>(saturations.data());
            auto* const value = reinterpret_cast<float*>(values.data());
            colors().rgb_to_hsv_batch({red.data(), green.data(), blue.data()}, count,
                                      {hue, saturation, value});
            for (std::size_t i = 0; i < count; ++i) {
                ns__RgbColor rgb;
                rgb.red = red.data()[i];
                rgb.green = green.data()[i];
                rgb.blue = blue.data()[i];
                ASSERT_TRUE(same(single_hsv(rgb), make_hsv(hue[i], saturation[i], value[i])))
                    << i << " of " << count;
            }
        }
}

TEST_P(Color_Batch, HsvColorsBecomeThePixelsOfTheSingleForm)
{
    Random random;
    for (const std::size_t count : counts(random))
        for (const KR_Pixel_Format format : all_formats)
            for (const Guarded_End end : both_ends) {
                std::vector<ns__HsvColor> source(count);
                for (ns__HsvColor& color : source)
                    color = random.hsv();
                const std::size_t size = count == 0 ? 0 : (count - 1) * bytes_of(format) + 3;
                const Guarded_Memory pixels(size, end);
                std::memset(pixels.data(), untouched, size);
                colors().hsv_to_rgb_batch(KR_Hsv_Source::of(source.data()), count,
                                          KR_Rgb_Target::packed(pixels.data(), format));
                for (std::size_t i = 0; i < count; ++i) {
                    const std::uint8_t* const pixel = pixels.data() + i * bytes_of(format);
                    ASSERT_TRUE(same(single_rgb(source[i]), color_at(pixel, format)))
                        << i << " of " << count;
                    const bool has_spare = bytes_of(format) == 4 && i + 1 < count;
                    ASSERT_EQ(untouched, has_spare ? pixel[3] : untouched);
                }
            }
}

TEST_P(Color_Batch, HsvPlanesBecomeThePlanesOfTheSingleForm)
{
    Random random;
    for (const std::size_t count : counts(random))
        for (const Guarded_End end : both_ends) {
            std::vector<std::int32_t> hues;
            std::vector<float> saturations;
            std::vector<float> values;
            for (std::size_t i = 0; i < count; ++i) {
                const ns__HsvColor color = random.hsv();
                hues.push_back(color.hue);
                saturations.push_back(color.saturation);
                values.push_back(color.value);
            }
            hues.push_back(0); // so that there is a pointer when there are no colours
            saturations.push_back(0.0F);
            values.push_back(0.0F);
            const Guarded_Memory red(count, end);
            const Guarded_Memory green(count, end);
            const Guarded_Memory blue(count, end);
            colors().hsv_to_rgb_batch({hues.data(), saturations.data(), values.data()}, count,
                                      {red.data(), green.data(), blue.data()});
            for (std::size_t i = 0; i < count; ++i) {
                const ns__RgbColor expected =
                    single_rgb(make_hsv(hues[i], saturations[i], values[i]));
                ASSERT_EQ(expected.red, red.data()[i]) << i << " of " << count;
                ASSERT_EQ(expected.green, green.data()[i]) << i << " of " << count;
                ASSERT_EQ(expected.blue, blue.data()[i]) << i << " of " << count;
            }
        }
}

TEST(KrColorsBatch, ObjectsAndRecordsOfTheHostsOwnAreSourcesAndTargets)
{
    const std::vector<ns__RgbColor> source{make_rgb(0xFF8000), make_rgb(0x336699)};
    struct Record {
        std::int32_t before, hue;
        float value, saturation; // in this order
        std::int32_t after;
    };
    std::vector<Record> records(2, Record{11, 0, 0.0F, 0.0F, 22});
    colors().rgb_to_hsv_batch(
        KR_Rgb_Source::of(source.data()), 2,
        {&records[0].hue, &records[0].saturation, &records[0].value, sizeof(Record)});
    EXPECT_EQ(30, records[0].hue);
    EXPECT_EQ(1.0F, records[0].value);
    EXPECT_EQ(1.0F, records[0].saturation);
    EXPECT_EQ(210, records[1].hue);
    EXPECT_EQ(0.6F, records[1].value);
    for (const Record& record : records) {
        EXPECT_EQ(11, record.before);
        EXPECT_EQ(22, record.after);
    }

    std::vector<ns__RgbColor> back(2);
    colors().hsv_to_rgb_batch(
        {&records[0].hue, &records[0].saturation, &records[0].value, sizeof(Record)}, 2,
        KR_Rgb_Target::of(back.data()));
    EXPECT_TRUE(same(make_rgb(0xFF7F00), back[0]));
    EXPECT_TRUE(same(single_rgb(single_hsv(source[1])), back[1]));
}

TEST(KrColorsBatch, StepsMayBeNegativeOr0)
{
    const Bytes pixels{255, 0, 0, 0, 255, 0, 0, 0, 255}; // red, green, blue
    std::vector<std::int32_t> hues(3);
    std::vector<float> saturations(3);
    std::vector<float> values(3);
    const KR_Hsv_Target target{hues.data(), saturations.data(), values.data()};
    colors().rgb_to_hsv_batch({&pixels[6], &pixels[7], &pixels[8], -3}, 3, target);
    EXPECT_EQ((std::vector<std::int32_t>{240, 120, 0}), hues);
    colors().rgb_to_hsv_batch({&pixels[3], &pixels[4], &pixels[5], 0}, 3, target);
    EXPECT_EQ((std::vector<std::int32_t>{120, 120, 120}), hues);

    Bytes back(9);
    hues = {0, 120, 240};
    colors().hsv_to_rgb_batch({&hues[2], &saturations[2], &values[2], -4}, 3,
                              {&back[6], &back[7], &back[8], -3});
    EXPECT_EQ(pixels, back);
    std::uint32_t mask = 77;
    colors().get_color_preset_masks({&hues[2], &saturations[2], &values[2], -4}, 1, &mask);
    EXPECT_EQ(0u, mask);
}

TEST(KrColorsBatch, NoColorsAndNullPointersAreNothingToDo)
{
    std::uint8_t byte = 1;
    std::int32_t hue = 2;
    float number = 3.0F;
    const KR_Rgb_Source rgb{&byte, &byte, &byte};
    const KR_Hsv_Source hsv{&hue, &number, &number};
    const KR_Rgb_Target rgb_target{&byte, &byte, &byte};
    const KR_Hsv_Target hsv_target{&hue, &number, &number};
    colors().rgb_to_hsv_batch(rgb, 0, hsv_target);
    for (const KR_Rgb_Source& null :
         {KR_Rgb_Source{}, KR_Rgb_Source{nullptr, &byte, &byte},
          KR_Rgb_Source{&byte, nullptr, &byte}, KR_Rgb_Source{&byte, &byte, nullptr}})
        colors().rgb_to_hsv_batch(null, 1, hsv_target);
    for (const KR_Hsv_Target& null :
         {KR_Hsv_Target{}, KR_Hsv_Target{nullptr, &number, &number},
          KR_Hsv_Target{&hue, nullptr, &number}, KR_Hsv_Target{&hue, &number, nullptr}})
        colors().rgb_to_hsv_batch(rgb, 1, null);
    EXPECT_EQ(2, hue);
    EXPECT_EQ(3.0F, number);

    std::uint32_t mask = 4;
    colors().hsv_to_rgb_batch(hsv, 0, rgb_target);
    colors().get_color_preset_masks(hsv, 0, &mask);
    for (const KR_Hsv_Source& null :
         {KR_Hsv_Source{}, KR_Hsv_Source{nullptr, &number, &number},
          KR_Hsv_Source{&hue, nullptr, &number}, KR_Hsv_Source{&hue, &number, nullptr}}) {
        colors().hsv_to_rgb_batch(null, 1, rgb_target);
        colors().get_color_preset_masks(null, 1, &mask);
    }
    for (const KR_Rgb_Target& null :
         {KR_Rgb_Target{}, KR_Rgb_Target{nullptr, &byte, &byte},
          KR_Rgb_Target{&byte, nullptr, &byte}, KR_Rgb_Target{&byte, &byte, nullptr}})
        colors().hsv_to_rgb_batch(hsv, 1, null);
    colors().get_color_preset_masks(hsv, 1, nullptr);
    EXPECT_EQ(1, byte);
    EXPECT_EQ(4u, mask);
}

TEST(KrColorsBatch, PlacesOfNothingAreNull)
{
    std::uint8_t byte = 0;
    EXPECT_EQ(nullptr, KR_Rgb_Source::packed(nullptr, KR_Pixel_Format::bgr24).red);
    EXPECT_EQ(nullptr, KR_Rgb_Source::packed(&byte, no_format).red);
    EXPECT_EQ(nullptr, KR_Rgb_Source::of(nullptr).green);
    EXPECT_EQ(nullptr, KR_Rgb_Target::packed(nullptr, KR_Pixel_Format::rgb24).blue);
    EXPECT_EQ(nullptr, KR_Rgb_Target::packed(&byte, static_cast<KR_Pixel_Format>(-1)).red);
    EXPECT_EQ(nullptr, KR_Rgb_Target::of(nullptr).red);
    EXPECT_EQ(nullptr, KR_Hsv_Source::of(nullptr).hue);
    EXPECT_EQ(nullptr, KR_Hsv_Target::of(nullptr).value);
}

// A row of the configuration: a range of a preset, by its number.
struct Row {
    std::int32_t preset, hue_from, hue_to;
    float sat_from = 0.0F, sat_to = 1.0F, val_from = 0.0F, val_to = 1.0F;
};

// A copy of the instance, which itself stays empty, with these ranges.
KR_Colors filled(const std::vector<Row>& rows)
{
    static const char* const names[] = {
        "",           "white",  "black",  "gray", "light_blue", "dark_blue", "brown", "light_green",
        "dark_green", "yellow", "orange", "red",  "pink",       "purple"};
    XML_colors configuration;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        auto& preset = configuration.get_presets().get_preset(i);
        preset.set_color(names[rows[i].preset]);
        preset.set_hue_from(rows[i].hue_from);
        preset.set_hue_to(rows[i].hue_to);
        preset.set_sat_from(rows[i].sat_from);
        preset.set_sat_to(rows[i].sat_to);
        preset.set_val_from(rows[i].val_from);
        preset.set_val_to(rows[i].val_to);
    }
    KR_Colors result(colors());
    (result.*private_member(Init_Colors()))(configuration);
    return result;
}

// As a site might configure it: white, black, grey, and colours that overlap.
KR_Colors site_colors()
{
    return filled({{1, 0, 360, 0.0F, 0.2F, 0.8F, 1.0F},
                   {2, 0, 360, 0.0F, 1.0F, 0.0F, 0.2F},
                   {3, 0, 360, 0.0F, 0.2F, 0.2F, 0.85F},
                   {0, 20, 25},
                   {5, 200, 255, 0.2F},
                   {8, 80, 165, 0.2F},
                   {9, 45, 80, 0.2F},
                   {11, 340, 15, 0.2F},
                   {11, 330, 20, 0.7F, 1.0F, 0.5F, 1.0F},
                   {12, 300, 350, 0.2F, 0.6F},
                   {13, 255, 310, 0.2F}});
}

std::uint32_t single_mask(const KR_Colors& classifier, const ns__HsvColor& hsv)
{
    std::vector<ns__ColorPreset> presets;
    classifier.get_color_presets(hsv, presets, any_tolerance);
    std::uint32_t mask = 0;
    for (const ns__ColorPreset preset : presets)
        mask |= 1U << preset;
    return mask;
}

TEST(KrColorsBatch, PresetMasksAreThePresetsOfTheSingleForm)
{
    const KR_Colors classifier = site_colors();
    Random random;
    std::uint32_t seen = 0;
    for (const std::size_t count : counts(random)) {
        std::vector<ns__HsvColor> source(count + 1);
        for (ns__HsvColor& color : source)
            color = random.hsv();
        std::vector<std::int32_t> hues;
        std::vector<float> saturations;
        std::vector<float> values;
        for (const ns__HsvColor& color : source) {
            hues.push_back(color.hue);
            saturations.push_back(color.saturation);
            values.push_back(color.value);
        }
        std::vector<std::uint32_t> masks(count + 1, 77);
        std::vector<std::uint32_t> masks_of_planes(count + 1, 77);
        classifier.get_color_preset_masks(KR_Hsv_Source::of(source.data()), count, masks.data());
        classifier.get_color_preset_masks({hues.data(), saturations.data(), values.data()}, count,
                                          masks_of_planes.data());
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_EQ(single_mask(classifier, source[i]), masks[i]) << i << " of " << count;
            seen |= masks[i];
        }
        EXPECT_EQ(77u, masks[count]);
        EXPECT_EQ(masks, masks_of_planes);
    }
    EXPECT_EQ(0b11'1011'0010'1111U, seen) << "all that are configured";
}

TEST(KrColorsBatch, WithoutAConfigurationThereAreNoPresets)
{
    const ns__HsvColor red = make_hsv(0, 1.0F, 1.0F);
    std::uint32_t mask = 77;
    colors().get_color_preset_masks(KR_Hsv_Source::of(&red), 1, &mask);
    EXPECT_EQ(0u, mask);

    const Bytes pixels(12, 200);
    KR_Color_Region region;
    region.pixels = pixels.data();
    region.width = 4;
    region.height = 1;
    KR_Preset_Histogram histogram;
    colors().count_color_presets(region, histogram);
    EXPECT_EQ(4u, histogram.pixels);
    EXPECT_EQ((std::array<std::uint64_t, 14>{}), histogram.presets);
}

// A picture in guarded memory of which no byte is too many: the rows of a region, a mask of its own.
struct Picture {
    Picture(Random& random, KR_Pixel_Format pixel_format, Guarded_End end)
        : format(pixel_format), width(1 + random.below(random.below(4) == 0 ? 700 : 40)),
          height(1 + random.below(30)), gap(random.below(9)), mask_gap(random.below(5)),
          pixels(stride() * (height - 1) + (width - 1) * bytes_of(format) + 3, end),
          mask(mask_stride() * (height - 1) + width, end)
    {
        random.fill(pixels.data(), stride() * (height - 1) + (width - 1) * bytes_of(format) + 3);
        const std::size_t density = random.below(5);
        for (std::size_t i = 0; i < mask_stride() * (height - 1) + width; ++i)
            mask.data()[i] = random.below(4) < density ? random.byte() : 0;
    }

    std::size_t stride() const { return width * bytes_of(format) + gap; }
    std::size_t mask_stride() const { return width + mask_gap; }

    KR_Color_Region region(bool masked, bool bottom_up) const
    {
        KR_Color_Region result;
        result.format = format;
        result.width = static_cast<std::int32_t>(width);
        result.height = static_cast<std::int32_t>(height);
        result.pixels = pixels.data() + (bottom_up ? stride() * (height - 1) : 0);
        result.stride = static_cast<std::ptrdiff_t>(stride()) * (bottom_up ? -1 : 1);
        if (masked) {
            result.mask = mask.data() + (bottom_up ? mask_stride() * (height - 1) : 0);
            result.mask_stride = static_cast<std::ptrdiff_t>(mask_stride()) * (bottom_up ? -1 : 1);
        }
        return result;
    }

    KR_Preset_Histogram single_histogram(const KR_Colors& classifier, bool masked) const
    {
        KR_Preset_Histogram histogram;
        for (std::size_t y = 0; y < height; ++y)
            for (std::size_t x = 0; x < width; ++x) {
                if (masked && mask.data()[y * mask_stride() + x] == 0)
                    continue;
                ++histogram.pixels;
                const std::uint32_t presets = single_mask(
                    classifier, single_hsv(color_at(
                                    pixels.data() + y * stride() + x * bytes_of(format), format)));
                for (std::size_t preset = 0; preset < histogram.presets.size(); ++preset)
                    histogram.presets[preset] += presets >> preset & 1U;
            }
        return histogram;
    }

    KR_Pixel_Format format;
    std::size_t width, height, gap, mask_gap;
    Guarded_Memory pixels, mask;
};

TEST_P(Color_Batch, ARegionHasTheHistogramOfTheSingleForms)
{
    const KR_Colors classifier = site_colors();
    Random random;
    for (int round = 0; round < 60; ++round)
        for (const KR_Pixel_Format format : all_formats) {
            const Picture picture(random, format, both_ends[round % 2]);
            for (const bool masked : {false, true}) {
                const KR_Preset_Histogram expected = picture.single_histogram(classifier, masked);
                for (const bool bottom_up : {false, true}) {
                    KR_Preset_Histogram histogram;
                    classifier.count_color_presets(picture.region(masked, bottom_up), histogram);
                    ASSERT_EQ(expected.pixels, histogram.pixels)
                        << picture.width << " x " << picture.height << ' ' << masked;
                    ASSERT_EQ(expected.presets, histogram.presets)
                        << picture.width << " x " << picture.height << ' ' << masked;
                }
            }
        }
}

TEST(KrColorsRegion, CountsThePixelsOfEachPreset)
{
    const KR_Colors classifier = site_colors();
    const Bytes pixels{255, 255, 255, 0,   0,   255, 0, 0, 255, 99, 99, // white red red, and a gap
                       0,   0,   0,   255, 128, 0,   9, 9, 9};          // black blue black
    const Bytes mask{1,   255, 0, 77, 77, 77, 77,                       //
                     128, 2,   0};
    KR_Color_Region region;
    region.pixels = pixels.data();
    region.format = KR_Pixel_Format::bgr24;
    region.width = 3;
    region.height = 2;
    region.stride = 11;
    KR_Preset_Histogram all;
    classifier.count_color_presets(region, all);
    EXPECT_EQ(6u, all.pixels);
    EXPECT_EQ((std::array<std::uint64_t, 14>{0, 1, 2, 0, 0, 1, 0, 0, 0, 0, 0, 2, 0, 0}),
              all.presets);
    EXPECT_EQ(2.0 / 6.0, all.share(ns__ColorPreset__red));
    EXPECT_EQ(0.0, all.share(ns__ColorPreset__pink));

    region.mask = mask.data();
    region.mask_stride = 7;
    KR_Preset_Histogram masked;
    classifier.count_color_presets(region, masked);
    EXPECT_EQ(4u, masked.pixels);
    EXPECT_EQ((std::array<std::uint64_t, 14>{0, 1, 1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0}),
              masked.presets);
    EXPECT_EQ(0.25, masked.share(ns__ColorPreset__white));
}

TEST(KrColorsRegion, AllPresetsOfAllPixelsAreCounted)
{
    std::vector<Row> rows;
    for (std::int32_t preset = 0; preset < 14; ++preset)
        rows.push_back({preset, 0, 360});
    const KR_Colors classifier = filled(rows);
    const Bytes row(4 * 300, 77);
    KR_Color_Region region;
    region.pixels = row.data();
    region.format = KR_Pixel_Format::rgbx32;
    region.width = 300;
    region.height = 1000; // the same row again and again
    KR_Preset_Histogram histogram;
    classifier.count_color_presets(region, histogram);
    EXPECT_EQ(300'000u, histogram.pixels);
    for (const std::uint64_t count : histogram.presets)
        EXPECT_EQ(300'000u, count);
}

TEST(KrColorsRegion, IsAddedToTheHistogramAlsoBeyond32Bits)
{
    const KR_Colors classifier = site_colors();
    const Bytes pixels{0, 0, 255, 0, 0, 0};
    KR_Color_Region region;
    region.pixels = pixels.data();
    region.width = 2;
    region.height = 1;
    KR_Preset_Histogram histogram;
    histogram.pixels = 0xFFFF'FFFF;
    histogram.presets.fill(0x7FFF'FFFF);
    histogram.presets[2] = 0xFFFF'FFFF;
    for (int i = 0; i < 3; ++i)
        classifier.count_color_presets(region, histogram);
    EXPECT_EQ(0x1'0000'0005U, histogram.pixels);
    EXPECT_EQ(0x8000'0002U, histogram.presets[11]);
    EXPECT_EQ(0x1'0000'0002U, histogram.presets[2]);
    EXPECT_EQ(0x7FFF'FFFFU, histogram.presets[1]);
    EXPECT_EQ(static_cast<double>(0x1'0000'0002U) / static_cast<double>(0x1'0000'0005U),
              histogram.share(ns__ColorPreset__black));
}

TEST(KrColorsRegion, OfNoPixelsAddsNothing)
{
    const KR_Colors classifier = site_colors();
    const Guarded_Memory nothing(0);
    KR_Color_Region region;
    region.pixels = nothing.data();
    region.mask = nothing.data();
    region.stride = std::numeric_limits<std::ptrdiff_t>::max();
    region.mask_stride = std::numeric_limits<std::ptrdiff_t>::min();
    KR_Preset_Histogram histogram;
    const auto count = [&](std::int32_t width, std::int32_t height) {
        region.width = width;
        region.height = height;
        classifier.count_color_presets(region, histogram);
    };
    for (const std::int32_t none : {0, -1, int_min}) {
        count(none, 5);
        count(5, none);
        count(none, none);
        count(std::numeric_limits<std::int32_t>::max(), none);
    }
    region.format = no_format;
    count(5, 5);
    region.format = KR_Pixel_Format::rgb24;
    region.pixels = nullptr;
    count(5, 5);
    classifier.count_color_presets(KR_Color_Region{}, histogram);
    EXPECT_EQ(0u, histogram.pixels);
    EXPECT_EQ((std::array<std::uint64_t, 14>{}), histogram.presets);
}

TEST(KrColorsRegion, AMaskOfNothingCountsNothing)
{
    const KR_Colors classifier = site_colors();
    const Bytes pixels(3 * 1000, 250);
    const Bytes mask(1000, 0);
    KR_Color_Region region;
    region.pixels = pixels.data();
    region.width = 1000;
    region.height = 1;
    region.mask = mask.data();
    KR_Preset_Histogram histogram;
    classifier.count_color_presets(region, histogram);
    EXPECT_EQ(0u, histogram.pixels);
    EXPECT_EQ(0.0, histogram.share(ns__ColorPreset__white));
}

TEST(KrPresetHistogram, OtherNumbersHaveNoShare)
{
    KR_Preset_Histogram histogram;
    histogram.pixels = 4;
    histogram.presets.fill(1);
    EXPECT_EQ(0.25, histogram.share(static_cast<ns__ColorPreset>(0)));
    EXPECT_EQ(0.25, histogram.share(ns__ColorPreset__purple));
    for (const std::int32_t number : {-1, 14, int_min, std::numeric_limits<std::int32_t>::max()})
        EXPECT_EQ(0.0, histogram.share(static_cast<ns__ColorPreset>(number))) << number;
}

// What a host does that exchanges the presets while others classify: each keeps the one it has.
TEST(KrColorsBatch, AClassifierIsExchangedWhileOthersUseTheOldOne)
{
    const KR_Colors all_red = filled({{11, 0, 360}});
    const KR_Colors all_blue = filled({{5, 0, 360}});
    std::mutex mutex;
    auto current = std::make_shared<const KR_Colors>(all_red);
    const auto take = [&] {
        const std::lock_guard<std::mutex> guard(mutex);
        return current;
    };
    const Bytes pixels(3 * 1000, 99);
    KR_Color_Region region;
    region.pixels = pixels.data();
    region.width = 1000;
    region.height = 20;

    std::array<int, 2> wrong{};
    std::vector<std::thread> threads;
    for (int& count : wrong)
        threads.emplace_back([&] {
            for (int round = 0; round < 50; ++round) {
                const std::shared_ptr<const KR_Colors> classifier = take();
                KR_Preset_Histogram histogram;
                classifier->count_color_presets(region, histogram);
                const std::uint64_t red = histogram.presets[11];
                const std::uint64_t blue = histogram.presets[5];
                count +=
                    histogram.pixels == 20'000 && red + blue == 20'000 && red * blue == 0 ? 0 : 1;
            }
        });
    for (int round = 0; round < 100; ++round) {
        auto next = std::make_shared<const KR_Colors>(round % 2 == 0 ? all_blue : all_red);
        const std::lock_guard<std::mutex> guard(mutex);
        current = std::move(next);
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ((std::array<int, 2>{}), wrong);
}

} // namespace
