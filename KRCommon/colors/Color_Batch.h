#pragma once

/// \file
/// Many colours at once: where they lie in memory, for the batch operations of KR_Colors.
///
/// The colours of a picture as camera frames have them, converted:
///
///     std::vector<std::int32_t> hues(640);
///     std::vector<float> saturations(640), values(640);
///     const auto row = KR_Rgb_Source::packed(frame, KR_Pixel_Format::bgr24);
///     colors.rgb_to_hsv_batch(row, 640, {hues.data(), saturations.data(), values.data()});
///
/// And which presets the pixels of an object have, 40 x 90 of them at (x, y) of a frame whose rows
/// are stride bytes apart:
///
///     KR_Color_Region region;
///     region.pixels = frame + y * stride + x * 3;
///     region.stride = stride;
///     region.width = 40;
///     region.height = 90;
///     region.mask = object_pixels; // 40 x 90 bytes, not 0 where the object is
///     region.mask_stride = 40;
///     KR_Preset_Histogram histogram;
///     colors.count_color_presets(region, histogram);
///     histogram.share(ns__ColorPreset__red); // 0 to 1
///
/// Threads: plain values. Nothing here throws. Same on Windows and Linux.

#include <krsoap/krsoap.h>

#include <array>
#include <cstddef>
#include <cstdint>

/// How the bytes of a pixel lie in memory, in the order of their addresses. Frames in YUV are
/// converted by whoever decodes them.
enum class KR_Pixel_Format : std::int32_t {
    rgb24 = 0,  ///< red, green, blue
    bgr24 = 1,  ///< blue, green, red
    rgbx32 = 2, ///< red, green, blue and a byte, alpha say, that is neither read nor written
    bgrx32 = 3, ///< blue, green, red and such a byte
};

namespace kr_internal {

/// From the first byte of a pixel to each component; a step of 0 for what is no format.
struct Pixel_Layout {
    std::ptrdiff_t red, green, blue, step;
};

constexpr Pixel_Layout layout_of(KR_Pixel_Format format) noexcept
{
    switch (format) {
    case KR_Pixel_Format::rgb24: return {0, 1, 2, 3};
    case KR_Pixel_Format::bgr24: return {2, 1, 0, 3};
    case KR_Pixel_Format::rgbx32: return {0, 1, 2, 4};
    case KR_Pixel_Format::bgrx32: return {2, 1, 0, 4};
    }
    return {0, 0, 0, 0};
}

} // namespace kr_internal

/// Where the components of colours are read. Those of colour n lie n * step bytes after those of the
/// first. Any step will do, a negative one and 0 too.
///
///     {red, green, blue}                                three planes
///     KR_Rgb_Source::packed(frame, KR_Pixel_Format::bgr24)  pixels
///     KR_Rgb_Source::of(colors.data())                  objects
struct KR_Rgb_Source {
    const std::uint8_t* red = nullptr;   ///< of the first colour, 0-255; null is no colours
    const std::uint8_t* green = nullptr; ///< of the first colour, 0-255
    const std::uint8_t* blue = nullptr;  ///< of the first colour, 0-255
    std::ptrdiff_t step = 1;             ///< bytes from a colour to the next

    /// Null when pixels is null, or the format is none of those above.
    static KR_Rgb_Source packed(const void* pixels, KR_Pixel_Format format) noexcept
    {
        const kr_internal::Pixel_Layout layout = kr_internal::layout_of(format);
        if (pixels == nullptr || layout.step == 0)
            return {};
        const auto* const bytes = static_cast<const std::uint8_t*>(pixels);
        return {bytes + layout.red, bytes + layout.green, bytes + layout.blue, layout.step};
    }

    /// Null when colors is null; so are the others' of().
    static KR_Rgb_Source of(const ns__RgbColor* colors) noexcept
    {
        if (colors == nullptr)
            return {};
        return {&colors->red, &colors->green, &colors->blue, sizeof *colors};
    }
};

/// Where the components of colours are written, as in KR_Rgb_Source.
struct KR_Rgb_Target {
    std::uint8_t* red = nullptr;   ///< of the first colour; null is no room
    std::uint8_t* green = nullptr; ///< of the first colour
    std::uint8_t* blue = nullptr;  ///< of the first colour
    std::ptrdiff_t step = 1;       ///< bytes from a colour to the next

