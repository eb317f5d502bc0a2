// What the colour operations cost beside their literal form and beside OpenCV, in the same run.
// The column Time is one pass over 65,536 random colours, the counter "each" is one colour.
//
//   RgbToHsv, HsvToRgb    KR_Colors, one call per colour
//     ...Literal          the same written down as it is defined
//     ...OpenCvFloat      cv::cvtColor on an image of the same colours, 32-bit floats
//     ...OpenCv8Bit       the same in 8 bits
//     ...Batch              one call for all, planes
//     ...BatchAvx2          ...Batch without AVX-512
//     ...BatchSse2          ...Batch without AVX2
//     ...BatchPixels        one call for all, RGB in three bytes a pixel and HSV as objects
//   PresetsReused         Color_Table::append_presets against 13 presets of 2 ranges each, into a
//                         vector that is cleared and used again
//   PresetsFresh          the same into a new vector per colour
//   PresetsMask           the same, the presets as bits
//   PresetsMaskBatch      the same, one call for all
//   Presets1000           13 presets of 76 or 77 ranges each, into a vector used again
//     ...Literal          an ordered map of lists, walked
//     ...OpenCv           cv::inRange per range, joined into a mask per preset with bitwise_or
//   Region                a histogram of presets over a region of 256 x 256 pixels, bgr24
//   RegionMasked          the same of the pixels that a mask of a circle lets count; the counter
//                         "each" is one pixel of the region, counted or not
//     ...Singly             a loop of the operations for one colour
//   IsColor               Color_Table::has_preset, another preset for each colour
//     ...Literal          the map walked into a new vector, which is searched
//
// OpenCV's hues are floats or half degrees, so it is a peer in speed only.

#include <KRCommon/colors/Color_Table.h>
#include <KRCommon/colors/Colors.h>
#include <KRCommon/kernels/Kernels_testing.h>

#include <tests/support/Private_Member.h>

#include <benchmark/benchmark.h>

#if __has_include(<opencv2/imgproc.hpp>)
#define KR_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <list>
#include <map>
#include <random>
#include <string>
#include <vector>

using XML_colors = KRCMN::XML_configuration::XML_colors;

struct Init {
    friend auto private_member(Init);
};
template struct Private_Member<Init, &KR_Colors::init>;

