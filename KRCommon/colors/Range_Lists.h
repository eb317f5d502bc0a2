#pragma once

/// \file
/// The ranges of the colour presets, laid out so that one colour is matched quickly against all of
/// them.
///
/// Few ranges come near a given colour. So hues that are accepted by the same ranges share a square of
/// cells, 8 steps of saturation by 8 of value, and each cell has a list of the ranges that reach into it.
/// A colour is compared with the list of its cell alone: four ranges at once, and without a branch
/// but for the list's end. Few lists of a usual configuration are longer than four ranges.
///
/// Memory: some ten kilobytes for a usual configuration, since equal lists are kept once. Where the
/// lists would take more than 6 MB, which some hundred wide ranges can do, all cells of a hue have one
/// list instead: a thousand ranges, the most that the reader allows, then take up to 8 MB.
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

/// The hue of a file in [0, 360): what repeated subtraction or addition of 360 gives.
constexpr double normalised_hue(std::int32_t hue) noexcept
{
    const std::int32_t rest = hue % 360; // whole numbers: exact
    return static_cast<double>(rest < 0 ? rest + 360 : rest);
}

/// Whether a range holds a hue of [0, 360).
constexpr bool accepts_hue(const color_range& range, double hue) noexcept
{
    // Quirk: equal bounds run through 0 and accept every hue; 0 to 360 is such a range.
    if (range.hue_to > range.hue_from)
        return range.hue_from <= hue && hue <= range.hue_to;
    return hue >= range.hue_from || hue <= range.hue_to;
}

struct Preset_Range {
    ns__ColorPreset preset; ///< 0 to 13
    color_range range;
};

class Range_Lists {
public:
    /// How many preset numbers there are: 0 (a range without a colour name) to 13 (purple).
    static constexpr std::size_t preset_count = 14;

    /// Without ranges: no colour matches. May throw std::bad_alloc.
    Range_Lists() = default;

    /// Takes these ranges instead of those before. May throw std::bad_alloc; then the object may only
    /// be rebuilt, assigned to or destroyed.
    void rebuild(const std::vector<Preset_Range>& ranges);

    /// The presets that the colour falls into: bit n stands for preset n. A negative hue counts as
    /// 0, any other modulo 360.
    std::uint32_t presets_of(std::int32_t hue, float saturation, float value) const noexcept
    {
        return matches(list_of(hue, saturation, value), saturation, value);
    }

    /// Whether the colour falls into the preset, 0 to 13.
    bool has_preset(std::size_t preset, std::int32_t hue, float saturation,
                    float value) const noexcept
    {
        return (presets_of(hue, saturation, value) >> preset & 1U) != 0;
    }

private:
    static constexpr std::int32_t full_circle = 360;
    static constexpr std::size_t steps = 8;

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

    /// A list of ranges: so many groups, one behind the other.
    struct List {
        std::uint32_t first = 0;
        std::uint32_t count = 0;
    };

    class Builder;

    bool rebuild(const std::vector<Preset_Range>& ranges, bool by_cell, std::size_t most_groups);
    static std::vector<std::size_t> reaching(const std::vector<Preset_Range>& ranges,
                                             const std::vector<std::size_t>& numbers,
                                             std::size_t cell);

    // The step of saturation or value. The last step is also that of all numbers from 1 on or at most
    // -1 / steps, and of NaN; those little below 0 are in the first. Without a branch, which would be
    // hard to predict.
    static std::size_t step_of(float number) noexcept
    {
        const std::int32_t step =
            vector::truncate(number * steps); // -2^31 if too large, and of NaN
        return std::min<std::uint32_t>(static_cast<std::uint32_t>(step), steps - 1);
    }

    // Whether numbers of this step may lie in [from, to].
    static bool reaches(float from, float to, std::size_t step) noexcept;

    const List& list_of(std::int32_t hue, float saturation, float value) const noexcept
    {
        hue = std::max(hue, 0);
        const auto degree = static_cast<std::size_t>(hue < full_circle ? hue : hue % full_circle);
        return cells_[first_cells_[degree] + step_of(saturation) * steps + step_of(value)];
    }

    // The comparisons are false for NaN, as they should be.
    std::uint32_t matches(const List& list, float saturation, float value) const noexcept
    {
        using namespace vector;
        const Floats saturations = all_floats(saturation);
        const Floats values = all_floats(value);
        const Four_Ranges* const groups = groups_.data() + list.first;
        std::uint32_t presets = 0;
        for (std::size_t i = 0; i < list.count; ++i) {
            const Four_Ranges& group = groups[i];
            const Flags above = both(at_most(load_aligned(group.sat_from), saturations),
                                     at_most(load_aligned(group.val_from), values));
            const Flags below = both(at_most(saturations, load_aligned(group.sat_to)),
                                     at_most(values, load_aligned(group.val_to)));
            presets |= group.presets[mask_of(both(above, below))];
        }
        return presets;
    }

    std::array<std::uint32_t, full_circle> first_cells_{}; // per degree
    std::vector<List> cells_ = std::vector<List>(steps * steps);
    std::vector<Four_Ranges> groups_;
};

} // namespace kr_internal
