#pragma once

/// \file
/// An area of the picture, and who was in it. Threads: values.

#include "../store/Traits.h"

#include <KRCommon/objects/Geom_Box2D.h>
#include <KRCommon/objects/Object_View.h>

#include <vector>

namespace video_search {

/// What an object did in the area. An object is where its foot is: the middle of the lower edge of
/// its box (foot_of() in Traits.h), observation by observation. From one to the next it goes
/// straight. Observations whose foot is no number are passed over.
enum class Presence {
    stood,   ///< was observed in it, once at least
    crossed, ///< came into it from outside and went out again, on whatever side
};

/// A polygon in pixels of the recording from its upper left corner, y downward. Its edges belong to
/// it. Where they cross each other, what is enclosed an even number of times is outside.
struct Area {
    std::vector<Foot> corners; ///< three or more; the last one is joined to the first
    Presence presence = Presence::stood;
};

/// The area from one corner of a rectangle to the opposite one.
[[nodiscard]] std::vector<Foot> rectangle(const Foot& corner, const Foot& opposite);

/// The smallest box that holds the area; of no corners, a box of zeros.
[[nodiscard]] Geom_Box2D<float> box_around(const Area& area);

[[nodiscard]] bool is_in(const Foot& foot, const Area& area) noexcept;

/// Whether an object was present as the area asks. Where it went out of an area and came back in
/// between two observations that are both in it, it counts as having stayed.
[[nodiscard]] bool was_present(const KR_Object_View& object, const Area& area) noexcept;

} // namespace video_search
