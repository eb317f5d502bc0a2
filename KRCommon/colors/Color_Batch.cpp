#include <KRCommon/colors/Color_Batch.h>

#include <KRCommon/colors/Color_Table.h>
#include <KRCommon/colors/Colors.h>
#include <KRCommon/kernels/Color_Formulas.h>
#include <KRCommon/kernels/Kernels.h>

#include <algorithm>
#include <cstring>

namespace {

using kr_internal::Color_Table;
using kr_internal::kernels;
using kr_internal::Range_Lists;

constexpr std::size_t block_size = Color_Table::block_size;

using Rgb_Block = std::array<std::uint32_t, block_size>; // kr_internal::rgb_number()

struct Hsv_Block {
    std::array<std::int32_t, block_size> hues;
    std::array<float, block_size> saturations;
    std::array<float, block_size> values;
};

// Calls work(first, how many) for each block of so many colours.
template <typename Work>
void for_each_block(std::size_t count, Work work)
{
    for (std::size_t first = 0; first < count; first += block_size)
        work(first, std::min(block_size, count - first));
}

template <typename Rgb>
bool rgb_is_null(const Rgb& rgb) noexcept
{
    return rgb.red == nullptr || rgb.green == nullptr || rgb.blue == nullptr;
}

template <typename Hsv>
bool hsv_is_null(const Hsv& hsv) noexcept
{
    return hsv.hue == nullptr || hsv.saturation == nullptr || hsv.value == nullptr;
}

template <typename Hsv>
bool are_planes(const Hsv& hsv) noexcept
{
    return hsv.step == sizeof(float);
}

// The place of a colour: an index of bytes, or of 4 bytes.
template <typename Colors>
std::ptrdiff_t place(const Colors& colors, std::size_t n, std::size_t unit) noexcept
{
    return static_cast<std::ptrdiff_t>(n) * (colors.step / static_cast<std::ptrdiff_t>(unit));
}

KR_Rgb_Source moved(const KR_Rgb_Source& from, std::ptrdiff_t bytes) noexcept
{
    return {from.red + bytes, from.green + bytes, from.blue + bytes, from.step};
}

// Of three planes, as many as are a multiple of 16; returns how many. A loop of a known length over
// arrays that nothing else points to is one that the compiler makes into vectors.
std::size_t read_planes(const KR_Rgb_Source& from, std::size_t first, std::size_t count,
                        Rgb_Block& block) noexcept
{
    constexpr std::size_t at_once = 16;
    std::array<std::uint8_t, at_once> red;
    std::array<std::uint8_t, at_once> green;
    std::array<std::uint8_t, at_once> blue;
    std::array<std::uint32_t, at_once> colors;
    std::size_t done = 0;
    for (; count - done >= at_once; done += at_once) {
        std::memcpy(red.data(), from.red + first + done, at_once);
        std::memcpy(green.data(), from.green + first + done, at_once);
        std::memcpy(blue.data(), from.blue + first + done, at_once);
        for (std::size_t i = 0; i < at_once; ++i)
            colors[i] = kr_internal::rgb_number(red[i], green[i], blue[i]);
        std::memcpy(&block[done], colors.data(), sizeof colors);
    }
    return done;
}

void read(const KR_Rgb_Source& from, std::size_t first, std::size_t count,
          Rgb_Block& block) noexcept
{
    std::size_t i = from.step == 1 ? read_planes(from, first, count, block) : 0;
    std::ptrdiff_t at = place(from, first + i, 1);
    for (; i < count; ++i, at += from.step)
        block[i] = kr_internal::rgb_number(from.red[at], from.green[at], from.blue[at]);
}

// As read_planes().
std::size_t write_planes(const Rgb_Block& block, const KR_Rgb_Target& to, std::size_t first,
                         std::size_t count) noexcept
{
    constexpr std::size_t at_once = 16;
    std::array<std::uint32_t, at_once> colors;
    std::array<std::uint8_t, at_once> bytes;
    std::size_t done = 0;
    for (; count - done >= at_once; done += at_once) {
        std::memcpy(colors.data(), &block[done], sizeof colors);
        for (std::size_t i = 0; i < at_once; ++i)
            bytes[i] = static_cast<std::uint8_t>(colors[i]);
        std::memcpy(to.red + first + done, bytes.data(), at_once);
        for (std::size_t i = 0; i < at_once; ++i)
            bytes[i] = static_cast<std::uint8_t>(colors[i] >> 8);
        std::memcpy(to.green + first + done, bytes.data(), at_once);
        for (std::size_t i = 0; i < at_once; ++i)
            bytes[i] = static_cast<std::uint8_t>(colors[i] >> 16);
        std::memcpy(to.blue + first + done, bytes.data(), at_once);
    }
    return done;
}

void write(const Rgb_Block& block, const KR_Rgb_Target& to, std::size_t first,
           std::size_t count) noexcept
{
    std::size_t i = to.step == 1 ? write_planes(block, to, first, count) : 0;
    std::ptrdiff_t at = place(to, first + i, 1);
    for (; i < count; ++i, at += to.step) {
        to.red[at] = static_cast<std::uint8_t>(block[i]);
        to.green[at] = static_cast<std::uint8_t>(block[i] >> 8);
        to.blue[at] = static_cast<std::uint8_t>(block[i] >> 16);
    }
}

void read(const KR_Hsv_Source& from, std::size_t first, std::size_t count,
          Hsv_Block& block) noexcept
{
    for (std::size_t i = 0; i < count; ++i) {
        const std::ptrdiff_t at = place(from, first + i, sizeof(float));
        block.hues[i] = from.hue[at];
        block.saturations[i] = from.saturation[at];
        block.values[i] = from.value[at];
    }
}

void write(const Hsv_Block& block, const KR_Hsv_Target& to, std::size_t first,
           std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i) {
        const std::ptrdiff_t at = place(to, first + i, sizeof(float));
        to.hue[at] = block.hues[i];
        to.saturation[at] = block.saturations[i];
        to.value[at] = block.values[i];
    }
}

