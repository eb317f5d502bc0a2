#include "Area.h"

#include <algorithm>
#include <cstddef>

namespace video_search {

std::vector<Foot> rectangle(const Foot& corner, const Foot& opposite)
{
    return {corner, {opposite.x, corner.y}, opposite, {corner.x, opposite.y}};
}

Geom_Box2D<float> box_around(const Area& area)
{
    if (area.corners.empty())
        return {};
    const Foot& first = area.corners.front();
    Geom_Box2D<float> box(first.x, first.y, first.x, first.y);
    for (const Foot& corner : area.corners)
        box.unite({corner.x, corner.y, corner.x, corner.y});
    return box;
}

namespace {

struct Line {
    const Foot& from;
    const Foot& to;
};

// Above 0 when the point is on one side of the line, below on the other, 0 when on it.
double side(const Line& line, const Foot& point)
{
    const double dx = double{line.to.x} - line.from.x;
    const double dy = double{line.to.y} - line.from.y;
    return dx * (double{point.y} - line.from.y) - dy * (double{point.x} - line.from.x);
}

// Of a point that is on the line when it is drawn on.
bool is_between_ends(const Line& line, const Foot& point)
{
    return std::min(line.from.x, line.to.x) <= point.x &&
           point.x <= std::max(line.from.x, line.to.x) &&
           std::min(line.from.y, line.to.y) <= point.y &&
           point.y <= std::max(line.from.y, line.to.y);
}

bool is_on(const Line& line, const Foot& point)
{
    return side(line, point) == 0 && is_between_ends(line, point);
}

bool are_apart(double one, double other)
{
    return (one < 0 && other > 0) || (one > 0 && other < 0);
}

bool touch(const Line& one, const Line& other)
{
    const bool cross = are_apart(side(one, other.from), side(one, other.to)) &&
                       are_apart(side(other, one.from), side(other, one.to));
    return cross || is_on(one, other.from) || is_on(one, other.to) || is_on(other, one.from) ||
           is_on(other, one.to);
}

// Calls the function with each edge until it says yes.
template <class Function>
bool any_edge(const Area& area, Function function)
{
    const std::size_t count = area.corners.size();
    for (std::size_t k = 0; k < count; ++k)
        if (function(Line{area.corners[k], area.corners[(k + 1) % count]}))
            return true;
    return false;
}

// Whether a ray from the point to the right meets the edge, of whose ends the lower one belongs to
// the next edge.
bool is_left_of(const Foot& point, const Line& edge)
{
    if ((edge.from.y > point.y) == (edge.to.y > point.y))
        return false;
    return (side(edge, point) > 0) == (edge.to.y > edge.from.y);
}

} // namespace

bool is_in(const Foot& foot, const Area& area) noexcept
{
    bool is_inside = false;
    const bool is_on_edge = any_edge(area, [&](const Line& edge) {
        is_inside ^= is_left_of(foot, edge);
        return is_on(edge, foot);
    });
    return is_on_edge || is_inside;
}

namespace {

// Follows the feet of an object.
class Walk {
public:
    explicit Walk(const Area& area) noexcept : area_(area) {}

    void go_to(const Foot& foot) noexcept
    {
        const bool is_inside = is_in(foot, area_);
        const bool passes_through =
            has_place_ && !was_inside_ && !is_inside && any_edge(area_, [&](const Line& edge) {
                return touch(edge, {place_, foot});
            });
        has_crossed_ = has_crossed_ || passes_through || (has_come_in_ && !is_inside);
        has_come_in_ = has_come_in_ || (has_place_ && !was_inside_ && is_inside);
        has_stood_ = has_stood_ || is_inside;
        has_place_ = true;
        place_ = foot;
        was_inside_ = is_inside;
    }

    [[nodiscard]] bool is_decided() const noexcept
    {
        return area_.presence == Presence::stood ? has_stood_ : has_crossed_;
    }

private:
    const Area& area_;
    Foot place_;
    bool has_place_ = false;
    bool was_inside_ = false;
    bool has_stood_ = false;
    bool has_come_in_ = false; // from outside
    bool has_crossed_ = false;
};

} // namespace

bool was_present(const KR_Object_View& object, const Area& area) noexcept
{
    Walk walk(area);
    for (const KR_Instance_View instance : object.instances()) {
        const Foot foot = foot_of(instance.box());
        if (is_finite(foot))
            walk.go_to(foot);
        if (walk.is_decided())
            return true;
    }
    return false;
}

} // namespace video_search
