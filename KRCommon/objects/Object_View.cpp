#include <KRCommon/objects/Object_View.h>

#include <KRCommon/colors/Color_Batch.h>
#include <KRCommon/colors/Color_Table.h>
#include <KRCommon/colors/Colors.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
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

float share(std::uint64_t area, std::uint64_t instances)
{
    if (instances == 0)
        return 0.0F;
    return static_cast<float>(static_cast<double>(area) / static_cast<double>(instances));
}

} // namespace

namespace kr_internal {

// Colours of some instances that have an area above 0, to be classified together.
class Colored_Areas {
public:
    explicit Colored_Areas(const KR_Colors& colors) noexcept : table_(*colors.table_) {}

    [[nodiscard]] std::size_t size() const noexcept { return count_; }
    [[nodiscard]] bool has_room_for(KR_Color_Range colors) const noexcept
    {
        return colors.size() <= capacity - count_;
    }

    // There must be room. Those of an area of 0 and below are written over.
    void add(KR_Color_Range colors) noexcept
    {
        const KR_Byte_Span bytes = colors.bytes();
        std::size_t count = count_;
        for (const unsigned char* color = bytes.begin(); color != bytes.end();
             color += color_size) {
            const std::int8_t area = get(color, color_entry::area);
            colors_[count] = get(color, color_entry::rgb_and_area);
            areas_[count] = static_cast<std::uint8_t>(area);
            count += area > 0 ? 1 : 0;
        }
        count_ = count;
    }

    // Then sum_of() may be asked, until more is added.
    void classify() noexcept
    {
        table_.preset_masks(colors_, count_, masks_);
        for (std::size_t i = count_; i % lanes != 0; ++i)
            masks_[i] = areas_[i] = 0;
    }

    // Of the areas that have the preset. Whole numbers, so that sums are exact in any order. Without
    // a branch on the colour, which would be hard to predict.
    [[nodiscard]] std::uint16_t sum_of(std::size_t preset) const noexcept
    {
        const auto bit = static_cast<std::uint16_t>(1U << preset);
        Lanes sums{};
        for (std::size_t i = 0; i < count_; i += lanes) {
            Lanes masks;
            Lanes areas;
            std::memcpy(&masks, &masks_[i], sizeof masks);
            std::memcpy(&areas, &areas_[i], sizeof areas);
            sums += (masks & bit) != 0 ? areas : Lanes{};
        }
        std::uint16_t sum = 0;
        for (std::size_t lane = 0; lane < lanes; ++lane)
            sum = static_cast<std::uint16_t>(sum + sums[lane]);
        return sum;
    }

    void clear() noexcept { count_ = 0; }

private:
    static constexpr std::size_t capacity = Color_Table::block_size;
    static constexpr std::size_t lanes = 8;
    using Lanes [[gnu::vector_size(2 * lanes)]] = std::uint16_t;
    static_assert(capacity * 127 < 65'536, "the sum of all areas");
    static_assert(capacity >= 127 && capacity % lanes == 0,
                  "the colours of an instance, in vectors");

    const Color_Table& table_;
    std::array<std::uint32_t, capacity> colors_;
    std::array<std::uint16_t, capacity> areas_;
    std::array<std::uint16_t, capacity> masks_;
    std::size_t count_ = 0;
};

} // namespace kr_internal

KR_Color_Shares KR_Object_View::color_shares(const KR_Colors& colors) const noexcept
{
    Colored_Areas areas(colors);
    std::array<std::uint64_t, preset_count> sums{};
    const auto take_areas = [&] {
        areas.classify();
        for (std::size_t preset = 0; preset < preset_count; ++preset)
            sums[preset] += areas.sum_of(preset);
        areas.clear();
    };
    std::uint64_t count = 0;
    for (const KR_Instance_View instance : instances()) {
        count += instance.colors().empty() ? 0 : 1;
        if (!areas.has_room_for(instance.colors()))
            take_areas();
        areas.add(instance.colors());
    }
    take_areas();
    KR_Color_Shares shares;
    for (std::size_t preset = 0; preset < preset_count; ++preset)
        shares.percent[preset] = share(sums[preset], count);
    return shares;
}

bool KR_Object_View::has_color(ns__ColorPreset preset, float min_percent,
                               const KR_Colors& colors) const noexcept
{
    if (static_cast<std::uint32_t>(preset) >= preset_count || std::isnan(min_percent))
        return false;
    if (min_percent <= 0)
        return true;
    constexpr std::size_t enough = 32; // colours to classify together
    static_assert(enough + 127 <= Color_Table::block_size);
    Colored_Areas areas(colors);
    std::uint64_t sum = 0;
    const auto take_areas = [&] {
        areas.classify();
        sum += areas.sum_of(static_cast<std::size_t>(preset));
        areas.clear();
    };
    std::uint64_t count = 0;
    std::uint64_t most = instances().max_size(); // that count can become
    for (const KR_Instance_View instance : instances()) {
        if (instance.colors().empty()) {
            --most;
            continue;
        }
        ++count;
        areas.add(instance.colors());
        if (areas.size() < enough)
            continue;
        take_areas();
        // The sum only grows, so that the share cannot fall below this.
        if (share(sum, most) >= min_percent)
            return true;
    }
    take_areas();
    return share(sum, count) >= min_percent;
}