// Counts the presets of the pixels of a region.
class Region_Counter {
public:
    Region_Counter(const Color_Table& table, KR_Preset_Histogram& histogram) noexcept
        : table_(table), histogram_(histogram)
    {
    }

    // mask may be null: all pixels count.
    void add_row(const KR_Rgb_Source& pixels, const std::uint8_t* mask, std::size_t width) noexcept
    {
        for (std::size_t first = 0; first < width;) {
            const std::size_t count = std::min(block_size - count_, width - first);
            take(pixels, mask, first, count);
            first += count;
            if (count_ == block_size)
                flush();
        }
    }

    // Counts what was added last.
    void flush() noexcept
    {
        std::array<std::uint16_t, block_size> masks{};
        table_.preset_masks(colors_, count_, masks);
        count_presets(masks);
        histogram_.pixels += count_;
        count_ = 0;
    }

private:
    // Into the block, where there is room for so many. Those that do not count are written over:
    // what a mask holds is hard to predict.
    void take(const KR_Rgb_Source& pixels, const std::uint8_t* mask, std::size_t first,
              std::size_t count) noexcept
    {
        std::ptrdiff_t at = place(pixels, first, 1);
        for (std::size_t i = first; i < first + count; ++i, at += pixels.step) {
            colors_[count_] =
                kr_internal::rgb_number(pixels.red[at], pixels.green[at], pixels.blue[at]);
            count_ += static_cast<std::size_t>(mask == nullptr || mask[i] != 0);
        }
    }

    // Four masks at once: bit n of all eight bytes goes to their lowest bits, and their sums fit in
    // the bytes. Those of the low bytes are preset n's, the others preset n + 8's.
    void count_presets(const std::array<std::uint16_t, block_size>& masks) noexcept
    {
        constexpr std::size_t at_once = 4;
        static_assert(block_size / at_once < 256);
        std::array<std::uint64_t, block_size / at_once> fours;
        static_assert(sizeof fours == sizeof masks);
        std::memcpy(fours.data(), masks.data(), sizeof fours);
        for (std::size_t n = 0; n < 8; ++n) {
            std::uint64_t sums = 0;
            for (const std::uint64_t four : fours)
                sums += four >> n & 0x0101'0101'0101'0101U;
            for (; sums != 0; sums >>= 16) {
                histogram_.presets[n] += sums & 0xFFU;
                if (n + 8 < histogram_.presets.size())
                    histogram_.presets[n + 8] += sums >> 8 & 0xFFU;
            }
        }
    }

    const Color_Table& table_;
    KR_Preset_Histogram& histogram_;
    Rgb_Block colors_{};
    std::size_t count_ = 0;
};

} // namespace

void KR_Colors::rgb_to_hsv_batch(const KR_Rgb_Source& rgb, std::size_t count,
                                 const KR_Hsv_Target& hsv) const noexcept
{
    if (rgb_is_null(rgb) || hsv_is_null(hsv))
        return;
    const auto convert = kernels().rgb_to_hsv;
    Rgb_Block colors{};
    Hsv_Block block{};
    for_each_block(count, [&](std::size_t first, std::size_t size) {
        read(rgb, first, size, colors);
        if (are_planes(hsv)) {
            convert(colors.data(), size, hsv.hue + first, hsv.saturation + first,
                    hsv.value + first);
            return;
        }
        convert(colors.data(), size, block.hues.data(), block.saturations.data(),
                block.values.data());
        write(block, hsv, first, size);
    });
}

void KR_Colors::hsv_to_rgb_batch(const KR_Hsv_Source& hsv, std::size_t count,
                                 const KR_Rgb_Target& rgb) const noexcept
{
    if (rgb_is_null(rgb) || hsv_is_null(hsv))
        return;
    const auto convert = kernels().hsv_to_rgb;
    Rgb_Block colors{};
    Hsv_Block block{};
    for_each_block(count, [&](std::size_t first, std::size_t size) {
        if (are_planes(hsv)) {
            convert(hsv.hue + first, hsv.saturation + first, hsv.value + first, size,
                    colors.data());
        } else {
            read(hsv, first, size, block);
            convert(block.hues.data(), block.saturations.data(), block.values.data(), size,
                    colors.data());
        }
        write(colors, rgb, first, size);
    });
}

void KR_Colors::get_color_preset_masks(const KR_Hsv_Source& hsv, std::size_t count,
                                       std::uint32_t* masks) const noexcept
{
    if (hsv_is_null(hsv) || masks == nullptr)
        return;
    const Range_Lists& ranges = table_->ranges();
    for (std::size_t i = 0; i < count; ++i) {
        const std::ptrdiff_t at = place(hsv, i, sizeof(float));
        masks[i] = ranges.presets_of(hsv.hue[at], hsv.saturation[at], hsv.value[at]);
    }
}

void KR_Colors::count_color_presets(const KR_Color_Region& region,
                                    KR_Preset_Histogram& histogram) const noexcept
{
    const KR_Rgb_Source pixels = KR_Rgb_Source::packed(region.pixels, region.format);
    if (rgb_is_null(pixels) || region.width <= 0)
        return;
    Region_Counter counter(*table_, histogram);
    for (std::int32_t row = 0; row < region.height; ++row)
        counter.add_row(moved(pixels, region.stride * row),
                        region.mask != nullptr ? region.mask + region.mask_stride * row : nullptr,
                        static_cast<std::size_t>(region.width));
    counter.flush();
}
