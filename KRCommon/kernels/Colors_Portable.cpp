#include <KRCommon/kernels/Color_Formulas.h>
#include <KRCommon/kernels/Forms.h>

namespace kr_internal {

void rgb_to_hsv_portable(const std::uint32_t* colors, std::size_t count, std::int32_t* hues,
                         float* saturations, float* values) noexcept
{
    for (std::size_t i = 0; i < count; ++i) {
        rgb_to_hsv(static_cast<std::uint8_t>(colors[i]), static_cast<std::uint8_t>(colors[i] >> 8),
                   static_cast<std::uint8_t>(colors[i] >> 16), hues[i], saturations[i], values[i]);
    }
}

void hsv_to_rgb_portable(const std::int32_t* hues, const float* saturations, const float* values,
                         std::size_t count, std::uint32_t* colors) noexcept
{
    for (std::size_t i = 0; i < count; ++i) {
        std::uint8_t red = 0;
        std::uint8_t green = 0;
        std::uint8_t blue = 0;
        hsv_to_rgb(hues[i], saturations[i], values[i], red, green, blue);
        colors[i] = rgb_number(red, green, blue);
    }
}

} // namespace kr_internal
