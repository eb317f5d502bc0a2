#pragma once

/// \file
/// What KR_Colors knows from the configuration: the ranges of the colour presets and the palette, one
/// RGB colour per range.
///
/// Threads: any number may read at once; rebuild() and assignment must be alone.
/// Same on Windows and Linux.

#include <KRCommon/colors/Configuration.h>
#include <KRCommon/colors/Range_Lists.h>

#include <krsoap/krsoap.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace kr_internal {

/// The colour of a text like FF8000, which is read as scanf's "%x" does: blanks, a sign and 0x may
/// stand before the digits, and reading stops at the first other character. Bits 16-23 are red,
/// 8-15 green, 0-7 blue. A number beyond 32 bits counts as FFFFFFFF, a minus negates modulo 2^32.
/// Without any digit the colour is black.
ns__RgbColor parse_rgb(std::string_view text) noexcept;

class Color_Table {
public:
    /// An empty table: no colour matches, the palette is empty.
    Color_Table() = default;

    /// Takes the ranges of the configuration instead of those before. Hues are normalised into
    /// [0, 360), the other bounds are taken as they are. May throw std::bad_alloc; then the object
    /// may only be rebuilt, assigned to or destroyed.
    ///
    /// Quirk: the palette is not emptied; a second call appends a second palette.
    void rebuild(KRCMN::XML_configuration::XML_colors& colors);

    const Range_Lists& ranges() const noexcept { return ranges_; }

    /// Colours worked on at once, which stay in the processor's nearest cache.
    static constexpr std::size_t block_size = 256;

    /// The presets of many colours, as Range_Lists::presets_of() what KR_Colors::rgb_to_hsv() gives.
    /// colors  rgb_number(); the upper 8 bits do not matter. Those from count on are written over
    /// count   at most block_size
    void preset_masks(std::array<std::uint32_t, block_size>& colors, std::size_t count,
                      std::array<std::uint16_t, block_size>& masks) const noexcept;

    /// The presets that the colour falls into, as Range_Lists::presets_of().
    std::uint32_t preset_mask(const ns__HsvColor& color) const noexcept;

    /// Appends those presets in ascending order, except for those that the vector holds already.
    /// May throw std::bad_alloc.
    void append_presets(const ns__HsvColor& color, std::vector<ns__ColorPreset>& presets) const;

    /// Whether the colour falls into the preset; false for any number that is not 0-13.
    bool has_preset(ns__ColorPreset preset, const ns__HsvColor& color) const noexcept;

    /// One colour per configured range, in the configuration's order.
    const std::vector<ns__RgbColor>& palette() const noexcept { return palette_; }

private:
    Range_Lists ranges_;
    std::vector<ns__RgbColor> palette_;
};

} // namespace kr_internal
