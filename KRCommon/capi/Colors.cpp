#include <KRCommon/capi/krcommon_c.h>

#include <KRCommon/capi/Call.h>
#include <KRCommon/capi/Types.h>
#include <KRCommon/colors/Colors.h>
#include <KRCommon/colors/Configuration.h>

#include <algorithm>
#include <limits>
#include <vector>

using namespace kr_internal::c;

static_assert(KR_C_PURPLE == static_cast<int>(ns__ColorPreset__purple) &&
              KR_C_WHITE == static_cast<int>(ns__ColorPreset__white));
static_assert(KR_C_BGRX32 == static_cast<int>(KR_Pixel_Format::bgrx32));

kr_c_error kr_c_colors_destroy(kr_c_owned_colors* colors)
{
    return destroy_handle<kr_c_colors, Shared_Colors>(colors);
}

kr_c_static_text kr_c_preset_name(kr_c_int32 preset)
{
    const std::string_view name = KRCMN::color_name(static_cast<ns__ColorPreset>(preset));
    return name.empty() ? "" : name.data(); // of a literal, which ends in a zero
}

kr_c_error kr_c_preset_number(const char* name, kr_c_size name_length, kr_c_int32* preset)
{
    if (const kr_c_error error =
            first_error({check_text(name, name_length), check_pointer(preset)}))
        return error;
    const ns__ColorPreset number = KRCMN::color_enumeration(view_of(name, name_length));
    if (number == 0)
        return KR_C_NOT_FOUND;
    *preset = number;
    return KR_C_OK;
}

namespace {

ns__HsvColor color_of(const kr_c_hsv& hsv)
{
    ns__HsvColor color;
    color.hue = hsv.hue;
    color.saturation = hsv.saturation;
    color.value = hsv.value;
    return color;
}

const KR_Colors& any_colors() // for what needs no presets
{
    return *KR_Colors::instance();
}

} // namespace

kr_c_error kr_c_rgb_to_hsv(const kr_c_rgb* rgb, kr_c_hsv* hsv)
{
    if (const kr_c_error error = first_error({check_pointer(rgb), check_pointer(hsv)}))
        return error;
    ns__RgbColor from;
    from.red = rgb->red;
    from.green = rgb->green;
    from.blue = rgb->blue;
    ns__HsvColor to;
    any_colors().rgb_to_hsv(from, to);
    *hsv = {to.hue, to.saturation, to.value};
    return KR_C_OK;
}

kr_c_error kr_c_hsv_to_rgb(const kr_c_hsv* hsv, kr_c_rgb* rgb)
{
    if (const kr_c_error error = first_error({check_pointer(hsv), check_pointer(rgb)}))
        return error;
    ns__RgbColor to;
    any_colors().hsv_to_rgb(color_of(*hsv), to);
    *rgb = {to.red, to.green, to.blue};
    return KR_C_OK;
}

float kr_c_angle_distance(float a, float b)
{
    return any_colors().angle_distance(a, b);
}

kr_c_error kr_c_is_color_similar(const kr_c_hsv* a, const kr_c_hsv* b, kr_c_int32 use_hue,
                                 const kr_c_hsv* tolerance, kr_c_int32* is_similar)
{
    if (const kr_c_error error = first_error({check_pointer(a), check_pointer(b),
                                              check_pointer(tolerance), check_pointer(is_similar)}))
        return error;
    *is_similar = any_colors().is_color_similiar(color_of(*a), color_of(*b), use_hue != 0,
                                                 color_of(*tolerance))
                      ? 1
                      : 0;
    return KR_C_OK;
}

kr_c_error kr_c_color_presets(const kr_c_colors* colors, const kr_c_hsv* hsv, kr_c_uint32* mask)
{
    return run([&]() -> kr_c_error {
        const Colors_Use classifier(colors);
        if (const kr_c_error error =
                first_error({classifier.error(), check_pointer(hsv), check_pointer(mask)}))
            return error;
        const ns__HsvColor color = color_of(*hsv);
        classifier->get_color_preset_masks(KR_Hsv_Source::of(&color), 1, mask);
        return KR_C_OK;
    });
}

kr_c_error kr_c_color_palette(const kr_c_colors* colors, kr_c_rgb* out, kr_c_size capacity,
                              kr_c_size* count)
{
    return run([&]() -> kr_c_error {
        const Colors_Use classifier(colors);
        if (const kr_c_error error = first_error({classifier.error(), check_pointer(count),
                                                  check_array(out, capacity, sizeof *out)}))
            return error;
        std::vector<ns__RgbColor> palette;
        classifier->get_available_colors(palette);
        *count = palette.size();
        if (palette.size() > capacity)
            return KR_C_BUFFER_TOO_SMALL;
        std::transform(palette.begin(), palette.end(), out, [](const ns__RgbColor& color) {
            return kr_c_rgb{color.red, color.green, color.blue};
        });
        return KR_C_OK;
    });
}