namespace {

using kr_internal::color_range;
using kr_internal::Color_Table;
using kr_internal::Instruction_Set;
using kr_internal::Level;

constexpr std::size_t color_count = 65'536;
constexpr auto tolerance = ns__QueryTolerancePreset__value_0;

// The definitions, written down step by step.

[[gnu::noinline]] void literal_rgb_to_hsv(const ns__RgbColor& rgb, ns__HsvColor& hsv)
{
    const float r = static_cast<float>(rgb.red) / 255.0F;
    const float g = static_cast<float>(rgb.green) / 255.0F;
    const float b = static_cast<float>(rgb.blue) / 255.0F;
    const float max = std::max(std::max(r, g), b);
    const float min = std::min(std::min(r, g), b);
    if (max == min) {
        hsv.hue = -1;
        hsv.saturation = 0.0F;
        hsv.value = max;
        return;
    }
    const float delta = max - min;
    hsv.saturation = delta / max;
    hsv.value = max;
    float h = 0.0F;
    if (r == max)
        h = (g - b) / delta;
    else if (g == max)
        h = (b - r) / delta + 2.0F;
    else
        h = (r - g) / delta + 4.0F;
    h *= 60.0F;
    if (h < 0.0F)
        h += 360.0F;
    hsv.hue = static_cast<std::int32_t>(h);
}

std::uint8_t literal_byte(float component)
{
    return static_cast<std::uint8_t>(
        static_cast<std::int32_t>(static_cast<double>(component) * 255.0));
}

[[gnu::noinline]] void literal_hsv_to_rgb(const ns__HsvColor& hsv, ns__RgbColor& rgb)
{
    float r = hsv.value;
    float g = hsv.value;
    float b = hsv.value;
    if (!(hsv.saturation == 0.0F || hsv.hue == -1)) {
        const float h6 = static_cast<float>(hsv.hue) / 360.0F * 6.0F;
        const auto i = static_cast<float>(std::floor(static_cast<double>(h6)));
        const float f = h6 - i;
        const float p = (1.0F - hsv.saturation) * hsv.value;
        const float q = (1.0F - f * hsv.saturation) * hsv.value;
        const float t = (1.0F - (1.0F - f) * hsv.saturation) * hsv.value;
        switch (static_cast<int>(i)) {
        case 0: r = hsv.value, g = t, b = p; break;
        case 1: r = q, g = hsv.value, b = p; break;
        case 2: r = p, g = hsv.value, b = t; break;
        case 3: r = p, g = q, b = hsv.value; break;
        case 4: r = t, g = p, b = hsv.value; break;
        default: r = hsv.value, g = p, b = q; break;
        }
    }
    rgb.red = literal_byte(r);
    rgb.green = literal_byte(g);
    rgb.blue = literal_byte(b);
}

using Literal_Table = std::map<ns__ColorPreset, std::list<color_range>>;

bool literal_matches(const color_range& range, double hue, const ns__HsvColor& hsv)
{
    if (!(range.sat_from <= hsv.saturation && hsv.saturation <= range.sat_to &&
          range.val_from <= hsv.value && hsv.value <= range.val_to))
        return false;
    if (range.hue_to > range.hue_from)
        return range.hue_from <= hue && hue <= range.hue_to;
    return hue >= range.hue_from || hue <= range.hue_to;
}

[[gnu::noinline]] void literal_presets(const Literal_Table& table, const ns__HsvColor& hsv,
                                       std::vector<ns__ColorPreset>& presets)
{
    double hue = hsv.hue < 0 ? 0.0 : static_cast<double>(hsv.hue);
    while (hue >= 360.0)
        hue -= 360.0;
    for (const auto& [preset, ranges] : table)
        for (const color_range& range : ranges)
            if (literal_matches(range, hue, hsv)) {
                if (std::find(presets.begin(), presets.end(), preset) == presets.end())
                    presets.push_back(preset);
                break;
            }
}

[[gnu::noinline]] bool literal_is_color(const Literal_Table& table, ns__ColorPreset preset,
                                        const ns__HsvColor& hsv)
{
    std::vector<ns__ColorPreset> presets;
    literal_presets(table, hsv, presets);
    return std::find(presets.begin(), presets.end(), preset) != presets.end();
}

// The colours and tables that all benchmarks work on.

std::vector<ns__RgbColor> make_rgb_colors()
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same colours in every run
    std::vector<ns__RgbColor> colors(color_count);
    for (ns__RgbColor& color : colors) {
        const auto bits = random();
        color.red = static_cast<std::uint8_t>(bits >> 16);
        color.green = static_cast<std::uint8_t>(bits >> 8);
        color.blue = static_cast<std::uint8_t>(bits);
    }
    return colors;
}

const std::vector<ns__RgbColor>& rgb_colors()
{
    static const std::vector<ns__RgbColor> colors = make_rgb_colors();
    return colors;
}

std::vector<ns__HsvColor> make_hsv_colors()
{
    std::vector<ns__HsvColor> colors(color_count);
    for (std::size_t i = 0; i < color_count; ++i)
        literal_rgb_to_hsv(rgb_colors()[i], colors[i]);
    return colors;
}

const std::vector<ns__HsvColor>& hsv_colors()
{
    static const std::vector<ns__HsvColor> colors = make_hsv_colors();
    return colors;
}

struct Row {
    const char* color;
    color_range range;
};

