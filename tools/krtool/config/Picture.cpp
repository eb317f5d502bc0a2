#include "Picture.h"

#include "../host/Number_Text.h"
#include "../host/Program.h"

#define STBI_WRITE_NO_STDIO
#include <stb_easy_font.h>
#include <stb_image_write.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

namespace krtool {

namespace {

struct Point {
    int x;
    int y;
};

ns__RgbColor rgb(int red, int green, int blue) noexcept
{
    ns__RgbColor color;
    color.red = static_cast<std::uint8_t>(red);
    color.green = static_cast<std::uint8_t>(green);
    color.blue = static_cast<std::uint8_t>(blue);
    return color;
}

const ns__RgbColor ground = rgb(30, 31, 34);
const ns__RgbColor unlit = rgb(52, 53, 58);
const ns__RgbColor bright = rgb(235, 235, 235);
const ns__RgbColor dim = rgb(160, 160, 165);

class Canvas {
public:
    Canvas(int width, int height)
        : width_(width), height_(height),
          bytes_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3)
    {
        fill({0, 0}, width, height, ground);
    }

    void fill(Point at, int width, int height, const ns__RgbColor& color)
    {
        for (int y = std::max(at.y, 0); y < std::min(at.y + height, height_); ++y)
            for (int x = std::max(at.x, 0); x < std::min(at.x + width, width_); ++x) {
                std::uint8_t* const pixel =
                    &bytes_[(static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
                             static_cast<std::size_t>(x)) *
                            3];
                pixel[0] = color.red;
                pixel[1] = color.green;
                pixel[2] = color.blue;
            }
    }

    void text(Point at, std::string text, const ns__RgbColor& color, int scale = 2)
    {
        struct Vertex {
            float x, y, z;
            std::uint8_t color[4];
        };
        constexpr std::size_t most = 200; // characters, of at most 20 rectangles
        text.resize(std::min(text.size(), most));
        std::vector<Vertex> corners(text.size() * 20 * 4 + 4);
        const int count = stb_easy_font_print(0, 0, text.data(), nullptr, corners.data(),
                                              static_cast<int>(corners.size() * sizeof(Vertex)));
        for (int i = 0; i < count; ++i) {
            const Vertex& first = corners[static_cast<std::size_t>(i) * 4];
            const Vertex& last = corners[static_cast<std::size_t>(i) * 4 + 2];
            fill({at.x + static_cast<int>(first.x) * scale,
                  at.y + static_cast<int>(first.y) * scale},
                 static_cast<int>(last.x - first.x) * scale,
                 static_cast<int>(last.y - first.y) * scale, color);
        }
    }

    std::string png() const
    {
        std::string file;
        const auto append = [](void* to, void* data, int size) {
            static_cast<std::string*>(to)->append(static_cast<const char*>(data),
                                                  static_cast<std::size_t>(size));
        };
        if (!stbi_write_png_to_func(append, &file, width_, height_, 3, bytes_.data(), width_ * 3))
            throw Failure("the picture cannot be made");
        return file;
    }

private:
    int width_;
    int height_;
    std::vector<std::uint8_t> bytes_;
};

// The names of colours all over hue, saturation and value.
class Lattice {
public:
    static constexpr int hues = 180;
    static constexpr int steps = 50;

    explicit Lattice(const KR_Colors& colors) : colors_(colors)
    {
        std::vector<ns__HsvColor> row(hues);
        masks_.resize(static_cast<std::size_t>(hues) * steps * steps);
        for (int saturation = 0; saturation < steps; ++saturation)
            for (int value = 0; value < steps; ++value) {
                for (int hue = 0; hue < hues; ++hue)
                    row[static_cast<std::size_t>(hue)] = color(hue, saturation, value);
                colors.get_color_preset_masks(KR_Hsv_Source::of(row.data()), row.size(),
                                              &masks_[index(0, saturation, value)]);
            }
    }

    static ns__HsvColor color(int hue, int saturation, int value)
    {
        ns__HsvColor result;
        result.hue = hue * 360 / hues;
        result.saturation = (static_cast<float>(saturation) + 0.5F) / steps;
        result.value = (static_cast<float>(value) + 0.5F) / steps;
        return result;
    }

    std::uint32_t names(int hue, int saturation, int value) const
    {
        return masks_[index(hue, saturation, value)];
    }

    ns__RgbColor screen_color(int hue, int saturation, int value) const
    {
        ns__RgbColor result;
        colors_.hsv_to_rgb(color(hue, saturation, value), result);
        return result;
    }

private:
    static std::size_t index(int hue, int saturation, int value)
    {
        const int place = (saturation * steps + value) * hues + hue;
        return static_cast<std::size_t>(place);
    }

    const KR_Colors& colors_;
    std::vector<std::uint32_t> masks_;
};

bool is_several(std::uint32_t names) noexcept
{
    return (names & (names - 1)) != 0;
}

// What is on a map, two pixels in square a cell.
class Map {
public:
    Map(Canvas& canvas, Point at) : canvas_(canvas), at_(at) {}

    static constexpr int cell = 2;
    static constexpr int width = Lattice::hues * cell;
    static constexpr int height = Lattice::steps * cell;

    void cell_at(int hue, int step, const ns__RgbColor& color, bool is_hatched)
    {
        const Point at{at_.x + hue * cell, at_.y + (Lattice::steps - 1 - step) * cell};
        const bool is_stripe = is_hatched && (hue + step) % 4 == 0;
        canvas_.fill(at, cell, cell, is_stripe ? contrast(color) : color);
    }

