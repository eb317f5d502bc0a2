#include "Number_Text.h"

#include <array>
#include <charconv>

namespace krtool {

std::string number_text(float number)
{
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
    return {text.data(), end};
}

} // namespace krtool
