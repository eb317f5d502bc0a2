#pragma once

/// \file
/// The colour classifier KR_Colors.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/colors/Color_Batch.h>
#include <KRCommon/colors/Configuration.h>

#include <krsoap/krsoap.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace kr_internal {
class Color_Table;
class Colored_Areas;
class Configured_Colors;
class Start_Up;
} // namespace kr_internal

/// The colour classifier: which named colour presets (white, black, red, ...) a colour falls into,
/// whether two colours are alike, and the conversions between 8-bit RGB and hue, saturation, value.
///
///     const KR_Colors& colors = *KR_Colors::instance();
///     ns__RgbColor orange;
///     orange.red = 255;
///     orange.green = 128;
///     ns__HsvColor hsv;
///     colors.rgb_to_hsv(orange, hsv);                    // hue 30, saturation 1, value 1
///     std::vector<ns__ColorPreset> presets;
///     colors.get_color_presets(hsv, presets, ns__QueryTolerancePreset__value_0);
///
/// Hues are whole degrees, 0-359; -1 stands for no hue (white, black and the greys). Saturation and
/// value are 0.0-1.0. Numbers outside these ranges, NaN included, are no error anywhere: they are
/// calculated with and compared as they are, as each operation says.
///
/// The presets come from the configuration file: each has one or more ranges of hue, saturation and
/// value. The library loads them while it is being attached and never again. Until then, and for
/// good when the file could not be read, there are no presets and no available colours; the
/// conversions and is_color_similiar() need none.
///
/// Arithmetic is single precision in the order described, double where said. The results are the
/// same bits on Windows and Linux.
///
/// Threads: all public operations that are const may be called from any thread at once. Nothing is
/// locked. Failure: none is reported. What fills a vector may throw std::bad_alloc.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.
class KRCOMMON_EXPORT KR_Colors {
public:
    /// The one classifier, never null; the library owns it. It lives until the library is unloaded.
    static KR_Colors* instance();

    /// Copies are independent classifiers with presets and available colours of their own. Nobody
    /// may read the object that is assigned to meanwhile; when copying throws, it is unchanged.
    KR_Colors(const KR_Colors& other);
    /// As the copy constructor.
    KR_Colors& operator=(const KR_Colors& other);
    ~KR_Colors();

    /// Converts RGB; sets all of hsv. The hue is truncated to whole degrees. A colour with three
    /// equal components has hue -1 and saturation 0.
    ///
    ///     max, min    the largest and the smallest of r, g, b, which are the components / 255
    ///     value       max
    ///     saturation  (max - min) / max
    ///     hue         60 x  (g - b) / (max - min)      if r is max; 360 is added if below 0
    ///                       (b - r) / (max - min) + 2  else if g is max
    ///                       (r - g) / (max - min) + 4  else
    void rgb_to_hsv(const ns__RgbColor& rgb, ns__HsvColor& hsv) const noexcept;

    /// Converts back; sets all of rgb. Saturation 0 or hue -1 give a grey. Otherwise, with
    /// h = hue / 360 x 6, i = floor(h), f = h - i and
    ///
    ///     p = (1 - saturation) x value
    ///     q = (1 - f x saturation) x value          i       | 0 | 1 | 2 | 3 | 4 | other
    ///     t = (1 - (1 - f) x saturation) x value    --------|---|---|---|---|---|------
    ///                                               red     | v | q | p | p | t | v
    ///                                               green   | t | v | v | q | p | p
    ///                                               blue    | p | p | t | v | v | q
    ///
    /// Each component is multiplied by 255 in double and truncated, so 0.5 gives 127.
    ///
    /// Quirk: the hue is not taken modulo 360. Hue 360 is the column "other" and gives magenta, not
    /// red; so do all hues above and all negative ones but -1, with their own q.
    /// Quirk: components are not limited to 1. The low 8 bits of the truncated number are kept, so
    /// value 1.2 gives 50. NaN and what does not fit in 32 bits give 0.
    void hsv_to_rgb(const ns__HsvColor& hsv, ns__RgbColor& rgb) const noexcept;