    void gap_at(int hue, int step)
    {
        cell_at(hue, step, (hue / 2 + step / 2) % 2 == 0 ? rgb(255, 0, 255) : rgb(0, 0, 0), false);
    }

private:
    static ns__RgbColor contrast(const ns__RgbColor& color)
    {
        const int light = color.red * 3 + color.green * 6 + color.blue;
        return light > 1'200 ? rgb(0, 0, 0) : rgb(255, 255, 255);
    }

    Canvas& canvas_;
    Point at_;
};

// All colours of one value: borders are dark, hatched is what has several names.
void draw_slice(Canvas& canvas, Point at, const Lattice& lattice, int value)
{
    Map map(canvas, at);
    for (int hue = 0; hue < Lattice::hues; ++hue)
        for (int saturation = 0; saturation < Lattice::steps; ++saturation) {
            const std::uint32_t names = lattice.names(hue, saturation, value);
            const bool is_border =
                (hue + 1 < Lattice::hues && lattice.names(hue + 1, saturation, value) != names) ||
                (saturation > 0 && lattice.names(hue, saturation - 1, value) != names);
            if (names == 0)
                map.gap_at(hue, saturation);
            else if (is_border)
                map.cell_at(hue, saturation, ground, false);
            else
                map.cell_at(hue, saturation, lattice.screen_color(hue, saturation, value),
                            is_several(names));
        }
}

// Where a preset is found at any value (or any saturation), in the brightest (or purest) of these
// colours; hatched where some of them have other names too.
void draw_region(Canvas& canvas, Point at, const Lattice& lattice, std::uint32_t preset,
                 bool over_value)
{
    Map map(canvas, at);
    for (int hue = 0; hue < Lattice::hues; ++hue)
        for (int step = 0; step < Lattice::steps; ++step) {
            ns__RgbColor color = unlit;
            bool is_shared = false;
            for (int depth = 0; depth < Lattice::steps; ++depth) {
                const int saturation = over_value ? depth : step;
                const int value = over_value ? step : depth;
                const std::uint32_t names = lattice.names(hue, saturation, value);
                if ((names & preset) == 0)
                    continue;
                color = lattice.screen_color(hue, saturation, value);
                is_shared = is_shared || is_several(names);
            }
            map.cell_at(hue, step, color, is_shared);
        }
}

} // namespace

std::string picture_of(const Configuration_File& file, const Coverage& coverage)
{
    constexpr int margin = 24;
    constexpr int gap = 16;
    constexpr int chip = 22;
    constexpr int columns = 3;
    constexpr int heading = 30;
    constexpr int width = 2 * margin + columns * Map::width + (columns - 1) * gap;
    constexpr int chips_in_row = (width - 2 * margin) / (chip + 2);
    const int chip_rows =
        (static_cast<int>(file.report.ranges.size()) + chips_in_row - 1) / chips_in_row;
    constexpr int card = heading + 2 * Map::height + gap;
    constexpr int cards = 13;
    constexpr int rows = (cards + columns - 1) / columns;
    const int top = margin + 92;
    const int slices = top + chip_rows * (chip + 2) + gap + heading;
    const int first_card = slices + Map::height + 2 * gap;
    Canvas canvas(width, first_card + rows * (card + gap) + margin);

    canvas.text({margin, margin}, "Named colours of " + file.path, bright, 3);
    canvas.text({margin, margin + 38},
                std::to_string(file.report.ranges.size()) + " ranges; " +
                    percent_text(coverage.unnamed) + " of all colours have no name (chequered), " +
                    percent_text(coverage.several) + " several (hatched).",
                dim);
    canvas.text(
        {margin, margin + 60},
        "Each colour: above hue x saturation, at any value; below hue x value, at any saturation.",
        dim);
    for (std::size_t i = 0; i < file.report.ranges.size(); ++i) {
        const int n = static_cast<int>(i);
        canvas.fill({margin + n % chips_in_row * (chip + 2), top + n / chips_in_row * (chip + 2)},
                    chip, chip, file.report.ranges[i].rgb);
    }

    const Lattice lattice(*file.report.colors);
    constexpr std::array<int, columns> values{47, 32, 15};
    for (int i = 0; i < columns; ++i) {
        const int x = margin + i * (Map::width + gap);
        const int value = values[static_cast<std::size_t>(i)];
        canvas.text({x, slices - heading + 6},
                    "hue x saturation at value " +
                        number_text(static_cast<float>(2 * value + 1) / (2 * Lattice::steps)),
                    bright);
        draw_slice(canvas, {x, slices}, lattice, value);
    }
    for (int i = 0; i < cards; ++i) {
        const auto preset = static_cast<ns__ColorPreset>(i + 1);
        const Point at{margin + i % columns * (Map::width + gap),
                       first_card + i / columns * (card + gap)};
        canvas.text(at,
                    preset_text(preset) + "  " +
                        percent_text(coverage.shares[static_cast<std::size_t>(preset)]),
                    bright);
        const std::uint32_t mask = 1U << static_cast<std::uint32_t>(preset);
        draw_region(canvas, {at.x, at.y + heading - 6}, lattice, mask, false);
        draw_region(canvas, {at.x, at.y + heading + Map::height + 2}, lattice, mask, true);
    }
    return canvas.png();
}

} // namespace krtool