namespace {

// Whether `count` colours that lie so far apart can lie anywhere.
kr_c_error check_step(kr_c_step step, std::size_t count, kr_c_step element_size)
{
    if (step % element_size != 0 || step == std::numeric_limits<kr_c_step>::min())
        return KR_C_OUT_OF_RANGE;
    const auto distance = static_cast<std::size_t>(step < 0 ? -step : step);
    return check_size(count,
                      std::max<std::size_t>(distance, static_cast<std::size_t>(element_size)));
}

template <typename Rgb>
kr_c_error check_rgb(const Rgb& rgb, std::size_t count)
{
    return first_error({check_pointer(rgb.red), check_pointer(rgb.green), check_pointer(rgb.blue),
                        check_step(rgb.step, count, 1)});
}

template <typename Hsv>
kr_c_error check_hsv(const Hsv& hsv, std::size_t count)
{
    return first_error({check_pointer(hsv.hue), check_pointer(hsv.saturation),
                        check_pointer(hsv.value), check_step(hsv.step, count, sizeof(float))});
}

} // namespace

kr_c_error kr_c_rgb_to_hsv_batch(const kr_c_uint8* red, const kr_c_uint8* green,
                                 const kr_c_uint8* blue, kr_c_step rgb_step, kr_c_size count,
                                 kr_c_int32* hue, float* saturation, float* value,
                                 kr_c_step hsv_step)
{
    const KR_Rgb_Source rgb{red, green, blue, rgb_step};
    const KR_Hsv_Target hsv{hue, saturation, value, hsv_step};
    if (count == 0)
        return KR_C_OK;
    if (const kr_c_error error = first_error({check_rgb(rgb, count), check_hsv(hsv, count)}))
        return error;
    any_colors().rgb_to_hsv_batch(rgb, count, hsv);
    return KR_C_OK;
}

kr_c_error kr_c_hsv_to_rgb_batch(const kr_c_int32* hue, const float* saturation, const float* value,
                                 kr_c_step hsv_step, kr_c_size count, kr_c_uint8* red,
                                 kr_c_uint8* green, kr_c_uint8* blue, kr_c_step rgb_step)
{
    const KR_Hsv_Source hsv{hue, saturation, value, hsv_step};
    const KR_Rgb_Target rgb{red, green, blue, rgb_step};
    if (count == 0)
        return KR_C_OK;
    if (const kr_c_error error = first_error({check_hsv(hsv, count), check_rgb(rgb, count)}))
        return error;
    any_colors().hsv_to_rgb_batch(hsv, count, rgb);
    return KR_C_OK;
}

kr_c_error kr_c_color_presets_batch(const kr_c_colors* colors, const kr_c_int32* hue,
                                    const float* saturation, const float* value, kr_c_step hsv_step,
                                    kr_c_size count, kr_c_uint32* masks)
{
    return run([&]() -> kr_c_error {
        const Colors_Use classifier(colors);
        const KR_Hsv_Source hsv{hue, saturation, value, hsv_step};
        if (classifier.error() != KR_C_OK || count == 0)
            return classifier.error();
        if (const kr_c_error error =
                first_error({check_hsv(hsv, count), check_array(masks, count, sizeof *masks)}))
            return error;
        classifier->get_color_preset_masks(hsv, count, masks);
        return KR_C_OK;
    });
}

namespace {

kr_c_error check_region(const kr_c_color_region* region)
{
    if (const kr_c_error error = check_struct(region))
        return error;
    if (region->format < KR_C_RGB24 || region->format > KR_C_BGRX32)
        return KR_C_OUT_OF_RANGE;
    if (region->width <= 0 || region->height <= 0)
        return KR_C_OK;
    const auto rows = static_cast<std::size_t>(region->height);
    return first_error({check_pointer(region->pixels), check_step(region->stride, rows, 1),
                        check_step(region->mask_stride, rows, 1),
                        check_size(static_cast<std::size_t>(region->width), 4)});
}

} // namespace

kr_c_error kr_c_count_color_presets(const kr_c_colors* colors, const kr_c_color_region* region,
                                    kr_c_preset_histogram* histogram)
{
    return run([&]() -> kr_c_error {
        const Colors_Use classifier(colors);
        if (const kr_c_error error =
                first_error({classifier.error(), check_region(region), check_struct(histogram)}))
            return error;
        KR_Color_Region counted;
        counted.pixels = region->pixels;
        counted.format = static_cast<KR_Pixel_Format>(region->format);
        counted.width = region->width;
        counted.height = region->height;
        counted.stride = region->stride;
        counted.mask = region->mask;
        counted.mask_stride = region->mask_stride;
        KR_Preset_Histogram result;
        result.pixels = histogram->pixels;
        std::copy(std::begin(histogram->presets), std::end(histogram->presets),
                  result.presets.begin());
        classifier->count_color_presets(counted, result);
        histogram->size = sizeof *histogram;
        histogram->pixels = result.pixels;
        std::copy(result.presets.begin(), result.presets.end(), std::begin(histogram->presets));
        return KR_C_OK;
    });
}
