#pragma once

/// \file
/// The conversions of Color_Formulas.h for as many colours at once as a register has lanes: what
/// Colors_Sse2.cpp and Colors_Avx2.cpp have in common. These are the compiler's vectors, on which its
/// operators work lane by lane. The functions become part of their callers, and so are compiled for
/// the callers' instructions.
///
/// Each step is the one of the formula, in its order, so that each lane gets the formula's bits. No
/// multiplication may be joined with an addition: see -ffp-contract in KRBuild.cmake.

#include <KRCommon/kernels/Color_Formulas.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kr_internal::color_lanes {

template <std::size_t Lanes>
struct Vectors {
    using Ints [[gnu::vector_size(4 * Lanes)]] = std::int32_t;
    using Floats [[gnu::vector_size(4 * Lanes)]] = float;
    using Doubles [[gnu::vector_size(8 * Lanes)]] = double;
};

// 1 / 255 is 1 / 256 + 1 / 65280. The first product is exact, and the sum is rounded as the quotient.
constexpr float first_part = 1.0F / 256.0F;
constexpr float second_part = 1.0F / 65280.0F;

constexpr bool all_fractions_are_exact()
{
    for (std::size_t i = 0; i < color_fractions.size(); ++i) {
        const auto byte = static_cast<float>(i);
        if (byte * first_part + byte * second_part != color_fractions[i])
            return false;
    }
    return true;
}
static_assert(all_fractions_are_exact());

template <typename Floats, typename Ints>
[[gnu::always_inline]] inline void get_fractions(const Ints& bytes, Floats& fractions) noexcept
{
    const Floats numbers = __builtin_convertvector(bytes, Floats);
    fractions = numbers * first_part + numbers * second_part;
}

/// The next Lanes colours.
template <std::size_t Lanes>
[[gnu::always_inline]] inline void rgb_to_hsv(const std::uint32_t* colors, std::int32_t* hues,
                                              float* saturations, float* values) noexcept
{
    using Ints = typename Vectors<Lanes>::Ints;
    using Floats = typename Vectors<Lanes>::Floats;
    Ints numbers;
    std::memcpy(&numbers, colors, sizeof numbers);
    Floats red;
    Floats green;
    Floats blue;
    get_fractions<Floats, Ints>(numbers & 255, red);
    get_fractions<Floats, Ints>(numbers >> 8 & 255, green);
    get_fractions<Floats, Ints>(numbers >> 16 & 255, blue);

    // Written as the instructions for the larger and the smaller of two are made.
    const Floats more = red > green ? red : green;
    const Floats less = red < green ? red : green;
    const Floats max = more > blue ? more : blue;
    const Floats min = less < blue ? less : blue;
    const Floats delta = max - min;
    const Ints is_red = red == max;
    const Ints is_green = green == max;

    // Divisors: a grey has 0 divided by something.
    const Floats least = Floats{} + 0.001F; // below all that are not 0
    const Floats safe_delta = delta > least ? delta : least;
    const Floats safe_max = max > least ? max : least;

    const Floats slope = (is_red ? green - blue : is_green ? blue - red : red - green) / safe_delta;
    const Floats start = is_red ? Floats{} : is_green ? Floats{} + 2.0F : Floats{} + 4.0F;
    const Floats degrees = (slope + start) * 60.0F;
    const Floats lifted = degrees + (degrees < 0.0F ? Floats{} + 360.0F : Floats{});

    const Ints is_grey = max == min;
    const Ints hue = __builtin_convertvector(lifted, Ints) | is_grey; // all bits are -1
    const Floats saturation = delta / safe_max;
    std::memcpy(hues, &hue, sizeof hue);
    std::memcpy(saturations, &saturation, sizeof saturation);
    std::memcpy(values, &max, sizeof max);
}

// The low bytes of component * 255 in double; 0 for what does not fit in 32 bits.
template <std::size_t Lanes, typename Floats, typename Ints>
[[gnu::always_inline]] inline void get_bytes(const Floats& components, Ints& bytes) noexcept
{
    using Doubles = typename Vectors<Lanes>::Doubles;
    constexpr float beyond = 8'421'505.0F; // the first float that is too large
    const Ints fits = (components > -beyond) & (components < beyond);
    const Floats fitting = fits ? components : Floats{};
    const Doubles scaled = __builtin_convertvector(fitting, Doubles) * 255.0;
    bytes = __builtin_convertvector(scaled, Ints) & 255;
}

template <std::size_t Lanes>
[[gnu::always_inline]] inline void hsv_to_rgb(const std::int32_t* hues, const float* saturations,
                                              const float* values, std::uint32_t* colors) noexcept
{
    using Ints = typename Vectors<Lanes>::Ints;
    using Floats = typename Vectors<Lanes>::Floats;
    Ints hue;
    Floats saturation;
    Floats v;
    std::memcpy(&hue, hues, sizeof hue);
    std::memcpy(&saturation, saturations, sizeof saturation);
    std::memcpy(&v, values, sizeof v);

    const Floats h6 = __builtin_convertvector(hue, Floats) / 360.0F * 6.0F;
    const Ints truncated = __builtin_convertvector(h6, Ints);
    const Ints i = truncated + (h6 < __builtin_convertvector(truncated, Floats)); // true is -1
    const Floats f = h6 - __builtin_convertvector(i, Floats);
    const Ints is_0 = i == 0;
    const Ints is_1 = i == 1;
    const Ints is_2 = i == 2;
    const Ints is_3 = i == 3;
    const Ints is_4 = i == 4;

    // One component is v, one p, and the third one t where i is 0, 2 or 4, else q.
    const Floats p = (1.0F - saturation) * v;
    const Floats q_or_t = (1.0F - ((is_0 | is_2 | is_4) ? 1.0F - f : f) * saturation) * v;
    const Ints is_grey = (saturation == 0.0F) | (hue == -1);
    Ints v_byte;
    Ints p_byte;
    Ints q_or_t_byte;
    get_bytes<Lanes, Floats, Ints>(v, v_byte);
    get_bytes<Lanes, Floats, Ints>(is_grey ? v : p, p_byte);
    get_bytes<Lanes, Floats, Ints>(is_grey ? v : q_or_t, q_or_t_byte);
    const Ints red = (is_1 | is_4) ? q_or_t_byte : (is_2 | is_3) ? p_byte : v_byte;
    const Ints green = (is_1 | is_2) ? v_byte : (is_0 | is_3) ? q_or_t_byte : p_byte;
    const Ints blue = (is_3 | is_4) ? v_byte : (is_0 | is_1) ? p_byte : q_or_t_byte;
    const Ints numbers = red | green << 8 | blue << 16;
    std::memcpy(colors, &numbers, sizeof numbers);
}

} // namespace kr_internal::color_lanes
