#include <KRCommon/colors/Color_Table.h>

#include <KRCommon/kernels/Kernels.h>

#include <KRCommon/text/Scanner.h>

namespace kr_internal {

namespace {

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
    std::vector<Preset_Range> ranges;
    auto& presets = colors.get_presets();
    for (std::size_t i = 0; i < presets.count(); ++i) {
        const XML_preset& preset = presets.get_preset(i);
        ranges.push_back({preset.get_color_enumeration(), range_of(preset)});
        palette_.push_back(parse_rgb(preset.get_rgb())); // Quirk: after those of an earlier call
    }
    ranges_.rebuild(ranges);
}

// Full vectors are converted, for what is left of one is converted colour by colour.
void Color_Table::preset_masks(std::array<std::uint32_t, block_size>& colors, std::size_t count,
                               std::array<std::uint16_t, block_size>& masks) const noexcept
{
    constexpr std::size_t most_lanes = 16;
    static_assert(block_size % most_lanes == 0);
    std::array<std::int32_t, block_size> hues;
    std::array<float, block_size> saturations;
    std::array<float, block_size> values;
    std::size_t padded = count;
    while (padded % most_lanes != 0)
        colors[padded++] = 0;
    kernels().rgb_to_hsv(colors.data(), padded, hues.data(), saturations.data(), values.data());
    for (std::size_t i = 0; i < count; ++i)
        masks[i] =
            static_cast<std::uint16_t>(ranges_.presets_of(hues[i], saturations[i], values[i]));
}

std::uint32_t Color_Table::preset_mask(const ns__HsvColor& color) const noexcept
{
    return ranges_.presets_of(color.hue, color.saturation, color.value);
}

void Color_Table::append_presets(const ns__HsvColor& color,
                                 std::vector<ns__ColorPreset>& presets) const
{
    std::uint32_t mask = preset_mask(color);
    for (const ns__ColorPreset preset : presets)
        if (const auto number = static_cast<std::uint32_t>(preset);
            number < Range_Lists::preset_count)
            mask &= ~(1U << number);
    for (; mask != 0; mask &= mask - 1)
        presets.push_back(static_cast<ns__ColorPreset>(__builtin_ctz(mask)));
}

bool Color_Table::has_preset(ns__ColorPreset preset, const ns__HsvColor& color) const noexcept
{
    const auto number = static_cast<std::uint32_t>(preset);
    return number < Range_Lists::preset_count &&
           ranges_.has_preset(number, color.hue, color.saturation, color.value);
}

} // namespace kr_internal
