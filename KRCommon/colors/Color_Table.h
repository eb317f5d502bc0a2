#pragma once

/// \file
/// What KR_Colors knows from the configuration: the ranges of the colour presets, laid out so that
/// one colour is matched quickly against all of them, and the palette, one RGB colour per range.
///
/// Threads: any number may read at once; rebuild() and assignment must be alone.
/// Same on Windows and Linux.

#include <KRCommon/colors/Configuration.h>

#include <krsoap/krsoap.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
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

/// The colour of a text like FF8000, which is read as scanf's "%x" does: blanks, a sign and 0x may
/// stand before the digits, and reading stops at the first other character. Bits 16-23 are red,
/// 8-15 green, 0-7 blue. A number beyond 32 bits counts as FFFFFFFF, a minus negates modulo 2^32.
/// Without any digit the colour is black.
ns__RgbColor parse_rgb(std::string_view text) noexcept;

class Color_Table {
public:
    /// How many preset numbers there are: 0 (a range without a colour name) to 13 (purple).
    static constexpr std::size_t preset_count = 14;

    /// An empty table: no colour matches, the palette is empty.
    Color_Table() = default;

    /// Takes the ranges of the configuration instead of those before. Hues are normalised into
    /// [0, 360), the other bounds are taken as they are. May throw std::bad_alloc; then the object
    /// may only be rebuilt, assigned to or destroyed.
    ///
    /// Quirk: the palette is not emptied; a second call appends a second palette.
    void rebuild(KRCMN::XML_configuration::XML_colors& colors);

    /// The presets that the colour falls into: bit n stands for preset n. A negative hue counts as
    /// 0, any other modulo 360.
    std::uint32_t preset_mask(const ns__HsvColor& color) const noexcept;

    /// Appends those presets in ascending order, except for those that the vector holds already.
    /// May throw std::bad_alloc.
    void append_presets(const ns__HsvColor& color, std::vector<ns__ColorPreset>& presets) const;

    /// Whether the colour falls into the preset; false for any number that is not 0-13.
    bool has_preset(ns__ColorPreset preset, const ns__HsvColor& color) const noexcept;

    /// One colour per configured range, in the configuration's order.
    const std::vector<ns__RgbColor>& palette() const noexcept { return palette_; }

private:
    /// Four ranges side by side, as four lanes of a vector register. Ranges are numbered preset by
    /// preset; range n is lane n % 4 of group n / 4. Lanes beyond the last range match no hue.
    ///
    /// The registers need 16 bytes alignment. For that alone std::vector would allocate as usual,
    /// since the compiler believes that any allocation has it; on 32-bit Windows it has 8.
    struct alignas(32) Four_Ranges {
        float sat_from[4];
        float sat_to[4];
        float val_from[4];
        float val_to[4];
        std::uint16_t presets[16]; ///< by the set of matching lanes: the presets that these make
    };

    /// The groups that hold a preset's ranges.
    struct Group_Span {
        std::size_t begin = 0;
        std::size_t end = 0;
    };

    void place(const color_range& range, ns__ColorPreset preset, std::size_t number);
    std::uint32_t matches_in(const Group_Span& span, const ns__HsvColor& color) const noexcept;
    static std::uint32_t matching_presets(const Four_Ranges& group, unsigned hue_lanes,
                                          const ns__HsvColor& color) noexcept;

    std::vector<Four_Ranges> groups_;
    std::vector<std::uint8_t> hue_lanes_; // per degree and group the lanes that accept the hue
    std::array<Group_Span, preset_count> spans_{};
    std::vector<ns__RgbColor> palette_;
};

} // namespace kr_internal
