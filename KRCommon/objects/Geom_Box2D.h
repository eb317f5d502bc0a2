#pragma once

/// \file
/// An axis-aligned box. Threads: a value; one thread at a time.

#include <cstdint>

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

    Geom_Box2D(const Geom_Box2D&) = default;
    Geom_Box2D(Geom_Box2D&&) noexcept = default;
    Geom_Box2D& operator=(const Geom_Box2D&) = default;
    Geom_Box2D& operator=(Geom_Box2D&&) noexcept = default;
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

    T MinX = 0;
    T MinY = 0;
    T MaxX = 0;
    T MaxY = 0;
    std::uint8_t IsSet = 0; ///< 1 once the box holds a value
};
