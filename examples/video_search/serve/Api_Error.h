#pragma once

/// \file
/// What is wrong with a request, as a client is told. Threads: values.

#include <stdexcept>
#include <string>

namespace video_search {

class Api_Error : public std::runtime_error {
public:
    /// status     of HTTP, 400-599
    /// code       a word for programs: "bad_parameter"
    /// message    one sentence for people, without a line feed
    /// parameter  the one at fault; may be empty
    Api_Error(int status, std::string code, const std::string& message, std::string parameter = {})
        : std::runtime_error(message), status_(status), code_(std::move(code)),
          parameter_(std::move(parameter))
    {
    }

    [[nodiscard]] int status() const noexcept { return status_; }
    [[nodiscard]] const std::string& code() const noexcept { return code_; }
    [[nodiscard]] const std::string& parameter() const noexcept { return parameter_; }

private:
    int status_;
    std::string code_;
    std::string parameter_;
};

[[nodiscard]] inline Api_Error bad_parameter(const std::string& parameter,
                                             const std::string& message)
{
    return {400, "bad_parameter", message, parameter};
}

[[nodiscard]] inline Api_Error not_found(const std::string& message)
{
    return {404, "not_found", message};
}

} // namespace video_search
