#pragma once

/// \file
/// What a command tells: text for people, or JSON for scripts. Threads: one at a time.

#include <nlohmann/json_fwd.hpp>

#include <cstdio>
#include <string>
#include <string_view>

namespace krtool {

/// The version of all JSON that comes out, which grows when a member changes its meaning or goes.
constexpr int schema_version = 1;

enum class Paint { plain, bold, dim, red, green, yellow, blue };

class Output {
public:
    /// `file` is the caller's and outlives the object.
    Output(std::FILE* file, bool is_json, bool is_colored) noexcept
        : file_(file), is_json_(is_json), is_colored_(is_colored)
    {
    }

    /// Whether --json was given: then nothing but json() is to be called.
    [[nodiscard]] bool is_json() const noexcept { return is_json_; }
    [[nodiscard]] bool is_colored() const noexcept { return is_colored_; }

    /// Text as it stands, line ends included. Throws Output_Lost.
    void text(std::string_view text);

    /// The text between the codes of the paint, or plain where there are no colours.
    [[nodiscard]] std::string painted(Paint paint, std::string_view text) const;

    /// An object as one line, its first member "schema_version". What is no UTF-8 becomes U+FFFD.
    /// Throws Output_Lost.
    void json(const nlohmann::ordered_json& object);

    /// Throws Output_Lost when what was written could not be kept.
    void flush();

private:
    std::FILE* file_;
    bool is_json_;
    bool is_colored_;
};

} // namespace krtool
