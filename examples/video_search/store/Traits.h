#pragma once

/// \file
/// What a store keeps beside a record, so that it finds the record without reading it.
/// Threads: no state.

#include <KRCommon/colors/Colors.h>
#include <KRCommon/objects/Geom_Box2D.h>
#include <KRCommon/objects/Object_View.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace video_search {

/// Where an object stands: the middle of the lower edge of a box. Boxes are in pixels of the
/// recording from its upper left corner; x grows to the right and y downward, so that the lower edge
/// is that of the larger y.
struct Foot {
    float x = 0;
    float y = 0;
};

[[nodiscard]] Foot foot_of(const Geom_Box2D<float>& box) noexcept;
[[nodiscard]] bool is_finite(const Foot& foot) noexcept;

/// Whole numbers of the picture, from the first to the last of them.
struct Place {
    std::int64_t min_x = 0;
    std::int64_t min_y = 0;
    std::int64_t max_x = 0;
    std::int64_t max_y = 0;
};

/// The smallest place that holds the box. What is beyond some 2,000 million, and a NaN, count as the
/// end of the range.
[[nodiscard]] Place place_around(const Geom_Box2D<float>& box) noexcept;

struct Traits {
    static constexpr std::size_t preset_count = 13; ///< white, number 1, to purple, number 13

    std::optional<std::uint32_t> duration; ///< seconds; none when it is not known
    std::array<float, 3> scores{};         ///< of person, vehicle, object
    std::optional<Place> place;            ///< around all feet that are finite
    /// Percent that the object has of preset 1, 2, ... (KR_Object_View::color_shares()), rounded up
    /// to whole numbers.
    std::array<int, preset_count> shares{};
};

/// Of a record that is not whole, the traits that every search finds.
[[nodiscard]] Traits traits_of(const KR_Object_View& record, const KR_Colors& colors);

/// The same with shares that every search finds.
[[nodiscard]] Traits with_any_color(Traits traits) noexcept;

/// A number that tells classifiers apart: shares are of use to those alone who see colours the same
/// way. It is made of the presets of every 509th of all colours.
[[nodiscard]] std::int64_t fingerprint_of(const KR_Colors& colors);

} // namespace video_search