// As a site might configure it; two ranges a preset.
const std::array<Row, 26> site_rows{{
    {"white", {0, 0, 0.0F, 0.12F, 0.8F, 1.0F}},
    {"white", {0, 0, 0.12F, 0.2F, 0.9F, 1.0F}},
    {"black", {0, 0, 0.0F, 1.0F, 0.0F, 0.15F}},
    {"black", {0, 0, 0.0F, 0.4F, 0.15F, 0.22F}},
    {"gray", {0, 0, 0.0F, 0.15F, 0.2F, 0.8F}},
    {"gray", {200, 260, 0.15F, 0.25F, 0.25F, 0.7F}},
    {"light_blue", {180, 230, 0.2F, 0.7F, 0.6F, 1.0F}},
    {"light_blue", {190, 215, 0.7F, 1.0F, 0.7F, 1.0F}},
    {"dark_blue", {200, 255, 0.5F, 1.0F, 0.15F, 0.6F}},
    {"dark_blue", {225, 255, 0.6F, 1.0F, 0.6F, 0.9F}},
    {"brown", {10, 40, 0.3F, 0.9F, 0.2F, 0.6F}},
    {"brown", {350, 20, 0.25F, 0.6F, 0.2F, 0.5F}},
    {"light_green", {80, 150, 0.2F, 0.7F, 0.6F, 1.0F}},
    {"light_green", {75, 130, 0.7F, 1.0F, 0.75F, 1.0F}},
    {"dark_green", {80, 165, 0.3F, 1.0F, 0.15F, 0.6F}},
    {"dark_green", {150, 175, 0.4F, 1.0F, 0.2F, 0.7F}},
    {"yellow", {48, 66, 0.4F, 1.0F, 0.6F, 1.0F}},
    {"yellow", {44, 70, 0.3F, 0.6F, 0.8F, 1.0F}},
    {"orange", {18, 44, 0.5F, 1.0F, 0.6F, 1.0F}},
    {"orange", {12, 30, 0.7F, 1.0F, 0.7F, 1.0F}},
    {"red", {340, 15, 0.5F, 1.0F, 0.3F, 1.0F}},
    {"red", {330, 10, 0.7F, 1.0F, 0.2F, 0.8F}},
    {"pink", {300, 350, 0.2F, 0.6F, 0.6F, 1.0F}},
    {"pink", {350, 15, 0.2F, 0.5F, 0.75F, 1.0F}},
    {"purple", {255, 310, 0.3F, 1.0F, 0.2F, 0.8F}},
    {"purple", {265, 300, 0.2F, 0.6F, 0.5F, 1.0F}},
}};

// 1,000 narrow ranges, the presets in turn.
std::vector<Row> thousand_rows()
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp)
    std::vector<Row> rows;
    for (std::size_t i = 0; i < 1000; ++i) {
        const double hue = static_cast<double>(random() % 360);
        const float saturation = static_cast<float>(random() % 800) / 1000.0F;
        const float value = static_cast<float>(random() % 800) / 1000.0F;
        rows.push_back({site_rows[i * 2 % 26].color,
                        {hue, hue < 320.0 ? hue + 40.0 : hue - 320.0, saturation, saturation + 0.2F,
                         value, value + 0.2F}});
    }
    return rows;
}

struct Tables {
    template <typename Rows>
    explicit Tables(const Rows& rows)
    {
        XML_colors colors;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            auto& preset = colors.get_presets().get_preset(i);
            const color_range& range = rows[i].range;
            preset.set_color(rows[i].color);
            preset.set_hue_from(static_cast<std::int32_t>(range.hue_from));
            preset.set_hue_to(static_cast<std::int32_t>(range.hue_to));
            preset.set_sat_from(range.sat_from);
            preset.set_sat_to(range.sat_to);
            preset.set_val_from(range.val_from);
            preset.set_val_to(range.val_to);
            literal[KRCMN::color_enumeration(rows[i].color)].push_back(range);
        }
        table.rebuild(colors);
        (classifier.*private_member(Init()))(colors);
    }

    Color_Table table;
    KR_Colors classifier = *KR_Colors::instance();
    Literal_Table literal;
};

const Tables& site_tables()
{
    static const Tables tables(site_rows);
    return tables;
}

const Tables& thousand_tables()
{
    static const Tables tables(thousand_rows());
    return tables;
}

