#include "Json_Text.h"

#include "Format.h"

#include <cmath>

namespace video_search {

std::string quoted(const std::string& text)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string json = "\"";
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\')
            json += {'\\', c};
        else if (code < 0x20)
            json += {'\\', 'u', '0', '0', digits[code / 16], digits[code % 16]};
        else
            json += c;
    }
    return json + '"';
}

std::string number(float value)
{
    return std::isfinite(value) ? shortest(value) : "null";
}

std::string json_object(std::initializer_list<std::pair<std::string_view, std::string>> members)
{
    std::string json = "{";
    for (const auto& [name, value] : members) {
        json += json.size() == 1 ? "\"" : ", \"";
        json += name;
        json += "\": ";
        json += value;
    }
    return json + '}';
}

} // namespace video_search
