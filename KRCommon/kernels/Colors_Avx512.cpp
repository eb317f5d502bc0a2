#include <KRCommon/kernels/Colors_Vector.h>
#include <KRCommon/kernels/Forms.h>

namespace kr_internal {

namespace {

constexpr std::size_t lanes = 16;

} // namespace

[[gnu::target("avx512f,avx512bw,avx512vl")]] void
rgb_to_hsv_avx512(const std::uint32_t* colors, std::size_t count, std::int32_t* hues,
                  float* saturations, float* values) noexcept
{
    std::size_t i = 0;
    for (; count - i >= lanes; i += lanes)
        color_lanes::rgb_to_hsv<lanes>(colors + i, hues + i, saturations + i, values + i);
    rgb_to_hsv_portable(colors + i, count - i, hues + i, saturations + i, values + i);
}

} // namespace kr_internal
