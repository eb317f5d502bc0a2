#include "Output.h"

#include "Program.h"

#include <nlohmann/json.hpp>

#include <cerrno>

namespace krtool {

namespace {

const char* code_of(Paint paint) noexcept
{
    switch (paint) {
    case Paint::plain: return "";
    case Paint::bold: return "\033[1m";
    case Paint::dim: return "\033[2m";
    case Paint::red: return "\033[31m";
    case Paint::green: return "\033[32m";
    case Paint::yellow: return "\033[33m";
    case Paint::blue: return "\033[34m";
    }
    return "";
}

} // namespace

void Output::text(std::string_view text)
{
    if (std::fwrite(text.data(), 1, text.size(), file_) != text.size())
        throw Output_Lost(errno);
}

std::string Output::painted(Paint paint, std::string_view text) const
{
    if (!is_colored_ || paint == Paint::plain)
        return std::string(text);
    return code_of(paint) + std::string(text) + "\033[0m";
}

void Output::json(const nlohmann::ordered_json& object)
{
    nlohmann::ordered_json document = {{"schema_version", schema_version}};
    document.update(object);
    text(document.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
}

void Output::flush()
{
    if (std::fflush(file_) != 0)
        throw Output_Lost(errno);
}

} // namespace krtool
