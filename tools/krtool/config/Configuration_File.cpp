#include "Configuration_File.h"

#include "../host/Input.h"
#include "../host/Number_Text.h"
#include "../host/Program.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

namespace krtool {

namespace {

// A byte more than the library takes: the reader says what it thinks of that.
constexpr std::size_t most_bytes = (std::size_t{16} << 20) + 1;

std::string read_some(Input& input)
{
    constexpr std::size_t step = std::size_t{64} << 10;
    std::string bytes;
    for (std::size_t got = 1; got != 0 && bytes.size() < most_bytes;) {
        const std::size_t size = bytes.size();
        bytes.resize(size + step);
        got = input.read(&bytes[size], step);
        bytes.resize(size + got);
    }
    return bytes;
}

// The bytes of the UTF-8 character at the front, 0 if there is none.
std::size_t character_size(std::string_view text) noexcept
{
    const auto first = static_cast<unsigned char>(text[0]);
    const std::size_t size = first < 0x80   ? 1
                             : first < 0xC2 ? 0
                             : first < 0xE0 ? 2
                             : first < 0xF0 ? 3
                             : first < 0xF5 ? 4
                                            : 0;
    if (size > text.size())
        return 0;
    for (std::size_t i = 1; i < size; ++i)
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80)
            return 0;
    return size;
}

// Steps over a character, or a byte that is none.
std::size_t step_of(std::string_view text) noexcept
{
    return std::max<std::size_t>(character_size(text), 1);
}

// A character as a terminal may have it.
std::string_view harmless(std::string_view text) noexcept
{
    const std::size_t size = character_size(text);
    if (size == 0)
        return "?";
    if (size == 1)
        return text[0] == '\t' ? " " : text[0] < ' ' || text[0] == 0x7F ? "?" : text.substr(0, 1);
    const bool is_control = text[0] == '\xC2' && static_cast<unsigned char>(text[1]) < 0xA0;
    const bool is_format = text[0] == '\xE2' && (text[1] == '\x80' || text[1] == '\x81'); // bidi
    return is_control || is_format ? "?" : text.substr(0, size);
}

std::size_t characters_in(std::string_view text) noexcept
{
    std::size_t count = 0;
    for (std::size_t i = 0; i < text.size(); i += step_of(text.substr(i)))
        ++count;
    return count;
}

} // namespace

std::string Configuration_File::verdict() const
{
    return report.errors.empty() ? "No Error" : report.errors[0].text;
}

Configuration_File read_configuration_file(const std::string& path)
{
    Input input(path);
    const std::string bytes = read_some(input);
    return {input.name(), path, kr_check_configuration(bytes)};
}

Configuration_File read_accepted_configuration(const std::string& path)
{
    Configuration_File file = read_configuration_file(path);
    if (!file.report.errors.empty())
        throw Failure(file.name + " is not accepted: " + printable(file.verdict()) +
                      " ('krtool config check' tells more)");
    return file;
}

Text_Place place_of(std::string_view text, std::size_t offset) noexcept
{
    offset = std::min(offset, text.size());
    const std::string_view head = text.substr(0, offset);
    const auto ends_line = [text](std::size_t at) { // the LF does it for a CR before it
        return text[at] == '\n' || at + 1 == text.size() || text[at + 1] != '\n';
    };
    Text_Place place;
    place.line += static_cast<std::size_t>(std::count(head.begin(), head.end(), '\n'));
    for (std::size_t at = 0; (at = head.find('\r', at)) != std::string_view::npos; ++at)
        place.line += ends_line(at) ? 1 : 0;
    for (std::size_t at = offset; at != 0 && place.line_begin == 0; --at)
        if ((text[at - 1] == '\n' || text[at - 1] == '\r') && ends_line(at - 1))
            place.line_begin = at;
    place.line_end = std::min(text.find_first_of("\r\n", place.line_begin), text.size());
    place.column = 1 + characters_in(text.substr(place.line_begin,
                                                 offset - std::min(offset, place.line_begin)));
    return place;
}

Marked_Line marked_line(std::string_view text, std::size_t begin, std::size_t end)
{
    constexpr std::size_t before = 40; // characters to show
    constexpr std::size_t most = 96;
    const Text_Place place = place_of(text, begin);
    begin = std::min(begin, place.line_end);
    end = std::clamp(end, begin, place.line_end);
    std::size_t first = place.line_begin;
    while (first < begin && (text[first] == ' ' || text[first] == '\t'))
        ++first; // the indent tells nothing
    std::size_t skipped = characters_in(text.substr(first, begin - first));
    Marked_Line line;
    if (skipped > before) {
        for (; skipped > before; --skipped)
            first += step_of(text.substr(first));
        line = {"...", "   "};
    }
    std::size_t shown = 0;
    for (std::size_t i = first; i < place.line_end; i += step_of(text.substr(i)), ++shown) {
        if (shown == most) {
            line.text += "...";
            break;
        }
        line.text += harmless(text.substr(i));
        line.mark += i < begin || (i >= end && i > begin) ? " " : i == begin ? "^" : "~";
    }
    if (begin == place.line_end)
        line.mark += "^";
    line.mark.resize(line.mark.find_last_not_of(' ') + 1);
    return line;
}

std::string printable(std::string_view text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); i += step_of(text.substr(i)))
        result += harmless(text.substr(i));
    return result;
}

double decimal(float number)
{
    const std::string text = number_text(number);
    double result = 0;
    const std::from_chars_result read =
        std::from_chars(text.data(), text.data() + text.size(), result);
    return read.ec == std::errc() ? result : static_cast<double>(number);
}

std::string rgb_text(const ns__RgbColor& color)
{
    char text[16];
    std::snprintf(text, sizeof text, "#%02X%02X%02X", color.red, color.green, color.blue);
    return text;
}

std::string bounds_text(const KR_Configured_Range& range)
{
    return "hue " + std::to_string(range.hue_from) + " to " + std::to_string(range.hue_to) +
           ", saturation " + number_text(range.sat_from) + " to " + number_text(range.sat_to) +
           ", value " + number_text(range.val_from) + " to " + number_text(range.val_to);
}

std::string preset_text(ns__ColorPreset preset)
{
    const std::string_view name = kr_color_preset_name(preset);
    return name.empty() ? "without a name" : std::string(name);
}

std::string names_text(std::uint32_t presets)
{
    std::string text;
    for (std::uint32_t n = 0; n < 14; ++n)
        if ((presets >> n & 1U) != 0)
            text += (text.empty() ? "" : " and ") + preset_text(static_cast<ns__ColorPreset>(n));
    return text.empty() ? "no name" : text;
}

std::string percent_text(double share)
{
    const double percent = 100 * share;
    char text[32];
    std::snprintf(text, sizeof text, percent != 0 && percent < 0.1 ? "%.4f %%" : "%.2f %%",
                  percent);
    return text;
}

void write_file(const std::string& path, std::string_view content)
{
    const std::string name = "'" + path + "'";
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored))
        throw Failure(name + " is a folder");
    struct Close {
        void operator()(std::FILE* file) const noexcept { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Close> file(std::fopen(path.c_str(), "wb"));
    if (!file)
        throw Failure("cannot write " + name + ": " + std::strerror(errno));
    const bool is_written =
        std::fwrite(content.data(), 1, content.size(), file.get()) == content.size();
    if (!is_written || std::fclose(file.release()) != 0)
        throw Failure("cannot write " + name + ": " + std::strerror(errno));
}

} // namespace krtool
