#include "Query_Text.h"

#include "Api_Error.h"

#include <charconv>
#include <cstdint>
#include <system_error>

namespace video_search {

namespace {

// How many bytes a character has that begins with this one, and the least number such a character
// stands for.
struct Form {
    std::size_t size;
    std::uint32_t least;
};

Form form_of(unsigned char first) noexcept
{
    if (first < 0x80)
        return {1, 0};
    if (first >= 0xC2 && first < 0xE0)
        return {2, 0x80};
    if (first >= 0xE0 && first < 0xF0)
        return {3, 0x800};
    if (first >= 0xF0 && first < 0xF5)
        return {4, 0x10000};
    return {0, 0};
}

// How many bytes the character at the text's begin has; 0 for none that may stand there.
std::size_t clean_character(std::string_view text) noexcept
{
    const auto first = static_cast<unsigned char>(text[0]);
    const Form form = form_of(first);
    if (form.size == 0 || form.size > text.size())
        return 0;
    std::uint32_t code = form.size == 1 ? first : first & (0xFFU >> (form.size + 1));
    for (std::size_t k = 1; k < form.size; ++k) {
        const auto byte = static_cast<unsigned char>(text[k]);
        if ((byte & 0xC0) != 0x80)
            return 0;
        code = code << 6 | (byte & 0x3FU);
    }
    const bool is_control = code < 0x20 || (code >= 0x7F && code < 0xA0);
    const bool is_surrogate = code >= 0xD800 && code < 0xE000;
    const bool is_good = code >= form.least && code < 0x110000 && !is_control && !is_surrogate;
    return is_good ? form.size : 0;
}

} // namespace

bool is_clean_text(std::string_view text) noexcept
{
    while (!text.empty()) {
        const std::size_t size = clean_character(text);
        if (size == 0)
            return false;
        text.remove_prefix(size);
    }
    return true;
}

namespace {

char escaped_byte(std::string_view digits)
{
    unsigned value = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    if (digits.size() != 2 || error != std::errc() || end != digits.data() + 2)
        throw Api_Error(400, "bad_query", "a % in the address has no two hexadecimal digits");
    return static_cast<char>(value);
}

std::string decoded(std::string_view text)
{
    std::string result;
    for (std::size_t k = 0; k < text.size(); ++k) {
        if (text[k] == '%') {
            result += escaped_byte(text.substr(k + 1, 2));
            k += 2;
        } else {
            result += text[k] == '+' ? ' ' : text[k];
        }
    }
    if (!is_clean_text(result))
        throw Api_Error(400, "bad_query",
                        "the address holds text that is not UTF-8 or has control "
                        "characters");
    return result;
}

} // namespace

Parameters parse_query(std::string_view text, std::size_t most)
{
    Parameters parameters;
    while (!text.empty()) {
        const std::string_view part = text.substr(0, text.find('&'));
        text.remove_prefix(part.size() < text.size() ? part.size() + 1 : part.size());
        if (part.empty())
            continue;
        if (parameters.size() == most)
            throw Api_Error(400, "bad_query",
                            "there are more than " + std::to_string(most) + " parameters");
        const std::size_t equals = part.find('=');
        const bool has_value = equals != std::string_view::npos;
        parameters.emplace_back(decoded(part.substr(0, equals)),
                                has_value ? decoded(part.substr(equals + 1)) : std::string());
    }
    return parameters;
}

} // namespace video_search
