#include <KRCommon/colors/Colors.h>

#include <KRCommon/colors/Color_Table.h>

#include <KRCommon/kernels/Color_Formulas.h>

#include <cmath>
#include <cstdint>

namespace {

constexpr std::int32_t no_hue = -1;
constexpr float grey_threshold = 0.2F;

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

void KR_Colors::rgb_to_hsv(const ns__RgbColor& rgb, ns__HsvColor& hsv) const noexcept
{
    kr_internal::rgb_to_hsv(rgb.red, rgb.green, rgb.blue, hsv.hue, hsv.saturation, hsv.value);
}

void KR_Colors::hsv_to_rgb(const ns__HsvColor& hsv, ns__RgbColor& rgb) const noexcept
{
    kr_internal::hsv_to_rgb(hsv.hue, hsv.saturation, hsv.value, rgb.red, rgb.green, rgb.blue);
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
