#pragma once

/// \file
/// Pieces of JSON text after RFC 8259. Threads: no state.

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace video_search {

/// The text, which is UTF-8, in quotation marks.
[[nodiscard]] std::string quoted(const std::string& text);

/// The digits that give the same float again; null for what is no number.
[[nodiscard]] std::string number(float value);

/// [one, two]: what the function makes of each element.
template <typename Range, typename Function>
[[nodiscard]] std::string array_of(const Range& range, Function text_of)
{
    std::string json;
    for (const auto& each : range)
        json += (json.empty() ? "" : ", ") + text_of(each);
    return "[" + json + "]";
}

/// {"name": value, ...} of names that need no escape and of values that are JSON.
[[nodiscard]] std::string
json_object(std::initializer_list<std::pair<std::string_view, std::string>> members);

} // namespace video_search