    /// Pixels that lie one after the other. Null when pixels is null, or the format is none of
    /// those above.
    static KR_Rgb_Target packed(void* pixels, KR_Pixel_Format format) noexcept
    {
        const kr_internal::Pixel_Layout layout = kr_internal::layout_of(format);
        if (pixels == nullptr || layout.step == 0)
            return {};
        auto* const bytes = static_cast<std::uint8_t*>(pixels);
        return {bytes + layout.red, bytes + layout.green, bytes + layout.blue, layout.step};
    }

    /// Objects that lie one after the other. Null when colors is null.
    static KR_Rgb_Target of(ns__RgbColor* colors) noexcept
    {
        if (colors == nullptr)
            return {};
        return {&colors->red, &colors->green, &colors->blue, sizeof *colors};
    }
};

/// Where hue, saturation and value of colours are read: as in KR_Rgb_Source, and step is a multiple
/// of 4.
///
///     {hues, saturations, values}                           three planes
///     {&c->hue, &c->saturation, &c->value, sizeof *c}       records of the host's own
///     KR_Hsv_Source::of(colors.data())                      objects
struct KR_Hsv_Source {
    /// Of the first colour, degrees, -1 for none; null is no colours.
    const std::int32_t* hue = nullptr;
    const float* saturation = nullptr;   ///< of the first colour, 0.0-1.0
    const float* value = nullptr;        ///< of the first colour, 0.0-1.0
    std::ptrdiff_t step = sizeof(float); ///< bytes from a colour to the next

    /// Objects that lie one after the other. Null when colors is null.
    static KR_Hsv_Source of(const ns__HsvColor* colors) noexcept
    {
        if (colors == nullptr)
            return {};
        return {&colors->hue, &colors->saturation, &colors->value, sizeof *colors};
    }
};

/// Where hue, saturation and value of colours are written, as in KR_Hsv_Source.
struct KR_Hsv_Target {
    std::int32_t* hue = nullptr;         ///< of the first colour; null is no room
    float* saturation = nullptr;         ///< of the first colour
    float* value = nullptr;              ///< of the first colour
    std::ptrdiff_t step = sizeof(float); ///< bytes from a colour to the next

    /// Objects that lie one after the other. Null when colors is null.
    static KR_Hsv_Target of(ns__HsvColor* colors) noexcept
    {
        if (colors == nullptr)
            return {};
        return {&colors->hue, &colors->saturation, &colors->value, sizeof *colors};
    }
};

/// A rectangle of a picture, and which of its pixels count. Nothing is read but the colour bytes of
/// these width x height pixels and the mask's width x height bytes.
struct KR_Color_Region {
    const void* pixels = nullptr; ///< the first pixel of the first row; null is a region of none
    KR_Pixel_Format format = KR_Pixel_Format::bgr24; ///< how a pixel lies in memory
    std::int32_t width = 0;                          ///< pixels; 0 and less is a region of none
    std::int32_t height = 0;                         ///< rows; 0 and less is a region of none
    std::ptrdiff_t stride = 0; ///< bytes from a row to the next; negative when that lies before it
    const std::uint8_t* mask = nullptr; ///< a byte for each pixel, not 0 if it counts; null: all do
    std::ptrdiff_t mask_stride = 0;     ///< bytes from a row of the mask to the next
};

/// How many pixels have which preset. A pixel may have several presets, or none.
struct KR_Preset_Histogram {
    std::uint64_t pixels = 0; ///< that were counted
    /// By the preset's number; 0 stands for the ranges without a colour name.
    std::array<std::uint64_t, 14> presets{};

    /// The part of the pixels that has the preset, 0 to 1. 0 when none was counted, and for numbers
    /// that name no preset.
    double share(ns__ColorPreset preset) const noexcept
    {
        const auto number = static_cast<std::uint32_t>(preset);
        if (pixels == 0 || number >= presets.size())
            return 0.0;
        return static_cast<double>(presets[number]) / static_cast<double>(pixels);
    }
};
