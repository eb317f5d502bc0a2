#pragma once

/// \file
/// The box Geom_Box2D.

#include <cstdint>

/// An axis-aligned box: its smaller coordinates and its larger ones.
///
/// The library compares and joins the numbers and asks for no more: where the origin lies, in which
/// direction y grows and what one unit is, is the affair of those who write the boxes. The video search
/// hosts count pixels of the picture, from its upper left corner, x to the right and y downwards, so that
/// MinY is a box's upper edge and MaxY its foot.
///
/// Threads: a value; one thread at a time.
template <typename T>
class Geom_Box2D {
public:
    /// All coordinates zero, holding no value.
    Geom_Box2D() = default;

    /// A box that holds a value. The coordinates are taken as they are, also in the wrong order.
    Geom_Box2D(T min_x, T min_y, T max_x, T max_y) noexcept
        : MinX(min_x), MinY(min_y), MaxX(max_x), MaxY(max_y), IsSet(1)
    {
    }

    /// Copied and moved as a whole, member by member.
    /// @{
    Geom_Box2D(const Geom_Box2D&) = default;
    Geom_Box2D(Geom_Box2D&&) noexcept = default;
    Geom_Box2D& operator=(const Geom_Box2D&) = default;
    Geom_Box2D& operator=(Geom_Box2D&&) noexcept = default;
    /// @}
    virtual ~Geom_Box2D() { IsSet = 0; }

    /// Takes the smaller minima and the larger maxima of both boxes and sets the flag, whatever
    /// the flags were. Where a coordinate of the other box is NaN, this box's own stays.
    void unite(const Geom_Box2D& other) noexcept
    {
        MinX = other.MinX < MinX ? other.MinX : MinX;
        MinY = other.MinY < MinY ? other.MinY : MinY;
        MaxX = other.MaxX > MaxX ? other.MaxX : MaxX;
        MaxY = other.MaxY > MaxY ? other.MaxY : MaxY;
        IsSet = 1;
    }

    T MinX = 0;             ///< the smaller x
    T MinY = 0;             ///< the smaller y
    T MaxX = 0;             ///< the larger x
    T MaxY = 0;             ///< the larger y
    std::uint8_t IsSet = 0; ///< 1 once the box holds a value
};
