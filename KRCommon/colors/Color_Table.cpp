#include <KRCommon/colors/Color_Table.h>

#include <KRCommon/text/Scanner.h>

#include <emmintrin.h>

#include <algorithm>
#include <map>

namespace kr_internal {

namespace {

constexpr std::int32_t full_circle = 360;

// Key 0 holds the ranges without a known colour name.
using Preset_Ranges = std::map<ns__ColorPreset, std::vector<color_range>>;
using XML_preset = KRCMN::XML_configuration::XML_colors::XML_presets::XML_preset;

std::uint32_t read_hex(std::string_view text) noexcept
{
    Scanner scan(text);
    scan.blanks();
    const bool minus = scan.minus();
    scan.hex_prefix();
    std::uint32_t number = 0;
    for (unsigned digit = scan.digit(16); digit != no_digit; digit = scan.digit(16)) {
        if (number > 0x0FFF'FFFF)
            return 0xFFFF'FFFF; // with a minus as well, as strtoul has it
        number = number * 16 + digit;
    }
    return minus ? 0U - number : number;
}

// Into [0, 360). What repeated subtraction or addition of 360 in double gives: all these numbers
// are whole and exact.
double normalised_hue(std::int32_t hue) noexcept
{
    const std::int32_t rest = hue % full_circle;
    return static_cast<double>(rest < 0 ? rest + full_circle : rest);
}

color_range range_of(const XML_preset& preset) noexcept
{
    color_range range;
    range.hue_from = normalised_hue(preset.get_hue_from());
    range.hue_to = normalised_hue(preset.get_hue_to());
    range.sat_from = preset.get_sat_from();
    range.sat_to = preset.get_sat_to();
    range.val_from = preset.get_val_from();
    range.val_to = preset.get_val_to();
    return range;
}

// Quirk: equal bounds run through 0 and accept every hue; 0 to 360 is such a range.
bool accepts_hue(const color_range& range, double hue) noexcept
{
    if (range.hue_to > range.hue_from)
        return range.hue_from <= hue && hue <= range.hue_to;
    return hue >= range.hue_from || hue <= range.hue_to;
}

} // namespace

ns__RgbColor parse_rgb(std::string_view text) noexcept
{
    const std::uint32_t number = read_hex(text);
    ns__RgbColor color;
    color.red = static_cast<std::uint8_t>(number >> 16);
    color.green = static_cast<std::uint8_t>(number >> 8);
    color.blue = static_cast<std::uint8_t>(number);
    return color;
}

void Color_Table::rebuild(KRCMN::XML_configuration::XML_colors& colors)
{
    Preset_Ranges preset_ranges;
    auto& presets = colors.get_presets();
    for (std::size_t i = 0; i < presets.count(); ++i) {
        const XML_preset& preset = presets.get_preset(i);
        preset_ranges[preset.get_color_enumeration()].push_back(range_of(preset));
        palette_.push_back(parse_rgb(preset.get_rgb())); // Quirk: after those of an earlier call
    }

    groups_.assign((presets.count() + 3) / 4, Four_Ranges{});
    hue_lanes_.assign(groups_.size() * full_circle, 0);
    spans_ = {};
    std::size_t number = 0;
    for (const auto& [preset, ranges] : preset_ranges) {
        spans_[static_cast<std::size_t>(preset)] = {number / 4, (number + ranges.size() + 3) / 4};
        for (const color_range& range : ranges)
            place(range, preset, number++);
    }
}

void Color_Table::place(const color_range& range, ns__ColorPreset preset, std::size_t number)
{
    Four_Ranges& group = groups_[number / 4];
    const std::size_t lane = number % 4;
    group.sat_from[lane] = range.sat_from;
    group.sat_to[lane] = range.sat_to;
    group.val_from[lane] = range.val_from;
    group.val_to[lane] = range.val_to;
    for (std::size_t lanes = 0; lanes < 16; ++lanes)
        if ((lanes >> lane & 1U) != 0)
            group.presets[lanes] = static_cast<std::uint16_t>(group.presets[lanes] | 1U << preset);
    for (std::size_t degree = 0; degree < full_circle; ++degree) {
        std::uint8_t& lanes = hue_lanes_[degree * groups_.size() + number / 4];
        if (accepts_hue(range, static_cast<double>(degree)))
            lanes = static_cast<std::uint8_t>(lanes | 1U << lane);
    }
}

// The comparisons are false for NaN, as they should be.
std::uint32_t Color_Table::matching_presets(const Four_Ranges& group, unsigned hue_lanes,
                                            const ns__HsvColor& color) noexcept
{
    const __m128 saturation = _mm_set1_ps(color.saturation);
    const __m128 value = _mm_set1_ps(color.value);
    const __m128 above = _mm_and_ps(_mm_cmple_ps(_mm_load_ps(group.sat_from), saturation),
                                    _mm_cmple_ps(_mm_load_ps(group.val_from), value));
    const __m128 below = _mm_and_ps(_mm_cmple_ps(saturation, _mm_load_ps(group.sat_to)),
                                    _mm_cmple_ps(value, _mm_load_ps(group.val_to)));
    const auto lanes = static_cast<unsigned>(_mm_movemask_ps(_mm_and_ps(above, below)));
    return group.presets[lanes & hue_lanes];
}

// All groups are looked at, as an early end would cost more than it saves: it is hard to predict.
inline std::uint32_t Color_Table::matches_in(const Group_Span& span,
                                             const ns__HsvColor& color) const noexcept
{
    const std::int32_t hue = std::max(color.hue, 0);
    const auto degree = static_cast<std::size_t>(hue < full_circle ? hue : hue % full_circle);
    const std::uint8_t* const lanes = hue_lanes_.data() + degree * groups_.size();
    std::uint32_t mask = 0;
    for (std::size_t i = span.begin; i < span.end; ++i)
        mask |= matching_presets(groups_[i], lanes[i], color);
    return mask;
}

std::uint32_t Color_Table::preset_mask(const ns__HsvColor& color) const noexcept
{
    return matches_in({0, groups_.size()}, color);
}

void Color_Table::append_presets(const ns__HsvColor& color,
                                 std::vector<ns__ColorPreset>& presets) const
{
    std::uint32_t mask = preset_mask(color);
    for (const ns__ColorPreset preset : presets)
        if (const auto number = static_cast<std::uint32_t>(preset); number < preset_count)
            mask &= ~(1U << number);
    for (; mask != 0; mask &= mask - 1)
        presets.push_back(static_cast<ns__ColorPreset>(__builtin_ctz(mask)));
}

bool Color_Table::has_preset(ns__ColorPreset preset, const ns__HsvColor& color) const noexcept
{
    const auto number = static_cast<std::uint32_t>(preset);
    return number < preset_count && (matches_in(spans_[number], color) >> number & 1U) != 0;
}

} // namespace kr_internal
