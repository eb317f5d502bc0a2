#include <KRCommon/objects/Object_View.h>

#include <KRCommon/colors/Color_Batch.h>
#include <KRCommon/colors/Colors.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>

using namespace kr_internal;

KR_Record_Status KR_Object_View::check(const unsigned char* bytes, std::size_t length) noexcept
{
    return check_record(bytes, length);
}

KR_Byte_Span KR_Object_View::auxiliary_data() const noexcept
{
    const KR_Byte_Span rest = instances().bytes_behind();
    const std::size_t size = whole_auxiliary_size(rest.data, rest.size);
    if (size <= auxiliary_length_size)
        return {};
    return {rest.data + auxiliary_length_size, size - auxiliary_length_size};
}

namespace {

constexpr std::size_t preset_count = KR_Color_Shares::preset_count;
static_assert(preset_count == std::tuple_size_v<decltype(KR_Preset_Histogram::presets)>);

// What a colour adds to the sum of its preset. Whole numbers, so that sums are exact in any order.
std::uint8_t weight_of(KR_Color_View color)
{
    return static_cast<std::uint8_t>(std::max(color.area(), 0.0F));
}

float share(std::uint64_t area, std::uint64_t instances)
{
    if (instances == 0)
        return 0.0F;
    return static_cast<float>(static_cast<double>(area) / static_cast<double>(instances));
}

// Adds up the areas of colours by preset, a block of them at a time.
class Area_Sums {
public:
    explicit Area_Sums(const KR_Colors& colors) : colors_(colors) {}

    void add(KR_Color_View color)
    {
        red_[count_] = color.red();
        green_[count_] = color.green();
        blue_[count_] = color.blue();
        weights_[count_] = weight_of(color);
        if (++count_ == block_size)
            add_block();
    }

    // By the preset's number.
    const std::uint64_t* take()
    {
        add_block();
        return sums_;
    }

private:
    static constexpr std::size_t block_size = 128;

    void add_block()
    {
        std::int32_t hues[block_size];
        float saturations[block_size];
        float values[block_size];
        std::uint32_t masks[block_size];
        colors_.rgb_to_hsv_batch({red_, green_, blue_}, count_, {hues, saturations, values});
        colors_.get_color_preset_masks({hues, saturations, values}, count_, masks);
        for (std::size_t i = 0; i < count_; ++i)
            for (std::uint32_t presets = masks[i]; presets != 0; presets &= presets - 1)
                sums_[__builtin_ctz(presets)] += weights_[i];
        count_ = 0;
    }

    const KR_Colors& colors_;
    std::uint8_t red_[block_size];
    std::uint8_t green_[block_size];
    std::uint8_t blue_[block_size];
    std::uint8_t weights_[block_size];
    std::size_t count_ = 0;
    std::uint64_t sums_[preset_count] = {};
};

} // namespace

KR_Color_Shares KR_Object_View::color_shares(const KR_Colors& colors) const noexcept
{
    Area_Sums areas(colors);
    std::uint64_t count = 0;
    for (const KR_Instance_View instance : instances()) {
        count += instance.colors().empty() ? 0 : 1;
        for (const KR_Color_View color : instance.colors())
            areas.add(color);
    }
    const std::uint64_t* const sums = areas.take();
    KR_Color_Shares shares;
    for (std::size_t preset = 0; preset < preset_count; ++preset)
        shares.percent[preset] = share(sums[preset], count);
    return shares;
}

namespace {

ns__HsvColor to_hsv(KR_Color_View color, const KR_Colors& colors)
{
    ns__RgbColor rgb;
    rgb.red = color.red();
    rgb.green = color.green();
    rgb.blue = color.blue();
    ns__HsvColor hsv;
    colors.rgb_to_hsv(rgb, hsv);
    return hsv;
}

std::uint64_t area_of(ns__ColorPreset preset, KR_Color_Range range, const KR_Colors& colors)
{
    std::uint64_t area = 0;
    for (const KR_Color_View color : range)
        if (colors.is_color(preset, to_hsv(color, colors), ns__QueryTolerancePreset__value_0))
            area += weight_of(color);
    return area;
}

} // namespace

bool KR_Object_View::has_color(ns__ColorPreset preset, float min_percent,
                               const KR_Colors& colors) const noexcept
{
    if (static_cast<std::uint32_t>(preset) >= preset_count || std::isnan(min_percent))
        return false;
    if (min_percent <= 0)
        return true;
    std::uint64_t area = 0;
    std::uint64_t count = 0;
    std::uint64_t most = instances().max_size(); // that count can become
    for (const KR_Instance_View instance : instances()) {
        if (instance.colors().empty()) {
            --most;
            continue;
        }
        ++count;
        area += area_of(preset, instance.colors(), colors);
        // The area only grows, so that the share cannot fall below this.
        if (share(area, most) >= min_percent)
            return true;
    }
    return share(area, count) >= min_percent;
}
