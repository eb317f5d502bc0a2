#include <KRCommon/kernels/Colors_Vector.h>
#include <KRCommon/kernels/Forms.h>

namespace kr_internal {

namespace {

constexpr std::size_t lanes = 8;

} // namespace

[[gnu::target("avx2")]] void rgb_to_hsv_avx2(const std::uint32_t* colors, std::size_t count,
                                             std::int32_t* hues, float* saturations,
                                             float* values) noexcept
{
    std::size_t i = 0;
    for (; count - i >= lanes; i += lanes)
        color_lanes::rgb_to_hsv<lanes>(colors + i, hues + i, saturations + i, values + i);
    rgb_to_hsv_portable(colors + i, count - i, hues + i, saturations + i, values + i);
}

[[gnu::target("avx2")]] void hsv_to_rgb_avx2(const std::int32_t* hues, const float* saturations,
                                             const float* values, std::size_t count,
                                             std::uint32_t* colors) noexcept
{
    std::size_t i = 0;
    for (; count - i >= lanes; i += lanes)
        color_lanes::hsv_to_rgb<lanes>(hues + i, saturations + i, values + i, colors + i);
    hsv_to_rgb_portable(hues + i, saturations + i, values + i, count - i, colors + i);
}

} // namespace kr_internal
