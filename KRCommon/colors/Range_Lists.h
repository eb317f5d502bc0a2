#pragma once

/// \file
/// The ranges of the colour presets, laid out so that one colour is matched quickly against all of
/// them.
///
/// Few ranges accept a given hue. So there are lists of ranges, one for all the hues that are accepted
/// by the same ones, and a colour is compared with the list of its hue alone: four ranges at once,
/// and without a branch.
///
/// Memory: some kilobytes for a usual configuration. A thousand ranges, the most that the reader allows,
/// take 1 MB when each accepts a tenth of the hues, and 8 MB when almost all hues are accepted by almost
/// all of them.
///
/// Threads: any number may read at once; rebuild() and assignment must be alone.
/// Same on Windows and Linux.

#include <KRCommon/kernels/Vector.h>

#include <krsoap/krsoap.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kr_internal {

/// One configured range of a preset. Bounds are inclusive; a bound that is NaN accepts nothing.
struct color_range {
    double hue_from = 0.0; ///< degrees, [0, 360)
    double hue_to = 0.0;   ///< degrees, [0, 360); if not above hue_from, the range runs through 0
    float sat_from = 0.0F;
    float sat_to = 0.0F;
    float val_from = 0.0F;
    float val_to = 0.0F;
};

struct Preset_Range {
    ns__ColorPreset preset; ///< 0 to 13
    color_range range;
};

class Range_Lists {
public:
    /// How many preset numbers there are: 0 (a range without a colour name) to 13 (purple).
    static constexpr std::size_t preset_count = 14;

    /// Without ranges: no colour matches.
    Range_Lists() = default;

    /// Takes these ranges instead of those before. May throw std::bad_alloc; then the object may only
    /// be rebuilt, assigned to or destroyed.
    void rebuild(const std::vector<Preset_Range>& ranges);

    /// The presets that the colour falls into: bit n stands for preset n. A negative hue counts as
    /// 0, any other modulo 360.
    std::uint32_t presets_of(std::int32_t hue, float saturation, float value) const noexcept
    {
        const Hue_List& list = list_of(hue);
        return matches(list.first, groups_per_list_, saturation, value);
    }

    /// Whether the colour falls into the preset, 0 to 13.
    bool has_preset(std::size_t preset, std::int32_t hue, float saturation,
                    float value) const noexcept
    {
        const Hue_List& list = list_of(hue);
        const std::uint32_t presets = matches(list.first + list.first_of_preset[preset],
                                              groups_per_preset_, saturation, value);
        return (presets >> preset & 1U) != 0;
    }

private:
    static constexpr std::int32_t full_circle = 360;

    /// Four ranges side by side, as four lanes of a vector register. A lane without a range adds no
    /// preset.
    ///
    /// The registers need 16 bytes alignment. For that alone std::vector would allocate as usual,
    /// since the compiler believes that any allocation has it; on 32-bit Windows it has 8.
    struct alignas(32) Four_Ranges {
        float sat_from[4];
        float sat_to[4];
        float val_from[4];
        float val_to[4];
        std::uint16_t presets[16]; ///< by the set of matching lanes: the presets that these make

        void set(std::size_t lane, const Preset_Range& range) noexcept;
    };

    /// A list of ranges: its first group, and from there where the ranges of each preset begin.
    struct Hue_List {
        std::uint32_t first = 0;
        std::array<std::uint16_t, preset_count> first_of_preset{};
    };

    struct New_List;

    static New_List new_list(const std::vector<Preset_Range>& ranges,
                             const std::vector<std::size_t>& numbers);
    Hue_List append(const New_List& list);

    const Hue_List& list_of(std::int32_t hue) const noexcept
    {
        hue = std::max(hue, 0);
        return lists_[static_cast<std::size_t>(hue < full_circle ? hue : hue % full_circle)];
    }

    // The comparisons are false for NaN, as they should be. The number of groups does not depend on
    // the colour: a loop's end that did would be hard to predict.
    std::uint32_t matches(std::size_t first, std::size_t count, float saturation,
                          float value) const noexcept
    {
        using namespace vector;
        const Floats saturations = all_floats(saturation);
        const Floats values = all_floats(value);
        const Four_Ranges* const groups = groups_.data() + first;
        std::uint32_t presets = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const Four_Ranges& group = groups[i];
            const Flags above = both(at_most(load_aligned(group.sat_from), saturations),
                                     at_most(load_aligned(group.val_from), values));
            const Flags below = both(at_most(saturations, load_aligned(group.sat_to)),
                                     at_most(values, load_aligned(group.val_to)));
            presets |= group.presets[mask_of(both(above, below))];
        }
        return presets;
    }

    std::vector<Four_Ranges> groups_;
    std::array<Hue_List, full_circle> lists_{}; // per degree
    std::size_t groups_per_list_ = 0;           // the same for all lists
    std::size_t groups_per_preset_ = 0;         // the same for all presets and lists
};

} // namespace kr_internal