    /// The difference of two hues in degrees: a - b if that is at most 180, else b + 360 - a.
    ///
    /// Quirk: not symmetric and not absolute; callers rely on it. (350, 10) gives 20, (10, 350)
    /// gives -340.
    float angle_distance(float a, float b) const noexcept;

    /// Appends the presets that a colour falls into, in ascending order.
    ///
    /// hsv        A negative hue counts as 0, any other modulo 360. A colour belongs to a preset
    ///            when one of its ranges holds hue, saturation and value, bounds included. A range
    ///            whose upper hue is not above its lower one runs through 0; so a range with equal
    ///            hues accepts every hue. NaN is in no range.
    /// presets    Is not cleared. A preset that stands in it already, in whatever place, is not
    ///            appended again.
    /// tolerance  Quirk: ignored; the configured ranges alone decide.
    ///
    /// A range in the configuration without a colour name counts for the preset number 0, which is
    /// reported first.
    void get_color_presets(const ns__HsvColor& hsv, std::vector<ns__ColorPreset>& presets,
                           ns__QueryTolerancePreset tolerance) const;

    /// Whether get_color_presets() would report the preset, into an empty vector. False for numbers
    /// that name no preset. Quirk: the tolerance is ignored here too.
    bool is_color(ns__ColorPreset preset, const ns__HsvColor& hsv,
                  ns__QueryTolerancePreset tolerance) const noexcept;

    /// Whether b is like a. (The name is spelled this way.) All comparisons are strict.
    ///
    ///     1. If a has hue -1: whether saturation and value both differ by less than 0.2.
    ///     2. True if |angle_distance(a.hue, b.hue)| < tolerance.hue, or use_hue is false, and
    ///        saturation and value differ by less than the tolerance's.
    ///     3. Else, if b has hue -1: as in step 1. Else false.
    ///
    /// Hues are compared as the numbers they are, out of range or not.
    ///
    /// Quirk: not symmetric; callers rely on it. The greys' rule looks at a first, b's hue -1
    /// counts as a number in step 2, and a at 350 is 20 degrees from b at 10, but a at 10 is 340
    /// degrees from b at 350.
    bool is_color_similiar(const ns__HsvColor& a, const ns__HsvColor& b, bool use_hue,
                           const ns__HsvColor& tolerance) const noexcept;

    /// Replaces the vector's content by the representative colours of the configuration: one per
    /// configured range, in the file's order, duplicates included.
    void get_available_colors(std::vector<ns__RgbColor>& colors) const;

    // Many colours in one call, with the results of the operations above to the last bit. Where colours
    // lie is told by the types of Color_Batch.h. What is read and what is written must not overlap.
    // Nothing happens for a count of 0, and when a pointer is null. Nothing is kept: the classifier is
    // read until the call returns, as by the operations above.

    /// As rgb_to_hsv() for each of the colours.
    void rgb_to_hsv_batch(const KR_Rgb_Source& rgb, std::size_t count,
                          const KR_Hsv_Target& hsv) const noexcept;

    /// As hsv_to_rgb() for each of the colours.
    void hsv_to_rgb_batch(const KR_Hsv_Source& hsv, std::size_t count,
                          const KR_Rgb_Target& rgb) const noexcept;

    /// The presets that each of the colours falls into, as get_color_presets() tells them.
    /// masks  count numbers; bit n of each stands for preset n, and the bits from 14 on are 0
    void get_color_preset_masks(const KR_Hsv_Source& hsv, std::size_t count,
                                std::uint32_t* masks) const noexcept;

    /// Adds the pixels of a region that count to a histogram: how many there are, and how many of them
    /// have each preset, as rgb_to_hsv() and get_color_presets() tell. Several regions may be added to
    /// one histogram. Nothing is added for a region of no pixels or with a format that is none.
    void count_color_presets(const KR_Color_Region& region,
                             KR_Preset_Histogram& histogram) const noexcept;

private:
    friend class kr_internal::Colored_Areas;
    friend class kr_internal::Configured_Colors;
    friend class kr_internal::Start_Up;

    KR_Colors();

    /// Takes over the presets of the configuration instead of those before; the available colours
    /// are appended (Color_Table.h). Nobody may read meanwhile.
    void init(KRCMN::XML_configuration::XML_colors& colors);

    std::unique_ptr<kr_internal::Color_Table> table_; // never null
};
