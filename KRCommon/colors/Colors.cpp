#include <KRCommon/colors/Colors.h>

#include <KRCommon/colors/Color_Table.h>

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>

// 80-bit intermediate results would change some hues by one degree.
static_assert(FLT_EVAL_METHOD == 0, "float arithmetic must be single precision");

namespace {

constexpr std::int32_t no_hue = -1;
constexpr float grey_threshold = 0.2F;

constexpr std::array<float, 256> make_fractions()
{
    std::array<float, 256> fractions{};
    for (std::size_t i = 0; i < fractions.size(); ++i)
        fractions[i] = static_cast<float>(i) / 255.0F;
    return fractions;
}

constexpr std::array<float, 256> fractions = make_fractions(); // i / 255

// Which component is the largest: 0 red, 1 green, 2 blue. Quirk: of equal ones the first.
std::size_t largest_component(const ns__RgbColor& rgb, std::uint8_t max) noexcept
{
    const bool not_red = rgb.red != max;
    const bool not_green = rgb.green != max;
    return static_cast<std::size_t>(not_red) + static_cast<std::size_t>(not_red & not_green);
}

// Quirk: not limited to 0-255; the low 8 bits are kept. What is no 32-bit number counts as -2^31,
// as the processor's conversion has it, and gives 0.
std::uint8_t component_byte(float component) noexcept
{
    const double scaled = static_cast<double>(component) * 255.0;
    if (!(scaled > -2147483649.0 && scaled < 2147483648.0))
        return 0;
    return static_cast<std::uint8_t>(static_cast<std::int32_t>(scaled));
}

// Which of value, p, q and t (0 to 3) become red, green and blue.
struct Choice {
    std::uint8_t red, green, blue;
};

constexpr std::array<Choice, 6> choices{
    {{0, 3, 1}, {2, 0, 1}, {1, 0, 3}, {1, 2, 0}, {3, 1, 0}, {0, 1, 2}}};

float difference(float a, float b) noexcept
{
    const float signed_difference = b - a;
    return static_cast<float>(std::fabs(static_cast<double>(signed_difference)));
}

bool are_alike_as_greys(const ns__HsvColor& a, const ns__HsvColor& b) noexcept
{
    return difference(a.saturation, b.saturation) < grey_threshold &&
           difference(a.value, b.value) < grey_threshold;
}

} // namespace

KR_Colors* KR_Colors::instance()
{
    static KR_Colors colors;
    return &colors;
}

KR_Colors::KR_Colors() : table_(std::make_unique<kr_internal::Color_Table>()) {}

KR_Colors::KR_Colors(const KR_Colors& other)
    : table_(std::make_unique<kr_internal::Color_Table>(*other.table_))
{
}

KR_Colors& KR_Colors::operator=(const KR_Colors& other)
{
    table_ = std::make_unique<kr_internal::Color_Table>(*other.table_);
    return *this;
}

KR_Colors::~KR_Colors() = default;

void KR_Colors::init(KRCMN::XML_configuration::XML_colors& colors)
{
    table_->rebuild(colors);
}

// Without branches on the colour, which a processor could not predict.
void KR_Colors::rgb_to_hsv(const ns__RgbColor& rgb, ns__HsvColor& hsv) const noexcept
{
    const std::uint8_t max_byte = std::max({rgb.red, rgb.green, rgb.blue});
    const std::uint8_t min_byte = std::min({rgb.red, rgb.green, rgb.blue});
    const float max = fractions[max_byte];
    hsv.value = max;
    if (max_byte == min_byte) {
        hsv.hue = no_hue;
        hsv.saturation = 0.0F;
        return;
    }
    const float delta = max - fractions[min_byte];
    hsv.saturation = delta / max;

    static constexpr float sector_starts[] = {0.0F, 2.0F, 4.0F};
    const float components[] = {fractions[rgb.red], fractions[rgb.green], fractions[rgb.blue],
                                fractions[rgb.red], fractions[rgb.green]};
    const std::size_t largest = largest_component(rgb, max_byte);
    const float sector =
        (components[largest + 1] - components[largest + 2]) / delta + sector_starts[largest];
    const float degrees = sector * 60.0F;
    hsv.hue = static_cast<std::int32_t>(degrees + (degrees < 0.0F ? 360.0F : 0.0F));
}

void KR_Colors::hsv_to_rgb(const ns__HsvColor& hsv, ns__RgbColor& rgb) const noexcept
{
    const float value = hsv.value;
    const float saturation = hsv.saturation;
    if (saturation == 0.0F || hsv.hue == no_hue) {
        rgb.red = rgb.green = rgb.blue = component_byte(value);
        return;
    }
    const float h6 = static_cast<float>(hsv.hue) / 360.0F * 6.0F;
    const auto truncated = static_cast<std::int32_t>(h6); // any hue / 60 fits
    const std::int32_t i =
        truncated - static_cast<std::int32_t>(h6 < static_cast<float>(truncated));
    const float f = h6 - static_cast<float>(i);
    const float p = (1.0F - saturation) * value;
    const float q = (1.0F - f * saturation) * value;
    const float t = (1.0F - (1.0F - f) * saturation) * value;

    // Quirk: 6 and more (hue 360 and above) and negative numbers choose as 5 does.
    const Choice choice = choices[std::min<std::uint32_t>(static_cast<std::uint32_t>(i), 5)];
    const std::uint8_t bytes[] = {component_byte(value), component_byte(p), component_byte(q),
                                  component_byte(t)};
    rgb.red = bytes[choice.red];
    rgb.green = bytes[choice.green];
    rgb.blue = bytes[choice.blue];
}

// Quirk: not symmetric; callers rely on it.
float KR_Colors::angle_distance(float a, float b) const noexcept
{
    const float d = a - b;
    if (d <= 180.0F)
        return d;
    return b + 360.0F - a;
}

void KR_Colors::get_color_presets(const ns__HsvColor& hsv, std::vector<ns__ColorPreset>& presets,
                                  ns__QueryTolerancePreset /*tolerance*/) const
{
    table_->append_presets(hsv, presets);
}

bool KR_Colors::is_color(ns__ColorPreset preset, const ns__HsvColor& hsv,
                         ns__QueryTolerancePreset /*tolerance*/) const noexcept
{
    return table_->has_preset(preset, hsv);
}

// Quirk: not symmetric; callers rely on it.
bool KR_Colors::is_color_similiar(const ns__HsvColor& a, const ns__HsvColor& b, bool use_hue,
                                  const ns__HsvColor& tolerance) const noexcept
{
    if (a.hue == no_hue)
        return are_alike_as_greys(a, b);
    const float hue_distance =
        std::fabs(angle_distance(static_cast<float>(a.hue), static_cast<float>(b.hue)));
    const bool hue_passes = !use_hue || hue_distance < static_cast<float>(tolerance.hue);
    if (hue_passes && difference(a.saturation, b.saturation) < tolerance.saturation &&
        difference(a.value, b.value) < tolerance.value)
        return true;
    return b.hue == no_hue && are_alike_as_greys(a, b);
}

void KR_Colors::get_available_colors(std::vector<ns__RgbColor>& colors) const
{
    colors = table_->palette();
}