void count_colors(benchmark::State& state)
{
    state.counters["each"] = benchmark::Counter(
        color_count, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

template <typename Convert>
void run_rgb_to_hsv(benchmark::State& state, Convert convert)
{
    ns__HsvColor hsv;
    for (auto _ : state)
        for (const ns__RgbColor& rgb : rgb_colors()) {
            convert(rgb, hsv);
            benchmark::DoNotOptimize(hsv);
        }
    count_colors(state);
}

template <typename Convert>
void run_hsv_to_rgb(benchmark::State& state, Convert convert)
{
    ns__RgbColor rgb;
    for (auto _ : state)
        for (const ns__HsvColor& hsv : hsv_colors()) {
            convert(hsv, rgb);
            benchmark::DoNotOptimize(rgb);
        }
    count_colors(state);
}

void RgbToHsv(benchmark::State& state)
{
    const KR_Colors& colors = *KR_Colors::instance();
    run_rgb_to_hsv(state, [&colors](const ns__RgbColor& rgb, ns__HsvColor& hsv) {
        colors.rgb_to_hsv(rgb, hsv);
    });
}

void RgbToHsvLiteral(benchmark::State& state)
{
    run_rgb_to_hsv(state, literal_rgb_to_hsv);
}

void HsvToRgb(benchmark::State& state)
{
    const KR_Colors& colors = *KR_Colors::instance();
    run_hsv_to_rgb(state, [&colors](const ns__HsvColor& hsv, ns__RgbColor& rgb) {
        colors.hsv_to_rgb(hsv, rgb);
    });
}

void HsvToRgbLiteral(benchmark::State& state)
{
    run_hsv_to_rgb(state, literal_hsv_to_rgb);
}

// The colours in planes.
struct Planes {
    Planes()
    {
        for (std::size_t i = 0; i < color_count; ++i) {
            const ns__RgbColor& color = rgb_colors()[i];
            red.push_back(color.red);
            green.push_back(color.green);
            blue.push_back(color.blue);
            hues.push_back(hsv_colors()[i].hue);
            saturations.push_back(hsv_colors()[i].saturation);
            values.push_back(hsv_colors()[i].value);
        }
    }

    KR_Hsv_Source hsv() const { return {hues.data(), saturations.data(), values.data()}; }

    std::vector<std::uint8_t> red, green, blue;
    std::vector<std::int32_t> hues;
    std::vector<float> saturations, values;
};

// The colours as pixels of a frame.
const std::vector<std::uint8_t>& pixels()
{
    static const std::vector<std::uint8_t> bytes = [] {
        std::vector<std::uint8_t> result;
        for (const ns__RgbColor& color : rgb_colors())
            result.insert(result.end(), {color.blue, color.green, color.red});
        return result;
    }();
    return bytes;
}

template <typename Convert>
void run_batch(benchmark::State& state, Level most, Convert convert)
{
    const Level present = kr_internal::present_instructions().level;
    const kr_internal::Forced_Kernels forced({std::min(most, present), false, false});
    state.SetLabel(kr_internal::name_of(kr_internal::kernels().instructions));
    for (auto _ : state) {
        convert();
        benchmark::ClobberMemory();
    }
    count_colors(state);
}

void run_rgb_to_hsv_batch(benchmark::State& state, Level most)
{
    Planes planes;
    run_batch(state, most, [&planes] {
        KR_Colors::instance()->rgb_to_hsv_batch(
            {planes.red.data(), planes.green.data(), planes.blue.data()}, color_count,
            {planes.hues.data(), planes.saturations.data(), planes.values.data()});
    });
}

void run_hsv_to_rgb_batch(benchmark::State& state, Level most)
{
    Planes planes;
    run_batch(state, most, [&planes] {
        KR_Colors::instance()->hsv_to_rgb_batch(
            planes.hsv(), color_count,
            {planes.red.data(), planes.green.data(), planes.blue.data()});
    });
}

void RgbToHsvBatch(benchmark::State& state)
{
    run_rgb_to_hsv_batch(state, Level::avx512);
}

void RgbToHsvBatchAvx2(benchmark::State& state)
{
    run_rgb_to_hsv_batch(state, Level::avx2);
}

void RgbToHsvBatchSse2(benchmark::State& state)
{
    run_rgb_to_hsv_batch(state, Level::sse2);
}

void RgbToHsvBatchPixels(benchmark::State& state)
{
    std::vector<ns__HsvColor> result(color_count);
    run_batch(state, Level::avx512, [&result] {
        KR_Colors::instance()->rgb_to_hsv_batch(
            KR_Rgb_Source::packed(pixels().data(), KR_Pixel_Format::bgr24), color_count,
            KR_Hsv_Target::of(result.data()));
    });
}

void HsvToRgbBatch(benchmark::State& state)
{
    run_hsv_to_rgb_batch(state, Level::avx512);
}

void HsvToRgbBatchSse2(benchmark::State& state)
{
    run_hsv_to_rgb_batch(state, Level::sse2);
}

void HsvToRgbBatchPixels(benchmark::State& state)
{
    std::vector<std::uint8_t> result(3 * color_count);
    run_batch(state, Level::avx512, [&result] {
        KR_Colors::instance()->hsv_to_rgb_batch(
            KR_Hsv_Source::of(hsv_colors().data()), color_count,
            KR_Rgb_Target::packed(result.data(), KR_Pixel_Format::bgr24));
    });
}

void PresetsMaskBatch(benchmark::State& state)
{
    const Planes planes;
    std::vector<std::uint32_t> masks(color_count);
    for (auto _ : state) {
        site_tables().classifier.get_color_preset_masks(planes.hsv(), color_count, masks.data());
        benchmark::ClobberMemory();
    }
    count_colors(state);
}

constexpr std::int32_t side = 256; // of the region

KR_Color_Region region()
{
    KR_Color_Region result;
    result.pixels = pixels().data();
    result.width = side;
    result.height = side;
    result.stride = 3 * side;
    return result;
}

const std::vector<std::uint8_t>& circle()
{
    static const std::vector<std::uint8_t> mask = [] {
        std::vector<std::uint8_t> result;
        for (std::int32_t y = -side / 2; y < side / 2; ++y)
            for (std::int32_t x = -side / 2; x < side / 2; ++x)
                result.push_back(4 * x * x + 4 * y * y < side * side ? 255 : 0);
        return result;
    }();
    return mask;
}

KR_Color_Region masked_region()
{
    KR_Color_Region result = region();
    result.mask = circle().data();
    result.mask_stride = side;
    return result;
}

void run_region(benchmark::State& state, const KR_Color_Region& region)
{
    for (auto _ : state) {
        KR_Preset_Histogram histogram;
        site_tables().classifier.count_color_presets(region, histogram);
        benchmark::DoNotOptimize(histogram);
    }
    count_colors(state);
}

void run_region_singly(benchmark::State& state, const KR_Color_Region& region)
{
    const KR_Colors& colors = site_tables().classifier;
    const auto* const bytes = static_cast<const std::uint8_t*>(region.pixels);
    ns__RgbColor rgb;
    ns__HsvColor hsv;
    std::vector<ns__ColorPreset> presets;
    for (auto _ : state) {
        KR_Preset_Histogram histogram;
        for (std::size_t i = 0; i < color_count; ++i) {
            if (region.mask != nullptr && region.mask[i] == 0)
                continue;
            rgb.blue = bytes[3 * i];
            rgb.green = bytes[3 * i + 1];
            rgb.red = bytes[3 * i + 2];
            colors.rgb_to_hsv(rgb, hsv);
            presets.clear();
            colors.get_color_presets(hsv, presets, tolerance);
            ++histogram.pixels;
            for (const ns__ColorPreset preset : presets)
                ++histogram.presets[static_cast<std::size_t>(preset)];
        }
        benchmark::DoNotOptimize(histogram);
    }
    count_colors(state);
}

void Region(benchmark::State& state)
{
    run_region(state, region());
}

void RegionSingly(benchmark::State& state)
{
    run_region_singly(state, region());
}

void RegionMasked(benchmark::State& state)
{
    run_region(state, masked_region());
}

void RegionMaskedSingly(benchmark::State& state)
{
    run_region_singly(state, masked_region());
}

template <typename Append>
void run_reused(benchmark::State& state, Append append)
{
    std::vector<ns__ColorPreset> presets;
    for (auto _ : state)
        for (const ns__HsvColor& hsv : hsv_colors()) {
            presets.clear();
            append(hsv, presets);
            benchmark::DoNotOptimize(presets.data());
            benchmark::ClobberMemory();
        }
    count_colors(state);
}

template <typename Append>
void run_fresh(benchmark::State& state, Append append)
{
    for (auto _ : state)
        for (const ns__HsvColor& hsv : hsv_colors()) {
            std::vector<ns__ColorPreset> presets;
            append(hsv, presets);
            benchmark::DoNotOptimize(presets.data());
            benchmark::ClobberMemory();
        }
    count_colors(state);
}

auto append_from(const Tables& tables)
{
    return [&table = tables.table](const ns__HsvColor& hsv, std::vector<ns__ColorPreset>& presets) {
        table.append_presets(hsv, presets);
    };
}

auto append_literally_from(const Tables& tables)
{
    return
        [&table = tables.literal](const ns__HsvColor& hsv, std::vector<ns__ColorPreset>& presets) {
            literal_presets(table, hsv, presets);
        };
}

void PresetsReused(benchmark::State& state)
{
    run_reused(state, append_from(site_tables()));
}

void PresetsReusedLiteral(benchmark::State& state)
{
    run_reused(state, append_literally_from(site_tables()));
}

void PresetsFresh(benchmark::State& state)
{
    run_fresh(state, append_from(site_tables()));
}

void PresetsFreshLiteral(benchmark::State& state)
{
    run_fresh(state, append_literally_from(site_tables()));
}

void Presets1000(benchmark::State& state)
{
    run_reused(state, append_from(thousand_tables()));
}

void Presets1000Literal(benchmark::State& state)
{
    run_reused(state, append_literally_from(thousand_tables()));
}

void PresetsMask(benchmark::State& state)
{
    const Color_Table& table = site_tables().table;
    for (auto _ : state)
        for (const ns__HsvColor& hsv : hsv_colors())
            benchmark::DoNotOptimize(table.preset_mask(hsv));
    count_colors(state);
}

template <typename Is_Color>
void run_is_color(benchmark::State& state, Is_Color is_color)
{
    std::int32_t number = 0;
    for (auto _ : state)
        for (const ns__HsvColor& hsv : hsv_colors()) {
            number = number < 13 ? number + 1 : 1;
            benchmark::DoNotOptimize(is_color(static_cast<ns__ColorPreset>(number), hsv));
        }
    count_colors(state);
}

void IsColor(benchmark::State& state)
{
    const Color_Table& table = site_tables().table;
    run_is_color(state, [&table](ns__ColorPreset preset, const ns__HsvColor& hsv) {
        return table.has_preset(preset, hsv);
    });
}

void IsColorLiteral(benchmark::State& state)
{
    const Literal_Table& table = site_tables().literal;
    run_is_color(state, [&table](ns__ColorPreset preset, const ns__HsvColor& hsv) {
        return literal_is_color(table, preset, hsv);
    });
}

#ifdef KR_BENCH_OPENCV

cv::Mat rgb_image()
{
    cv::Mat image(256, 256, CV_8UC3);
    for (std::size_t i = 0; i < color_count; ++i)
        image.ptr<cv::Vec3b>()[i] =
            cv::Vec3b(rgb_colors()[i].red, rgb_colors()[i].green, rgb_colors()[i].blue);
    return image;
}

cv::Mat as_floats(const cv::Mat& image)
{
    cv::Mat floats;
    image.convertTo(floats, CV_32FC3, 1.0 / 255.0);
    return floats;
}

cv::Mat converted(const cv::Mat& image, int conversion)
{
    cv::Mat result;
    cv::cvtColor(image, result, conversion);
    return result;
}

void run_open_cv(benchmark::State& state, const cv::Mat& image, int conversion)
{
    cv::setNumThreads(1);
    cv::Mat result;
    for (auto _ : state) {
        cv::cvtColor(image, result, conversion);
        benchmark::DoNotOptimize(result.data);
        benchmark::ClobberMemory();
    }
    count_colors(state);
}

void RgbToHsvOpenCvFloat(benchmark::State& state)
{
    run_open_cv(state, as_floats(rgb_image()), cv::COLOR_RGB2HSV);
}

void RgbToHsvOpenCv8Bit(benchmark::State& state)
{
    run_open_cv(state, rgb_image(), cv::COLOR_RGB2HSV);
}

void HsvToRgbOpenCvFloat(benchmark::State& state)
{
    run_open_cv(state, converted(as_floats(rgb_image()), cv::COLOR_RGB2HSV), cv::COLOR_HSV2RGB);
}

void HsvToRgbOpenCv8Bit(benchmark::State& state)
{
    run_open_cv(state, converted(rgb_image(), cv::COLOR_RGB2HSV), cv::COLOR_HSV2RGB);
}

cv::Scalar bounds(double hue, float saturation, float value)
{
    return {hue / 2.0, static_cast<double>(saturation) * 255.0, static_cast<double>(value) * 255.0};
}

// A range through 0 would take two calls; it is counted as one.
void PresetsOpenCv(benchmark::State& state)
{
    cv::setNumThreads(1);
    const cv::Mat image = converted(rgb_image(), cv::COLOR_RGB2HSV);
    std::array<cv::Mat, 13> masks;
    cv::Mat in_range;
    for (auto _ : state) {
        for (std::size_t i = 0; i < site_rows.size(); ++i) {
            const color_range& range = site_rows[i].range;
            const double hue_to = range.hue_to > range.hue_from ? range.hue_to : 360.0;
            cv::inRange(image, bounds(range.hue_from, range.sat_from, range.val_from),
                        bounds(hue_to, range.sat_to, range.val_to),
                        i % 2 == 0 ? masks[i / 2] : in_range);
            if (i % 2 != 0)
                cv::bitwise_or(masks[i / 2], in_range, masks[i / 2]);
        }
        benchmark::ClobberMemory();
    }
    count_colors(state);
}

#endif

} // namespace

BENCHMARK(RgbToHsv);
BENCHMARK(RgbToHsvLiteral);
BENCHMARK(RgbToHsvBatch);
BENCHMARK(RgbToHsvBatchAvx2);
BENCHMARK(RgbToHsvBatchSse2);
BENCHMARK(RgbToHsvBatchPixels);
BENCHMARK(HsvToRgb);
BENCHMARK(HsvToRgbLiteral);
BENCHMARK(HsvToRgbBatch);
BENCHMARK(HsvToRgbBatchSse2);
BENCHMARK(HsvToRgbBatchPixels);
BENCHMARK(PresetsReused);
BENCHMARK(PresetsReusedLiteral);
BENCHMARK(PresetsFresh);
BENCHMARK(PresetsFreshLiteral);
BENCHMARK(PresetsMask);
BENCHMARK(PresetsMaskBatch);
BENCHMARK(Presets1000);
BENCHMARK(Presets1000Literal);
BENCHMARK(Region);
BENCHMARK(RegionSingly);
BENCHMARK(RegionMasked);
BENCHMARK(RegionMaskedSingly);
BENCHMARK(IsColor);
BENCHMARK(IsColorLiteral);
#ifdef KR_BENCH_OPENCV
BENCHMARK(RgbToHsvOpenCvFloat);
BENCHMARK(RgbToHsvOpenCv8Bit);
BENCHMARK(HsvToRgbOpenCvFloat);
BENCHMARK(HsvToRgbOpenCv8Bit);
BENCHMARK(PresetsOpenCv);
#endif
