#include "Traits.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace video_search {

Foot foot_of(const Geom_Box2D<float>& box) noexcept
{
    return {box.MinX + (box.MaxX - box.MinX) / 2, box.MaxY};
}

bool is_finite(const Foot& foot) noexcept
{
    return std::isfinite(foot.x) && std::isfinite(foot.y);
}

namespace {

constexpr double farthest = 2e9;

std::int64_t whole(double value, double where_nan)
{
    return static_cast<std::int64_t>(std::isnan(value) ? where_nan
                                                       : std::clamp(value, -farthest, farthest));
}

void extend(std::optional<Geom_Box2D<float>>& box, const Foot& foot)
{
    const Geom_Box2D<float> point(foot.x, foot.y, foot.x, foot.y);
    if (box)
        box->unite(point);
    else
        box = point;
}

std::optional<Place> place_of(const KR_Object_View& record)
{
    std::optional<Geom_Box2D<float>> box;
    for (const KR_Instance_View instance : record.instances()) {
        const Foot foot = foot_of(instance.box());
        if (is_finite(foot))
            extend(box, foot);
    }
    if (!box)
        return std::nullopt;
    return place_around(*box);
}

Traits found_by_every_search()
{
    Traits traits;
    traits.scores.fill(1);
    constexpr float infinity = std::numeric_limits<float>::infinity();
    traits.place = place_around(Geom_Box2D<float>(-infinity, -infinity, infinity, infinity));
    return with_any_color(traits);
}

} // namespace

Place place_around(const Geom_Box2D<float>& box) noexcept
{
    return {whole(std::floor(box.MinX), -farthest), whole(std::floor(box.MinY), -farthest),
            whole(std::ceil(box.MaxX), farthest), whole(std::ceil(box.MaxY), farthest)};
}

Traits traits_of(const KR_Object_View& record, const KR_Colors& colors)
{
    if (record.check().state != KR_Record_State::whole)
        return found_by_every_search();
    Traits traits;
    traits.duration = record.duration();
    traits.scores = record.class_scores();
    traits.place = place_of(record);
    const KR_Color_Shares shares = record.color_shares(colors);
    for (std::size_t k = 0; k < traits.shares.size(); ++k)
        traits.shares[k] = static_cast<int>(std::ceil(shares.percent[k + 1]));
    return traits;
}

// The shares of an instance that counts more than 100 percent may be larger still.
Traits with_any_color(Traits traits) noexcept
{
    traits.shares.fill(std::numeric_limits<std::int32_t>::max());
    return traits;
}

// FNV-1a over the presets of colours that are spread over all there are.
std::int64_t fingerprint_of(const KR_Colors& colors)
{
    constexpr std::uint32_t step = 509; // a prime, so that each component takes all its values
    constexpr std::size_t count = (1U << 24) / step + 1;
    std::vector<std::uint32_t> pixels(count);
    for (std::size_t k = 0; k < count; ++k)
        pixels[k] = static_cast<std::uint32_t>(k) * step;
    std::vector<std::int32_t> hues(count);
    std::vector<float> saturations(count);
    std::vector<float> values(count);
    colors.rgb_to_hsv_batch(KR_Rgb_Source::packed(pixels.data(), KR_Pixel_Format::rgbx32), count,
                            {hues.data(), saturations.data(), values.data()});
    std::vector<std::uint32_t> masks(count);
    colors.get_color_preset_masks({hues.data(), saturations.data(), values.data()}, count,
                                  masks.data());
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const std::uint32_t mask : masks)
        hash = (hash ^ mask) * 0x100000001B3;
    return static_cast<std::int64_t>(hash);
}

} // namespace video_search
