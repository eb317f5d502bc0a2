#include "Message_Shape.h"

#include <algorithm>
#include <utility>

namespace krtool {

namespace {

constexpr std::size_t longest_shape = 300;
constexpr std::size_t longest_looked_at = 4000;

bool is_digit(char c) noexcept
{
    return c >= '0' && c <= '9';
}

bool is_hex(char c) noexcept
{
    return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool is_word(char c) noexcept
{
    return is_digit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

template <typename Is>
std::size_t run_of(std::string_view text, Is is)
{
    return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), is) - text.begin());
}

// Sizes of what begins there; 0: no such thing.

std::size_t guid_size(std::string_view text)
{
    constexpr std::size_t size = 36;
    if (text.size() < size || (text.size() > size && is_word(text[size])))
        return 0;
    for (std::size_t i = 0; i < size; ++i) {
        const bool is_dash = i == 8 || i == 13 || i == 18 || i == 23;
        if (is_dash ? text[i] != '-' : !is_hex(text[i]))
            return 0;
    }
    return size;
}

std::size_t address_size(std::string_view text)
{
    if (text.size() < 3 || text[0] != '0' || (text[1] != 'x' && text[1] != 'X'))
        return 0;
    const std::size_t digits = run_of(text.substr(2), is_hex);
    return digits != 0 ? digits + 2 : 0;
}

std::size_t hex_size(std::string_view text)
{
    const std::size_t size = run_of(text, is_hex);
    if (size < 8 || (size < text.size() && is_word(text[size])))
        return 0;
    const std::string_view digits = text.substr(0, size);
    const bool has_figures = std::any_of(digits.begin(), digits.end(), is_digit);
    const bool has_letters = !std::all_of(digits.begin(), digits.end(), is_digit);
    return has_figures && has_letters ? size : 0;
}

// "12", "12.5", "1.5e+09", "10,000"
std::size_t number_size(std::string_view text)
{
    std::size_t size = run_of(text, is_digit);
    if (size == 0)
        return 0;
    const auto take_group = [&](char mark) {
        const bool is_there =
            size + 1 < text.size() && text[size] == mark && is_digit(text[size + 1]);
        if (is_there)
            size += 1 + run_of(text.substr(size + 1), is_digit);
        return is_there;
    };
    while (take_group('.') || take_group(','))
        ;
    if (size + 2 < text.size() && text[size] == 'e' &&
        (text[size + 1] == '+' || text[size + 1] == '-') && is_digit(text[size + 2]))
        size += 2 + run_of(text.substr(size + 2), is_digit);
    return size;
}

// An apostrophe within a word, as in "doesn't", opens nothing.
std::size_t quoted_size(std::string_view text, char before)
{
    if ((text[0] != '\'' && text[0] != '"') || is_word(before))
        return 0;
    const std::size_t end = text.find(text[0], 1);
    return end != std::string_view::npos ? end + 1 : 0;
}

} // namespace

std::string shape_of(std::string_view message)
{
    message = without_end(message.substr(0, std::min(message.find('\n'), message.size())));
    if (held_back_of(message) != 0)
        message = message.substr(0, message.rfind(" ("));
    message = message.substr(0, longest_looked_at);
    std::string shape;
    char before = ' ';
    while (!message.empty() && shape.size() < longest_shape) {
        std::size_t size = 0;
        const bool is_begin = !is_word(before);
        if ((size = quoted_size(message, before)) != 0)
            shape += "<text>";
        else if (is_begin && (size = guid_size(message)) != 0)
            shape += "<guid>";
        else if (is_begin && (size = address_size(message)) != 0)
            shape += "<address>";
        else if (is_begin && (size = hex_size(message)) != 0)
            shape += "<hex>";
        else if ((size = number_size(message)) != 0)
            shape += "<n>";
        else
            shape += message.substr(0, size = 1);
        before = message[size - 1];
        message.remove_prefix(size);
    }
    if (!message.empty())
        shape += "...";
    return shape;
}

void Shape_Counts::add(Level level, std::string_view message, Local_Time time)
{
    message = without_end(message.substr(0, std::min(message.find('\n'), message.size())));
    std::pair<std::string, Level> key{shape_of(message), level};
    if (counts_.size() >= limit && counts_.find(key) == counts_.end())
        key = {"(other shapes)", Level::unknown};
    const auto [place, is_new] = counts_.try_emplace(key);
    Count& count = place->second;
    if (is_new) {
        count.shape = key.first;
        count.level = key.second;
        count.first = count.last = time;
        count.example = message.substr(0, longest_shape);
    }
    ++count.lines;
    count.held_back += held_back_of(message);
    count.first = std::min(count.first, time);
    count.last = std::max(count.last, time);
}

std::vector<Shape_Counts::Count> Shape_Counts::result() const
{
    std::vector<Count> all;
    for (const auto& [shape, count] : counts_)
        all.push_back(count);
    std::stable_sort(all.begin(), all.end(), [](const Count& a, const Count& b) {
        return a.lines + a.held_back > b.lines + b.held_back;
    });
    return all;
}

} // namespace krtool
