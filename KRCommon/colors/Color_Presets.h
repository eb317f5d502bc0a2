#pragma once

/// \file
/// The presets of a colour as a set of bits, for the library's own loops over many colours, which
/// have no room for a vector. Threads: as KR_Colors. Never fails.

#include <KRCommon/colors/Color_Table.h>
#include <KRCommon/colors/Colors.h>

#include <cstddef>
#include <cstdint>

namespace kr_internal {

class Color_Presets {
public:
    /// Of preset numbers.
    static constexpr std::size_t count = Range_Lists::preset_count;

    /// What KR_Colors::get_color_presets() reports: bit n stands for preset n.
    static std::uint32_t of(const KR_Colors& colors, const ns__HsvColor& color) noexcept
    {
        return colors.table_->preset_mask(color);
    }
};

} // namespace kr_internal
